// The memory a disk-swapping run reserves. Its largest numbers live on the swap disks, and the
// series' disk levels, the staged Newton steps and the out-of-core products fit themselves to the
// heap they find; what the heap must hold is what does not adapt: products whose operands meet in
// memory and the linear steps on full-precision numbers.
#pragma once

#include <cstdint>

namespace zx {

// Bytes of heap for a disk-swapping run of decimalDigits digits with 2^k threads (before the
// dialogue's extra megabyte).
uint64_t SwapModeMemoryBytes(uint64_t decimalDigits, uint32_t threadExponent);
// Half as much again, for computations that hold more full-precision numbers in memory at once
// than a product and its operands (an AGM's pair, their sum and an inverse square root's working
// numbers; a merge of four-part series nodes and their products).
uint64_t SwapModeMemoryBytesHalfAgain(uint64_t decimalDigits, uint32_t threadExponent);

}  // namespace zx
