#include "menus/dialogues.hpp"
#include "menus/run_settings.hpp"

#include <cmath>

#include "runtime/platform.hpp"
#include "shell/console.hpp"
#include "shell/console_input.hpp"
#include "shell/fatal.hpp"
#include "shell/number_print.hpp"

namespace zx {
namespace {

constexpr double kHexDigitsPerDigit = 0.8304820237218407;  // log(10)/log(16)

// 1 − trunc(−x): floor(x) + 1 for every non-integral x, computed as the program always has.
uint64_t OnePlusFloor(double x) { return static_cast<uint64_t>(1.0 - std::trunc(-x)); }

// The first disk of the list that is the same directory as path, or nullptr.
const std::string* SameDirectoryIn(const DiskList& disks, const std::string& path) {
  uint64_t device = 0;
  uint64_t inode = 0;
  if (!FileIdentity(path.empty() ? "." : path.c_str(), &device, &inode)) return nullptr;
  for (const std::string& earlier : disks.paths) {
    uint64_t earlierDevice = 0;
    uint64_t earlierInode = 0;
    if (FileIdentity(earlier.empty() ? "." : earlier.c_str(), &earlierDevice, &earlierInode) &&
        earlierDevice == device && earlierInode == inode) {
      return &earlier;
    }
  }
  return nullptr;
}

}  // namespace

const char* DiskPathProblem(const DiskList& disks, const std::string& path) {
  if (const char* problem = DirectoryProblem(path)) return problem;
  // Two disks in one directory would both need the same swap file names.
  if (SameDirectoryIn(disks, path) != nullptr) return "is already in the list";
  return nullptr;
}

uint64_t MinDecimalDigits() { return OnePlusFloor(static_cast<double>(kMinWords) * kDigitsPerWord); }
uint64_t MaxDecimalDigits() { return OnePlusFloor(static_cast<double>(kMaxWords) * kDigitsPerWord); }

uint64_t HexDigitsFor(uint64_t decimalDigits) {
  return OnePlusFloor(static_cast<double>(decimalDigits) * kHexDigitsPerDigit);
}

uint64_t WordsFor(uint64_t hexDigits) { return (hexDigits >> 3) + 2; }

DigitSettings ReadDigits() {
  ConsoleWrite("How many decimal digits would you like to compute?\n");
  DigitSettings settings = DigitSettingsFor(
      PromptNumber("Decimal Digits = ", MinDecimalDigits(), MaxDecimalDigits(), 64));
  ConsoleWrite("\n");
  ConsoleWrite("Decimal Digits    : ");
  PrintCommas(settings.decimalDigits, 0);
  ConsoleWrite("\nHexadecimal Digits: ");
  PrintCommas(settings.hexDigits, 0);
  ConsoleWrite("\n\n");
  settings.threadExponent = ReadThreadingMode();
  return settings;
}

uint32_t ReadThreadingMode() {
  ConsoleWrite(
      "Select a threading mode: \n\n"
      " k      Threads\n\n"
      " 0            1  ( single core )\n"
      " 1            2  ( dual-core )\n"
      " 2            4  (  3 -  4 cores )\n"
      " 3            8  (  5 -  8 cores )\n"
      " 4           16  (  9 - 16 cores )\n"
      "...         ...      ...\n\n"
      "If your processor(s) support hyperthreading it will be beneficial\n"
      "to use more threads than there are cores.\n\n"
      "Note that Zentrix may create more threads than what is chosen\n"
      "here.\n");
  const auto k = static_cast<uint32_t>(PromptNumber("\nk = ", 0, kMaxThreadExponent, 32));
  ConsoleWrite("\n");
  return k;
}

uint32_t ReadMode(uint64_t decimalDigits, uint32_t threadExponent, uint64_t* memoryBytes,
                  SwapMemoryFn swapBytes) {
  uint32_t low = 1;
  uint32_t high = 1;
  if (decimalDigits >= kSwapModeMinDigits) high = 3;
  // Above this size neither mode is listed, so no answer could ever be accepted.
  if (decimalDigits > kRamModeMaxDigits) low = 3;

  ConsoleWrite("Select a Mode:\n\n");
  ConsoleWrite("Option      Mode                Approx. Memory Needed\n\n");
  if (low <= 1 && 1 <= high) {
    ConsoleWrite(" 1      Ram Only                    ");
    PrintBytes(*memoryBytes);
    ConsoleWrite("\n");
  }
  uint64_t swapEstimate = 0;
  if (low <= 2 && 2 <= high) {
    swapEstimate = SwapModeBytes(swapBytes, decimalDigits, threadExponent);
    ConsoleWrite(" 2      Basic Disk Swapping         ");
    PrintBytes(swapEstimate);
    ConsoleWrite("\n");
  }
  if (high == 3) high = 2;
  ConsoleWrite("\n");
  if (low > high) {
    ConsoleWrite("No mode can compute more than ");
    PrintCommas(kRamModeMaxDigits, 0);
    FatalExit(" digits.\n");
  }
  // Past physical memory a Ram Only run ends in an allocation failure or pages for days.
  const uint64_t physicalBytes = PhysicalMemoryBytes();
  if (low <= 1 && physicalBytes != 0 && *memoryBytes > physicalBytes) {
    ConsolePrintf("Ram Only needs more memory than this machine has (%s).\n\n",
                  FormatBytesInText(physicalBytes).c_str());
  }
  const auto mode = static_cast<uint32_t>(PromptNumber("option = ", low, high, 32));
  ConsoleWrite("\n");
  if (mode == kModeDiskSwapping) *memoryBytes = swapEstimate;
  ConsoleWrite("\n");
  return mode;
}

void ReadDisks(DiskList& disks) {
  DiskListClear(disks);
  ConsoleWrite("Please Enter the # of disks you wish to use:\n\n");
  ConsoleWrite("Disks (zero will use one disk at the default path): ");
  uint64_t count = 0;
  while (!ConsoleReadUnsigned(32, &count)) {
    ConsoleWrite("Disks (zero will use one disk at the default path): ");
  }
  ConsoleWrite("\n");
  if (count == 0) {
    AddDiskPath(disks, "");
    return;
  }
  ConsoleWrite(
      "Please enter the paths of each disk: (e.g. \"C:\" or \"C:/temp\" )\n"
      "Note: For maximum efficiency:\n"
      "        1 - The paths MUST be on separate physical disks.\n"
      "        2 - Each disk should be identical. (speed, size, brand...)\n"
      "        3 - Ideally, (though not required), the disks should be empty.\n"
      "\n");
  for (uint64_t i = 0; i < count; ++i) {
    for (;;) {
      ConsoleWrite("Path: ");
      const std::string path = ReadPath();
      const char* problem = DiskPathProblem(disks, path);
      if (problem == nullptr) {
        AddDiskPath(disks, path);
        break;
      }
      ConsolePrintf("That path %s.\n", problem);
    }
  }
}

}  // namespace zx
