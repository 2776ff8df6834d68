// The finish of a series summed as T/Q whose value is (A·Q + T)/(D·Q): the term 0 is the constant
// A and the whole sum is divided by D (Zeta(3)'s and Catalan's series). D enters Q by a scalar
// product before the one reciprocal, so the finish costs a reciprocal and two products.
#pragma once

#include <cstdint>

#include "bignum/bigfloat.hpp"
#include "constants/hypergeometric.hpp"
#include "constants/series_sum.hpp"
#include "constants/stage_lines.hpp"

namespace zx {

struct RatioFinish {
  uint32_t termZero;     // A
  uint32_t denominator;  // D
};

// result = (A·Q + T)/(D·Q) to p words plus guard words, with 2^k threads; t and q are consumed.
// Prints "Finalizing..." and the "Multiplying..." line when show is set. The swapping form inverts
// with the staged reciprocal.
template <Storage kStorage>
void FinishRatio(AllocationHeap* heap, BigFloat& t, BigFloat& q, const RatioFinish& finish,
                 BigFloat& result, uint64_t precisionWords, uint32_t threadExponent, bool show);

// A whole computation of such a constant: banner, the series at p + 2 words on 2^(k+1) threads
// (one when k = 0), the finish, and the closing time line.
struct RatioSeriesRun {
  const char* computingLine;  // "Computing: Zeta(3) (Apery's Constant)\n\n"
  const char* algorithmLine;  // "Algorithm: ...\n\n"
  const char* timeLabel;      // "\nZeta(3) Time: "
  RatioFinish finish;
};

template <Storage kStorage, HypergeometricTerms Terms>
void ComputeRatioSeries(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                        uint32_t threadExponent, bool show, const RatioSeriesRun& run) {
  const StageClock clock = StageBegin(show, run.computingLine, run.algorithmLine);
  PqtNode sum;
  SeriesSettings settings;
  settings.precisionWords = precisionWords + 2;
  settings.depth = threadExponent > 0 ? threadExponent + 1 : 0;
  settings.progressPrefix = show ? kSummingPrefix : nullptr;
  SumSeries<kStorage>(HypergeometricSeries<Terms>{}, heap, sum, settings);
  FinishRatio<kStorage>(heap, sum.part[kPartT], sum.part[kPartQ], run.finish, result,
                        precisionWords, threadExponent, show);
  StageTime(show, run.timeLabel, clock);
}

}  // namespace zx
