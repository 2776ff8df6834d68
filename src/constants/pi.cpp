#include "constants/pi.hpp"

#include "constants/leaf_terms.hpp"
#include "constants/memory_estimate.hpp"
#include "constants/series_sum.hpp"
#include "constants/stage_lines.hpp"
#include "multiply/multiply.hpp"
#include "newton/inv_sqrt.hpp"
#include "newton/reciprocal.hpp"

namespace zx {

void ChudnovskyTerms::Leaf(uint64_t k, SmallPqt& leaf) {
  SmallSetProduct(leaf.p, {2 * k - 1, 6 * k - 5, 6 * k - 1});
  SmallSetPolynomialProduct(leaf.t, k, {545140134, 13591409}, {2 * k - 1, 6 * k - 5, 6 * k - 1});
  leaf.t.negative = k % 2 == 1;
  SmallSetProduct(leaf.q, {kLeafQ, k, k, k});
}

void RamanujanTerms::Leaf(uint64_t k, SmallPqt& leaf) {
  SmallSetProduct(leaf.p, {4 * k - 1, 4 * k - 2, 4 * k - 3});
  SmallSetPolynomialProduct(leaf.t, k, {26390, 1103}, {4 * k - 1, 4 * k - 2, 4 * k - 3});
  SmallSetProduct(leaf.q, {kLeafQ, k, k, k});
}

namespace {

struct PiFinish {
  const char* algorithmLine;
  uint32_t termZero;  // A: adds the term k = 0, whose P and Q are 1
  uint32_t numerator;
  uint32_t invSqrtOf;
};

// Pi = numerator·Q / (sqrt(c)·(A·Q + T)), as numerator·Q · 1/(A·Q + T) · 1/sqrt(c).
template <Storage kStorage, HypergeometricTerms Terms>
void ComputePi(AllocationHeap* heap, BigFloat& result, uint64_t p, uint32_t k, bool show,
               const PiFinish& f) {
  const uint64_t w = p + 2;
  const uint64_t cap = p + 5;
  const StageClock clock = StageBegin(show, "Computing: Pi\n\n", f.algorithmLine);

  PqtNode sum;
  SeriesSettings settings;
  settings.precisionWords = w;
  settings.depth = k > 0 ? k + 1 : 0;
  settings.progressPrefix = show ? kSummingPrefix : nullptr;
  SumSeries<kStorage>(HypergeometricSeries<Terms>{}, heap, sum, settings);
  BigFloat& t = sum.part[kPartT];
  BigFloat& q = sum.part[kPartQ];

  StageLine(show, "Finalizing...");
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
  BigFloat quotient;
  DivideInStages<kStorage>(heap, numerator, denominator, quotient, w, show, k,
                           [&] { StageMultiplying(show, w); });
  BigFloatRelease(numerator);
  BigFloatRelease(denominator);

  StageLine(show, "InvSqrt...\n", true);
  if constexpr (kStorage == Storage::kSwap) {
    BigFloat root;
    InvSqrtIntStaged(heap, f.invSqrtOf, root, w, show, k);
    StageLine(show, "Final Multiply...\n", true);
    BigFloatMultiplyKeep(heap, quotient, root, result, cap, k);
    BigFloatRelease(root);
  } else {
    // The root's last Newton level is taken into the product.
    MultiplyByInvSqrtInt(heap, quotient, f.invSqrtOf, result, w, show, k);
    StageLine(show, "Final Multiply...\n", true);
  }
  BigFloatRelease(quotient);

  StageTime(show, "\nCompute Pi Time: ", clock);
}

// The data at the peak: four numbers of p words less the words the first segment's terms shed.
template <HypergeometricTerms Terms>
uint64_t PiMemory(uint64_t p, uint32_t k) {
  const HypergeometricSeries<Terms> series{};
  const uint64_t n = series.TermCount(p);
  const uint64_t m = GrowSplit(series, 0, n, p, 0);
  const auto gained = static_cast<uint64_t>(static_cast<double>(m) * Terms::kWordsPerTerm);
  const uint64_t dataWords = 4 * p > gained ? 4 * p - gained : 0;
  return BaseMemoryBytes(p, k, 1) + dataWords * 8;
}

constexpr PiFinish kChudnovskyFinish{"Algorithm: Chudnovsky Formula\n\n", 13591409, 4270934400u,
                                     10005};
constexpr PiFinish kRamanujanFinish{"Algorithm: Ramanujan's Formula\n\n", 1103, 9801, 8};

}  // namespace

void ComputePiChudnovsky(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                         uint32_t flag, uint32_t threadExponent) {
  ComputePi<Storage::kMemory, ChudnovskyTerms>(heap, result, precisionWords, threadExponent,
                                               flag != 0, kChudnovskyFinish);
}

void ComputePiRamanujan(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                        uint32_t flag, uint32_t threadExponent) {
  ComputePi<Storage::kMemory, RamanujanTerms>(heap, result, precisionWords, threadExponent,
                                              flag != 0, kRamanujanFinish);
}

void ComputePiChudnovskySwap(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                             uint32_t flag, uint32_t threadExponent) {
  ComputePi<Storage::kSwap, ChudnovskyTerms>(heap, result, precisionWords, threadExponent,
                                             flag != 0, kChudnovskyFinish);
}

void ComputePiRamanujanSwap(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                            uint32_t flag, uint32_t threadExponent) {
  ComputePi<Storage::kSwap, RamanujanTerms>(heap, result, precisionWords, threadExponent, flag != 0,
                                            kRamanujanFinish);
}

uint64_t PiMemoryChudnovsky(uint64_t precisionWords, uint32_t threadExponent) {
  return PiMemory<ChudnovskyTerms>(precisionWords, threadExponent);
}

uint64_t PiMemoryRamanujan(uint64_t precisionWords, uint32_t threadExponent) {
  return PiMemory<RamanujanTerms>(precisionWords, threadExponent);
}

}  // namespace zx
