// Reciprocals by Newton's iteration r' = r + r·(1 − x·r) with a doubling precision schedule from a
// hardware double, so a whole reciprocal costs a small constant times one full product. Precision
// is in words; the result carries three guard words. The staged forms keep the operands of the two
// largest levels on the swap disks between steps.
#pragma once

#include <cstdint>

#include "bignum/bigfloat.hpp"

namespace zx {

// out = 1/x to n words. x is read only (a staged form may move it to disk).
void Reciprocal(AllocationHeap* heap, BigFloat& x, BigFloat& out, uint64_t n, bool progress,
                uint32_t threadExponent);
void ReciprocalStaged(AllocationHeap* heap, BigFloat& x, BigFloat& out, uint64_t n, uint32_t stage,
                      bool progress, uint32_t threadExponent);
// x = 1/x to n words.
void InvertInPlace(AllocationHeap* heap, BigFloat& x, uint64_t n, bool progress,
                   uint32_t threadExponent);
void InvertInPlaceStaged(AllocationHeap* heap, BigFloat& x, uint64_t n, bool progress,
                         uint32_t threadExponent);

}  // namespace zx
