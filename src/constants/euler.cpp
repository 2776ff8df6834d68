#include "constants/euler.hpp"

#include <algorithm>
#include <cmath>

#include "constants/leaf_terms.hpp"
#include "constants/logarithms.hpp"
#include "constants/memory_estimate.hpp"
#include "constants/series_sum.hpp"
#include "constants/stage_lines.hpp"
#include "shell/console.hpp"
#include "newton/reciprocal.hpp"
#include "shell/progress.hpp"

namespace zx {
namespace {

constexpr double kLn2 = 0.6931471805599453;
// 2/(32·ln 2): natural logarithms of a square to words.
constexpr double kSquareLnToWords = 0.09016844005556021;
// 0.5·ln 2π: Stirling's constant.
constexpr double kStirling = 1.4189385332046727;
// Above this many words a verify run's refined method and the size table stop.
constexpr uint64_t kLargestWords = 1610357068;
// Products of ranges this short keep every word.
constexpr uint64_t kUntruncatedTerms = 5;

double StirlingLnFactorial(double x) { return (std::log(x) - 1) * (x + 0.5) + kStirling; }

}  // namespace

double TermWordsAB(uint32_t e, uint64_t k) {
  if (k == 0) return 0;
  const double x = static_cast<double>(k);
  return (x * e * kLn2 - StirlingLnFactorial(x)) * kSquareLnToWords;
}

uint64_t RemainingWordsAB(uint64_t precisionWords, uint32_t e, double offsetWords, uint64_t k) {
  const double words = static_cast<double>(precisionWords) + TermWordsAB(e, k) - offsetWords;
  return std::min(ClampWords(words), std::min(precisionWords, kNoTruncation));
}

uint64_t TermCountAB(uint32_t e, uint64_t precisionWords, double offsetWords) {
  const double bound = offsetWords - static_cast<double>(precisionWords);
  uint64_t lo = uint64_t{1} << e;
  uint64_t hi = lo;
  while (TermWordsAB(e, hi) > bound) {
    lo = hi;
    hi *= 2;
  }
  while (hi - lo > 1) {
    const uint64_t mid = lo + (hi - lo) / 2;
    const double words = TermWordsAB(e, mid);
    if (words == bound) return mid;
    if (words > bound) {
      lo = mid;
    } else {
      hi = mid;
    }
  }
  return hi;
}

double SizeAB(uint32_t e, uint64_t x) {
  const double m = static_cast<double>(x);
  return ((std::log(m + 1) - 1) * (m + 1.5) + m * (e * 1.3862943611198906 + 3.4657359027997265) +
          kStirling) *
         kLnToWords;
}

// The Stirling estimate of log_2^32 of ((2K+1)!)³ / ((K+1)!)⁴ / 2^(2K(e+4)).
double TermWordsC(uint32_t e, uint64_t k) {
  const double x = static_cast<double>(k);
  return (3 * ((std::log(2 * x + 1) - 1) * (2 * x + 1.5)) + 4.2568155996140185 -
          (4 * ((std::log(x + 1) - 1) * (x + 1.5)) + 5.675754132818691) -
          2 * x * (e + 4) * kLn2) *
         kLnToWords;
}

uint64_t TermCountC(uint32_t e, uint64_t precisionWords) {
  const uint64_t twoN = uint64_t{2} << e;
  if (twoN - 1 < 2) return twoN;
  const double target = -static_cast<double>(precisionWords);
  uint64_t lo = 1;
  uint64_t hi = twoN;
  while (hi - lo >= 2) {
    const uint64_t mid = lo + (hi - lo) / 2;
    const double words = TermWordsC(e, mid);
    if (words == target) return mid;
    if (words > target) {
      lo = mid;
    } else {
      hi = mid;
    }
  }
  return hi;
}

BrentMcMillanSeries::BrentMcMillanSeries(uint32_t exponent, uint64_t precisionWords)
    : e(exponent), n(uint64_t{1} << exponent) {
  offsetWords = TermWordsAB(e, n) + 1;
  lastTerm = TermCountAB(e, precisionWords, offsetWords);
}

uint64_t BrentMcMillanSeries::RemainingWords(uint64_t precisionWords, uint64_t a) const {
  return RemainingWordsAB(precisionWords, e, offsetWords, std::max(a + 1, n));
}

void BrentMcMillanSeries::Leaf(AllocationHeap* heap, uint64_t k, Node& node, bool wantX1) const {
  if (wantX1) BigFloatSetWord(heap, node.part[0], 1);
  BigFloatSetU64(heap, node.part[1], k);
  BigFloatSetWord(heap, node.part[2], 1);
  BigFloatShiftBits(heap, node.part[2], 2 * static_cast<int64_t>(e) * static_cast<int64_t>(k));
  BigFloatCopy(heap, node.part[2], node.part[3]);
}

namespace {

// A node over a+1..b with X3 and X4 divided by n^(2(a+1)), so that they stay small integers.
struct SmallAB {
  SmallInt x1, x2, x3, x4;
};

// The merge below with the powers of n relative: the right node's X3 and X4 are n^(2(m−a))
// times larger than their own relative values say.
void SumSmallAB(uint32_t e, uint64_t a, uint64_t b, SmallAB& out) {
  if (b - a == 1) {
    SmallSetProduct(out.x1, {});
    SmallSetProduct(out.x2, {b});
    SmallSetProduct(out.x3, {});
    SmallSetProduct(out.x4, {});
    return;
  }
  const uint64_t m = a + (b - a) / 2;
  SmallAB left, right;
  SumSmallAB(e, a, m, left);
  SumSmallAB(e, m, b, right);
  SmallShiftLeft(right.x3, 2 * e * (m - a));
  SmallShiftLeft(right.x4, 2 * e * (m - a));
  SmallInt l1r2, r2sq, x, y, sum;
  SmallMultiply(left.x1, right.x2, l1r2);
  SmallMultiply(right.x2, right.x2, r2sq);
  SmallMultiply(left.x3, r2sq, x);
  SmallAdd(x, right.x3, out.x3);
  SmallMultiply(left.x4, r2sq, x);
  SmallMultiply(x, right.x2, y);
  SmallMultiply(l1r2, right.x3, x);
  SmallAdd(y, x, sum);
  SmallMultiply(right.x4, left.x2, x);
  SmallAdd(sum, x, out.x4);
  SmallMultiply(right.x1, left.x2, x);
  SmallAdd(l1r2, x, out.x1);
  SmallMultiply(left.x2, right.x2, out.x2);
}

}  // namespace

bool BrentMcMillanSeries::LeafRange(AllocationHeap* heap, uint64_t a, uint64_t b, Node& node,
                                    bool wantX1) const {
  if (b - a > kSmallRangeMaxTerms || SizeEstimate(b) - SizeEstimate(a) > kSmallRangeMaxWords) {
    return false;
  }
  SmallAB range;
  SumSmallAB(e, a, b, range);
  if (wantX1) StoreSmall(heap, range.x1, node.part[0]);
  StoreSmall(heap, range.x2, node.part[1]);
  StoreSmall(heap, range.x3, node.part[2]);
  StoreSmall(heap, range.x4, node.part[3]);
  const auto shift = 2 * static_cast<int64_t>(e) * static_cast<int64_t>(a + 1);
  BigFloatShiftBits(heap, node.part[2], shift);
  BigFloatShiftBits(heap, node.part[3], shift);
  return true;
}

// X1 = L1·R2 + R1·L2, X2 = L2·R2, X3 = L3·R2² + R3, X4 = L4·R2³ + L1·R2·R3 + R4·L2. Every product
// and sum keeps the words of the node's largest term, the one nearest n; all terms are positive,
// so nothing cancels.
void BrentMcMillanSeries::Merge(AllocationHeap* heap, Node& left, Node& right, Node& out,
                                const SeriesMerge& merge) const {
  const uint64_t largest = std::clamp(n, merge.a + 1, merge.b);
  const uint64_t words = merge.b - merge.a < kUntruncatedTerms
                             ? kNoTruncation
                             : RemainingWordsAB(merge.precisionWords, e, offsetWords, largest);
  const uint64_t keep = words == kNoTruncation ? kNoTruncation : words + 3;
  const uint32_t threads = merge.threads;
  BigFloat& l1 = left.part[0];
  BigFloat& l2 = left.part[1];
  BigFloat& l3 = left.part[2];
  BigFloat& l4 = left.part[3];
  BigFloat& r1 = right.part[0];
  BigFloat& r2 = right.part[1];
  BigFloat& r3 = right.part[2];
  BigFloat& r4 = right.part[3];
  BigFloat l1r2, r2sq, x;
  BigFloatMultiplyKeep(heap, l1, r2, l1r2, keep, threads);
  BigFloatRelease(l1);
  BigFloatMultiplyKeep(heap, r2, r2, r2sq, keep, threads);
  // X3 = L3·R2² + R3.
  BigFloatMultiplyKeep(heap, l3, r2sq, x, keep, threads);
  BigFloatRelease(l3);
  BigFloatAdd(heap, x, r3, out.part[2], words);
  BigFloatRelease(x);
  // X4 = L4·R2²·R2 + L1R2·R3 + R4·L2.
  BigFloat y, sum;
  BigFloatMultiplyKeep(heap, l4, r2sq, x, keep, threads);
  BigFloatRelease(l4);
  BigFloatRelease(r2sq);
  BigFloatMultiplyKeep(heap, x, r2, y, keep, threads);
  BigFloatRelease(x);
  BigFloatMultiplyKeep(heap, l1r2, r3, x, keep, threads);
  BigFloatRelease(r3);
  BigFloatAdd(heap, y, x, sum, words);
  BigFloatRelease(y);
  BigFloatRelease(x);
  BigFloatMultiplyKeep(heap, r4, l2, x, keep, threads);
  BigFloatRelease(r4);
  BigFloatAdd(heap, sum, x, out.part[3], words);
  BigFloatRelease(sum);
  BigFloatRelease(x);
  // X1 = L1R2 + R1·L2, for a node with a right neighbour.
  if (merge.wantP) {
    BigFloatMultiplyKeep(heap, r1, l2, x, keep, threads);
    BigFloatAdd(heap, l1r2, x, out.part[0], words);
    BigFloatRelease(x);
  }
  BigFloatRelease(l1r2);
  BigFloatRelease(r1);
  BigFloatMultiplyKeep(heap, l2, r2, out.part[1], keep, threads);
  BigFloatRelease(l2);
  BigFloatRelease(r2);
}

uint64_t BrentMcMillanCTerms::RemainingWords(uint64_t precisionWords, uint64_t k) const {
  return ClampWords(static_cast<double>(precisionWords) + TermWordsC(e, k));
}

double BrentMcMillanCTerms::SizeEstimate(uint64_t k) const {
  const double x = static_cast<double>(k);
  return (x * (2.0 * e + 5) * kLn2 + std::lgamma(x + 1)) * kLnToWords;
}

void BrentMcMillanCTerms::Leaf(uint64_t k, SmallPqt& leaf) const {
  const uint64_t odd = 2 * k - 1;
  SmallSetProduct(leaf.p, {odd, odd, odd});
  SmallSetProduct(leaf.t, {odd, odd, odd});
  SmallSetProduct(leaf.q, {32, k, uint64_t{1} << e, uint64_t{1} << e});
}

namespace {

void ReleaseAll(std::initializer_list<BigFloat*> values) {
  for (BigFloat* value : values) BigFloatRelease(*value);
}

// C/B² at pc words: C = (1 + T/Q)/2^(e+2) from series C, 1/B = X2³/D with D = X2·(X2² + X3).
template <Storage kStorage>
void Correction(AllocationHeap* heap, uint32_t e, uint64_t pc, BigFloat& x2, BigFloat& x2sq,
                BigFloat& inverseD, BigFloat& out, uint32_t k, bool show) {
  const HypergeometricSeries<BrentMcMillanCTerms> series{{e, TermCountC(e, pc)}};
  PqtNode sum;
  SeriesSettings settings;
  settings.precisionWords = pc;
  settings.depth = k > 0 ? k + 2 : 0;
  settings.progressPrefix = show ? kSummingPrefix : nullptr;
  SumSeries<kStorage>(series, heap, sum, settings);
  StageLine(show, "Finializing...");
  BigFloat& t = sum.part[kPartT];
  BigFloat& q = sum.part[kPartQ];
  BigFloat c, inverseB, inverseB2, product;
  BigFloatAdd(heap, q, t, c, pc);
  BigFloatRelease(t);
  DivideInStages<kStorage>(heap, c, q, product, pc, show, k, [] {});
  ReleaseAll({&c, &q});
  BigFloatShiftBits(heap, product, -static_cast<int64_t>(e) - 2);
  BigFloat x2cube;
  BigFloatMultiplyKeep(heap, x2sq, x2, x2cube, pc + 3, k);
  BigFloatMultiplyKeep(heap, x2cube, inverseD, inverseB, pc + 3, k);
  BigFloatRelease(x2cube);
  BigFloatMultiplyKeep(heap, inverseB, inverseB, inverseB2, pc + 3, k);
  BigFloatRelease(inverseB);
  BigFloatMultiplyKeep(heap, product, inverseB2, out, pc + 3, k);
  ReleaseAll({&product, &inverseB2});
}

template <Storage kStorage>
void BrentMcMillan(AllocationHeap* heap, BigFloat& result, BigFloat* log2Out, uint32_t e,
                   uint64_t p, uint32_t k, bool show, bool refined) {
  const uint64_t w = p + 2;
  if (show) {
    ConsoleWrite("Computing: Euler-Mascheroni Constant\n\n");
    ConsolePrintf(refined ? "Algorithm: Brent-McMillan Formula with Refinement (n = 2^%u)\n"
                          : "Algorithm: Brent-McMillan Formula (n = 2^%u)\n",
                  e);
    LabelPopTo(0);
    ProgressTimerStart();
    ConsoleWrite("Series A and B:\n");
  }
  const StageClock clock{ClockMillis(), ClockSeconds()};

  // Two summations: the rising terms up to n, and the falling ones after it, which the planner
  // cuts into segments of falling precision; then one merge joins them.
  const BrentMcMillanSeries series(e, w);
  SeriesSettings settings;
  settings.precisionWords = w;
  settings.depth = k > 0 ? k + 1 : 0;
  settings.progressPrefix = show ? kSummingPrefix : nullptr;
  settings.firstTerm = 0;
  settings.lastTerm = series.n;
  SeriesNode<4> rising, falling, whole;
  SumSeries<kStorage>(series, heap, rising, settings, true);
  settings.firstTerm = series.n;
  settings.lastTerm = series.lastTerm;
  SumSeries<kStorage>(series, heap, falling, settings, false);
  series.Merge(heap, rising, falling, whole,
               SeriesMerge{0, series.n, series.lastTerm, w, false, MultiplyThreads(k)});

  // A/B = X4/(X2·(X2² + X3)) with one reciprocal.
  StageLine(show, "Finializing...");
  BigFloat& x2 = whole.part[1];
  BigFloat& x3 = whole.part[2];
  BigFloat& x4 = whole.part[3];
  BigFloat x2sq, s, d, aOverB;
  BigFloatMultiplyKeep(heap, x2, x2, x2sq, w + 3, k);
  BigFloatAdd(heap, x2sq, x3, s, w);
  BigFloatRelease(x3);
  BigFloatMultiplyKeep(heap, x2, s, d, w + 3, k);
  BigFloatRelease(s);
  // D's reciprocal is kept: the correction series takes 1/B = X2³/D from it.
  if constexpr (kStorage == Storage::kSwap) {
    InvertInPlaceStaged(heap, d, w, show, k);
  } else {
    InvertInPlace(heap, d, w, show, k);
  }
  BigFloatMultiplyKeep(heap, x4, d, aOverB, w + 3, k);
  BigFloatRelease(x4);
  StageOut<kStorage>(heap, aOverB);
  if (show) {
    ProgressClear();
    ConsoleWrite("Time: ");
    PrintSeconds(ElapsedSeconds(clock.startMillis, clock.startSeconds));
    ConsoleWrite("\n");
  }

  BigFloat correction;
  if (refined) {
    if (show) ConsoleWrite("\nSeries C:\n");
    // e^(−4n) in words: the correction's size against A/B.
    const uint64_t m = 3 + static_cast<uint64_t>(4.0 * static_cast<double>(series.n) * kLnToWords);
    if (m >= w) {
      if (show) ConsoleWrite("Series C not needed\n");
    } else {
      Correction<kStorage>(heap, e, w - m, x2, x2sq, d, correction, k, show);
    }
  }
  ReleaseAll({&x2, &x2sq, &d});

  // ln n = e·Log(2). A run still short at this point keeps the Log(2) quiet.
  BigFloat log2;
  const double seconds = ElapsedSeconds(clock.startMillis, clock.startSeconds);
  const bool quiet = !show || seconds <= 30;
  const StageClock logClock{ClockMillis(), ClockSeconds()};
  StageLine(show && quiet, "Computing: Log(2)\n");
  if constexpr (kStorage == Storage::kSwap) {
    ComputeLog2Machin1Swap(heap, log2, w, quiet ? 0 : 1, k);
  } else {
    ComputeLog2Machin1(heap, log2, w, quiet ? 0 : 1, k);
  }
  if (show && quiet) StageTime(true, "Log(2) Time: ", logClock);
  if (log2Out != nullptr) BigFloatCopy(heap, log2, *log2Out);
  if (e == 0) {
    BigFloatRelease(log2);
    BigFloatSetZero(log2);
  } else if (e > 1) {
    BigFloatMulWordKeep(heap, log2, e, p + 6);
  }

  // γ = A/B − ln n (− C/B²).
  BigFloat gamma;
  BigFloatNegate(log2);
  BigFloatAdd(heap, aOverB, log2, gamma, w);
  ReleaseAll({&aOverB, &log2});
  if (!BigFloatIsZero(correction)) {
    BigFloatNegate(correction);
    BigFloatAdd(heap, gamma, correction, result, w);
    ReleaseAll({&gamma, &correction});
  } else {
    result = gamma;
  }
  StageTime(show, "\nEuler-Mascheroni Constant Time: ", clock);
}

}  // namespace

void EulerBrentMcMillan(AllocationHeap* heap, BigFloat& result, BigFloat* log2, uint32_t e,
                        uint64_t precisionWords, uint32_t flag, uint32_t threadExponent) {
  BrentMcMillan<Storage::kMemory>(heap, result, log2, e, precisionWords, threadExponent,
                                  flag != 0, false);
}

void EulerBrentMcMillanRefined(AllocationHeap* heap, BigFloat& result, BigFloat* log2, uint32_t e,
                               uint64_t precisionWords, uint32_t flag, uint32_t threadExponent) {
  BrentMcMillan<Storage::kMemory>(heap, result, log2, e, precisionWords, threadExponent,
                                  flag != 0, true);
}

void EulerBrentMcMillanSwap(AllocationHeap* heap, BigFloat& result, BigFloat* log2, uint32_t e,
                            uint64_t precisionWords, uint32_t flag, uint32_t threadExponent) {
  BrentMcMillan<Storage::kSwap>(heap, result, log2, e, precisionWords, threadExponent, flag != 0,
                                false);
}

void EulerBrentMcMillanRefinedSwap(AllocationHeap* heap, BigFloat& result, BigFloat* log2,
                                   uint32_t e, uint64_t precisionWords, uint32_t flag,
                                   uint32_t threadExponent) {
  BrentMcMillan<Storage::kSwap>(heap, result, log2, e, precisionWords, threadExponent, flag != 0,
                                true);
}

uint64_t EulerMemory(uint64_t precisionWords, uint32_t threadExponent) {
  return BaseMemoryBytes(precisionWords, threadExponent, 2) + 64 * precisionWords;
}

uint64_t EulerVerifyMemory(uint64_t precisionWords, uint32_t threadExponent) {
  return BaseMemoryBytes(precisionWords, threadExponent, 2) + 76 * precisionWords;
}

EulerSize EulerSizeOfRow(uint32_t row) {
  const double x = std::ldexp(1.0, static_cast<int>(row) + 3) - 20;
  return {static_cast<uint64_t>(x * 0.43429448190325176),
          static_cast<uint64_t>(x * 0.36067376022224085),
          3 + static_cast<uint64_t>(x * kLnToWords)};
}

uint64_t EulerTableDigits(uint32_t row) {
  return static_cast<uint64_t>(std::ldexp(1.0, static_cast<int>(row) + 3) * 0.43429448190325176);
}

uint32_t EulerLastRow() {
  uint32_t row = kEulerFirstRow;
  while (row < 63 && static_cast<uint64_t>(std::ldexp(1.0, static_cast<int>(row) + 3) *
                                           kLnToWords) < kLargestWords) {
    ++row;
  }
  return row;
}

uint32_t EulerRowForDigits(uint64_t decimalDigits) {
  for (uint32_t row = kEulerFirstRow; row <= EulerLastRow(); ++row) {
    if (EulerSizeOfRow(row).decimalDigits >= decimalDigits) return row;
  }
  return 0;
}

}  // namespace zx
