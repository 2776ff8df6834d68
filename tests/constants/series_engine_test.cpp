// The engine's rules checked through policies of the tests' own, whose sums are known exactly.
#include <gtest/gtest.h>

#include "bignum_oracle.hpp"
#include "constants/hypergeometric.hpp"
#include "constants/leaf_terms.hpp"
#include "constants/series_sum.hpp"
#include "runtime/run_record.hpp"
#include "runtime/threads.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

// P(k) = 1, Q(k) = 4k, T(k) = 1 sums Σ 1/(4^k k!).
struct CountingTerms {
  static double WordsPerTerm() { return 0.1; }
  static uint64_t TermCount(uint64_t p) { return LinearTermCount(p, 10); }
  static double SizeEstimate(uint64_t n) { return FactorialPowerEstimate(n, 1, std::log(4.0)); }
  static uint64_t BalancedSplitMinTerms() { return 100; }
  static double MemoryFactor() { return 10.5; }
  static void Leaf(uint64_t k, SmallPqt& leaf) {
    SmallSetProduct(leaf.t, {});
    SmallSetProduct(leaf.q, {4 * k});
    SmallSetProduct(leaf.p, {});
  }
};

// The same series without the short-range path: every leaf goes through the policy.
struct LeafByLeafSeries {
  using Node = PqtNode;
  HypergeometricSeries<CountingTerms> inner;
  uint64_t TermCount(uint64_t p) const { return inner.TermCount(p); }
  uint64_t RemainingWords(uint64_t p, uint64_t n) const { return inner.RemainingWords(p, n); }
  double SizeEstimate(uint64_t n) const { return inner.SizeEstimate(n); }
  uint64_t BalancedSplitMinTerms() const { return 100; }
  double MemoryFactor() const { return 10.5; }
  void Leaf(AllocationHeap* heap, uint64_t k, Node& node, bool wantP) const {
    inner.Leaf(heap, k, node, wantP);
  }
  void Merge(AllocationHeap* heap, Node& left, Node& right, Node& out,
             const SeriesMerge& merge) const {
    inner.Merge(heap, left, right, out, merge);
  }
};

// Sum of 1/(4^k·k!) for k = 1..N as a rational: checks T/Q exactly at full precision.
void ExpectExactSum(uint64_t terms, const PqtNode& node) {
  mpz_t num, den, tz, qz, cross1, cross2;
  mpz_inits(num, den, tz, qz, cross1, cross2, nullptr);
  mpz_set_ui(num, 0);
  mpz_set_ui(den, 1);
  for (uint64_t k = terms; k >= 1; --k) {  // Horner: (1 + s)/(4k)
    mpz_add(num, num, den);
    mpz_mul_ui(den, den, 4 * k);
  }
  BigFloat t = node.part[kPartT], q = node.part[kPartQ];
  const int64_t scale = std::min(t.exponent, q.exponent);
  test::ToScaledMpz(tz, nullptr, t, scale);
  test::ToScaledMpz(qz, nullptr, q, scale);
  mpz_mul(cross1, tz, den);
  mpz_mul(cross2, qz, num);
  EXPECT_EQ(mpz_cmp(cross1, cross2), 0) << terms;
  mpz_clears(num, den, tz, qz, cross1, cross2, nullptr);
}

// Threads are started for splits of 1000 terms and more down to the depth, or down to the run's
// thread cap where that is lower, and the sum is exact whatever the depth, also in a heap that
// the shares split unevenly.
template <class S>
void ExpectExactSumsAtEveryDepth(const S& series) {
  for (const uint64_t terms : {1u, 2u, 99u, 100u, 1500u, 6000u}) {
    for (const uint32_t depth : {0u, 1u, 2u}) {
      for (const uint32_t cap : {kNoThreadCap, 1u}) {
        for (const bool inHeap : {false, true}) {
          const ScopedRun run(RunRecord{.multiplyThreadCap = cap});
          AllocationHeap heap;
          if (inHeap) HeapCreate(nullptr, &heap, 8 << 20);
          PqtNode node;
          const uint64_t threadsBefore = ThreadsStarted();
          SplitThreaded(series, inHeap ? &heap : nullptr, 0, terms, node, false, kNoTruncation,
                        depth);
          const uint32_t forks = std::min(depth, cap);
          uint64_t expected = 0;
          if (forks > 0 && terms >= 1000) expected = terms >= 4000 ? (1u << forks) - 1 : 1;
          EXPECT_EQ(ThreadsStarted() - threadsBefore, expected)
              << terms << " depth " << depth << " cap " << cap;
          ExpectExactSum(terms, node);
          NodeRelease(node);
          if (inHeap) {
            EXPECT_EQ(heap.activeCount, 0u);
            HeapDestroy(&heap);
          }
        }
      }
    }
  }
}

// Leaf by leaf, and with short ranges summed on the stack.
TEST(SeriesEngine, ExactSumsAtEveryDepth) {
  ExpectExactSumsAtEveryDepth(LeafByLeafSeries{});
  ExpectExactSumsAtEveryDepth(HypergeometricSeries<CountingTerms>{});
}

}  // namespace
}  // namespace zx
