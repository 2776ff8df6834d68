// The floating-point FFT against GMP: the size table and its even-width rule, products and squares
// around the front-end's limits (57/58, 53/54, 11999 words) on random, sparse and all-ones
// operands (all ones is where the rounding error shows first), every rectangular method,
// truncation, and the heap entries.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <thread>
#include <vector>

#include "fft_test_util.hpp"
#include "multiply/basecase/basecase.hpp"
#include "multiply/fft/fft_mul.hpp"
#include "multiply/fft/fft_size_table.hpp"
#include "multiply_test_util.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

using test::Words;

TEST(FftSizeTableTest, ChoosesTheFirstRowThatHoldsTheProduct) {
  FftSize size;
  // 58 × 58 words: 3712 bits; 3·2^6 holds 4032 at b = 21, and 192·20 = 3840 still fits.
  ASSERT_TRUE(ChooseFftSize(3712, &size));
  EXPECT_EQ(size.points, 192u);
  EXPECT_EQ(size.pointBits, 20u);
  EXPECT_EQ(size.lengthCode, 4u * 7 + 2);
  // 84 words: 5376 bits exactly fill 2^8 at b = 21, and 256·20 does not cover them.
  ASSERT_TRUE(ChooseFftSize(5376, &size));
  EXPECT_EQ(size.points, 256u);
  EXPECT_EQ(size.pointBits, 21u);
  EXPECT_EQ(size.lengthCode, 32u);
  ASSERT_TRUE(ChooseFftSize(5377, &size));
  EXPECT_EQ(size.points, 384u);
  EXPECT_EQ(size.pointBits, 20u);
  ASSERT_TRUE(ChooseFftSize(1, &size));
  EXPECT_EQ(size.points, 64u);
  EXPECT_EQ(size.pointBits, 22u);
  ASSERT_TRUE(ChooseFftSize(9663676416u, &size));
  EXPECT_EQ(size.points, uint64_t{1} << 30);
  EXPECT_EQ(size.pointBits, 9u);
  EXPECT_FALSE(ChooseFftSize(9663676417u, &size));
}

TEST(FftSizeTableTest, RowsGrowAndCodesRoundTrip) {
  EXPECT_EQ(FftCapacityBits(0), 1408u);
  EXPECT_EQ(FftCapacityBits(kFftSizeRows - 1), 9663676416u);
  for (int row = 0; row < kFftSizeRows; row++) {
    const FftSize size = FftSizeRow(row);
    EXPECT_EQ(FftLengthFromCode(size.lengthCode), size.points) << "row " << row;
    if (row > 0) {
      EXPECT_GT(FftCapacityBits(row), FftCapacityBits(row - 1)) << "row " << row;
    }
  }
  EXPECT_EQ(FftLengthFromCode(4 * 9 + 1), 5u << 7);
  EXPECT_EQ(FftLengthFromCode(4 * 9 + 3), 7u << 7);
}

TEST(FftSizeTableTest, BeyondTheTableStops) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  test::FeedStdin("");
  EXPECT_EXIT(FftSizeExceeded(), ::testing::ExitedWithCode(1), "");
}

struct Case {
  uint64_t la;
  uint64_t lb;
};

TEST(FftProductTest, AgreesWithGmpAroundTheFrontEndLimits) {
  std::mt19937_64 rng(test::TestSeed());
  const uint64_t sizes[] = {1,  2,  3,  17,  44,  45,  53,   54,   57,   58,   59,
                            83, 84, 85, 127, 256, 700, 1000, 2047, 4095, 6001, 11999};
  for (uint64_t n : sizes) {
    const std::string seed = " seed=" + std::to_string(test::TestSeed());
    for (int kind = 0; kind < 3; kind++) {
      const Words a = kind == 0   ? test::RandomWords(rng, n)
                      : kind == 1 ? test::SparseWords(rng, n)
                                  : test::AllOnes(n);
      const Words b = kind == 0   ? test::RandomWords(rng, n)
                      : kind == 1 ? test::SparseWords(rng, n)
                                  : test::AllOnes(n);
      const std::string what = "n=" + std::to_string(n) + " kind=" + std::to_string(kind) + seed;
      test::CheckProduct(a, &b, 0, what);
      test::CheckProduct(a, nullptr, 0, "square " + what);
    }
  }
}

TEST(FftProductTest, CoherentPointsAtFullRowsAreExact) {
  test::CheckFullRows(0, 16);
}

TEST(FftProductTest, AgreesWithGmpOnEveryRectangularMethod) {
  std::mt19937_64 rng(test::TestSeed() + 2);
  // Ratios up to 4 take one transform; beyond it the chunked routine, with short operands below
  // 58 words going to the basecase and tails of pieces on either side of 58 words.
  const Case cases[] = {{59, 58},    {100, 60},    {232, 58},   {233, 58},   {1000, 250},
                        {1001, 250}, {5000, 57},   {800, 3},    {3000, 100}, {4096, 200},
                        {20000, 64}, {12345, 999}, {9000, 1100}};
  for (const Case& c : cases) {
    for (bool allOnes : {false, true}) {
      const Words a = allOnes ? test::AllOnes(c.la) : test::RandomWords(rng, c.la);
      const Words b = allOnes ? test::AllOnes(c.lb) : test::SparseWords(rng, c.lb);
      test::CheckProduct(a, &b, 0, test::Shape(c.la, c.lb) + (allOnes ? " all ones" : " random"));
      test::CheckProduct(b, &a, 0, test::Shape(c.lb, c.la) + " swapped");
    }
  }
}

TEST(FftProductTest, TruncatedProductsKeepTheHighWords) {
  std::mt19937_64 rng(test::TestSeed() + 3);
  const Case cases[] = {{60, 60}, {97, 64}, {300, 60}, {1000, 200}};
  for (const Case& c : cases) {
    const Words a = test::RandomWords(rng, c.la);
    const Words b = test::RandomWords(rng, c.lb);
    const uint64_t total = c.la + c.lb;
    for (uint64_t t : {uint64_t{0}, uint64_t{1}, c.lb - 1, c.lb, c.lb + 1, c.la, c.la + 1,
                       total / 2, total - 60, total - 2, total - 1, total, total + 5}) {
      test::CheckProduct(a, &b, t, test::Shape(c.la, c.lb, t));
      if (c.la == c.lb) test::CheckProduct(a, nullptr, t, "square " + test::Shape(c.la, c.la, t));
    }
  }
}

TEST(FftProductTest, HeapEntriesTakeWhatTheyAnnounce) {
  std::mt19937_64 rng(test::TestSeed() + 4);
  const Words a = test::RandomWords(rng, 3000);
  const Words b = test::RandomWords(rng, 500);
  const Words exact = test::GmpProduct(a, b);
  for (uint64_t t : {uint64_t{0}, uint64_t{100}, uint64_t{2000}}) {
    const uint64_t bytes = FftMultiplyScratchBytes(3000, 500, t);
    AllocationHeap heap;
    HeapCreate(nullptr, &heap, bytes + 4096);
    Words out(3500 - t);
    ASSERT_EQ(FftMultiply(&heap, a.data(), 3000, b.data(), 500, out.data(), t), 0u);
    EXPECT_EQ(heap.activeCount, 0u);
    HeapDestroy(&heap);
    AllocationHeap tiny;
    HeapCreate(nullptr, &tiny, 1024);
    EXPECT_EQ(FftMultiply(&tiny, a.data(), 3000, b.data(), 500, out.data(), t), bytes);
    EXPECT_EQ(FftSquare(&tiny, a.data(), 3000, out.data(), t), FftSquareScratchBytes(3000, t));
    HeapDestroy(&tiny);
  }
  EXPECT_EQ(FftMemoryBytes(57), 8u * 57 + BasecaseScratchBytes(57, 57));
  // 1000 words: 64000 bits fit 2^12 points of 19 bits (lowered to 18).
  EXPECT_EQ(FftMemoryBytes(1000), 8u * 1000 + 20u * 4096 + 64);
}

// Products on several threads at once share only the twiddle tables; the first product of a
// new size grows them while other threads transform (tables never move once built).
TEST(FftProductTest, ThreadsMultiplyAtOnce) {
  ReleaseFftTables();
  PrepareFftTables(100);
  const uint64_t sizes[] = {60, 700, 3001, 9000};
  std::vector<Words> operands;
  std::mt19937_64 rng(test::TestSeed() + 7);
  for (uint64_t n : sizes) operands.push_back(test::RandomWords(rng, n));
  std::vector<Words> results(8);
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; t++) {
    threads.emplace_back([&, t] {
      const Words& a = operands[t % 4];
      Words out(2 * a.size());
      for (int round = 0; round < 3; round++) {
        if (FftSquare(nullptr, a.data(), a.size(), out.data(), 0) != 0) return;
      }
      results[t] = out;
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int t = 0; t < 8; t++) {
    EXPECT_EQ(results[t], test::GmpProduct(operands[t % 4], operands[t % 4])) << "thread " << t;
  }
}

}  // namespace
}  // namespace zx
