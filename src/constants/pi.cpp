#include "constants/pi.hpp"

#include <algorithm>

#include "constants/leaf_terms.hpp"
#include "constants/series_sum.hpp"
#include "multiply/multiply.hpp"
#include "newton/inv_sqrt.hpp"
#include "newton/reciprocal.hpp"
#include "shell/console.hpp"
#include "shell/number_print.hpp"
#include "shell/progress.hpp"

namespace zx {

void ChudnovskySeries::Leaf(AllocationHeap* heap, uint64_t k, BigFloat& t, BigFloat& q, BigFloat* p) {
  // P stays positive: the alternating sign rides on T alone.
  BigFloat pk;
  SetProduct(heap, pk, {2 * k - 1, 6 * k - 5, 6 * k - 1});
  BigFloatCopy(heap, pk, t);
  MultiplySmall(heap, t, 13591409 + 545140134 * k);
  if (k % 2 == 1) BigFloatNegate(t);
  SetProduct(heap, q, {kLeafQ, k, k, k});
  if (p != nullptr) {
    *p = pk;
  } else {
    BigFloatRelease(pk);
  }
}

void RamanujanSeries::Leaf(AllocationHeap* heap, uint64_t k, BigFloat& t, BigFloat& q, BigFloat* p) {
  BigFloat pk;
  SetProduct(heap, pk, {4 * k - 1, 4 * k - 2, 4 * k - 3});
  BigFloatCopy(heap, pk, t);
  MultiplySmall(heap, t, 1103 + 26390 * k);
  SetProduct(heap, q, {kLeafQ, k, k, k});
  if (p != nullptr) {
    *p = pk;
  } else {
    BigFloatRelease(pk);
  }
}

namespace {

struct PiFinish {
  const char* algorithmLine;
  uint32_t termZero;         // A: adds the term k = 0, whose P and Q are 1
  uint32_t numerator;
  uint32_t invSqrtOf;
};

template <SeriesPolicy S, bool kSwap>
void ComputePi(AllocationHeap* heap, BigFloat& result, uint64_t p, uint32_t k, const PiFinish& f) {
  const uint64_t w = p + 2;
  const uint64_t cap = p + 5;
  ConsoleWrite("Computing: Pi\n\n");
  ConsoleWrite(f.algorithmLine);
  ConsoleWrite("Summing Series:\n");
  ProgressTimerStart();
  const int64_t startMillis = ClockMillis();
  const int64_t startSeconds = ClockSeconds();

  BigFloat t, q;
  SumSeriesImpl<S, kSwap>(heap, t, q, w, k > 0 ? k + 1 : 0);

  ProgressClear();
  ConsoleWrite("Finalizing...");
  BigFloat constant, numerator, denominator;
  BigFloatSetWord(heap, constant, f.numerator);
  BigFloatMultiplyKeep(heap, q, constant, numerator, cap, k);
  BigFloatRelease(constant);
  BigFloatSetWord(heap, constant, f.termZero);
  BigFloatMultiplyKeep(heap, q, constant, denominator, cap, k);
  BigFloatRelease(constant);
  BigFloatRelease(q);
  BigFloatAdd(heap, denominator, t, denominator, w);
  BigFloatRelease(t);
  if constexpr (kSwap) {
    InvertInPlaceStaged(heap, denominator, w, true, k);
  } else {
    InvertInPlace(heap, denominator, w, true, k);
  }

  ProgressClear();
  ConsoleWrite("Multiplying...  \t( ");
  PrintCommas(static_cast<uint64_t>(static_cast<double>(w) * 9.632959861247397) + 1, 0);
  ConsoleWrite(" )");
  ConsoleFlush();
  BigFloat quotient;
  BigFloatMultiplyKeep(heap, numerator, denominator, quotient, cap, k);
  BigFloatRelease(numerator);
  BigFloatRelease(denominator);

  ProgressTimerStart();
  ProgressClear();
  ConsoleWrite("InvSqrt...\n");
  BigFloat root;
  if constexpr (kSwap) {
    InvSqrtIntStaged(heap, f.invSqrtOf, root, w, true, k);
  } else {
    InvSqrtInt(heap, f.invSqrtOf, root, w, true, k);
  }

  ProgressTimerStart();
  ProgressClear();
  ConsoleWrite("Final Multiply...\n");
  BigFloatMultiplyKeep(heap, quotient, root, result, cap, k);
  BigFloatRelease(root);
  BigFloatRelease(quotient);

  ConsoleWrite("\nCompute Pi Time: ");
  PrintSeconds(ElapsedSeconds(startMillis, startSeconds));
}

template <SeriesPolicy S>
uint64_t PiMemory(uint64_t p, uint32_t k) {
  const uint64_t n = TermCount<S>(p);
  const uint64_t m = GrowSplit<S>(0, n, p, 0);
  const auto gained = static_cast<uint64_t>(static_cast<double>(m) * S::kWordsPerTerm);
  const uint64_t dataWords = 4 * p > gained ? 4 * p - gained : 0;
  return BaseMemoryBytes(p, k, 1) + dataWords * 8;
}

constexpr PiFinish kChudnovskyFinish{"Algorithm: Chudnovsky Formula\n\n", 13591409, 4270934400u,
                                     10005};
constexpr PiFinish kRamanujanFinish{"Algorithm: Ramanujan's Formula\n\n", 1103, 9801, 8};

}  // namespace

void ComputePiChudnovsky(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                         uint32_t /*flag*/, uint32_t threadExponent) {
  ComputePi<ChudnovskySeries, false>(heap, result, precisionWords, threadExponent,
                                     kChudnovskyFinish);
}

void ComputePiRamanujan(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                        uint32_t /*flag*/, uint32_t threadExponent) {
  ComputePi<RamanujanSeries, false>(heap, result, precisionWords, threadExponent, kRamanujanFinish);
}

void ComputePiChudnovskySwap(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                             uint32_t /*flag*/, uint32_t threadExponent) {
  ComputePi<ChudnovskySeries, true>(heap, result, precisionWords, threadExponent,
                                    kChudnovskyFinish);
}

void ComputePiRamanujanSwap(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                            uint32_t /*flag*/, uint32_t threadExponent) {
  ComputePi<RamanujanSeries, true>(heap, result, precisionWords, threadExponent, kRamanujanFinish);
}

uint64_t BaseMemoryBytes(uint64_t lengthWords, uint32_t threadExponent, uint32_t extraLevels) {
  if (threadExponent == 0) return MultiplyMemoryBytes(lengthWords, 0);
  uint64_t bytes = MultiplyMemoryBytes(lengthWords, threadExponent);
  uint64_t s = lengthWords / 4 + 10;
  const uint32_t levels = threadExponent + extraLevels;
  for (uint32_t j = 1; j <= levels; ++j) {
    s = s / 2 + 10;
    bytes = std::max(bytes, MultiplyMemoryBytes(s, levels - j) << j);
  }
  return bytes;
}

uint64_t PiMemoryChudnovsky(uint64_t precisionWords, uint32_t threadExponent) {
  return PiMemory<ChudnovskySeries>(precisionWords, threadExponent);
}

uint64_t PiMemoryRamanujan(uint64_t precisionWords, uint32_t threadExponent) {
  return PiMemory<RamanujanSeries>(precisionWords, threadExponent);
}

}  // namespace zx
