// Exact products of a few machine integers, the leaves of every series: computed in 128-bit
// arithmetic over a short word array instead of through the general product, since a leaf's
// values never exceed a handful of words.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "bignum/bigfloat.hpp"

namespace zx {

// out = the product of the factors (non-negative, exponent 0).
void SetProduct(AllocationHeap* heap, BigFloat& out, std::initializer_list<uint64_t> factors);
// out = c0·x^d + c1·x^(d−1) + … + cd (Horner, coefficients from the highest power down), times the
// factors. Leaves have at most 24 words; larger values are an internal error.
void SetPolynomialProduct(AllocationHeap* heap, BigFloat& out, uint64_t x,
                          std::initializer_list<uint64_t> coefficients,
                          std::initializer_list<uint64_t> factors);
// out = out · factor (exact).
void MultiplySmall(AllocationHeap* heap, BigFloat& out, uint64_t factor);

// The bytes a multi-word constant occupies as words: 10939058860032000 = 495419392 + 2546948·2^32.
inline uint64_t JoinWords(uint32_t low, uint32_t high) {
  return (static_cast<uint64_t>(high) << 32) | low;
}

}  // namespace zx
