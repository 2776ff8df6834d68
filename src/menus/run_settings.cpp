#include "menus/run_settings.hpp"

#include "constants/euler.hpp"
#include "multiply/out_of_core/swap_memory.hpp"

namespace zx {

DigitSettings DigitSettingsFor(uint64_t decimalDigits) {
  DigitSettings settings;
  settings.decimalDigits = decimalDigits;
  settings.hexDigits = HexDigitsFor(decimalDigits);
  settings.words = WordsFor(settings.hexDigits);
  return settings;
}

DigitSettings DigitSettingsForRow(uint32_t row) {
  const EulerSize size = EulerSizeOfRow(row);
  DigitSettings settings;
  settings.decimalDigits = size.decimalDigits;
  settings.hexDigits = size.hexDigits;
  settings.words = size.words;
  return settings;
}

uint64_t SwapModeBytes(SwapMemoryFn swapBytes, uint64_t decimalDigits, uint32_t threadExponent) {
  // The megabyte covers the run's own small pieces beside the model's numbers.
  return swapBytes(decimalDigits, threadExponent) + 0x100000;
}

SwapMemoryFn SwapEstimateOf(const ConstantRun& run) {
  return run.swapEstimate != nullptr ? run.swapEstimate : SwapModeMemoryBytes;
}

RunSettings RunSettingsFor(const ConstantRun& run, int option, const DigitSettings& digits,
                           uint32_t sizeTableRow, uint32_t mode) {
  RunSettings settings;
  settings.sizeTableRow = sizeTableRow;
  settings.decimalDigits = digits.decimalDigits;
  settings.hexDigits = digits.hexDigits;
  settings.precisionWords = digits.words;
  settings.threadExponent = digits.threadExponent;
  settings.mode = mode;
  const MemoryEstimateFn estimate =
      option == kVerifyOption ? run.verifyEstimate : run.algorithms[option].memoryEstimate;
  settings.memoryBytes = estimate(digits.words, digits.threadExponent);
  // What a memory run holds at its peak is what a disk-swapping run may put on its disks.
  settings.swapDiskBytes = settings.memoryBytes;
  if (mode == kModeDiskSwapping) {
    settings.memoryBytes =
        SwapModeBytes(SwapEstimateOf(run), digits.decimalDigits, digits.threadExponent);
  }
  return settings;
}

bool StartRun(const ConstantRun& run, int option, const RunSettings& settings) {
  if (option == kVerifyOption) return RunComputeAndVerify(run, settings);
  RunCompute(run, option, settings);
  return true;
}

}  // namespace zx
