// Pi by the Chudnovsky series (the default, and the faster) and by Ramanujan's (the independent
// check of compute-and-verify), each summed by the binary-splitting engine and finished by one
// reciprocal, one inverse square root and two products:
//   Pi = 426880·sqrt(10005)·Q / (13591409·Q + T)      Pi = 9801·Q / (sqrt(8)·(1103·Q + T))
#pragma once

#include <cstdint>

#include "bignum/bigfloat.hpp"
#include "constants/hypergeometric.hpp"

namespace zx {

// The terms of the two series (the summed policies are HypergeometricSeries of them).
struct ChudnovskyTerms {
  static constexpr double kWordsPerTerm = 1.472200410569245;  // log2(640320^3/1728)/32
  static constexpr double kTermsPerWord = 0.6792553465009138;
  static constexpr double kLnLeafQ = 36.93111616078457;  // ln(640320^3/24)
  static constexpr uint64_t kLeafQ = 10939058860032000;  // 640320^3/24
  static double WordsPerTerm() { return kWordsPerTerm; }
  static uint64_t TermCount(uint64_t p) { return LinearTermCount(p, kTermsPerWord); }
  static double SizeEstimate(uint64_t n) { return FactorialPowerEstimate(n, 3, kLnLeafQ); }
  static uint64_t BalancedSplitMinTerms() { return 100; }
  static double MemoryFactor() { return 10.5; }
  static void Leaf(uint64_t k, SmallPqt& leaf);
};

struct RamanujanTerms {
  static constexpr double kWordsPerTerm = 0.8286695775099512;
  static constexpr double kTermsPerWord = 1.206753604983153;
  static constexpr double kLnLeafQ = 22.53936248389803;  // ln(396^4/4)
  static constexpr uint64_t kLeafQ = 6147814464;         // 396^4/4
  static double WordsPerTerm() { return kWordsPerTerm; }
  static uint64_t TermCount(uint64_t p) { return LinearTermCount(p, kTermsPerWord); }
  static double SizeEstimate(uint64_t n) { return FactorialPowerEstimate(n, 3, kLnLeafQ); }
  static uint64_t BalancedSplitMinTerms() { return 100; }
  static double MemoryFactor() { return 10.5; }
  static void Leaf(uint64_t k, SmallPqt& leaf);
};

using ChudnovskySeries = HypergeometricSeries<ChudnovskyTerms>;
using RamanujanSeries = HypergeometricSeries<RamanujanTerms>;
static_assert(SeriesPolicy<ChudnovskySeries>);
static_assert(SeriesPolicy<RamanujanSeries>);

// result = Pi to p words (plus guard words); threadExponent is the user's k. With flag 1 it prints
// its banner, stage lines, progress and "Compute Pi Time: "; with 0 it is quiet, as a computation
// inside another one.
void ComputePiChudnovsky(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                         uint32_t flag, uint32_t threadExponent);
void ComputePiRamanujan(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                        uint32_t flag, uint32_t threadExponent);
// The disk-swapping twins: the series' upper levels, the reciprocal and the inverse square root
// keep their large operands on the swap disks.
void ComputePiChudnovskySwap(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                             uint32_t flag, uint32_t threadExponent);
void ComputePiRamanujanSwap(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                            uint32_t flag, uint32_t threadExponent);

uint64_t PiMemoryChudnovsky(uint64_t precisionWords, uint32_t threadExponent);
uint64_t PiMemoryRamanujan(uint64_t precisionWords, uint32_t threadExponent);

}  // namespace zx
