// Inverse square roots by Newton's iteration r' = r + r·(1 − x·r²)/2 on the same doubling schedule
// as the reciprocal: for a small integer N (the finishing steps of Pi and Catalan) or a BigFloat
// (the arithmetic-geometric mean). A square root is formed by the caller as x·x^(-1/2).
#pragma once

#include <cstdint>

#include "bignum/bigfloat.hpp"

namespace zx {

void InvSqrtInt(AllocationHeap* heap, uint32_t value, BigFloat& out, uint64_t n, bool progress,
                uint32_t threadExponent);
// out = a/√value to n words, printing what InvSqrtInt(value, n) prints: the last Newton level is
// taken into the product, so that a meets the half-length root instead of the whole one.
void MultiplyByInvSqrtInt(AllocationHeap* heap, BigFloat& a, uint32_t value, BigFloat& out,
                          uint64_t n, bool progress, uint32_t threadExponent);
void InvSqrtIntStaged(AllocationHeap* heap, uint32_t value, BigFloat& out, uint64_t n,
                      bool progress, uint32_t threadExponent);
void InvSqrt(AllocationHeap* heap, BigFloat& x, BigFloat& out, uint64_t n, bool progress,
             uint32_t threadExponent);
void InvSqrtStaged(AllocationHeap* heap, BigFloat& x, BigFloat& out, uint64_t n, uint32_t stage,
                   bool progress, uint32_t threadExponent);

}  // namespace zx
