// Log(2) and Log(10) by Machin-like formulas: integer combinations of
//   ArcCoth(x) = Σ_{k≥0} 1/((2k+1)·x^(2k+1)),   x in {26, 99, 251, 449, 4801, 8749},
// each ArcCoth one series summed by the binary-splitting engine and finished by one reciprocal
// and one product. Larger x gain more words a term (2·log_2^32 x), so the formulas with small
// coefficients on large x are the cheap ones.
#pragma once

#include <cstdint>

#include "bignum/bigfloat.hpp"
#include "constants/hypergeometric.hpp"

namespace zx {

// Σ_{k=1}^{N} 1/((2k+1)·x^(2k)) as a hypergeometric series: with P(k) = 2k + 1,
// Q(k) = (2k + 1)·x² and T(k) = 1 a node's T/Q over terms a+1..b is Σ 1/((2k+1)·x^(2(k−a))), its P
// the product of the odd factors (the P's and Q's of a range differ by x^(2(b−a)) only).
struct ArcCothTerms {
  uint32_t x = 0;
  double wordsPerTerm = 0;  // c = 2·ln x / ln 2^32: the words x² takes off each term

  explicit ArcCothTerms(uint32_t xValue);
  double WordsPerTerm() const { return wordsPerTerm; }
  uint64_t TermCount(uint64_t precisionWords) const;
  double SizeEstimate(uint64_t n) const;
  uint64_t BalancedSplitMinTerms() const { return 100; }
  double MemoryFactor() const { return 10.5; }
  void Leaf(uint64_t k, SmallPqt& leaf) const;
};
using ArcCothSeries = HypergeometricSeries<ArcCothTerms>;
static_assert(SeriesPolicy<ArcCothSeries>);

// out = ArcCoth(x) to p words (plus guard words) with 2^k threads; progress prints its
// "ArcCoth( x )" line, the summation and the "Multiplying..." line.
void ArcCoth(AllocationHeap* heap, uint32_t x, BigFloat& out, uint64_t precisionWords,
             bool progress, uint32_t threadExponent);
// The disk-swapping form: the series' upper levels and the reciprocal go through the swap disks.
void ArcCothSwap(AllocationHeap* heap, uint32_t x, BigFloat& out, uint64_t precisionWords,
                 bool progress, uint32_t threadExponent);

// The formulas. With flag 1 each prints its banner, the ArcCoth lines and its time; with 0 it is
// plain arithmetic, as inside the Euler-Mascheroni computation.
void ComputeLog2Machin1(AllocationHeap* heap, BigFloat& out, uint64_t precisionWords, uint32_t flag,
                        uint32_t threadExponent);
void ComputeLog2Machin2(AllocationHeap* heap, BigFloat& out, uint64_t precisionWords, uint32_t flag,
                        uint32_t threadExponent);
void ComputeLog10Machin1(AllocationHeap* heap, BigFloat& out, uint64_t precisionWords,
                         uint32_t flag, uint32_t threadExponent);
void ComputeLog10Machin2(AllocationHeap* heap, BigFloat& out, uint64_t precisionWords,
                         uint32_t flag, uint32_t threadExponent);
void ComputeLog2Machin1Swap(AllocationHeap* heap, BigFloat& out, uint64_t precisionWords,
                            uint32_t flag, uint32_t threadExponent);
void ComputeLog2Machin2Swap(AllocationHeap* heap, BigFloat& out, uint64_t precisionWords,
                            uint32_t flag, uint32_t threadExponent);
void ComputeLog10Machin1Swap(AllocationHeap* heap, BigFloat& out, uint64_t precisionWords,
                             uint32_t flag, uint32_t threadExponent);
void ComputeLog10Machin2Swap(AllocationHeap* heap, BigFloat& out, uint64_t precisionWords,
                             uint32_t flag, uint32_t threadExponent);

// Both results of a compute-and-verify run from five ArcCoth values computed once: for Log(2)
// 72·ArcCoth(99) − 18·ArcCoth(449) + 34·ArcCoth(4801) − 10·ArcCoth(8749) and Machin2, for
// Log(10) Machin1 and Machin2.
void ComputeLog2Pair(AllocationHeap* heap, BigFloat& first, BigFloat& second,
                     uint64_t precisionWords, uint32_t flag, uint32_t threadExponent);
void ComputeLog10Pair(AllocationHeap* heap, BigFloat& first, BigFloat& second,
                      uint64_t precisionWords, uint32_t flag, uint32_t threadExponent);
void ComputeLog2PairSwap(AllocationHeap* heap, BigFloat& first, BigFloat& second,
                         uint64_t precisionWords, uint32_t flag, uint32_t threadExponent);
void ComputeLog10PairSwap(AllocationHeap* heap, BigFloat& first, BigFloat& second,
                          uint64_t precisionWords, uint32_t flag, uint32_t threadExponent);

// Heap bytes of one formula, and of the verify run that keeps five values and two results.
uint64_t LogMemory(uint64_t precisionWords, uint32_t threadExponent);
uint64_t LogVerifyMemory(uint64_t precisionWords, uint32_t threadExponent);

}  // namespace zx
