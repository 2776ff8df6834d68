// Catalan's constant G by two algorithms:
//   Lupas:  G = 1/64 · Σ_{n≥1} (−1)^(n−1) 2^(8n) (40n² − 24n + 3) ((2n)!)³ (n!)² / (n³ (2n−1)
//   ((4n)!)²),
//           summed from k = n − 1 and finished as (19·Q + T)/(18·Q); 2 bits a term, the default.
//   Pi & Log-Term + Series: G = (π/8)·ln(2 + √3) + (3/8)·Σ_{n≥0} (n!)²/((2n)!·(2n+1)²), the
//           logarithm from an arithmetic-geometric mean; the independent check of compute and
//           verify.
#pragma once

#include <cstdint>

#include "bignum/bigfloat.hpp"
#include "constants/hypergeometric.hpp"

namespace zx {

// P(k) = 32·k³·(2k−1), Q(k) = ((4k+1)(4k+3))², T(k) = P(k)·(40k² + 56k + 19), negative for odd k.
struct LupasTerms {
  static double WordsPerTerm() { return 0.0625; }
  static uint64_t TermCount(uint64_t p) { return LinearTermCount(p, 16); }
  static double SizeEstimate(uint64_t n);
  static uint64_t BalancedSplitMinTerms() { return 100; }
  static double MemoryFactor() { return 10.5; }
  static void Leaf(uint64_t k, SmallPqt& leaf);
};

// Σ_{n≥1} (n!)²/((2n)!·(2n+1)²) over the term n = 0: the ratio of term n to term n − 1 is
// n·(2n−1)/(2·(2n+1)²), so P(n) = n·(2n−1), Q(n) = 2·(2n+1)², T(n) = P(n).
struct CentralBinomialTerms {
  static double WordsPerTerm() { return 0.0625; }
  static uint64_t TermCount(uint64_t p) { return LinearTermCount(p, 16); }
  static double SizeEstimate(uint64_t n);
  static uint64_t BalancedSplitMinTerms() { return 100; }
  static double MemoryFactor() { return 10.5; }
  static void Leaf(uint64_t k, SmallPqt& leaf);
};

static_assert(SeriesPolicy<HypergeometricSeries<LupasTerms>>);
static_assert(SeriesPolicy<HypergeometricSeries<CentralBinomialTerms>>);

// result = G to p words; flag 1 prints the banner, stages and "Catalan's Constant Time: ".
void ComputeCatalanLupas(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                         uint32_t flag, uint32_t threadExponent);
void ComputeCatalanLogSeries(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                             uint32_t flag, uint32_t threadExponent);
void ComputeCatalanLupasSwap(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                             uint32_t flag, uint32_t threadExponent);
void ComputeCatalanLogSeriesSwap(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                                 uint32_t flag, uint32_t threadExponent);

uint64_t CatalanLupasMemory(uint64_t precisionWords, uint32_t threadExponent);
uint64_t CatalanLogSeriesMemory(uint64_t precisionWords, uint32_t threadExponent);
uint64_t CatalanVerifyMemory(uint64_t precisionWords, uint32_t threadExponent);

}  // namespace zx
