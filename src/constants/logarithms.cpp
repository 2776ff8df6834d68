#include "constants/logarithms.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "constants/leaf_terms.hpp"
#include "constants/memory_estimate.hpp"
#include "constants/series_sum.hpp"
#include "constants/stage_lines.hpp"
#include "multiply/multiply.hpp"
#include "newton/reciprocal.hpp"
#include "runtime/threads.hpp"
#include "shell/console.hpp"
#include "shell/number_print.hpp"
#include "shell/progress.hpp"

namespace zx {

// 2 / ln 2^32: ln x to the words x² is worth.
constexpr double kSquareLnToWords = 0.09016844005556021;

ArcCothTerms::ArcCothTerms(uint32_t xValue)
    : x(xValue), wordsPerTerm(std::log(static_cast<double>(xValue)) * kSquareLnToWords) {}

uint64_t ArcCothTerms::TermCount(uint64_t precisionWords) const {
  return std::max<uint64_t>(1, ClampWords(static_cast<double>(precisionWords) / wordsPerTerm));
}

// Words of the product of the leaf Q's over 1..n: the odd numbers' product (Stirling) and x^(2n).
double ArcCothTerms::SizeEstimate(uint64_t n) const {
  const double m = static_cast<double>(n);
  return (std::log(2 * m + 1) - 1) * (2 * m + 1.5) * 0.022542110013890053 + m * wordsPerTerm +
         0.031985868518447515;
}

void ArcCothTerms::Leaf(uint64_t k, SmallPqt& leaf) const {
  SmallSetProduct(leaf.t, {});
  SmallSetProduct(leaf.q, {2 * k + 1, x, x});
  SmallSetProduct(leaf.p, {2 * k + 1});
}

namespace {

// ArcCoth(x) = (1 + T/Q)/x = (Q + T)/(x·Q).
template <Storage kStorage>
void ArcCothImpl(AllocationHeap* heap, uint32_t x, BigFloat& out, uint64_t p, bool progress,
                 uint32_t k) {
  if (progress) {
    ProgressClear();
    ConsolePrintf("ArcCoth( %u )\n", x);
    ProgressTimerStart();
  }
  PqtNode sum;
  SeriesSettings settings;
  settings.precisionWords = p;
  settings.depth = k > 0 ? k + 1 : 0;
  settings.progressPrefix = progress ? kSummingPrefix : nullptr;
  SumSeries<kStorage>(ArcCothSeries{ArcCothTerms(x)}, heap, sum, settings);
  BigFloat& t = sum.part[kPartT];
  BigFloat& q = sum.part[kPartQ];
  BigFloat s;
  BigFloatAdd(heap, q, t, s, p);
  BigFloatRelease(t);
  StageOut<kStorage>(heap, s);
  BigFloatMulWordKeep(heap, q, x, p + 4);
  DivideInStages<kStorage>(heap, s, q, out, p, progress, k,
                           [&] { StageMultiplying(progress, s.magnitude.length); });
  BigFloatRelease(s);
  BigFloatRelease(q);
  BigIntShrink(out.magnitude);
}

struct MachinTerm {
  int32_t coefficient;
  uint32_t x;
};

struct LogFormula {
  const char* name;         // "Log(2)"
  const char* formulaLine;  // as the banner prints it
  MachinTerm terms[4];
};

constexpr LogFormula kLog2Machin1{"Log(2)",
                                  "18*ArcCoth(26) - 2*ArcCoth(4801) + 8*ArcCoth(8749)",
                                  {{18, 26}, {-2, 4801}, {8, 8749}, {0, 0}}};
constexpr LogFormula kLog2Machin2{
    "Log(2)",
    "144*ArcCoth(251) + 54*ArcCoth(449) - 38*ArcCoth(4801) + 62*ArcCoth(8749)",
    {{144, 251}, {54, 449}, {-38, 4801}, {62, 8749}}};
constexpr LogFormula kLog10Machin1{
    "Log(10)",
    "478*ArcCoth(251) + 180*ArcCoth(449) - 126*ArcCoth(4801) + 206*ArcCoth(8749)",
    {{478, 251}, {180, 449}, {-126, 4801}, {206, 8749}}};
constexpr LogFormula kLog10Machin2{
    "Log(10)",
    "239*ArcCoth(99) - 59*ArcCoth(449) + 113*ArcCoth(4801) - 33*ArcCoth(8749)",
    {{239, 99}, {-59, 449}, {113, 4801}, {-33, 8749}}};

// sum += coefficient·value at p + 2 words; value is consumed. The scalar product keeps p + 6 words
// of value first.
template <Storage kStorage>
void AddMultiple(AllocationHeap* heap, BigFloat& sum, BigFloat& value, int32_t coefficient,
                 uint64_t p) {
  BigFloatMulWordKeep(heap, value, static_cast<uint32_t>(std::abs(coefficient)), p + 6);
  if (coefficient < 0) BigFloatNegate(value);
  BigFloat total;
  BigFloatAdd(heap, sum, value, total, p + 2);
  BigFloatRelease(sum);
  BigFloatRelease(value);
  sum = total;
  StageOut<kStorage>(heap, sum);
}

// One ArcCoth series (what a Pi series of the same precision holds) beside up to three values.
uint64_t SeriesGroupBytes(uint64_t p, uint32_t threadExponent) {
  return BaseMemoryBytes(p, threadExponent, 1) + 44 * p;
}

// Slides values down over the gaps below them, lowest first.
void CompactValues(BigFloat* values, size_t count) {
  BigFloat* order[8] = {};
  size_t n = 0;
  for (size_t i = 0; i < count; ++i) {
    if (values[i].magnitude.words == nullptr || values[i].magnitude.length == 0) continue;
    size_t at = n++;
    for (; at > 0 && order[at - 1]->magnitude.words > values[i].magnitude.words; --at) {
      order[at] = order[at - 1];
    }
    order[at] = &values[i];
  }
  for (size_t i = 0; i < n; ++i) {
    BigInt& m = order[i]->magnitude;
    m.words = static_cast<uint32_t*>(HeapCompact(m.words));
  }
}

// values[i] = ArcCoth(xs[i]) at p words. With threads the series are shared out between two groups
// of about equal cost (by the size of their products), one on a new thread: independent series
// scale better than one series split further. That group runs quietly; its lines are printed as
// it starts. Each group needs the heap of one series and its values, so the heap is halved; a
// heap without room for two (a disk-swapping run's, or that of a computation running this one
// inside its own) has them run one by one.
template <Storage kStorage>
void ArcCothValues(AllocationHeap* heap, const uint32_t* xs, size_t count, BigFloat* values,
                   uint64_t p, bool show, uint32_t k) {
  const bool roomForTwo =
      heap == nullptr || HeapFreeSpace(heap) >= 2 * SeriesGroupBytes(p, k > 0 ? k - 1 : 0);
  if (k == 0 || count < 2 || kStorage == Storage::kSwap || !roomForTwo) {
    for (size_t i = 0; i < count; ++i) {
      ArcCothImpl<kStorage>(heap, xs[i], values[i], p, show, k);
      StageOut<kStorage>(heap, values[i]);
    }
    return;
  }
  bool onNewThread[8] = {};
  double groupCost[2] = {0, 0};
  bool placed[8] = {};
  for (size_t round = 0; round < count; ++round) {
    size_t largest = count;
    double largestCost = -1;
    for (size_t i = 0; i < count; ++i) {
      const ArcCothTerms terms(xs[i]);
      const double cost = terms.SizeEstimate(terms.TermCount(p));
      if (!placed[i] && cost > largestCost) {
        largest = i;
        largestCost = cost;
      }
    }
    const int group = groupCost[0] <= groupCost[1] ? 0 : 1;
    placed[largest] = true;
    onNewThread[largest] = group == 0;
    groupCost[group] += largestCost;
  }
  const auto runGroup = [&](AllocationHeap* child, bool newThread) {
    for (size_t i = 0; i < count; ++i) {
      if (onNewThread[i] != newThread) continue;
      ArcCothImpl<kStorage>(child, xs[i], values[i], p, show && !newThread, k - 1);
      StageOut<kStorage>(child, values[i]);
    }
    return uint32_t{0};
  };
  ForkJoin(
      heap, kSeriesSplitThreads, [&](AllocationHeap* child) { return runGroup(child, true); },
      [&](AllocationHeap* child) {
        for (size_t i = 0; i < count && show; ++i) {
          if (!onNewThread[i]) continue;
          ProgressClear();
          ConsolePrintf("ArcCoth( %u )\n", xs[i]);
        }
        return runGroup(child, false);
      });
  if (heap != nullptr) CompactValues(values, count);
}

void PrintLogBanner(const char* name, const char* formulaLine) {
  ConsolePrintf("Computing: %s\n\n", name);
  ConsolePrintf("Algorithm: %s = \n%s\n\n", name, formulaLine);
}

template <Storage kStorage>
void ComputeLog(AllocationHeap* heap, BigFloat& out, uint64_t p, uint32_t flag, uint32_t k,
                const LogFormula& formula) {
  const bool show = flag != 0;
  if (show) PrintLogBanner(formula.name, formula.formulaLine);
  const StageClock clock{ClockMillis(), ClockSeconds()};
  uint32_t xs[4];
  BigFloat values[4];
  size_t count = 0;
  for (const MachinTerm& term : formula.terms) {
    if (term.coefficient != 0) xs[count++] = term.x;
  }
  ArcCothValues<kStorage>(heap, xs, count, values, p + 2, show, k);
  BigFloat sum;
  for (size_t i = 0; i < count; ++i) {
    AddMultiple<kStorage>(heap, sum, values[i], formula.terms[i].coefficient, p);
  }
  out = sum;
  if (show) {
    ProgressClear();
    ConsolePrintf("\nCompute %s Time: ", formula.name);
    PrintSeconds(ElapsedSeconds(clock.startMillis, clock.startSeconds));
  }
}

// The five values a verify run shares, and each result's coefficients on them.
constexpr uint32_t kSharedX[5] = {99, 251, 449, 4801, 8749};

struct LogPair {
  const char* name;
  int32_t first[5];
  int32_t second[5];
};

constexpr LogPair kLog2Pair{"Log(2)", {72, 0, -18, 34, -10}, {0, 144, 54, -38, 62}};
constexpr LogPair kLog10Pair{"Log(10)", {0, 478, 180, -126, 206}, {239, 0, -59, 113, -33}};

template <Storage kStorage>
void ComputeLogPair(AllocationHeap* heap, BigFloat& first, BigFloat& second, uint64_t p,
                    uint32_t flag, uint32_t k, const LogPair& pair) {
  const bool show = flag != 0;
  if (show) ConsolePrintf("Computing: %s\n\n", pair.name);
  const StageClock clock{ClockMillis(), ClockSeconds()};
  BigFloat values[5];
  ArcCothValues<kStorage>(heap, kSharedX, 5, values, p + 2, show, k);
  BigFloat sum;
  for (int i = 0; i < 5; ++i) {
    if (pair.first[i] == 0) continue;
    BigFloat copy;
    BigFloatCopy(heap, values[i], copy);
    AddMultiple<kStorage>(heap, sum, copy, pair.first[i], p);
  }
  first = sum;
  BigFloatSetZero(sum);
  for (int i = 0; i < 5; ++i) {
    if (pair.second[i] != 0) {
      AddMultiple<kStorage>(heap, sum, values[i], pair.second[i], p);
    } else {
      BigFloatRelease(values[i]);
    }
  }
  second = sum;
  if (show) {
    ProgressClear();
    ConsoleWrite("\nCompute and Verify Time: ");
    PrintSeconds(ElapsedSeconds(clock.startMillis, clock.startSeconds));
  }
}

}  // namespace

void ArcCoth(AllocationHeap* heap, uint32_t x, BigFloat& out, uint64_t precisionWords,
             bool progress, uint32_t threadExponent) {
  ArcCothImpl<Storage::kMemory>(heap, x, out, precisionWords, progress, threadExponent);
}

void ArcCothSwap(AllocationHeap* heap, uint32_t x, BigFloat& out, uint64_t precisionWords,
                 bool progress, uint32_t threadExponent) {
  ArcCothImpl<Storage::kSwap>(heap, x, out, precisionWords, progress, threadExponent);
}

void ComputeLog2Machin1(AllocationHeap* heap, BigFloat& out, uint64_t precisionWords, uint32_t flag,
                        uint32_t threadExponent) {
  ComputeLog<Storage::kMemory>(heap, out, precisionWords, flag, threadExponent, kLog2Machin1);
}

void ComputeLog2Machin1Swap(AllocationHeap* heap, BigFloat& out, uint64_t precisionWords,
                            uint32_t flag, uint32_t threadExponent) {
  ComputeLog<Storage::kSwap>(heap, out, precisionWords, flag, threadExponent, kLog2Machin1);
}

void ComputeLog2Machin2(AllocationHeap* heap, BigFloat& out, uint64_t precisionWords, uint32_t flag,
                        uint32_t threadExponent) {
  ComputeLog<Storage::kMemory>(heap, out, precisionWords, flag, threadExponent, kLog2Machin2);
}

void ComputeLog2Machin2Swap(AllocationHeap* heap, BigFloat& out, uint64_t precisionWords,
                            uint32_t flag, uint32_t threadExponent) {
  ComputeLog<Storage::kSwap>(heap, out, precisionWords, flag, threadExponent, kLog2Machin2);
}

void ComputeLog10Machin1(AllocationHeap* heap, BigFloat& out, uint64_t precisionWords,
                         uint32_t flag, uint32_t threadExponent) {
  ComputeLog<Storage::kMemory>(heap, out, precisionWords, flag, threadExponent, kLog10Machin1);
}

void ComputeLog10Machin1Swap(AllocationHeap* heap, BigFloat& out, uint64_t precisionWords,
                             uint32_t flag, uint32_t threadExponent) {
  ComputeLog<Storage::kSwap>(heap, out, precisionWords, flag, threadExponent, kLog10Machin1);
}

void ComputeLog10Machin2(AllocationHeap* heap, BigFloat& out, uint64_t precisionWords,
                         uint32_t flag, uint32_t threadExponent) {
  ComputeLog<Storage::kMemory>(heap, out, precisionWords, flag, threadExponent, kLog10Machin2);
}

void ComputeLog10Machin2Swap(AllocationHeap* heap, BigFloat& out, uint64_t precisionWords,
                             uint32_t flag, uint32_t threadExponent) {
  ComputeLog<Storage::kSwap>(heap, out, precisionWords, flag, threadExponent, kLog10Machin2);
}

void ComputeLog2Pair(AllocationHeap* heap, BigFloat& first, BigFloat& second,
                     uint64_t precisionWords, uint32_t flag, uint32_t threadExponent) {
  ComputeLogPair<Storage::kMemory>(heap, first, second, precisionWords, flag, threadExponent,
                                   kLog2Pair);
}

void ComputeLog2PairSwap(AllocationHeap* heap, BigFloat& first, BigFloat& second,
                         uint64_t precisionWords, uint32_t flag, uint32_t threadExponent) {
  ComputeLogPair<Storage::kSwap>(heap, first, second, precisionWords, flag, threadExponent,
                                 kLog2Pair);
}

void ComputeLog10Pair(AllocationHeap* heap, BigFloat& first, BigFloat& second,
                      uint64_t precisionWords, uint32_t flag, uint32_t threadExponent) {
  ComputeLogPair<Storage::kMemory>(heap, first, second, precisionWords, flag, threadExponent,
                                   kLog10Pair);
}

void ComputeLog10PairSwap(AllocationHeap* heap, BigFloat& first, BigFloat& second,
                          uint64_t precisionWords, uint32_t flag, uint32_t threadExponent) {
  ComputeLogPair<Storage::kSwap>(heap, first, second, precisionWords, flag, threadExponent,
                                 kLog10Pair);
}

namespace {

// A formula's or a verify run's values need one group's heap, or two when the groups run at once;
// then the results: a running sum, or the five values with two results.
uint64_t LogBytes(uint64_t p, uint32_t k, uint64_t resultBytesPerWord) {
  const uint64_t groups = k == 0 ? SeriesGroupBytes(p, 0) : 2 * SeriesGroupBytes(p, k - 1);
  return groups + resultBytesPerWord * p;
}

}  // namespace

uint64_t LogMemory(uint64_t precisionWords, uint32_t threadExponent) {
  return LogBytes(precisionWords, threadExponent, 16);
}

uint64_t LogVerifyMemory(uint64_t precisionWords, uint32_t threadExponent) {
  return LogBytes(precisionWords, threadExponent, 40);
}

}  // namespace zx
