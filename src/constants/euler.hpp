// The Euler-Mascheroni constant γ by Brent and McMillan's method with n = 2^e:
//   B = Σ_{k≥0} (n^k/k!)²,  A = Σ_{k≥0} (n^k/k!)²·H_k,  γ = A/B − ln n + O(e^(−4n)),
// and with the refinement γ = A/B − C/B² − ln n + O(e^(−8n)) where
//   C = 1/(4n) · Σ_{k=0}^{2n} ((2k)!)³ / ((k!)⁴·(16n)^(2k)).
// ln n = e·Log(2), the logarithm computed inside the run.
#pragma once

#include <cstdint>

#include "bignum/bigfloat.hpp"
#include "constants/hypergeometric.hpp"

namespace zx {

// Words of the K-th term (n^K/K!)² of series A and B, from Stirling: positive up to about
// K = n, negative beyond.
double TermWordsAB(uint32_t e, uint64_t k);
// Words of the K-th term that still matter when the largest term takes offsetWords: p + its
// words − offset, clamped to [0, min(p, 2^62 − 1)].
uint64_t RemainingWordsAB(uint64_t precisionWords, uint32_t e, double offsetWords, uint64_t k);
// The first K whose term takes at most offset − p words.
uint64_t TermCountAB(uint32_t e, uint64_t precisionWords, double offsetWords);
// The size model of a node over the first x terms.
double SizeAB(uint32_t e, uint64_t x);
// Words of the K-th term of series C (negative), and the terms C needs at p words (at most 2n).
double TermWordsC(uint32_t e, uint64_t k);
uint64_t TermCountC(uint32_t e, uint64_t precisionWords);

// A node of series A and B over terms a+1..b: four exact integers with
//   X2 = b!/a!,  X1/X2 = H_b − H_a,  X3/X2² = Σ n^(2k)(a!/k!)²,  X4/X2³ = Σ n^(2k)(a!/k!)²(H_k − H_a).
// The powers of n stay absolute, so they are exponent shifts and no product of them is carried.
// X1 is the part only a node to the right needs.
struct BrentMcMillanSeries {
  using Node = SeriesNode<4>;
  uint32_t e = 0;
  uint64_t n = 0;            // 2^e: the largest term is near k = n
  double offsetWords = 0;    // words of the largest term, plus a guard word
  uint64_t lastTerm = 0;     // TermCountAB

  BrentMcMillanSeries(uint32_t exponent, uint64_t precisionWords);
  uint64_t TermCount(uint64_t) const { return lastTerm; }
  // Words a node from term a+1 on needs: those of its largest term, the one nearest n.
  uint64_t RemainingWords(uint64_t precisionWords, uint64_t a) const;
  double SizeEstimate(uint64_t x) const { return SizeAB(e, x); }
  uint64_t BalancedSplitMinTerms() const { return 100; }
  double MemoryFactor() const { return 17.0; }
  void Leaf(AllocationHeap* heap, uint64_t k, Node& node, bool wantX1) const;
  // Ranges of up to 128 terms and 160 words, exactly on the stack with the powers of n of their
  // first term taken out; false for longer ones.
  bool LeafRange(AllocationHeap* heap, uint64_t a, uint64_t b, Node& node, bool wantX1) const;
  void Merge(AllocationHeap* heap, Node& left, Node& right, Node& out,
             const SeriesMerge& merge) const;
};
static_assert(SeriesPolicy<BrentMcMillanSeries>);

// Series C as a hypergeometric series: the ratio of term k to term k − 1 is
// (2k−1)³/(32·k·n²), so P(k) = (2k−1)³, Q(k) = 32·k·n², T(k) = P(k).
struct BrentMcMillanCTerms {
  uint32_t e = 0;
  uint64_t termCount = 0;

  double WordsPerTerm() const { return 0; }
  uint64_t TermCount(uint64_t) const { return termCount; }
  uint64_t RemainingWords(uint64_t precisionWords, uint64_t k) const;
  double SizeEstimate(uint64_t k) const;
  uint64_t BalancedSplitMinTerms() const { return 100; }
  double MemoryFactor() const { return 18.0; }
  void Leaf(uint64_t k, SmallPqt& leaf) const;
};

// result = γ to p words (plus guard words) with n = 2^e and 2^k threads; log2, when not null,
// receives the Log(2) the run computed. Progress and stage lines with flag 1.
void EulerBrentMcMillan(AllocationHeap* heap, BigFloat& result, BigFloat* log2, uint32_t e,
                        uint64_t precisionWords, uint32_t flag, uint32_t threadExponent);
void EulerBrentMcMillanRefined(AllocationHeap* heap, BigFloat& result, BigFloat* log2, uint32_t e,
                               uint64_t precisionWords, uint32_t flag, uint32_t threadExponent);
void EulerBrentMcMillanSwap(AllocationHeap* heap, BigFloat& result, BigFloat* log2, uint32_t e,
                            uint64_t precisionWords, uint32_t flag, uint32_t threadExponent);
void EulerBrentMcMillanRefinedSwap(AllocationHeap* heap, BigFloat& result, BigFloat* log2,
                                   uint32_t e, uint64_t precisionWords, uint32_t flag,
                                   uint32_t threadExponent);

// base(p, k, 2) + 64·p; the verify run keeps a result and the Log(2) beside the second: + 76·p.
uint64_t EulerMemory(uint64_t precisionWords, uint32_t threadExponent);
uint64_t EulerVerifyMemory(uint64_t precisionWords, uint32_t threadExponent);

// The size table of the Euler-Mascheroni menu: row k computes to x = 2^(k+3) − 20 nats.
inline constexpr uint32_t kEulerFirstRow = 10;
struct EulerSize {
  uint64_t decimalDigits;
  uint64_t hexDigits;
  uint64_t words;
};
EulerSize EulerSizeOfRow(uint32_t row);
// The decimal digits a row shows in the table: floor(2^(k+3)·log10 e).
uint64_t EulerTableDigits(uint32_t row);
// The last row offered: the first whose word count reaches the largest precision, or 63.
uint32_t EulerLastRow();
// The first row with at least decimalDigits digits; 0 when even the last row has fewer.
uint32_t EulerRowForDigits(uint64_t decimalDigits);

}  // namespace zx
