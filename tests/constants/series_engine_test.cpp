// The engine's rules checked through a policy of its own: a series whose terms are easy to sum
// exactly (T(k)/Q-ratio of a geometric-like series), instrumented to count what the engine asks of
// its leaves.
#include <gtest/gtest.h>

#include <atomic>

#include "bignum_oracle.hpp"
#include "constants/leaf_terms.hpp"
#include "constants/pi.hpp"
#include "constants/series_sum.hpp"
#include "runtime/threads.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

std::atomic<uint64_t> gLeavesWithP{0};
std::atomic<uint64_t> gLeaves{0};

// Σ_{k≥1} Π_{j≤k} 1/(4j) · ... : P(k) = 1, Q(k) = 4k, T(k) = 1 sums Σ 1/(4^k k!).
struct CountingSeries {
  static constexpr double kWordsPerTerm = 0.1;
  static constexpr double kTermsPerWord = 10;
  static constexpr uint64_t kBalancedSplitMinTerms = 100;
  static constexpr double kMemoryFactor = 10.5;
  static double SizeEstimate(uint64_t n) { return FactorialPowerEstimate(n, 1, std::log(4.0)); }
  static void Leaf(AllocationHeap* heap, uint64_t k, BigFloat& t, BigFloat& q, BigFloat* p) {
    ++gLeaves;
    SetProduct(heap, t, {1});
    SetProduct(heap, q, {4 * k});
    if (p != nullptr) {
      ++gLeavesWithP;
      SetProduct(heap, *p, {1});
    }
  }
};

TEST(SeriesSplit, MidpointBelowOneHundredTermsBalancedFrom) {
  // Over 0..99 the midpoint is 49; from 100 terms on the split follows the size estimate, which
  // grows faster than linearly, so the balanced point lies right of the midpoint.
  EXPECT_EQ(SerialSplitPoint<ChudnovskySeries>(1000, 1099), 1049u);
  const uint64_t balanced = SerialSplitPoint<ChudnovskySeries>(1000, 1100);
  EXPECT_EQ(balanced, BalancedSplit<ChudnovskySeries>(1000, 1100));
  const double mean =
      (ChudnovskySeries::SizeEstimate(1000) + ChudnovskySeries::SizeEstimate(1100)) / 2;
  EXPECT_GE(ChudnovskySeries::SizeEstimate(balanced), mean);
  EXPECT_LT(ChudnovskySeries::SizeEstimate(balanced - 1), mean);
  EXPECT_EQ(BalancedSplit<ChudnovskySeries>(5, 6), 6u);
  EXPECT_EQ(BalancedSplit<ChudnovskySeries>(5, 5), 5u);
}

TEST(SeriesSplit, RemainingWordsAndTermCount) {
  EXPECT_EQ(RemainingWords<ChudnovskySeries>(100, 0), 100u);
  EXPECT_EQ(RemainingWords<ChudnovskySeries>(100, 10), 85u);   // 100 − 14.72
  EXPECT_EQ(RemainingWords<ChudnovskySeries>(100, 1000), 0u);  // past the precision: guard words only
  EXPECT_EQ(RemainingWords<ChudnovskySeries>(kNoTruncation, 0), kNoTruncation);
  EXPECT_EQ(TermCount<ChudnovskySeries>(1000), 680u);
}

// Sum of 1/(4^k·k!) for k = 1..N as a rational: checks the engine's T/Q exactly at full precision.
void ExpectExactSum(uint64_t terms, const BigFloat& t, const BigFloat& q) {
  mpz_t num, den, tz, qz, cross1, cross2;
  mpz_inits(num, den, tz, qz, cross1, cross2, nullptr);
  mpz_set_ui(num, 0);
  mpz_set_ui(den, 1);
  for (uint64_t k = terms; k >= 1; --k) {  // Horner: (1 + s)/(4k)
    mpz_add(num, num, den);
    mpz_mul_ui(den, den, 4 * k);
  }
  BigFloat tc = t, qc = q;
  test::ToScaledMpz(tz, nullptr, tc, std::min(t.exponent, q.exponent));
  test::ToScaledMpz(qz, nullptr, qc, std::min(t.exponent, q.exponent));
  mpz_mul(cross1, tz, den);
  mpz_mul(cross2, qz, num);
  EXPECT_EQ(mpz_cmp(cross1, cross2), 0) << terms;
  mpz_clears(num, den, tz, qz, cross1, cross2, nullptr);
}

TEST(SeriesEngine, ExactSumsAndNoThreadAtDepthZero) {
  for (const uint64_t terms : {1u, 2u, 99u, 100u, 1500u, 6000u}) {
    for (const uint32_t depth : {0u, 1u, 2u}) {
      BigFloat t, q;
      SeriesTriple triple;
      const uint64_t threadsBefore = ThreadsStarted();
      SplitThreaded<CountingSeries>(nullptr, 0, terms, triple, false, kNoTruncation, depth);
      const uint64_t started = ThreadsStarted() - threadsBefore;
      // A thread per split of a range of 1000 terms or more, down to the depth.
      uint64_t expected = 0;
      if (depth > 0 && terms >= 1000) expected = terms >= 4000 ? (1u << depth) - 1 : 1;
      EXPECT_EQ(started, expected) << terms << " depth " << depth;
      ExpectExactSum(terms, triple.t, triple.q);
      BigFloatRelease(triple.t);
      BigFloatRelease(triple.q);
    }
  }
}

// Every node off the right spine of the tree is a left child or lies inside one, and needs P;
// only the last leaf lies on the spine. So when no segment's P is formed beyond what merging
// needs, exactly one leaf of the whole run comes without P.
TEST(SeriesEngine, TheRightmostSegmentNeverFormsP) {
  for (const uint64_t precision : {8u, 300u, 3000u}) {
    std::vector<SeriesSegment> segments;
    const uint64_t n = PlanSegments<CountingSeries>(nullptr, precision, kPlanMemory, segments);
    ASSERT_FALSE(segments.empty());
    EXPECT_EQ(segments.front().startTerm, 0u);
    EXPECT_EQ(segments.back().endTerm, n);
    for (size_t i = 1; i < segments.size(); ++i) {
      EXPECT_EQ(segments[i].startTerm, segments[i - 1].endTerm);
      EXPECT_GT(segments[i].endTerm, segments[i].startTerm);
    }
    if (precision == 3000) {
      EXPECT_GE(segments.size(), 3u);
    }
    gLeaves = 0;
    gLeavesWithP = 0;
    BigFloat t, q;
    test::ConsoleCapture quiet;
    EXPECT_EQ(SumSeries<CountingSeries>(nullptr, t, q, precision, 0), n);
    EXPECT_EQ(gLeaves.load(), n) << precision;
    EXPECT_EQ(gLeavesWithP.load(), n - 1) << precision;
    if (n < kSegmentedMinTerms) {
      EXPECT_EQ(quiet.text(), "");  // a single serial pass prints no progress
    }
    BigFloatRelease(t);
    BigFloatRelease(q);
  }
}

}  // namespace
}  // namespace zx
