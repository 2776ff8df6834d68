// The engine's rules checked through policies of the tests' own, whose sums are known exactly.
#include <gtest/gtest.h>

#include <atomic>
#include <random>

#include "bignum_oracle.hpp"
#include "constants/hypergeometric.hpp"
#include "constants/leaf_terms.hpp"
#include "constants/series_sum.hpp"
#include "mpfr_oracle.hpp"
#include "newton/reciprocal.hpp"
#include "runtime/run_record.hpp"
#include "runtime/threads.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

std::atomic<uint64_t> gLeavesWithP{0};
std::atomic<uint64_t> gLeaves{0};

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

// The same series without the short-range path, counting what the engine asks of its leaves.
struct CountingSeries {
  using Node = PqtNode;
  HypergeometricSeries<CountingTerms> inner;
  uint64_t TermCount(uint64_t p) const { return inner.TermCount(p); }
  uint64_t RemainingWords(uint64_t p, uint64_t n) const { return inner.RemainingWords(p, n); }
  double SizeEstimate(uint64_t n) const { return inner.SizeEstimate(n); }
  uint64_t BalancedSplitMinTerms() const { return 100; }
  double MemoryFactor() const { return 10.5; }
  void Leaf(AllocationHeap* heap, uint64_t k, Node& node, bool wantP) const {
    ++gLeaves;
    if (wantP) ++gLeavesWithP;
    inner.Leaf(heap, k, node, wantP);
  }
  void Merge(AllocationHeap* heap, Node& left, Node& right, Node& out,
             const SeriesMerge& merge) const {
    inner.Merge(heap, left, right, out, merge);
  }
};

// Σ 4^(−k)/(2k+1) = ln 3 − 1 with the powers of 4 kept absolute (exponent shifts), so a node
// needs no P: T/Q over a range is its part of the sum itself. A two-part node summed chunk by
// chunk, each chunk divided out at its own precision.
struct ShiftedOddSeries {
  using Node = SeriesNode<2>;
  uint64_t TermCount(uint64_t p) const { return 16 * p + 1; }
  uint64_t RemainingWords(uint64_t p, uint64_t n) const {
    return LinearRemainingWords(p, n, 1.0 / 16);
  }
  double SizeEstimate(uint64_t n) const { return FactorialPowerEstimate(n, 1, std::log(2.0)); }
  uint64_t BalancedSplitMinTerms() const { return 100; }
  double MemoryFactor() const { return 10.5; }
  void Leaf(AllocationHeap* heap, uint64_t k, Node& node, bool) const {
    BigFloatSetWord(heap, node.part[0], 1);
    BigFloatShiftBits(heap, node.part[0], -2 * static_cast<int64_t>(k));
    BigFloatSetU64(heap, node.part[1], 2 * k + 1);
  }
  // T = T1·Q2 + T2·Q1, Q = Q1·Q2.
  void Merge(AllocationHeap* heap, Node& left, Node& right, Node& out,
             const SeriesMerge& merge) const {
    const uint64_t ra = RemainingWords(merge.precisionWords, merge.a) + 3;
    const uint64_t rm = RemainingWords(merge.precisionWords, merge.m) + 3;
    BigFloat t1q2, t2q1;
    BigFloatMultiplyKeep(heap, left.part[0], right.part[1], t1q2, ra, merge.threads);
    BigFloatMultiplyKeep(heap, right.part[0], left.part[1], t2q1, rm, merge.threads);
    BigFloatAdd(heap, t1q2, t2q1, out.part[0], ra);
    BigFloatMultiplyKeep(heap, left.part[1], right.part[1], out.part[1], ra, merge.threads);
    for (BigFloat* x :
         {&t1q2, &t2q1, &left.part[0], &left.part[1], &right.part[0], &right.part[1]}) {
      BigFloatRelease(*x);
    }
  }
};
static_assert(SeriesPolicy<ShiftedOddSeries>);

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

// Threads are started for splits of 1000 terms and more down to the depth, and the sum is exact
// whatever the depth, also in a heap that the shares split unevenly.
template <class S>
void ExpectExactSumsAtEveryDepth(const S& series) {
  for (const uint64_t terms : {1u, 2u, 99u, 100u, 1500u, 6000u}) {
    for (const uint32_t depth : {0u, 1u, 2u}) {
      for (const bool inHeap : {false, true}) {
        AllocationHeap heap;
        if (inHeap) HeapCreate(nullptr, &heap, 8 << 20);
        PqtNode node;
        const uint64_t threadsBefore = ThreadsStarted();
        SplitThreaded(series, inHeap ? &heap : nullptr, 0, terms, node, false, kNoTruncation,
                      depth);
        uint64_t expected = 0;
        if (depth > 0 && terms >= 1000) expected = terms >= 4000 ? (1u << depth) - 1 : 1;
        EXPECT_EQ(ThreadsStarted() - threadsBefore, expected) << terms << " depth " << depth;
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

// Leaf by leaf, and with short ranges summed on the stack.
TEST(SeriesEngine, ExactSumsAtEveryDepth) {
  ExpectExactSumsAtEveryDepth(CountingSeries{});
  ExpectExactSumsAtEveryDepth(HypergeometricSeries<CountingTerms>{});
}

// Summed chunk by chunk, each chunk divided out at the words its start still needs, in memory and
// through the swap disks, with and without a progress line.
TEST(SeriesEngine, ChunksFinishedAtTheirOwnPrecisionAddUpToTheSum) {
  const ShiftedOddSeries series;
  const std::string dir = test::MakeTempDir("chunks");
  DiskList disks;
  AddDiskPath(disks, dir);
  for (const uint64_t precision : {4u, 500u, 4000u}) {
    for (const Storage storage : {Storage::kMemory, Storage::kSwap}) {
      const ScopedRun run(RunRecord{.swapDisks = &disks});
      AllocationHeap heap;
      HeapCreate(nullptr, &heap, 64 << 20);
      uint64_t chunks = 0;
      const auto finish = [&](SeriesNode<2>& node, uint64_t s, uint64_t, BigFloat& value) {
        ++chunks;
        const uint64_t words = series.RemainingWords(precision, s) + 3;
        BigFloat inverse;
        Reciprocal(&heap, node.part[1], inverse, words, false, 1);
        BigFloatMultiplyKeep(&heap, node.part[0], inverse, value, words, 1);
        BigFloatRelease(inverse);
        NodeRelease(node);
      };
      SeriesSettings settings;
      settings.precisionWords = precision;
      settings.depth = 1;
      settings.progressPrefix = precision == 4000 ? kSummingPrefix : nullptr;
      BigFloat sum;
      test::ConsoleCapture quiet;
      const uint64_t terms =
          storage == Storage::kMemory
              ? SumSeriesByChunks<Storage::kMemory>(series, &heap, sum, settings, finish)
              : SumSeriesByChunks<Storage::kSwap>(series, &heap, sum, settings, finish);
      EXPECT_EQ(terms, series.TermCount(precision));
      EXPECT_EQ(chunks > 1, precision > 4) << precision;
      EXPECT_EQ(quiet.text().empty(), precision != 4000);
      mpfr_t reference;
      mpfr_init2(reference, static_cast<mpfr_prec_t>(32 * (precision + 8)));
      mpfr_set_ui(reference, 3, MPFR_RNDN);
      mpfr_log(reference, reference, MPFR_RNDN);
      mpfr_sub_ui(reference, reference, 1, MPFR_RNDN);
      EXPECT_GE(test::AgreeingWords(&heap, sum, reference), static_cast<double>(precision) - 1)
          << precision << " words, storage " << static_cast<int>(storage);
      mpfr_clear(reference);
      BigFloatRelease(sum);
      EXPECT_EQ(heap.activeCount, 0u);
      HeapDestroy(&heap);
    }
  }
  test::RemoveTree(dir);
}

}  // namespace
}  // namespace zx
