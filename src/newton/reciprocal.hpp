// Reciprocals by Newton's iteration r' = r + r·(1 − x·r) with a doubling precision schedule from a
// hardware double, so a whole reciprocal costs a small constant times one full product. Precision
// is in words; the result carries three guard words. The staged forms keep the operands of the two
// largest levels on the swap disks between steps.
#pragma once

#include <cstdint>

#include "bignum/bigfloat.hpp"
#include "multiply/multiply.hpp"

namespace zx {

// out = 1/x to n words. x is read only (a staged form may move it to disk).
void Reciprocal(AllocationHeap* heap, BigFloat& x, BigFloat& out, uint64_t n, bool progress,
                uint32_t threadExponent);
void ReciprocalStaged(AllocationHeap* heap, BigFloat& x, BigFloat& out, uint64_t n, uint32_t stage,
                      bool progress, uint32_t threadExponent);
// out = a/x to n words for positive a and x, both read only, as InvertInPlace(x, n) followed by a
// product by a would give it, printing the same progress lines, at half the cost of that product:
// the reciprocal to half the words gives the quotient's leading half, and one correction from
// the residual a − x·q gives the rest (Karp and Markstein).
void Divide(AllocationHeap* heap, BigFloat& a, BigFloat& x, BigFloat& out, uint64_t n,
            bool progress, uint32_t threadExponent);
// x = 1/x to n words.
void InvertInPlace(AllocationHeap* heap, BigFloat& x, uint64_t n, bool progress,
                   uint32_t threadExponent);
void InvertInPlaceStaged(AllocationHeap* heap, BigFloat& x, uint64_t n, bool progress,
                         uint32_t threadExponent);

// out = a/x to n words in either storage; between() runs after the reciprocal's progress lines.
// Swapping, x is inverted in place through the disks and between() comes before the product (it
// prints the "Multiplying..." line); in memory the division takes the product in. x is left for
// the caller to release.
template <Storage kStorage, class Between>
void DivideInStages(AllocationHeap* heap, BigFloat& a, BigFloat& x, BigFloat& out, uint64_t n,
                    bool progress, uint32_t threadExponent, const Between& between) {
  if constexpr (kStorage == Storage::kSwap) {
    InvertInPlaceStaged(heap, x, n, progress, threadExponent);
    between();
    BigFloatMultiplyKeep(heap, a, x, out, n + 3, threadExponent);
  } else {
    Divide(heap, a, x, out, n, progress, threadExponent);
    between();
  }
}

}  // namespace zx
