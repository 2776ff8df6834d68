// The memory a disk-swapping run reserves. Its largest numbers live on the swap disks; in memory
// stay the levels of every recursion a quarter of the precision and below, and the working set of
// the out-of-core products.
#pragma once

#include <cstdint>

namespace zx {

// Bytes of heap for a disk-swapping run of decimalDigits digits with 2^k threads (before the
// dialogue's extra megabyte).
uint64_t SwapModeMemoryBytes(uint64_t decimalDigits, uint32_t threadExponent);

}  // namespace zx
