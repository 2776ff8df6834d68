// The option handlers shared by every constant's menu: the run-setting dialogues, the memory
// estimate, the mode, the disks, then the driver.
#pragma once

#include <cstdint>

#include "drivers/run_driver.hpp"

namespace zx {

// Bytes of heap a run of precisionWords words with 2^k threads reserves in memory-only mode.
using MemoryEstimateFn = uint64_t (*)(uint64_t precisionWords, uint32_t threadExponent);

inline constexpr int kVerifyOption = 2;

// option 0 or 1 computes with that algorithm; kVerifyOption computes and verifies.
void RunConstantOption(const ConstantRun& run, int option, MemoryEstimateFn estimate);

// Prints "option = " until a choice in [1, count] arrives; returns it.
uint32_t ReadMenuChoice(uint32_t count);

}  // namespace zx
