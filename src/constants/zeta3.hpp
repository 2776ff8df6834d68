// Zeta(3), Apery's constant, by two Amdeberhan-Zeilberger series, each finished as
// (A·Q + T)/(D·Q) with one reciprocal and two products:
//   Formula 1: ζ(3) = 1/64 · Σ (−1)^k (205k² + 250k + 77)·(k!)^10 / ((2k+1)!)^5
//   Formula 2: ζ(3) = 1/24 · Σ (−1)^k ((2k+1)!)³((2k)!)³(k!)³ / ((3k+2)!((4k+3)!)³)
//                            · (126392k⁵ + 412708k⁴ + 531578k³ + 336367k² + 104000k + 12463)
// Formula 2 gains 0.52 words a term against Formula 1's 0.31, and is the default.
#pragma once

#include <cstdint>

#include "bignum/bigfloat.hpp"
#include "constants/hypergeometric.hpp"

namespace zx {

struct AperyFormula1Terms {
  // Each term is about 4^5 = 2^10 times smaller than the one before.
  static double WordsPerTerm() { return 0.3125; }
  static uint64_t TermCount(uint64_t p) { return LinearTermCount(p, 3.2); }
  static double SizeEstimate(uint64_t n);
  // Short ranges split at the midpoint: the balanced point is within a few terms of it there.
  static uint64_t BalancedSplitMinTerms() { return 1000; }
  static double MemoryFactor() { return 10.5; }
  static void Leaf(uint64_t k, SmallPqt& leaf);
};

struct AperyFormula2Terms {
  static double WordsPerTerm() { return 0.5235902344426083; }
  static uint64_t TermCount(uint64_t p) { return LinearTermCount(p, 1.909890472011108); }
  static double SizeEstimate(uint64_t n);
  static uint64_t BalancedSplitMinTerms() { return 1000; }
  static double MemoryFactor() { return 10.5; }
  static void Leaf(uint64_t k, SmallPqt& leaf);
};

static_assert(SeriesPolicy<HypergeometricSeries<AperyFormula1Terms>>);
static_assert(SeriesPolicy<HypergeometricSeries<AperyFormula2Terms>>);

// result = ζ(3) to p words; flag 1 prints the banner, stages and "Zeta(3) Time: ".
void ComputeZeta3Formula1(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                          uint32_t flag, uint32_t threadExponent);
void ComputeZeta3Formula2(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                          uint32_t flag, uint32_t threadExponent);
void ComputeZeta3Formula1Swap(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                              uint32_t flag, uint32_t threadExponent);
void ComputeZeta3Formula2Swap(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                              uint32_t flag, uint32_t threadExponent);

// Heap bytes: base(p, k, 1) and four words a word of precision (either formula); the verify run
// keeps the first result beside the second computation, two words more.
uint64_t Zeta3Memory(uint64_t precisionWords, uint32_t threadExponent);
uint64_t Zeta3VerifyMemory(uint64_t precisionWords, uint32_t threadExponent);

}  // namespace zx
