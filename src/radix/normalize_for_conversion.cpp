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
  return -k;
}

}  // namespace zx
