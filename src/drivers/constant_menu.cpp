#include "drivers/constant_menu.hpp"

#include "multiply/swap_memory.hpp"
#include "shell/console.hpp"
#include "shell/console_input.hpp"
#include "shell/dialogues.hpp"

namespace zx {

void RunConstantOption(const ConstantRun& run, int option, MemoryEstimateFn estimate) {
  const DigitSettings digits = ReadDigits();
  RunSettings settings;
  settings.decimalDigits = digits.decimalDigits;
  settings.hexDigits = digits.hexDigits;
  settings.precisionWords = digits.words;
  settings.threadExponent = digits.threadExponent;
  settings.memoryBytes = estimate(digits.words, digits.threadExponent);
  settings.mode = ReadMode(digits.decimalDigits, digits.threadExponent, &settings.memoryBytes,
                           SwapModeMemoryBytes);
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
