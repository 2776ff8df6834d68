// Each constant by each algorithm, from one heap of exactly its estimated size, against MPFR.
#include <gtest/gtest.h>

#include "constants/catalan.hpp"
#include "constants/euler.hpp"
#include "constants/logarithms.hpp"
#include "constants/pi.hpp"
#include "constants/zeta3.hpp"
#include "mpfr_oracle.hpp"
#include "multiply/fft/fft_mul.hpp"
#include "runtime/run_record.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

using ComputeFn = void (*)(AllocationHeap*, BigFloat&, uint64_t, uint32_t, uint32_t);
using EstimateFn = uint64_t (*)(uint64_t, uint32_t);

struct Algorithm {
  const char* name;
  ComputeFn compute;
  EstimateFn estimate;
  void (*reference)(mpfr_t);
  const char* timeLine;
};

struct ConstantCase {
  const Algorithm* algorithm;
  uint64_t digits;
  uint32_t threads;
};

void PiReference(mpfr_t x) {
  mpfr_const_pi(x, MPFR_RNDN);
}
void Zeta3Reference(mpfr_t x) {
  mpfr_zeta_ui(x, 3, MPFR_RNDN);
}
void Log2Reference(mpfr_t x) {
  mpfr_const_log2(x, MPFR_RNDN);
}
void Log10Reference(mpfr_t x) {
  mpfr_log_ui(x, 10, MPFR_RNDN);
}
void CatalanReference(mpfr_t x) {
  mpfr_const_catalan(x, MPFR_RNDN);
}

std::string CaseName(const ::testing::TestParamInfo<ConstantCase>& info) {
  return std::string(info.param.algorithm->name) + "_" + std::to_string(info.param.digits) + "_k" +
         std::to_string(info.param.threads);
}

class ConstantAgainstMpfr : public ::testing::TestWithParam<ConstantCase> {};

// The result agrees with MPFR's to the requested words, the run never needs more heap than its
// estimate, and it leaves nothing behind in it. A quiet run (flag 0) prints nothing at all.
TEST_P(ConstantAgainstMpfr, AgreesWithinTheGuardWordsInsideTheEstimatedHeap) {
  const ConstantCase c = GetParam();
  const Algorithm& a = *c.algorithm;
  const uint64_t words =
      (static_cast<uint64_t>(static_cast<double>(c.digits) * 0.8304820237218407) + 1) / 8 + 2;
  PrepareFftTables(words + 100);
  const uint64_t estimate = a.estimate(words, c.threads);
  AllocationHeap heap;
  HeapCreate(nullptr, &heap, estimate);
  BigFloat value;
  for (const uint32_t flag : {1u, 0u}) {
    const ScopedRun run(RunRecord{.multiplyThreadCap = c.threads});
    test::ConsoleCapture output;
    a.compute(&heap, value, words, flag, c.threads);
    if (flag == 1) {
      EXPECT_NE(output.text().find(a.timeLine), std::string::npos);
      BigFloatRelease(value);
    } else {
      EXPECT_EQ(output.text(), "");
    }
  }
  mpfr_t reference;
  mpfr_init2(reference, static_cast<mpfr_prec_t>(32 * (words + 8)));
  a.reference(reference);
  EXPECT_GE(test::AgreeingWords(&heap, value, reference), static_cast<double>(words));
  EXPECT_LE(HeapPeakBytes(&heap), estimate);
  BigFloatRelease(value);
  EXPECT_EQ(heap.activeCount, 0u) << "pieces left in the heap";
  HeapDestroy(&heap);
  mpfr_clear(reference);
  ReleaseFftTables();
}

constexpr const char* kPiTime = "Compute Pi Time: ";
constexpr const char* kZetaTime = "Zeta(3) Time: ";
constexpr const char* kLogTime[] = {"Compute Log(2) Time: ", "Compute Log(10) Time: "};
constexpr const char* kCatalanTime = "Catalan's Constant Time: ";

const Algorithm kAlgorithms[] = {
    {"Chudnovsky", ComputePiChudnovsky, PiMemoryChudnovsky, PiReference, kPiTime},
    {"Ramanujan", ComputePiRamanujan, PiMemoryRamanujan, PiReference, kPiTime},
    {"Zeta3F1", ComputeZeta3Formula1, Zeta3Memory, Zeta3Reference, kZetaTime},
    {"Zeta3F2", ComputeZeta3Formula2, Zeta3Memory, Zeta3Reference, kZetaTime},
    {"Log2M1", ComputeLog2Machin1, LogMemory, Log2Reference, kLogTime[0]},
    {"Log10M1", ComputeLog10Machin1, LogMemory, Log10Reference, kLogTime[1]},
    {"Log10M2", ComputeLog10Machin2, LogMemory, Log10Reference, kLogTime[1]},
    {"Lupas", ComputeCatalanLupas, CatalanLupasMemory, CatalanReference, kCatalanTime},
    {"LogSeries", ComputeCatalanLogSeries, CatalanLogSeriesMemory, CatalanReference, kCatalanTime},
};
const Algorithm* const kChudnovsky = &kAlgorithms[0];
const Algorithm* const kRamanujan = &kAlgorithms[1];
const Algorithm* const kZeta3F1 = &kAlgorithms[2];
const Algorithm* const kZeta3F2 = &kAlgorithms[3];
const Algorithm* const kLog2M1 = &kAlgorithms[4];
const Algorithm* const kLog10M1 = &kAlgorithms[5];
const Algorithm* const kLog10M2 = &kAlgorithms[6];
const Algorithm* const kLupas = &kAlgorithms[7];
const Algorithm* const kLogSeries = &kAlgorithms[8];

INSTANTIATE_TEST_SUITE_P(
    DigitsAndThreads, ConstantAgainstMpfr,
    ::testing::Values(ConstantCase{kChudnovsky, 20, 0}, ConstantCase{kChudnovsky, 100000, 2},
                      ConstantCase{kRamanujan, 20, 0}, ConstantCase{kZeta3F2, 20, 0},
                      ConstantCase{kZeta3F2, 30000, 0}, ConstantCase{kZeta3F1, 30000, 3},
                      ConstantCase{kLog2M1, 100000, 1}, ConstantCase{kLog10M2, 100000, 3},
                      ConstantCase{kLog10M1, 300000, 0}, ConstantCase{kLupas, 30000, 2},
                      ConstantCase{kLogSeries, 30000, 0}),
    CaseName);

// Both methods at size-table rows against MPFR's γ, inside the estimated heap, quiet with flag 0.
TEST(EulerMascheroni, RowsAgreeWithMpfrInsideTheEstimate) {
  struct Row {
    uint32_t row;
    uint32_t threads;
  };
  for (const Row r : {Row{10, 0}, Row{11, 2}, Row{13, 1}}) {
    const uint64_t words = EulerSizeOfRow(r.row).words;
    PrepareFftTables(words + 100);
    mpfr_t reference;
    mpfr_init2(reference, static_cast<mpfr_prec_t>(32 * (words + 8)));
    mpfr_const_euler(reference, MPFR_RNDN);
    for (const bool refined : {true, false}) {
      const uint64_t estimate = EulerMemory(words, r.threads);
      AllocationHeap heap;
      HeapCreate(nullptr, &heap, estimate);
      const ScopedRun run(RunRecord{.multiplyThreadCap = r.threads});
      BigFloat gamma;
      test::ConsoleCapture output;
      if (refined) {
        EulerBrentMcMillanRefined(&heap, gamma, nullptr, r.row, words, 0, r.threads);
      } else {
        EulerBrentMcMillan(&heap, gamma, nullptr, r.row + 1, words, 0, r.threads);
      }
      EXPECT_EQ(output.text(), "");
      // A row asks for 2^(k+3) − 20 nats, three words fewer than its precision: the method's own
      // error, e^(−8n) or e^(−4n), is just below that.
      EXPECT_GE(test::AgreeingWords(&heap, gamma, reference), static_cast<double>(words - 3))
          << "row " << r.row << (refined ? " refined" : " plain");
      EXPECT_LE(HeapPeakBytes(&heap), estimate);
      BigFloatRelease(gamma);
      EXPECT_EQ(heap.activeCount, 0u);
      HeapDestroy(&heap);
    }
    mpfr_clear(reference);
    ReleaseFftTables();
  }
}

// With n = 2^e small, γ is far off but the sums are exact: A/B − e·ln 2 against the same sums
// in MPFR (e = 0 has no logarithm, e = 1 uses Log(2) as it is). Where e^(−4n) is below the
// precision the refinement is skipped and the result is the plain method's, word for word.
TEST(EulerMascheroni, SmallExponentsAndTheSkippedRefinement) {
  const uint64_t words = 12;
  for (const uint32_t e : {0u, 1u, 3u}) {
    mpfr_t a, b, term, harmonic, x;
    for (mpfr_ptr v : {a, b, term, harmonic, x}) mpfr_init2(v, 32 * 40);
    for (mpfr_ptr v : {a, harmonic}) mpfr_set_ui(v, 0, MPFR_RNDN);
    for (mpfr_ptr v : {b, term}) mpfr_set_ui(v, 1, MPFR_RNDN);
    const unsigned long n = 1ul << e;
    for (unsigned long k = 1; k < 400; ++k) {  // (n^k/k!)² past 2^(−1280)
      mpfr_mul_ui(term, term, n * n, MPFR_RNDN);
      mpfr_div_ui(term, term, k * k, MPFR_RNDN);
      mpfr_set_ui(x, 1, MPFR_RNDN);
      mpfr_div_ui(x, x, k, MPFR_RNDN);
      mpfr_add(harmonic, harmonic, x, MPFR_RNDN);
      mpfr_add(b, b, term, MPFR_RNDN);
      mpfr_mul(x, term, harmonic, MPFR_RNDN);
      mpfr_add(a, a, x, MPFR_RNDN);
    }
    mpfr_div(a, a, b, MPFR_RNDN);
    mpfr_const_log2(x, MPFR_RNDN);
    mpfr_mul_ui(x, x, e, MPFR_RNDN);
    mpfr_sub(a, a, x, MPFR_RNDN);
    BigFloat plain;
    EulerBrentMcMillan(nullptr, plain, nullptr, e, words, 0, 0);
    EXPECT_GE(test::AgreeingWords(nullptr, plain, a), static_cast<double>(words)) << "e = " << e;
    BigFloatRelease(plain);
    for (mpfr_ptr v : {a, b, term, harmonic, x}) mpfr_clear(v);
  }
  // n = 1024: e^(−4n) is 187 words down, below a 12-word result.
  BigFloat plain, refined;
  test::ConsoleCapture output;
  EulerBrentMcMillan(nullptr, plain, nullptr, 10, words, 1, 0);
  output.Take();
  EulerBrentMcMillanRefined(nullptr, refined, nullptr, 10, words, 1, 0);
  EXPECT_NE(output.text().find("\nSeries C:\nSeries C not needed\n"), std::string::npos);
  EXPECT_EQ(BigFloatCompareMagnitude(nullptr, plain, refined), 0);
  BigFloatRelease(plain);
  BigFloatRelease(refined);
}

}  // namespace
}  // namespace zx
