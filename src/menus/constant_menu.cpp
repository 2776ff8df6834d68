#include "menus/constant_menu.hpp"

#include "menus/dialogues.hpp"
#include "multiply/swap_memory.hpp"
#include "shell/console.hpp"
#include "shell/console_input.hpp"

namespace zx {
namespace {

constexpr const char* kCommonVerifyText =
    "Option 3\n"
    "    Compute and Verify:\n"
    "        Use both formulas to compute and verify. (great for stress-testing)\n\n"
    "Enter your choice:\n";

}  // namespace

void ConstantMenu(const ConstantRun& run) {
  ConsoleWrite(run.menuText);
  ConsoleWrite(run.verifyText != nullptr ? run.verifyText : kCommonVerifyText);
  RunConstantOption(run, static_cast<int>(ReadMenuChoice(3)) - 1);
}

void RunConstantOption(const ConstantRun& run, int option) {
  const DigitSettings digits = ReadDigits();
  RunSettings settings;
  settings.decimalDigits = digits.decimalDigits;
  settings.hexDigits = digits.hexDigits;
  settings.precisionWords = digits.words;
  settings.threadExponent = digits.threadExponent;
  const MemoryEstimateFn estimate =
      option == kVerifyOption ? run.verifyEstimate : run.algorithms[option].memoryEstimate;
  settings.memoryBytes = estimate(digits.words, digits.threadExponent);
  settings.mode = ReadMode(digits.decimalDigits, digits.threadExponent, &settings.memoryBytes,
                           run.swapEstimate != nullptr ? run.swapEstimate : SwapModeMemoryBytes);
  DiskList disks;
  if (settings.mode == kModeDiskSwapping) {
    ReadDisks(disks);
    settings.disks = &disks;
  } else if (settings.mode != kModeRamOnly) {
    return;
  }
  ConsoleWrite("\n\n");
  if (option == kVerifyOption) {
    RunComputeAndVerify(run, settings);
  } else {
    RunCompute(run, option, settings);
  }
}

uint32_t ReadMenuChoice(uint32_t count) {
  const auto choice = static_cast<uint32_t>(PromptNumber("option = ", 1, count, 32));
  ConsoleWrite("\n");
  return choice;
}

}  // namespace zx
