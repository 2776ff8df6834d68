// Division by a power of the conversion table: the quotient is estimated as x·R truncated to an
// integer, the remainder formed exactly as x − q·P, and the estimate corrected by whole steps of
// P. R carries four words beyond P's top position, so for x below P² the estimate is off by at
// most one; the allowance of one add-back and two upward steps covers truncated products too.
// Anything beyond that means a faulty product or table and ends the run.
#include "multiply/multiply.hpp"
#include "radix/base_conversion.hpp"
#include "radix/div_mod_levels.hpp"
#include "shell/console.hpp"
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

// The disk-swapping twin keeps every operand on disk while the product it is not part of runs:
// x waits there during q·P, q during x − q·P is formed, and both results leave on disk. It also
// reports each correction, since on a disk run they are the only trace of a marginal estimate.
template <Storage kStorage>
void DivModAtLevel(AllocationHeap* heap, BigFloat& x, BigFloat& q, uint32_t level,
                   ConversionTable& table, uint32_t threadExponent) {
  BigFloat& power = table.powers[level];
  BigFloat& reciprocal = table.reciprocals[level];
  const uint64_t w = static_cast<uint64_t>(BigFloatTop(power)) + 5;
  const bool powerOnDisk = kStorage == Storage::kSwap && OnDiskOnly(power);
  const bool reciprocalOnDisk = kStorage == Storage::kSwap && OnDiskOnly(reciprocal);
  if constexpr (kStorage == Storage::kSwap) BigIntMakeResident(heap, x.magnitude);

  // x has at most 2w words, so w + 3 kept words leave at least seven fractional words.
  BigFloatMultiplyKeep(heap, x, reciprocal, q, w + 3, threadExponent);
  TableLevelBack(reciprocal, reciprocalOnDisk);
  DropFraction(heap, q);
  StageOut<kStorage>(heap, x);

  // The remainder lies within [−P, 3P), below 2^(32w): in memory only its words above P's zero
  // low words are formed, modulo a ring of about P's length, half the transform of q·P whole.
  // Otherwise 2w + 3 words hold q·P whole, so the remainder is exact.
  bool formed = false;
  if constexpr (kStorage == Storage::kMemory) {
    formed = BigFloatSubtractProductNear(heap, x, q, power, w, threadExponent);
  }
  if (!formed) {
    BigFloat back;
    BigFloatMultiplyKeep(heap, q, power, back, 2 * w + 3, threadExponent);
    StageOut<kStorage>(heap, q);
    BigFloatSubtract(heap, x, back, 2 * w);
    BigFloatRelease(back);
  }

  if (IsNegative(x)) {
    if constexpr (kStorage == Storage::kSwap) ConsoleWrite("Quotient overshoot\n");
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
      if constexpr (kStorage == Storage::kSwap) {
        ConsoleWrite(corrections == 0 ? "Quotient undershoot\n" : "Quotient undershoot x 2\n");
      }
      StepQuotient(heap, q, true, w);
      BigFloatSubtract(heap, x, power, w);
    }
  }
  TableLevelBack(power, powerOnDisk);

  if (q.exponent < 0) {
    FatalAssertion(kImpossibleResult, kDivModSubject, "Result is not an integer.");
  }
  ExpandExponent(heap, q);
  ExpandExponent(heap, x);
  StageOut<kStorage>(heap, x);
  StageOut<kStorage>(heap, q);
}

template void DivModAtLevel<Storage::kMemory>(AllocationHeap* heap, BigFloat& x, BigFloat& q,
                                              uint32_t level, ConversionTable& table,
                                              uint32_t threadExponent);
template void DivModAtLevel<Storage::kSwap>(AllocationHeap* heap, BigFloat& x, BigFloat& q,
                                            uint32_t level, ConversionTable& table,
                                            uint32_t threadExponent);

void DivMod(AllocationHeap* heap, BigFloat& x, BigFloat& q, uint32_t level, ConversionTable& table,
            uint32_t threadExponent) {
  DivModAtLevel<Storage::kMemory>(heap, x, q, level, table, threadExponent);
}

void DivModSwap(AllocationHeap* heap, BigFloat& x, BigFloat& q, uint32_t level,
                ConversionTable& table, uint32_t threadExponent) {
  DivModAtLevel<Storage::kSwap>(heap, x, q, level, table, threadExponent);
}

}  // namespace zx
