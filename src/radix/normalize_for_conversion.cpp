// Scaling a binary number to an integer before its decimal conversion. The power of 10^9 is chosen
// from the word exponent alone, so the integer keeps the precision of the number (p + 3 words)
// without any comparison of magnitudes; the exact count of decimal words is settled later, when the
// converted array's zero top words are stripped.
#include "multiply/multiply.hpp"
#include "radix/base_conversion.hpp"
#include "shell/fatal.hpp"

namespace zx {

int64_t NormalizeForConversion(AllocationHeap* heap, BigFloat& x, uint64_t precisionWords,
                               uint32_t threadExponent) {
  if (BigFloatIsZero(x)) {
    BigFloatSetZero(x);
    return 0;
  }
  const int64_t e = x.exponent;
  int64_t k = 0;
  if (e < 0) {
    k = 1 + static_cast<int64_t>(FloorTimes(static_cast<uint64_t>(-e), kBillionWordsPerWord));
  } else if (e > 0) {
    k = -static_cast<int64_t>(FloorTimes(static_cast<uint64_t>(e), kBillionWordsPerWord));
  }
  BigFloat scale;
  PowerOfBillionSigned(heap, k, scale, precisionWords, threadExponent);
  // Each squaring of the powering frees the square below it, a trail of holes that together hold
  // about as much as S; S slides down over them so that the product's buffers start right above.
  scale.magnitude.words = static_cast<uint32_t*>(HeapCompact(scale.magnitude.words));
  BigFloatMultiply(heap, x, scale, precisionWords, threadExponent);
  BigFloatRelease(scale);

  if (x.exponent > 0) {
    BigIntShiftLeftWords(heap, x.magnitude, static_cast<uint64_t>(x.exponent));
  } else if (x.exponent < 0) {
    const uint64_t fractionWords = static_cast<uint64_t>(-x.exponent);
    if (fractionWords >= x.magnitude.length) {
      FatalAssertion(kImpossibleResult, "Base Conversion", "Precision reduced to zero.");
    }
    BigIntShiftRightWords(heap, x.magnitude, fractionWords);
  }
  x.exponent = 0;
  // The integer was built above S and the product's scratch; it moves down next to whatever lies
  // below, leaving the split one free block above it.
  x.magnitude.words = static_cast<uint32_t*>(HeapCompact(x.magnitude.words));
  return -k;
}

}  // namespace zx
