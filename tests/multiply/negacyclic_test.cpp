// Ring products modulo 2^(32n) + 1 against GMP: the table's rule, random and edge elements
// (0, 1, all ones, 2^(32n) itself, and products that come out as 2^(32n)) at ring sizes from the
// smallest rows through the three-fold lengths, squares, aliasing and the alignment check.
#include "multiply/fft/negacyclic.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <random>
#include <string>
#include <thread>
#include <vector>

#include "fft_test_util.hpp"
#include "multiply_test_util.hpp"
#include "shell/fatal.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

using test::Words;

// Reduced elements of n + 1 words.
Words Element(uint64_t n, uint32_t low = 0, bool top = false) {
  Words x(n + 1, 0);
  x[0] = low;
  x[n] = top ? 1 : 0;
  return x;
}

Words AllOnesElement(uint64_t n) {
  Words x(n + 1, 0xFFFFFFFFu);
  x[n] = 0;
  return x;
}

Words Reduced(Words x) {
  x.back() = 0;
  return x;
}

// 2^bit as an element (bit < 32n).
Words PowerOfTwo(uint64_t n, uint64_t bit) {
  Words x(n + 1, 0);
  x[bit / 32] = 1u << (bit % 32);
  return x;
}

std::vector<double> Scratch(const NegacyclicPlan& plan) {
  return std::vector<double>(NegacyclicScratchDoubles(plan));
}

void CheckPair(const NegacyclicPlan& plan, const Words& a, const Words& b,
               const std::string& what) {
  const uint64_t n = plan.ringWords;
  std::vector<double> scratch = Scratch(plan);
  Words out(n + 1);
  NegacyclicMultiply(plan, a.data(), b.data(), out.data(), scratch.data());
  ASSERT_EQ(out, test::GmpRingProduct(a, b, n)) << "n=" << n << " " << what;
  if (a == b) {
    Words squared(n + 1);
    NegacyclicSquare(plan, a.data(), squared.data(), scratch.data());
    ASSERT_EQ(squared, out) << "square n=" << n << " " << what;
  }
  // out may be the first operand.
  Words aliased = a;
  NegacyclicMultiply(plan, aliased.data(), b.data(), aliased.data(), scratch.data());
  ASSERT_EQ(aliased, out) << "aliased n=" << n << " " << what;
}

TEST(NegacyclicTableTest, FollowsTheRule) {
  ASSERT_EQ(NegacyclicTableRows(), 186u);
  const uint64_t first[] = {24, 26, 28, 30, 32};
  for (uint64_t i = 0; i < 5; i++) {
    const NegacyclicPlan row = NegacyclicTableRow(i);
    EXPECT_EQ(row.ringWords, first[i]);
    EXPECT_EQ(row.points, 64u);
    EXPECT_EQ(row.pointBits, 12 + i);
  }
  const NegacyclicPlan last = NegacyclicTableRow(185);
  EXPECT_EQ(last.ringWords, 6291456u);
  EXPECT_EQ(last.points, uint64_t{1} << 24);
  EXPECT_EQ(last.pointBits, 12u);
  for (uint64_t i = 0; i < NegacyclicTableRows(); i++) {
    const NegacyclicPlan row = NegacyclicTableRow(i);
    EXPECT_EQ(row.ringWords * 32, row.points * row.pointBits) << "row " << i;
    EXPECT_GE(row.pointBits, 12u);
    EXPECT_LE(row.pointBits, 20u);
    if (i > 0) {
      EXPECT_LT(NegacyclicTableRow(i - 1).ringWords, row.ringWords) << "row " << i;
    }
  }
  // 36 words are 64 points of 18 bits (rather than 96 of 12); 39 words are 96 points of 13 bits.
  NegacyclicPlan plan;
  ASSERT_TRUE(NegacyclicPlanFor(36, &plan));
  EXPECT_EQ(plan.points, 64u);
  ASSERT_TRUE(NegacyclicPlanFor(39, &plan));
  EXPECT_EQ(plan.points, 96u);
  EXPECT_EQ(plan.pointBits, 13u);
  // The ring of a 12000 × 12000-word hybrid product.
  EXPECT_TRUE(NegacyclicRingSizeAvailable(1536));
  EXPECT_FALSE(NegacyclicRingSizeAvailable(23));
  EXPECT_FALSE(NegacyclicRingSizeAvailable(25));
  EXPECT_FALSE(NegacyclicRingSizeAvailable(6291457));
  EXPECT_EQ(NegacyclicScratchDoubles(plan), 96u * 5 / 2 + 8);
  EXPECT_EQ(NegacyclicSquareScratchDoubles(plan), 96u * 3 / 2 + 8);
}

TEST(NegacyclicProductTest, AgreesWithGmpOnRandomAndEdgeElements) {
  std::mt19937_64 rng(test::TestSeed());
  // Smallest rows, a three-fold length (39: 96 points), wide points (40: b = 20), the hybrid's
  // sizes around its entry, and larger three-fold rings.
  const uint64_t rings[] = {24, 28, 32, 39, 40, 60, 156, 1536, 1440, 6144, 12288};
  for (uint64_t n : rings) {
    NegacyclicPlan plan;
    ASSERT_TRUE(NegacyclicPlanFor(n, &plan)) << n;
    PrepareNegacyclic(plan);
    const Words top = Element(n, 0, true);
    const Words one = Element(n, 1);
    const Words zero = Element(n, 0);
    const Words ones = AllOnesElement(n);
    // (2^(32n) − 1)·(2^(32n−1) + 1) ≡ (−2)·(1/2) = −1, which must come back as 2^(32n).
    Words half = PowerOfTwo(n, 32 * n - 1);
    half[0] |= 1;
    const Words squareRoot = PowerOfTwo(n, 16 * n);  // its square is −1
    const std::vector<std::pair<Words, Words>> pairs = {
        {top, top},
        {top, one},
        {one, top},
        {top, ones},
        {zero, ones},
        {one, one},
        {ones, ones},
        {ones, half},
        {squareRoot, squareRoot},
        {Reduced(test::RandomWords(rng, n + 1)), ones},
    };
    for (size_t i = 0; i < pairs.size(); i++) {
      CheckPair(plan, pairs[i].first, pairs[i].second, "pair " + std::to_string(i));
    }
    for (int round = 0; round < 3; round++) {
      Words a = test::RandomWords(rng, n + 1);
      Words b = test::SparseWords(rng, n + 1);
      a[n] = b[n] = 0;
      CheckPair(plan, a, b, "random seed=" + std::to_string(test::TestSeed()));
      CheckPair(plan, a, a, "random square seed=" + std::to_string(test::TestSeed()));
    }
  }
}

// After PrepareNegacyclic, threads run ring products of that size with their own scratch.
TEST(NegacyclicProductTest, PreparedPlansServeSeveralThreads) {
  NegacyclicPlan plan;
  ASSERT_TRUE(NegacyclicPlanFor(1536, &plan));
  PrepareNegacyclic(plan);
  std::mt19937_64 rng(test::TestSeed() + 8);
  std::vector<Words> a(4);
  std::vector<Words> b(4);
  for (int t = 0; t < 4; t++) {
    a[t] = Reduced(test::RandomWords(rng, 1537));
    b[t] = Reduced(test::RandomWords(rng, 1537));
  }
  std::vector<Words> results(4, Words(1537));
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; t++) {
    threads.emplace_back([&, t] {
      std::vector<double> scratch = Scratch(plan);
      for (int round = 0; round < 5; round++) {
        NegacyclicMultiply(plan, a[t].data(), b[t].data(), results[t].data(), scratch.data());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int t = 0; t < 4; t++) {
    EXPECT_EQ(results[t], test::GmpRingProduct(a[t], b[t], 1536)) << "thread " << t;
  }
}

// Every row up to 4096 points with the worst case of its transform: all b-bit fields 2^(b−1) − 1
// or 2^(b−1) (points of the largest size, all alike) and all ones, multiplied and squared.
TEST(NegacyclicProductTest, CoherentPointsAtEveryRowAreExact) {
  for (uint64_t row = 0; row < NegacyclicTableRows(); row++) {
    const NegacyclicPlan plan = NegacyclicTableRow(row);
    if (plan.points > 4096) break;
    PrepareNegacyclic(plan);
    const uint64_t n = plan.ringWords;
    const uint64_t half = uint64_t{1} << (plan.pointBits - 1);
    std::vector<Words> operands;
    for (uint64_t field : {half - 1, half}) {
      operands.push_back(test::FieldPattern(n, plan.pointBits, field));
      operands.back().push_back(0);
    }
    operands.push_back(AllOnesElement(n));
    for (const Words& a : operands) {
      for (const Words& b : operands) {
        CheckPair(plan, a, b,
                  "row " + std::to_string(row) + " b=" + std::to_string(plan.pointBits));
      }
    }
  }
}

void MultiplyWithMisalignedScratch() {
  dup2(2, 1);
  NegacyclicPlan plan;
  NegacyclicPlanFor(24, &plan);
  std::vector<double> scratch(NegacyclicScratchDoubles(plan) + 1);
  const Words a = Element(24, 3);
  Words out(25);
  double* misaligned = reinterpret_cast<double*>(reinterpret_cast<char*>(scratch.data()) + 8);
  if (reinterpret_cast<uintptr_t>(misaligned) % 16 == 0) misaligned++;
  NegacyclicMultiply(plan, a.data(), a.data(), out.data(), misaligned);
}

TEST(NegacyclicProductTest, MisalignedScratchIsFatal) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  test::FeedStdin("");
  EXPECT_DEATH(MultiplyWithMisalignedScratch(), "Invalid Data Alignment: FFT Multiplication");
}

}  // namespace
}  // namespace zx
