// The arithmetic-geometric mean: a ← (a + b)/2, b ← √(a·b) until the pair agrees to more than half
// the working precision. Each iteration costs two full products and one inverse square root.
#pragma once

#include <cstdint>

#include "bignum/bigfloat.hpp"

namespace zx {

// a and b are replaced by the final pair; p is the target precision in words. progress prints the
// "AGM Iteration:" lines.
void Agm(AllocationHeap* heap, BigFloat& a, BigFloat& b, uint64_t precisionWords,
         uint32_t threadExponent, bool progress = true);
// The disk-swapping form: the pair lives on the swap disks between iterations.
void AgmSwap(AllocationHeap* heap, BigFloat& a, BigFloat& b, uint64_t precisionWords,
             uint32_t threadExponent, bool progress = true);

// (a + b)/2 from a sum, exactly: the lowest bit is never lost.
void HalveExact(AllocationHeap* heap, BigFloat& sum);

}  // namespace zx
