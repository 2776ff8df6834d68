// The twelve root multiplications. An even exponent is a plain shift by e/2 bits, taken as the
// negation of a shift by e/2 − N once it passes N. An odd one multiplies by
// √2·2^((e−1)/2) = 2^(u + N/2) − 2^u with u = (e − 1)/2 + N/4; which quarter of the period [0, 2N)
// u falls in decides how 2^N ≡ −1 folds the two terms back below N and with which signs.
#include "multiply/hybrid/hybrid_roots.hpp"

#include "multiply/hybrid/hybrid_ring.hpp"

namespace zx {
namespace {

struct TwoTerms {
  uint64_t firstBits;
  int firstSign;
  uint64_t secondBits;
  int secondSign;
};

// Terms of x·2^(u + N/2) − x·2^u folded below N, for u in [0, 2N).
TwoTerms FoldSqrt2(uint64_t u, uint64_t ringBits) {
  const uint64_t half = ringBits / 2;
  switch (u / half) {
    case 0:
      return {u + half, 1, u, -1};
    case 1:  // 2^(u + N/2) = −2^(u − N/2)
      return {u - half, -1, u, -1};
    case 2:  // both terms pass N
      return {u - half, -1, u - ringBits, 1};
    default:  // 2^(u + N/2) passes 2N
      return {u - 3 * half, 1, u - ringBits, 1};
  }
}

void MulPow2(const uint32_t* x, uint32_t* out, uint64_t ringWords, uint64_t bits) {
  const uint64_t ringBits = 32 * ringWords;
  if (bits < ringBits) {
    RingShiftInto(x, out, ringWords, bits, false);
  } else {
    RingShiftInto(x, out, ringWords, bits - ringBits, true);
  }
}

void MulSqrt2Pow(const uint32_t* x, uint32_t* out, uint64_t ringWords, uint64_t exponent) {
  const uint64_t ringBits = 32 * ringWords;
  const uint64_t u = ((exponent - 1) / 2 + ringBits / 4) % (2 * ringBits);
  const TwoTerms terms = FoldSqrt2(u, ringBits);
  RingShiftInto(x, out, ringWords, terms.firstBits, terms.firstSign < 0);
  RingShiftAccumulate(x, out, ringWords, terms.secondBits, terms.secondSign);
}

}  // namespace

RingRootVariant RingRootVariantOf(uint64_t ringWords, uint64_t exponent) {
  const uint64_t ringBits = 32 * ringWords;
  if (exponent % 2 == 0) {
    const uint64_t bits = exponent / 2;
    const bool above = bits >= ringBits;
    if (bits % 32 == 0) return above ? RingRootVariant::kWordsAbove : RingRootVariant::kWordsBelow;
    return above ? RingRootVariant::kBitsAbove : RingRootVariant::kBitsBelow;
  }
  const uint64_t u = ((exponent - 1) / 2 + ringBits / 4) % (2 * ringBits);
  const auto quarter = static_cast<uint8_t>(u / (ringBits / 2));
  const auto first = u % 32 == 0 ? RingRootVariant::kHalfWordsQ0 : RingRootVariant::kHalfBitsQ0;
  return static_cast<RingRootVariant>(static_cast<uint8_t>(first) + quarter);
}

void RingMulRoot(const uint32_t* x, uint32_t* out, uint64_t ringWords, uint64_t exponent) {
  if (exponent % 2 == 0) {
    MulPow2(x, out, ringWords, exponent / 2);
  } else {
    MulSqrt2Pow(x, out, ringWords, exponent);
  }
}

}  // namespace zx
