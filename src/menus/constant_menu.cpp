#include "menus/constant_menu.hpp"

#include "constants/euler.hpp"
#include "menus/dialogues.hpp"
#include "shell/console.hpp"
#include "shell/console_input.hpp"

namespace zx {
namespace {

constexpr const char* kCommonVerifyText =
    "Option 3\n"
    "    Compute and Verify:\n"
    "        Use both formulas to compute and verify. (great for stress-testing)\n\n"
    "Enter your choice:\n";

// The size table offered instead of a digit count: rows k, each computing to 2^(k+3) − 20 nats.
// The last row printed, whose size reaches the largest precision, is still accepted.
DigitSettings ReadSizeTable(uint32_t* row) {
  ConsoleWrite(" k:         Decimal Digits:\n\n");
  const uint32_t last = EulerLastRow();
  for (uint32_t k = kEulerFirstRow; k <= last; ++k) {
    ConsolePrintf("%3u%22llu\n", k, static_cast<unsigned long long>(EulerTableDigits(k)));
  }
  ConsoleWrite("\nEnter your choice:\n");
  *row = static_cast<uint32_t>(PromptNumber("option = ", kEulerFirstRow, last, 32));
  ConsoleWrite("\n");
  DigitSettings settings = DigitSettingsForRow(*row);
  settings.threadExponent = ReadThreadingMode();
  return settings;
}

}  // namespace

void ConstantMenu(const ConstantRun& run) {
  ConsoleWrite(run.menuText);
  ConsoleWrite(run.verifyText != nullptr ? run.verifyText : kCommonVerifyText);
  RunConstantOption(run, static_cast<int>(ReadMenuChoice(3)) - 1);
}

void RunConstantOption(const ConstantRun& run, int option) {
  uint32_t row = 0;
  const DigitSettings digits = run.sizeTableMenu ? ReadSizeTable(&row) : ReadDigits();
  RunSettings settings = RunSettingsFor(run, option, digits, row, kModeRamOnly);
  settings.mode = ReadMode(digits.decimalDigits, digits.threadExponent, &settings.memoryBytes,
                           SwapEstimateOf(run));
  DiskList disks;
  if (settings.mode == kModeDiskSwapping) {
    ReadDisks(disks);
    settings.disks = &disks;
  } else if (settings.mode != kModeRamOnly) {
    return;
  }
  ConsoleWrite("\n\n");
  StartRun(run, option, settings);
}

uint32_t ReadMenuChoice(uint32_t count) {
  const auto choice = static_cast<uint32_t>(PromptNumber("option = ", 1, count, 32));
  ConsoleWrite("\n");
  return choice;
}

}  // namespace zx
