// Hybrid transform products against GMP: the tables' rows at and above the entry size, forced
// rows of every shape (direct and FFT pointwise products, odd c, small and large K), squares,
// truncation, thread counts, the fault hook and the memory bound.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "hybrid_test_support.hpp"
#include "multiply/hybrid/hybrid_mul.hpp"
#include "multiply/hybrid/hybrid_tables.hpp"
#include "runtime/allocation_heap.hpp"
#include "runtime/threads.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

using test::Fill;
using test::Operand;
using test::Words;

struct ProductCase {
  uint64_t la;
  uint64_t lb;  // 0: square of a
  uint64_t t;
  Fill fill;
};

class HybridProducts : public ::testing::TestWithParam<ProductCase> {};

TEST_P(HybridProducts, AgreeWithGmp) {
  const ProductCase& c = GetParam();
  std::mt19937_64 rng(test::TestSeed() + c.la * 3 + c.lb);
  const Words a = Operand(rng, c.la, c.fill);
  if (c.lb == 0) {
    test::CheckHybridProduct(a, nullptr, c.t, 0);
  } else {
    const Words b = Operand(rng, c.lb, c.fill);
    test::CheckHybridProduct(a, &b, c.t, 0);
  }
}

INSTANTIATE_TEST_SUITE_P(
    EntrySizes, HybridProducts,
    ::testing::Values(ProductCase{12000, 12000, 0, Fill::kRandom},
                      ProductCase{12000, 12000, 0, Fill::kAllOnes},
                      ProductCase{12001, 12000, 0, Fill::kSparse},
                      ProductCase{12272, 12272, 0, Fill::kAllOnes},  // capacity 24544 exactly
                      ProductCase{12000, 0, 0, Fill::kAllOnes},
                      ProductCase{12500, 0, 0, Fill::kSparse},
                      ProductCase{12000, 12000, 12000, Fill::kRandom},
                      ProductCase{12000, 12000, 23990, Fill::kAllOnes},
                      ProductCase{13000, 0, 12999, Fill::kRandom},
                      ProductCase{40000, 12000, 0, Fill::kRandom},    // ratio beyond 3
                      ProductCase{100000, 12000, 30000, Fill::kSparse},
                      ProductCase{30011, 29989, 0, Fill::kSparse}));

INSTANTIATE_TEST_SUITE_P(
    LargerSizes, HybridProducts,
    ::testing::Values(ProductCase{65536, 65536, 0, Fill::kRandom},
                      ProductCase{100000, 0, 0, Fill::kAllOnes},
                      ProductCase{200000, 150000, 0, Fill::kRandom},
                      ProductCase{200000, 200000, 150000, Fill::kSparse}));

// Rows forced on products that fill them: every shape of transform the tables could produce.
TEST(HybridRows, EveryShapeOfRowAgreesWithGmp) {
  struct Row {
    uint32_t k;
    uint32_t c;
  };
  // Direct pointwise products (n < 28), odd c (√2 roots), c ≡ 2 (mod 4) (bit shifts),
  // word-aligned and limb-aligned roots, short and long transforms, FFT-mode rings.
  const Row rows[] = {{3, 512}, {5, 48}, {4, 32}, {4, 48}, {5, 24}, {6, 12}, {7, 6},
                      {8, 3},   {8, 5},  {9, 1},  {10, 1}, {10, 2}, {11, 1}, {12, 1},
                      {6, 128}, {8, 26}, {7, 192}};
  std::mt19937_64 rng(test::TestSeed() + 7);
  for (const Row& row : rows) {
    const HybridParams params = HybridParamsFromRow(row.k, row.c);
    for (int trial = 0; trial < 3; ++trial) {
      const Fill fill = trial == 0 ? Fill::kAllOnes : trial == 1 ? Fill::kRandom : Fill::kSparse;
      const uint64_t la = params.capacityWords / 2 + (trial == 2 ? params.capacityWords / 4 : 0);
      const uint64_t lb = params.capacityWords - la - (trial == 1 ? 3 : 0);
      const Words a = Operand(rng, la, fill);
      const Words b = Operand(rng, lb, fill);
      for (const bool square : {false, true}) {
        const Words& other = square ? a : b;
        const uint64_t lo = square ? la : lb;
        if (square && 2 * la > params.capacityWords) continue;
        Words out(la + lo);
        const uint64_t status = HybridMultiplyWithRow(nullptr, a.data(), la, other.data(), lo,
                                                      out.data(), 0, trial, row.k, row.c);
        ASSERT_EQ(status, 0u) << "k=" << row.k << " c=" << row.c << " " << test::Shape(la, lo);
        ASSERT_TRUE(out == test::GmpProduct(a, other))
            << "k=" << row.k << " c=" << row.c << " " << test::Shape(la, lo) << " T=" << trial;
      }
    }
  }
}

// Every row of both tables up to 60,000 words and every eighth up to 400,000, at its exact
// capacity (the long tests take the others).
TEST(HybridRows, TableRowsAtCapacityAgreeWithGmp) {
  std::mt19937_64 rng(test::TestSeed() + 5);
  for (const bool square : {false, true}) {
    const auto table = square ? HybridSquareTable() : HybridMultiplyTable();
    for (size_t i = 0; i < table.size() && table[i].capacityWords <= 400000; ++i) {
      if (table[i].capacityWords > 60000 && i % 8 != 0) continue;
      test::CheckRowAtCapacity(table[i], square, rng);
      if (HasFatalFailure()) return;
    }
  }
}

// Every thread budget gives the same words, with passes, products and the recombination split
// over threads, truncated or not.
TEST(HybridThreads, EveryBudgetGivesTheSameProduct) {
  std::mt19937_64 rng(test::TestSeed() + 11);
  struct Shape {
    uint64_t la;
    uint64_t lb;  // 0: square
    uint64_t t;
  };
  for (const Shape shape : {Shape{60000, 60000, 0}, Shape{90000, 25000, 0},
                            Shape{45000, 0, 0}, Shape{70000, 70000, 69000},
                            Shape{80000, 0, 100001}}) {
    const bool square = shape.lb == 0;
    const uint64_t lb = square ? shape.la : shape.lb;
    const Words a = test::SparseWords(rng, shape.la);
    const Words b = test::RandomWords(rng, lb);
    std::vector<Words> results;
    for (uint32_t threads = 0; threads <= 3; ++threads) {
      Words out(shape.la + lb - shape.t);
      const uint64_t status =
          square ? HybridSquare(nullptr, a.data(), shape.la, out.data(), shape.t, threads)
                 : HybridMultiply(nullptr, a.data(), shape.la, b.data(), lb, out.data(), shape.t,
                                  threads);
      ASSERT_EQ(status, 0u) << test::Describe(shape.la, lb, shape.t, threads, square);
      results.push_back(out);
      ASSERT_TRUE(results.front() == out) << test::Describe(shape.la, lb, shape.t, threads, square);
    }
    const Words exact = test::GmpProduct(a, square ? a : b);
    ASSERT_LE(test::TruncationShortfall(exact, shape.t, results.front()), 2u)
        << test::Describe(shape.la, lb, shape.t, 0, square);
  }
}

// No budget, no thread; with a budget the passes start threads, and a thread that cannot be
// started costs one warning and its half runs on the calling thread instead. (The shape takes a
// row of 128 pieces: rows of few, large pieces take fewer threads than offered.)
TEST(HybridThreads, RefusedThreadsWarnAndChangeNothing) {
  std::mt19937_64 rng(test::TestSeed() + 12);
  const Words a = test::RandomWords(rng, 60000);
  const Words b = test::RandomWords(rng, 56000);
  const Words exact = test::GmpProduct(a, b);
  Words out(a.size() + b.size());
  const uint64_t before = ThreadsStarted();
  ASSERT_EQ(HybridMultiply(nullptr, a.data(), a.size(), b.data(), b.size(), out.data(), 0, 0), 0u);
  EXPECT_EQ(ThreadsStarted(), before);
  ASSERT_EQ(HybridMultiply(nullptr, a.data(), a.size(), b.data(), b.size(), out.data(), 0, 2), 0u);
  EXPECT_GT(ThreadsStarted(), before);
  test::ConsoleCapture capture;
  FailNextThreadStarts(3);
  std::fill(out.begin(), out.end(), 0u);
  ASSERT_EQ(HybridMultiply(nullptr, a.data(), a.size(), b.data(), b.size(), out.data(), 0, 2), 0u);
  EXPECT_EQ(capture.text(), "Warning: Unable to create thread.\n"
                            "Warning: Unable to create thread.\n"
                            "Warning: Unable to create thread.\n");
  EXPECT_TRUE(out == exact);
}

// Forced rows with small rings and many points exercise the halving of the passes themselves.
TEST(HybridThreads, SplitPassesOfLongTransformsAgree) {
  std::mt19937_64 rng(test::TestSeed() + 13);
  const HybridParams params = HybridParamsFromRow(12, 6);  // n = 192, K = 4096
  const Words a = test::SparseWords(rng, params.capacityWords / 2);
  const Words b = test::RandomWords(rng, params.capacityWords / 2);
  const Words exact = test::GmpProduct(a, b);
  for (uint32_t threads = 0; threads <= 3; ++threads) {
    Words out(a.size() + b.size());
    ASSERT_EQ(HybridMultiplyWithRow(nullptr, a.data(), a.size(), b.data(), b.size(), out.data(),
                                    0, threads, params.k, params.c),
              0u);
    ASSERT_TRUE(out == exact) << "T=" << threads;
  }
}

TEST(HybridCheck, InjectedFaultFailsTheCheckOnceEach) {
  std::mt19937_64 rng(test::TestSeed() + 17);
  const Words a = test::RandomWords(rng, 12000);
  const Words b = test::RandomWords(rng, 12345);
  Words out(a.size() + b.size());
  HybridInjectFaults(2);
  EXPECT_EQ(HybridMultiply(nullptr, a.data(), a.size(), b.data(), b.size(), out.data(), 0, 1),
            kProductCheckFailed);
  EXPECT_EQ(HybridSquare(nullptr, a.data(), a.size(), out.data(), 100, 0), kProductCheckFailed);
  ASSERT_EQ(HybridMultiply(nullptr, a.data(), a.size(), b.data(), b.size(), out.data(), 0, 1), 0u);
  EXPECT_TRUE(out == test::GmpProduct(a, b));
}

TEST(HybridMemory, ProductsFitInAHeapOfTheStatedSize) {
  std::mt19937_64 rng(test::TestSeed() + 19);
  struct Shape {
    uint64_t la;
    uint64_t lb;
    uint64_t t;
    uint32_t threads;
  };
  for (const Shape shape : {Shape{12000, 12000, 0, 0}, Shape{50000, 20000, 1000, 1},
                            Shape{30000, 0, 0, 2}, Shape{64000, 64000, 64000, 3}}) {
    const bool square = shape.lb == 0;
    const uint64_t lb = square ? shape.la : shape.lb;
    const Words a = test::RandomWords(rng, shape.la);
    const Words b = test::RandomWords(rng, lb);
    const uint64_t outWords = shape.la + lb - shape.t;
    const uint64_t bytes = square ? HybridSquareMemoryBytes(shape.la, shape.t, shape.threads)
                                  : HybridMultiplyMemoryBytes(shape.la, lb, shape.t, shape.threads);
    AllocationHeap heap;
    // The product buffer is a piece of the same heap: its bytes and the piece overhead.
    HeapCreate(nullptr, &heap, bytes + outWords * 4 + 80);
    auto* out = AllocWords32(&heap, outWords);
    ASSERT_NE(out, nullptr);
    const uint64_t status =
        square ? HybridSquare(&heap, a.data(), shape.la, out, shape.t, shape.threads)
               : HybridMultiply(&heap, a.data(), shape.la, b.data(), lb, out, shape.t,
                                shape.threads);
    EXPECT_EQ(status, 0u) << test::Describe(shape.la, lb, shape.t, shape.threads, square);
    const Words exact = test::GmpProduct(a, square ? a : b);
    EXPECT_LE(test::TruncationShortfall(exact, shape.t, Words(out, out + outWords)), 2u);
    Release(out);
    HeapDestroy(&heap);
  }
}

TEST(HybridMemory, ShortHeapReturnsTheBytesWanted) {
  const Words a(20000, 0x12345678u);
  Words out(40000);
  AllocationHeap heap;
  HeapCreate(nullptr, &heap, 1 << 16);
  const uint64_t status = HybridMultiply(&heap, a.data(), a.size(), a.data() , a.size() - 1,
                                         out.data(), 0, 1);
  EXPECT_NE(status, 0u);
  EXPECT_NE(status, kProductCheckFailed);
  EXPECT_LE(status, HybridMultiplyMemoryBytes(a.size(), a.size() - 1, 0, 1));
  EXPECT_EQ(HeapUsedBytes(&heap), 0u);
  HeapDestroy(&heap);
}

}  // namespace
}  // namespace zx
