// Multiplication of a ring element by a root of unity, the only multiplication inside the outer
// transform. Modulo 2^N + 1 (N = 32n) the number 2 has order 2N and √2 ≡ 2^(3N/4) − 2^(N/4) has
// order 4N = 128n, so every root is √2^e with 0 ≤ e < 128n and costs one or two shifted copies.
#pragma once

#include <cstdint>

namespace zx {

// The twelve ways a root multiplication is carried out, by the exponent's parity, the alignment
// of the shift to whole words and where the shift falls in the period.
enum class RingRootVariant : uint8_t {
  kWordsBelow,  // e even, shift of j < n words: rotation, wrapped words negated
  kWordsAbove,  // e even, j ≥ n words: negation of a rotation by j − n words
  kBitsBelow,   // e even, shift below 32n bits, not word-aligned
  kBitsAbove,   // e even, shift of 32n bits or more, not word-aligned
  kHalfWordsQ0, // e odd, word-aligned, shift u = (e − 1)/2 + N/4 (mod 2N) in quarter 0..3
  kHalfWordsQ1,
  kHalfWordsQ2,
  kHalfWordsQ3,
  kHalfBitsQ0,  // e odd, bit shifts, quarter 0..3
  kHalfBitsQ1,
  kHalfBitsQ2,
  kHalfBitsQ3,
};

// 4N in half-bit units: the order of √2, the range of exponents.
inline uint64_t RingRootOrder(uint64_t ringWords) { return 128 * ringWords; }

RingRootVariant RingRootVariantOf(uint64_t ringWords, uint64_t exponent);

// out = x·√2^exponent, reduced; 0 ≤ exponent < 128n; out must not overlap x.
void RingMulRoot(const uint32_t* x, uint32_t* out, uint64_t ringWords, uint64_t exponent);

}  // namespace zx
