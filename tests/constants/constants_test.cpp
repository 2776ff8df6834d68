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

struct ConstantCase {
  const char* name;
  ComputeFn compute;
  EstimateFn estimate;
  void (*reference)(mpfr_t);
  const char* timeLine;
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
  return std::string(info.param.name) + "_" + std::to_string(info.param.digits) + "_k" +
         std::to_string(info.param.threads);
}

class ConstantAgainstMpfr : public ::testing::TestWithParam<ConstantCase> {};

// The result agrees with MPFR's to the requested words, the run never needs more heap than its
// estimate, and it leaves nothing behind in it. A quiet run (flag 0) prints nothing at all.
TEST_P(ConstantAgainstMpfr, AgreesWithinTheGuardWordsInsideTheEstimatedHeap) {
  const ConstantCase c = GetParam();
  const uint64_t words =
      (static_cast<uint64_t>(static_cast<double>(c.digits) * 0.8304820237218407) + 1) / 8 + 2;
  PrepareFftTables(words + 100);
  const uint64_t estimate = c.estimate(words, c.threads);
  AllocationHeap heap;
  HeapCreate(nullptr, &heap, estimate);
  BigFloat value;
  for (const uint32_t flag : {1u, 0u}) {
    const ScopedRun run(RunRecord{.multiplyThreadCap = c.threads});
    test::ConsoleCapture output;
    c.compute(&heap, value, words, flag, c.threads);
    if (flag == 1) {
      EXPECT_NE(output.text().find(c.timeLine), std::string::npos);
      BigFloatRelease(value);
    } else {
      EXPECT_EQ(output.text(), "");
    }
  }
  mpfr_t reference;
  mpfr_init2(reference, static_cast<mpfr_prec_t>(32 * (words + 8)));
  c.reference(reference);
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
constexpr const char* kLog2Time = "Compute Log(2) Time: ";
constexpr const char* kLog10Time = "Compute Log(10) Time: ";
constexpr const char* kCatalanTime = "Catalan's Constant Time: ";

INSTANTIATE_TEST_SUITE_P(
    DigitsAndThreads, ConstantAgainstMpfr,
    ::testing::Values(
        ConstantCase{"Chudnovsky", ComputePiChudnovsky, PiMemoryChudnovsky, PiReference, kPiTime,
                     20, 0},
        ConstantCase{"Ramanujan", ComputePiRamanujan, PiMemoryRamanujan, PiReference, kPiTime, 20,
                     0},
        ConstantCase{"Chudnovsky", ComputePiChudnovsky, PiMemoryChudnovsky, PiReference, kPiTime,
                     10000, 0},
        ConstantCase{"Ramanujan", ComputePiRamanujan, PiMemoryRamanujan, PiReference, kPiTime,
                     10000, 1},
        ConstantCase{"Chudnovsky", ComputePiChudnovsky, PiMemoryChudnovsky, PiReference, kPiTime,
                     100000, 2},
        ConstantCase{"Ramanujan", ComputePiRamanujan, PiMemoryRamanujan, PiReference, kPiTime,
                     100000, 1},
        ConstantCase{"Chudnovsky", ComputePiChudnovsky, PiMemoryChudnovsky, PiReference, kPiTime,
                     1000000, 1},
        ConstantCase{"Zeta3F1", ComputeZeta3Formula1, Zeta3Memory, Zeta3Reference, kZetaTime, 20,
                     0},
        ConstantCase{"Zeta3F2", ComputeZeta3Formula2, Zeta3Memory, Zeta3Reference, kZetaTime, 20,
                     0},
        ConstantCase{"Zeta3F1", ComputeZeta3Formula1, Zeta3Memory, Zeta3Reference, kZetaTime, 1000,
                     2},
        ConstantCase{"Zeta3F2", ComputeZeta3Formula2, Zeta3Memory, Zeta3Reference, kZetaTime, 10000,
                     1},
        ConstantCase{"Zeta3F1", ComputeZeta3Formula1, Zeta3Memory, Zeta3Reference, kZetaTime, 30000,
                     3},
        ConstantCase{"Zeta3F2", ComputeZeta3Formula2, Zeta3Memory, Zeta3Reference, kZetaTime, 30000,
                     0},
        ConstantCase{"Log2M1", ComputeLog2Machin1, LogMemory, Log2Reference, kLog2Time, 20, 0},
        ConstantCase{"Log2M2", ComputeLog2Machin2, LogMemory, Log2Reference, kLog2Time, 1000, 2},
        ConstantCase{"Log2M1", ComputeLog2Machin1, LogMemory, Log2Reference, kLog2Time, 100000, 1},
        ConstantCase{"Log10M1", ComputeLog10Machin1, LogMemory, Log10Reference, kLog10Time, 20, 1},
        ConstantCase{"Log10M2", ComputeLog10Machin2, LogMemory, Log10Reference, kLog10Time, 100000,
                     3},
        ConstantCase{"Log10M1", ComputeLog10Machin1, LogMemory, Log10Reference, kLog10Time, 300000,
                     0},
        ConstantCase{"Lupas", ComputeCatalanLupas, CatalanLupasMemory, CatalanReference,
                     kCatalanTime, 20, 0},
        ConstantCase{"LogSeries", ComputeCatalanLogSeries, CatalanLogSeriesMemory, CatalanReference,
                     kCatalanTime, 20, 1},
        ConstantCase{"Lupas", ComputeCatalanLupas, CatalanLupasMemory, CatalanReference,
                     kCatalanTime, 30000, 2},
        ConstantCase{"LogSeries", ComputeCatalanLogSeries, CatalanLogSeriesMemory, CatalanReference,
                     kCatalanTime, 30000, 0},
        ConstantCase{"LogSeries", ComputeCatalanLogSeries, CatalanLogSeriesMemory, CatalanReference,
                     kCatalanTime, 100000, 3}),
    CaseName);

// Fewer than 100 terms are summed in one pass, without a "Summing" line; more are planned in
// segments with one. 20 words of ArcCoth(26) take 68 terms, 40 words 136.
TEST(ArcCoth, ShortSeriesTakeTheSinglePass) {
  for (const uint64_t words : {20u, 40u}) {
    BigFloat value;
    test::ConsoleCapture output;
    ArcCoth(nullptr, 26, value, words, true, 0);
    EXPECT_EQ(output.text().find("Summing...  ") != std::string::npos, words == 40) << words;
    const std::string cleared = "\r" + std::string(63, ' ') + "\r";
    EXPECT_EQ(output.text().rfind(cleared + "ArcCoth( 26 )\n", 0), 0u) << words;
    BigFloatRelease(value);
  }
}

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
    mpfr_set_ui(a, 0, MPFR_RNDN);
    mpfr_set_ui(b, 1, MPFR_RNDN);
    mpfr_set_ui(term, 1, MPFR_RNDN);
    mpfr_set_ui(harmonic, 0, MPFR_RNDN);
    const unsigned long n = 1ul << e;
    for (unsigned long k = 1; k < 400; ++k) {  // (n^k/k!)² past 2^(−1280)
      mpfr_mul_ui(term, term, n * n, MPFR_RNDN);
      mpfr_div_ui(term, term, k * k, MPFR_RNDN);
      mpfr_set_ui(x, k, MPFR_RNDN);
      mpfr_ui_div(x, 1, x, MPFR_RNDN);
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
