#include "newton/agm.hpp"

#include <algorithm>
#include <cmath>

#include "multiply/multiply.hpp"
#include "newton/inv_sqrt.hpp"
#include "newton/newton_common.hpp"
#include "shell/console.hpp"
#include "shell/number_print.hpp"
#include "shell/progress.hpp"

namespace zx {

void HalveExact(AllocationHeap* heap, BigFloat& sum) {
  if (BigFloatIsZero(sum)) return;
  BigIntMakeResident(heap, sum.magnitude);
  sum.exponent -= 1;
  // A right shift would drop an odd lowest bit; then the word just added below takes it instead.
  if ((sum.magnitude.words[0] & 1) == 0) {
    BigIntShiftRightBits(heap, sum.magnitude, 1);
    sum.exponent += 1;
  } else {
    BigIntShiftLeftBits(heap, sum.magnitude, 31);
  }
}

namespace {

void PrintAgmIteration(uint64_t iteration, int64_t agreeingWords) {
  ProgressClear();
  ConsolePrintf("AGM Iteration:  %llu  ( ", static_cast<unsigned long long>(iteration));
  const auto magnitude = static_cast<uint64_t>(agreeingWords < 0 ? -agreeingWords : agreeingWords);
  if (agreeingWords < 0) ConsoleWrite("-");
  PrintCommas(1 + static_cast<uint64_t>(static_cast<double>(magnitude) * kDigitsPerWord), 0);
  ConsoleWrite(" )");
  ConsoleFlush();
}

template <Storage kStorage>
void AgmImpl(AllocationHeap* heap, BigFloat& a, BigFloat& b, uint64_t precisionWords,
             uint32_t threadExponent, bool progress) {
  const uint64_t w = precisionWords + 8;
  const uint32_t labelMark = Progress().labelLength;
  for (uint64_t iteration = 0;; ++iteration) {
    BigFloat t;
    const int64_t differ = BigFloatAddMeasure(heap, a, b, t, w);
    HalveExact(heap, t);
    StageOut<kStorage>(heap, t);
    BigFloat product;
    BigFloatMultiplyKeep(heap, a, b, product, w + 3, threadExponent);
    BigFloatRelease(a);
    BigFloatRelease(b);
    StageOut<kStorage>(heap, product);
    BigFloat root;
    if constexpr (kStorage == Storage::kSwap) {
      InvSqrtStaged(heap, product, root, w, 1, false, threadExponent);
    } else {
      InvSqrt(heap, product, root, w, false, threadExponent);
    }
    BigFloatMultiplyKeep(heap, root, product, b, w + 3, threadExponent);
    BigFloatRelease(root);
    BigFloatRelease(product);
    a = t;
    const int64_t topA = BigFloatTop(a);
    const int64_t topB = BigFloatTop(b);
    if (progress) PrintAgmIteration(iteration, std::min(topA, topB) - differ);
    LabelPopTo(labelMark);
    StageOut<kStorage>(heap, a);
    StageOut<kStorage>(heap, b);
    if (std::max(topA, topB) - differ >= static_cast<int64_t>(w / 2 + 5)) break;
  }
}

}  // namespace

void Agm(AllocationHeap* heap, BigFloat& a, BigFloat& b, uint64_t precisionWords,
         uint32_t threadExponent, bool progress) {
  AgmImpl<Storage::kMemory>(heap, a, b, precisionWords, threadExponent, progress);
}

void AgmSwap(AllocationHeap* heap, BigFloat& a, BigFloat& b, uint64_t precisionWords,
             uint32_t threadExponent, bool progress) {
  AgmImpl<Storage::kSwap>(heap, a, b, precisionWords, threadExponent, progress);
}

}  // namespace zx
