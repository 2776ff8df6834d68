#include "constants/zeta3.hpp"

#include <cmath>

#include "constants/leaf_terms.hpp"
#include "constants/memory_estimate.hpp"
#include "constants/ratio_finish.hpp"

namespace zx {

// Stirling's estimate, in words, of the product of the leaf Q's over 1..n.
double AperyFormula1Terms::SizeEstimate(uint64_t n) {
  const double x = 2 * static_cast<double>(n) + 1;
  return (2.5 * (std::log(x) - 1) * (x + 0.5) + 3.5473463330116815) * kLnToWords;
}

double AperyFormula2Terms::SizeEstimate(uint64_t n) {
  const double x = static_cast<double>(n) + 1;
  return (8 * (std::log(x) - 1) * (x + 0.5) + static_cast<double>(n) * 11.613603032723672 +
          11.351508265637381) *
         kLnToWords;
}

// P(k) = k^5, Q(k) = 32·(2k+1)^5, T(k) = P(k)·(205k² + 250k + 77), negative for odd k.
void AperyFormula1Terms::Leaf(uint64_t k, SmallPqt& leaf) {
  const uint64_t odd = 2 * k + 1;
  SmallSetPolynomialProduct(leaf.t, k, {205, 250, 77}, {k, k, k, k, k});
  leaf.t.negative = k % 2 == 1;
  SmallSetProduct(leaf.q, {32, odd, odd, odd, odd, odd});
  SmallSetProduct(leaf.p, {k, k, k, k, k});
}

// P(k) = k^5·(2k−1)^3, Q(k) = 24·(3k+1)(3k+2)·((4k+1)(4k+3))^3, T(k) = P(k)·(quintic in k),
// negative for odd k.
void AperyFormula2Terms::Leaf(uint64_t k, SmallPqt& leaf) {
  const uint64_t odd = 2 * k - 1;
  SmallSetPolynomialProduct(leaf.t, k, {126392, 412708, 531578, 336367, 104000, 12463},
                            {k, k, k, k, k, odd, odd, odd});
  leaf.t.negative = k % 2 == 1;
  SmallSetProduct(leaf.q, {24, 3 * k + 1, 3 * k + 2, 4 * k + 1, 4 * k + 1, 4 * k + 1, 4 * k + 3,
                           4 * k + 3, 4 * k + 3});
  SmallSetProduct(leaf.p, {k, k, k, k, k, odd, odd, odd});
}

namespace {

constexpr const char* kComputingLine = "Computing: Zeta(3) (Apery's Constant)\n\n";
constexpr const char* kTimeLabel = "\nZeta(3) Time: ";
constexpr RatioSeriesRun kFormula1{
    kComputingLine, "Algorithm: Amdeberhan-Zeiberger Formula 1\n\n", kTimeLabel, {77, 64}};
constexpr RatioSeriesRun kFormula2{
    kComputingLine, "Algorithm: Amdeberhan-Zeiberger Formula 2\n\n", kTimeLabel, {12463, 10368}};

}  // namespace

void ComputeZeta3Formula1(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                          uint32_t flag, uint32_t threadExponent) {
  ComputeRatioSeries<Storage::kMemory, AperyFormula1Terms>(heap, result, precisionWords,
                                                           threadExponent, flag != 0, kFormula1);
}

void ComputeZeta3Formula2(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                          uint32_t flag, uint32_t threadExponent) {
  ComputeRatioSeries<Storage::kMemory, AperyFormula2Terms>(heap, result, precisionWords,
                                                           threadExponent, flag != 0, kFormula2);
}

void ComputeZeta3Formula1Swap(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                              uint32_t flag, uint32_t threadExponent) {
  ComputeRatioSeries<Storage::kSwap, AperyFormula1Terms>(heap, result, precisionWords,
                                                         threadExponent, flag != 0, kFormula1);
}

void ComputeZeta3Formula2Swap(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                              uint32_t flag, uint32_t threadExponent) {
  ComputeRatioSeries<Storage::kSwap, AperyFormula2Terms>(heap, result, precisionWords,
                                                         threadExponent, flag != 0, kFormula2);
}

uint64_t Zeta3Memory(uint64_t precisionWords, uint32_t threadExponent) {
  return BaseMemoryBytes(precisionWords, threadExponent, 1) + 32 * precisionWords;
}

uint64_t Zeta3VerifyMemory(uint64_t precisionWords, uint32_t threadExponent) {
  return BaseMemoryBytes(precisionWords, threadExponent, 1) + 40 * precisionWords;
}

}  // namespace zx
