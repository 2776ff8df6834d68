// From the answers about a run (its size, threads and mode) to the RunSettings the driver takes.
// The menus reach the answers through their dialogues, the command line through its options; both
// come here, so the same answers always give the same run.
#pragma once

#include <cstdint>

#include "drivers/run_driver.hpp"
#include "menus/dialogues.hpp"

namespace zx {

// Hexadecimal digits and words for a digit count, as the digit dialogue derives them.
DigitSettings DigitSettingsFor(uint64_t decimalDigits);
// The sizes of row k of a size-table menu (the Euler-Mascheroni constant's).
DigitSettings DigitSettingsForRow(uint32_t row);

// The disk-swapping heap the mode dialogue shows: the constant's model plus 1 MiB.
uint64_t SwapModeBytes(SwapMemoryFn swapBytes, uint64_t decimalDigits, uint32_t threadExponent);
SwapMemoryFn SwapEstimateOf(const ConstantRun& run);

// Option 0 or 1 computes with that algorithm, kVerifyOption computes and verifies.
inline constexpr int kVerifyOption = 2;

// The settings of option in mode, with the heap that mode reserves; disks and the output
// directory are left to the caller.
RunSettings RunSettingsFor(const ConstantRun& run, int option, const DigitSettings& digits,
                           uint32_t sizeTableRow, uint32_t mode);

// Runs option through the driver; false when a verify run's digits did not all match.
bool StartRun(const ConstantRun& run, int option, const RunSettings& settings);

}  // namespace zx
