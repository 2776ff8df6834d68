// Division by a power of the conversion table: the quotient is estimated as x·R truncated to an
// integer, the remainder formed exactly as x − q·P, and the estimate corrected by whole steps of
// P. R carries four words beyond P's top position, so for x below P² the estimate is off by at
// most one; the allowance of one add-back and two upward steps covers truncated products too.
// Anything beyond that means a faulty product or table and ends the run.
#include "multiply/multiply.hpp"
#include "radix/base_conversion.hpp"
#include "radix/div_mod_levels.hpp"
#include "shell/fatal.hpp"

namespace zx {
namespace {

constexpr const char* kDivModSubject = "Divide and Modulus";

// Drops the words below the point; a value with nothing above the point becomes zero.
void DropFraction(AllocationHeap* heap, BigFloat& a) {
  if (a.exponent >= 0) return;
  const uint64_t fractionWords = static_cast<uint64_t>(-a.exponent);
  if (fractionWords >= a.magnitude.length) {
    BigFloatRelease(a);
    BigFloatSetZero(a);
    return;
  }
  BigIntShiftRightWords(heap, a.magnitude, fractionWords);
  a.exponent = 0;
}

// Turns a positive exponent into zero low words, so that the pieces of a split are plain words.
void ExpandExponent(AllocationHeap* heap, BigFloat& a) {
  if (a.exponent > 0 && !BigFloatIsZero(a)) {
    BigIntShiftLeftWords(heap, a.magnitude, static_cast<uint64_t>(a.exponent));
  }
  a.exponent = 0;
}

// q = q ± 1 at precisionWords.
void StepQuotient(AllocationHeap* heap, BigFloat& q, bool up, uint64_t precisionWords) {
  BigFloat one;
  BigFloatSetWord(heap, one, 1);
  if (up) {
    BigFloat sum;
    BigFloatAdd(heap, q, one, sum, precisionWords);
    BigFloatRelease(q);
    q = sum;
  } else {
    BigFloatSubtract(heap, q, one, precisionWords);
  }
  BigFloatRelease(one);
}

bool IsNegative(const BigFloat& a) {
  return !BigFloatIsZero(a) && a.sign == 0;
}

}  // namespace

// The disk-swapping twin differs only in where the intermediates live and in reporting its
// corrections.
template <bool kSwap>
void DivModAtLevel(AllocationHeap* heap, BigFloat& x, BigFloat& q, uint32_t level,
                   ConversionTable& table, uint32_t threadExponent) {
  BigFloat& power = table.powers[level];
  BigFloat& reciprocal = table.reciprocals[level];
  const uint64_t w = static_cast<uint64_t>(BigFloatTop(power)) + 5;

  // x has at most 2w words, so w + 3 kept words leave at least seven fractional words.
  BigFloatMultiplyKeep(heap, x, reciprocal, q, w + 3, threadExponent);
  DropFraction(heap, q);

  // 2w + 3 words hold q·P whole, so the remainder is exact.
  BigFloat back;
  BigFloatMultiplyKeep(heap, q, power, back, 2 * w + 3, threadExponent);
  BigFloatSubtract(heap, x, back, 2 * w);
  BigFloatRelease(back);

  if (IsNegative(x)) {
    StepQuotient(heap, q, false, w);
    BigFloat sum;
    BigFloatAdd(heap, x, power, sum, w);
    BigFloatRelease(x);
    x = sum;
    if (IsNegative(x)) {
      FatalAssertion(kAlgorithmicFailure, kDivModSubject, "More than 1 add-back is needed.");
    }
  } else {
    for (int corrections = 0; BigFloatCompareMagnitude(heap, x, power) >= 0; ++corrections) {
      if (corrections == 2) {
        FatalAssertion(kAlgorithmicFailure, kDivModSubject, "More than 2 corrections are needed.");
      }
      StepQuotient(heap, q, true, w);
      BigFloatSubtract(heap, x, power, w);
    }
  }

  if (q.exponent < 0) {
    FatalAssertion(kImpossibleResult, kDivModSubject, "Result is not an integer.");
  }
  ExpandExponent(heap, q);
  ExpandExponent(heap, x);
}

template void DivModAtLevel<false>(AllocationHeap* heap, BigFloat& x, BigFloat& q, uint32_t level,
                                   ConversionTable& table, uint32_t threadExponent);

void DivMod(AllocationHeap* heap, BigFloat& x, BigFloat& q, uint32_t level, ConversionTable& table,
            uint32_t threadExponent) {
  DivModAtLevel<false>(heap, x, q, level, table, threadExponent);
}

}  // namespace zx
