#include <gtest/gtest.h>

#include "bignum_oracle.hpp"
#include "constants/pi.hpp"
#include "mpfr_oracle.hpp"
#include "multiply/fft_mul.hpp"
#include "multiply/multiply.hpp"
#include "runtime/run_record.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

struct PiCase {
  uint64_t digits;
  uint32_t threads;
  bool ramanujan;
};

uint64_t WordsForDigits(uint64_t digits) {
  return (static_cast<uint64_t>(static_cast<double>(digits) * 0.8304820237218407) + 1) / 8 + 2;
}

class PiAgainstMpfr : public ::testing::TestWithParam<PiCase> {};

// Pi from one heap of exactly the estimated size agrees with MPFR's to the requested words.
TEST_P(PiAgainstMpfr, AgreesWithinTheGuardWordsInsideTheEstimatedHeap) {
  const PiCase c = GetParam();
  const uint64_t words = WordsForDigits(c.digits);
  PrepareFftTables(words + 100);
  const uint64_t estimate =
      c.ramanujan ? PiMemoryRamanujan(words, c.threads) : PiMemoryChudnovsky(words, c.threads);
  AllocationHeap heap;
  HeapCreate(nullptr, &heap, estimate);
  const ScopedRun run(RunRecord{.multiplyThreadCap = c.threads});
  BigFloat pi;
  {
    test::ConsoleCapture quiet;
    if (c.ramanujan) {
      ComputePiRamanujan(&heap, pi, words, 1, c.threads);
    } else {
      ComputePiChudnovsky(&heap, pi, words, 1, c.threads);
    }
    EXPECT_NE(quiet.text().find("Compute Pi Time: "), std::string::npos);
  }
  mpfr_t reference;
  mpfr_init2(reference, static_cast<mpfr_prec_t>(32 * (words + 8)));
  mpfr_const_pi(reference, MPFR_RNDN);
  EXPECT_GE(test::AgreeingWords(&heap, pi, reference), static_cast<double>(words))
      << c.digits << " digits, k = " << c.threads;
  EXPECT_LE(HeapPeakBytes(&heap), estimate);
  BigFloatRelease(pi);
  EXPECT_EQ(heap.activeCount, 0u) << "pieces left in the heap";
  HeapDestroy(&heap);
  mpfr_clear(reference);
  ReleaseFftTables();
}

INSTANTIATE_TEST_SUITE_P(
    DigitsAndThreads, PiAgainstMpfr,
    ::testing::Values(PiCase{20, 0, false}, PiCase{20, 0, true}, PiCase{100, 1, false},
                      PiCase{1000, 2, true}, PiCase{10000, 0, false}, PiCase{10000, 1, true},
                      PiCase{100000, 2, false}, PiCase{100000, 1, true},
                      PiCase{1000000, 1, false}));

}  // namespace
}  // namespace zx
