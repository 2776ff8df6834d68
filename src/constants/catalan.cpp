#include "constants/catalan.hpp"

#include <algorithm>
#include <cmath>

#include "constants/leaf_terms.hpp"
#include "constants/logarithms.hpp"
#include "constants/memory_estimate.hpp"
#include "constants/pi.hpp"
#include "constants/ratio_finish.hpp"
#include "newton/agm.hpp"
#include "newton/inv_sqrt.hpp"
#include "newton/reciprocal.hpp"
#include "shell/console.hpp"

namespace zx {

double LupasTerms::SizeEstimate(uint64_t n) {
  const double x = static_cast<double>(n) + 1;
  return (4 * (std::log(x) - 1) * (x + 0.5) + static_cast<double>(n) * 5.545177444479562 +
          5.675754132818691) *
         kLnToWords;
}

void LupasTerms::Leaf(uint64_t k, SmallPqt& leaf) {
  SmallSetProduct(leaf.p, {2 * k - 1, k, k, k, 32});
  SmallSetPolynomialProduct(leaf.t, k, {40, 56, 19}, {2 * k - 1, k, k, k, 32});
  leaf.t.negative = k % 2 == 1;
  SmallSetProduct(leaf.q, {4 * k + 1, 4 * k + 3, 4 * k + 1, 4 * k + 3});
}

// Q over 1..n is 2^n·(3·5·…·(2n+1))², and the odd numbers' product is (2n+1)!/(2^n·n!).
double CentralBinomialTerms::SizeEstimate(uint64_t n) {
  const double m = static_cast<double>(n);
  const double lnOdd = std::lgamma(2 * m + 2) - m * std::log(2.0) - std::lgamma(m + 1);
  return (m * std::log(2.0) + 2 * lnOdd) * kLnToWords;
}

void CentralBinomialTerms::Leaf(uint64_t k, SmallPqt& leaf) {
  SmallSetProduct(leaf.p, {k, 2 * k - 1});
  SmallSetProduct(leaf.t, {k, 2 * k - 1});
  SmallSetProduct(leaf.q, {2, 2 * k + 1, 2 * k + 1});
}

namespace {

constexpr const char* kComputingLine = "Computing: Catalan's Constant\n\n";
constexpr const char* kTimeLabel = "\nCatalan's Constant Time: ";
constexpr RatioSeriesRun kLupas{
    kComputingLine, "Algorithm: Lupas Formula\n\n", kTimeLabel, {19, 18}};

// a·2^bits in place.
void Scale(AllocationHeap* heap, BigFloat& a, int64_t bits) {
  BigFloatShiftBits(heap, a, bits);
}

// x = value·y keeping keepWords words of y (value may exceed a word).
void MultiplyByInteger(AllocationHeap* heap, BigFloat& y, uint64_t value, BigFloat& out,
                       uint64_t keepWords, uint32_t k) {
  BigFloat factor;
  BigFloatSetU64(heap, factor, value);
  BigFloatMultiplyKeep(heap, y, factor, out, keepWords, k);
  BigFloatRelease(factor);
}

// ln(2 + √3) by the arithmetic-geometric mean. With s = (2 + √3)·2^m,
//   |ln s − π/(2·AGM(1, 4/s))| ≤ 4·(8 + ln s)/s²      (s ≥ 2^8; Brent's bound, checked
//   numerically),
// so m = 16·w + 32 makes the error of ln s smaller than 2^(−32·w) for any w. Then
// ln(2 + √3) = ln s − m·ln 2, and 4/s = (2 − √3)·2^(2−m) needs no division: (2 + √3)(2 − √3) = 1.
// ln s exceeds the result by about 2·log2(w) + 14 bits, which the two extra words of w cover.
template <Storage kStorage>
void LogTwoPlusRootThree(AllocationHeap* heap, BigFloat& pi, BigFloat& rootThree, BigFloat& out,
                         uint64_t w, uint32_t k, bool show) {
  const uint64_t m = 16 * w + 32;
  // AGM(1, 4/s).
  BigFloat a, b, two;
  BigFloatSetWord(heap, a, 1);
  BigFloatSetWord(heap, two, 2);
  BigFloatNegate(rootThree);
  BigFloatAdd(heap, two, rootThree, b, w);
  BigFloatNegate(rootThree);
  BigFloatRelease(two);
  Scale(heap, b, 2 - static_cast<int64_t>(m));
  if (show) {
    ProgressClear();
    ConsoleWrite("Starting AGM...\n");
  }
  if constexpr (kStorage == Storage::kSwap) {
    AgmSwap(heap, a, b, w, k, show);
  } else {
    Agm(heap, a, b, w, k, show);
  }
  BigFloatRelease(b);
  // ln s = π/(2·AGM).
  BigFloat lnS;
  DivideInStages<kStorage>(heap, pi, a, lnS, w, show, k, [&] { StageMultiplying(show, w); });
  BigFloatRelease(a);
  Scale(heap, lnS, -1);
  // − m·ln 2, Log(2) computed here as plain arithmetic.
  BigFloat log2, mLog2;
  if constexpr (kStorage == Storage::kSwap) {
    ComputeLog2Machin1Swap(heap, log2, w, 0, k);
  } else {
    ComputeLog2Machin1(heap, log2, w, 0, k);
  }
  MultiplyByInteger(heap, log2, m, mLog2, w + 3, k);
  BigFloatRelease(log2);
  BigFloatNegate(mLog2);
  BigFloatAdd(heap, lnS, mLog2, out, w);
  BigFloatRelease(lnS);
  BigFloatRelease(mLog2);
}

// G = (π/8)·ln(2 + √3) + (3/8)·(1 + T/Q).
template <Storage kStorage>
void ComputeLogSeries(AllocationHeap* heap, BigFloat& result, uint64_t p, uint32_t k, bool show) {
  const uint64_t w = p + 2;
  // The log-term loses about two words to the cancellation of m·ln 2 against ln s.
  const uint64_t wl = p + 6;
  const StageClock clock =
      StageBegin(show, kComputingLine, "Algorithm: Pi & Log-Term + Series\n\n");
  PqtNode sum;
  SeriesSettings settings;
  settings.precisionWords = w;
  settings.depth = k > 0 ? k + 1 : 0;
  settings.progressPrefix = show ? kSummingPrefix : nullptr;
  SumSeries<kStorage>(HypergeometricSeries<CentralBinomialTerms>{}, heap, sum, settings);
  // (3/8)·(Q + T)/Q: the 8 is a shift after the product.
  StageLine(show, "Finalizing...");
  BigFloat& t = sum.part[kPartT];
  BigFloat& q = sum.part[kPartQ];
  BigFloat numerator;
  BigFloatAdd(heap, q, t, numerator, w);
  BigFloatRelease(t);
  BigFloatMulWordKeep(heap, numerator, 3, w + 4);
  StageOut<kStorage>(heap, numerator);
  BigFloat seriesPart;
  DivideInStages<kStorage>(heap, numerator, q, seriesPart, w, show, k,
                           [&] { StageMultiplying(show, w); });
  BigFloatRelease(numerator);
  BigFloatRelease(q);
  Scale(heap, seriesPart, -3);
  StageOut<kStorage>(heap, seriesPart);

  const StageClock logClock{ClockMillis(), ClockSeconds()};
  StageLine(show, "Computing: 2 + sqrt(3)\n");
  BigFloat rootThree;
  if constexpr (kStorage == Storage::kSwap) {
    InvSqrtIntStaged(heap, 3, rootThree, wl, show, k);
  } else {
    InvSqrtInt(heap, 3, rootThree, wl, show, k);
  }
  BigFloatMulWordKeep(heap, rootThree, 3, wl + 4);  // √3 = 3/√3
  StageOut<kStorage>(heap, rootThree);
  BigFloat pi;
  if constexpr (kStorage == Storage::kSwap) {
    ComputePiChudnovskySwap(heap, pi, wl, 0, k);
  } else {
    ComputePiChudnovsky(heap, pi, wl, 0, k);
  }
  StageOut<kStorage>(heap, pi);
  StageLine(show, "\nComputing: Log-Term\n");
  BigFloat logTerm;
  LogTwoPlusRootThree<kStorage>(heap, pi, rootThree, logTerm, wl, k, show);
  BigFloatRelease(rootThree);
  StageMultiplying(show, w);
  BigFloat piLog;
  BigFloatMultiplyKeep(heap, pi, logTerm, piLog, w + 3, k);
  BigFloatRelease(pi);
  BigFloatRelease(logTerm);
  Scale(heap, piLog, -3);
  StageTime(show, "\nPi & Log-Term Time: ", logClock);

  BigFloatAdd(heap, piLog, seriesPart, result, w);
  BigFloatRelease(piLog);
  BigFloatRelease(seriesPart);
  StageTime(show, "\n\nCatalan's Constant Time: ", clock);
}

}  // namespace

void ComputeCatalanLupas(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                         uint32_t flag, uint32_t threadExponent) {
  ComputeRatioSeries<Storage::kMemory, LupasTerms>(heap, result, precisionWords, threadExponent,
                                                   flag != 0, kLupas);
}

void ComputeCatalanLupasSwap(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                             uint32_t flag, uint32_t threadExponent) {
  ComputeRatioSeries<Storage::kSwap, LupasTerms>(heap, result, precisionWords, threadExponent,
                                                 flag != 0, kLupas);
}

void ComputeCatalanLogSeries(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                             uint32_t flag, uint32_t threadExponent) {
  ComputeLogSeries<Storage::kMemory>(heap, result, precisionWords, threadExponent, flag != 0);
}

void ComputeCatalanLogSeriesSwap(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                                 uint32_t flag, uint32_t threadExponent) {
  ComputeLogSeries<Storage::kSwap>(heap, result, precisionWords, threadExponent, flag != 0);
}

uint64_t CatalanLupasMemory(uint64_t precisionWords, uint32_t threadExponent) {
  return BaseMemoryBytes(precisionWords, threadExponent, 1) + 36 * precisionWords;
}

// The Log(2) inside the log-term runs beside the series part, π, √3 and ln s.
uint64_t CatalanLogSeriesMemory(uint64_t precisionWords, uint32_t threadExponent) {
  const uint64_t p = precisionWords;
  return std::max(BaseMemoryBytes(p, threadExponent, 1) + 48 * p,
                  LogMemory(p + 6, threadExponent) + 16 * (p + 8));
}

uint64_t CatalanVerifyMemory(uint64_t precisionWords, uint32_t threadExponent) {
  return CatalanLogSeriesMemory(precisionWords, threadExponent) + 8 * precisionWords;
}

}  // namespace zx
