// Out-of-core products against GMP and against the in-memory product: both variants (the lean one
// at several block sizes, forced by the heap's size), rectangular shapes up to the 4:1 limit,
// squares, truncation and threads; the front-end's choice of path, the product's life on disk and
// its files, and the retry when a product fails its check out of core.
#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "multiply/hybrid/hybrid_mul.hpp"
#include "multiply/multiply.hpp"
#include "multiply/out_of_core/out_of_core.hpp"
#include "multiply_test_util.hpp"
#include "runtime/allocation_heap.hpp"
#include "runtime/run_record.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

using test::Words;

// Room the heap needs beside a variant's working memory: the records of the operands' and the
// product's RaidFiles, and the table's reserve.
constexpr uint64_t kHeapSlackBytes = 16 << 10;

struct ProductCase {
  uint64_t la;
  uint64_t lb;  // 0: square of a
  uint64_t t;
  uint32_t threads;
};

std::string Describe(const ProductCase& c) {
  return (c.lb == 0 ? "square " : "") + test::Shape(c.la, c.lb == 0 ? c.la : c.lb, c.t) +
         " T=" + std::to_string(c.threads) + " seed=" + std::to_string(test::TestSeed());
}

// Swap disks in two fresh directories for the duration of a test.
class OutOfCoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (std::string& dir : dirs_) {
      dir = test::MakeTempDir("outofcore");
      AddDiskPath(disks_, dir);
    }
    InstallRun(RunRecord{.swapDisks = &disks_});
  }
  void TearDown() override {
    InstallRun(RunRecord{});
    EXPECT_EQ(SwapFilesPresent(), 0u) << "swap files left behind";
    for (const std::string& dir : dirs_) test::RemoveTree(dir);
  }
  size_t SwapFilesPresent() const {
    size_t count = 0;
    for (const std::string& dir : dirs_) {
      for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        count += entry.path().extension() == ".sf" ? 1 : 0;
      }
    }
    return count;
  }
  std::string dirs_[2];
  DiskList disks_;
};

// A value on the swap disks only, its record pieces from heap.
BigInt SwappedOut(AllocationHeap* heap, const Words& words) {
  BigInt x;
  x.words = AllocWordsOrDie(heap, words.size() + 2);
  std::copy(words.begin(), words.end(), x.words);
  x.length = words.size();
  x.capacity = words.size() + 2;
  BigIntSwapOut(heap, x);
  return x;
}

Words WordsOf(AllocationHeap* heap, BigInt& x) {
  BigIntMakeResident(heap, x);
  return Words(x.words, x.words + x.length);
}

// The in-memory front-end's words for the same product: what every out-of-core form must match.
Words InMemoryProduct(const Words& a, const Words& b, uint64_t t, bool square) {
  BigInt x;
  BigInt y;
  BigInt out;
  x.words = const_cast<uint32_t*>(a.data());
  x.length = x.capacity = a.size();
  y.words = const_cast<uint32_t*>(b.data());
  y.length = y.capacity = b.size();
  if (square) {
    BigIntSquare(nullptr, x, out, t, 0, 0);
  } else {
    BigIntMultiply(nullptr, x, y, out, t, 0, 0);
  }
  const Words words(out.words, out.words + out.length);
  BigIntRelease(out);
  return words;
}

// Checks the in-memory words against GMP: exact, or short by the skipped words' carries.
void ExpectMatchesGmp(const Words& a, const Words& b, uint64_t t, const Words& got,
                      const std::string& what) {
  const Words exact = test::GmpProduct(a, b);
  Words padded = got;
  padded.resize(exact.size() - t, 0);
  EXPECT_LE(test::TruncationShortfall(exact, t, padded), 2u) << what;
}

class OutOfCoreVariants : public OutOfCoreTest,
                          public ::testing::WithParamInterface<ProductCase> {
 protected:
  // Runs one variant in a heap of heapBytes on RaidFiles of a and b; returns the product's words
  // and the heap's peak use.
  Words Run(bool lean, uint64_t heapBytes, const Words& a, const Words& b, uint64_t t, bool square,
            uint32_t threads, uint64_t* peakBytes) {
    RaidFile x;
    RaidFile y;
    RaidFile out;
    RaidFileCreateFrom(nullptr, x, CurrentRun().swapDisks, a.data(), a.size());
    RaidFileCreateFrom(nullptr, y, CurrentRun().swapDisks, b.data(), b.size());
    const uint64_t productWords = a.size() + b.size() - t;
    RaidFileCreate(nullptr, out, CurrentRun().swapDisks, productWords);
    AllocationHeap heap;
    HeapCreate(nullptr, &heap, heapBytes);
    uint64_t status = 0;
    if (square) {
      status = lean ? OutOfCoreSquareLean(&heap, x, a.size(), out, t, threads)
                    : OutOfCoreSquareHungry(&heap, x, a.size(), out, t, threads);
    } else {
      status = lean ? OutOfCoreMultiplyLean(&heap, x, a.size(), y, b.size(), out, t, threads)
                    : OutOfCoreMultiplyHungry(&heap, x, a.size(), y, b.size(), out, t, threads);
    }
    EXPECT_EQ(status, 0u);
    EXPECT_EQ(HeapUsedBytes(&heap), 0u) << "the variant kept memory";
    *peakBytes = HeapPeakBytes(&heap);
    HeapDestroy(&heap);
    Words product(productWords);
    RaidFileReadAll(out, product.data(), productWords);
    while (!product.empty() && product.back() == 0) product.pop_back();
    RaidFileDestroy(out);
    RaidFileDestroy(y);
    RaidFileDestroy(x);
    return product;
  }
};

TEST_P(OutOfCoreVariants, MatchTheInMemoryProductWithinTheirMemory) {
  const ProductCase& c = GetParam();
  const bool square = c.lb == 0;
  std::mt19937_64 rng(test::TestSeed() + c.la + 7 * c.lb + c.t);
  const Words a = c.la % 2 == 0 ? test::RandomWords(rng, c.la) : test::SparseWords(rng, c.la);
  const Words b = square ? a : test::RandomWords(rng, c.lb);
  const std::string what = Describe(c);
  const Words expected = InMemoryProduct(a, b, c.t, square);
  ExpectMatchesGmp(a, b, c.t, expected, what);

  const uint64_t hungryBytes = square ? OutOfCoreSquareMemoryBytes(c.la, c.t, c.threads)
                                      : OutOfCoreMultiplyMemoryBytes(c.la, c.lb, c.t, c.threads);
  uint64_t peak = 0;
  EXPECT_TRUE(Run(false, hungryBytes, a, b, c.t, square, c.threads, &peak) == expected)
      << "hungry " << what;
  EXPECT_LE(peak, hungryBytes) << what;

  // The operand words the kept product needs whole, and in blocks of a half, a third and a fifth
  // of them (never below the lean variant's least block), each run in exactly its memory.
  const uint64_t needed = OutOfCoreShapeFor(c.la, square ? c.la : c.lb, c.t).lb;
  for (const uint64_t parts : {1, 2, 3, 5}) {
    const uint64_t blockWords = needed / parts;
    if (parts > 1 && blockWords < kLeanMinBlockWords) continue;
    const uint64_t leanBytes =
        OutOfCoreLeanMemoryBytes(c.la, square ? c.la : c.lb, c.t, square, blockWords, c.threads);
    const Words got = Run(true, leanBytes, a, b, c.t, square, c.threads, &peak);
    EXPECT_TRUE(got == expected) << "lean, blocks of " << blockWords << " words, " << what;
    EXPECT_LE(peak, leanBytes) << what;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, OutOfCoreVariants,
    ::testing::Values(ProductCase{12000, 12000, 0, 0}, ProductCase{12000, 12000, 12000, 1},
                      ProductCase{12001, 12000, 23000, 0}, ProductCase{48000, 12000, 0, 1},
                      ProductCase{48000, 12000, 30000, 0}, ProductCase{30000, 20000, 35000, 2},
                      ProductCase{12000, 0, 0, 1}, ProductCase{13001, 0, 12999, 0},
                      ProductCase{20000, 0, 25000, 2}));

TEST(OutOfCoreMemory, LeanNeedsAFractionOfTheHungryVariant) {
  for (const uint64_t n : {uint64_t{100000}, uint64_t{1000000}, uint64_t{10000000}}) {
    for (const uint32_t threads : {0u, 2u}) {
      for (const bool square : {false, true}) {
        const std::string what = "n=" + std::to_string(n) + " T=" + std::to_string(threads) +
                                 " square=" + std::to_string(square);
        const uint64_t hungry = square ? OutOfCoreSquareMemoryBytes(n, 0, threads)
                                       : OutOfCoreMultiplyMemoryBytes(n, n, 0, threads);
        const uint64_t lean = OutOfCoreLeanMemoryBytes(n, n, 0, square, n / 8, threads);
        EXPECT_LT(2 * lean, hungry) << what;
        EXPECT_LE(OutOfCoreLeanMinimumBytes(n, n, 0, square, threads), lean) << what;
      }
    }
  }
}

struct FrontCase {
  uint64_t la;
  uint64_t lb;  // 0: square
  uint64_t t;
  bool lean;
  bool outOfCore;
};

class OutOfCoreFront : public OutOfCoreTest, public ::testing::WithParamInterface<FrontCase> {};

TEST_P(OutOfCoreFront, ProductsOfSwappedOperandsStayOnDisk) {
  const FrontCase& c = GetParam();
  const bool square = c.lb == 0;
  const uint64_t lb = square ? c.la : c.lb;
  std::mt19937_64 rng(test::TestSeed() + c.la + c.lb + c.t);
  const Words a = test::RandomWords(rng, c.la);
  const Words b = square ? a : test::SparseWords(rng, c.lb);
  const std::string what = Describe({c.la, c.lb, c.t, 1}) + (c.lean ? " lean" : " hungry");
  const Words expected = InMemoryProduct(a, b, c.t, square);

  const uint64_t hungryBytes = square ? OutOfCoreSquareMemoryBytes(c.la, c.t, 1)
                                      : OutOfCoreMultiplyMemoryBytes(c.la, lb, c.t, 1);
  const uint64_t needed = OutOfCoreShapeFor(c.la, lb, c.t).lb;
  const uint64_t leanBytes = OutOfCoreLeanMemoryBytes(c.la, lb, c.t, square, needed / 3, 1);
  // The lean heap still holds the product once it is read back.
  const uint64_t heapBytes = c.lean ? leanBytes + kHeapSlackBytes : 2 * hungryBytes;
  AllocationHeap heap;
  HeapCreate(nullptr, &heap, heapBytes);
  BigInt x = SwappedOut(&heap, a);
  BigInt y = square ? BigInt{} : SwappedOut(&heap, b);
  const uint64_t filesBefore = RaidFilesCreated();
  BigInt out;
  if (square) {
    BigIntSquare(&heap, x, out, c.t, 0, 1);
  } else {
    BigIntMultiply(&heap, x, y, out, c.t, 0, 1);
  }
  if (c.outOfCore) {
    EXPECT_TRUE(out.words == nullptr && out.swap != nullptr) << "not on disk: " << what;
    EXPECT_EQ(RaidFilesCreated() - filesBefore, 1u) << what;
    EXPECT_TRUE(x.words == nullptr && (square || y.words == nullptr)) << "operands loaded: " << what;
    if (c.lean) {
      EXPECT_LT(HeapPeakBytes(&heap), hungryBytes) << "the hungry variant ran: " << what;
    }
  } else {
    EXPECT_TRUE(out.words != nullptr && out.swap == nullptr) << what;
    EXPECT_TRUE(x.words != nullptr && (square || y.words != nullptr)) << what;
  }
  // One file per disk for each RaidFile alive: the operands' and, out of core, the product's.
  const size_t raidFiles = (square ? 1 : 2) + (c.outOfCore ? 1 : 0);
  EXPECT_EQ(SwapFilesPresent(), 2 * raidFiles) << what;
  EXPECT_TRUE(WordsOf(&heap, out) == expected) << what;
  BigIntRelease(out);
  BigIntRelease(y);
  BigIntRelease(x);
  EXPECT_EQ(HeapUsedBytes(&heap), 0u) << what;
  HeapDestroy(&heap);
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, OutOfCoreFront,
    ::testing::Values(FrontCase{12000, 12000, 0, false, true},
                      FrontCase{12000, 12000, 0, true, true},
                      FrontCase{12000, 12000, 11000, true, true},
                      FrontCase{12000, 48000, 0, false, true},
                      FrontCase{12000, 48000, 25000, true, true},
                      FrontCase{12000, 48001, 0, false, false},
                      FrontCase{48001, 12000, 20000, false, false},
                      FrontCase{11999, 12000, 0, false, false},
                      FrontCase{12000, 0, 0, false, true},
                      FrontCase{12000, 0, 13000, true, true},
                      FrontCase{11999, 0, 0, false, false}));

// The console text of a recovery on the second or third attempt.
std::string RecoveryText(int failures) {
  if (failures == 1) {
    return "\nMultiplication Failure: Re-attempting with same parameters...\n"
           "\nSecond Attempt Succeeded with same parameters.\n"
           "Most likely a hardware error... Please check your hardware.\n"
           "Continuing...\n\n";
  }
  return "\nMultiplication Failure: Re-attempting with same parameters...\n"
         "\nSecond Attempt Failed: Possible Software Bug.\n"
         "Re-attempting with different parameters...\n"
         "\nThird Attempt Succeeded with different parameters.\n"
         "Most likely a software error... Please report this bug.\n"
         "Continuing...\n\n";
}

TEST_F(OutOfCoreTest, FailedChecksAreRetriedOutOfCore) {
  std::mt19937_64 rng(test::TestSeed());
  const Words a = test::RandomWords(rng, 12500);
  const Words b = test::RandomWords(rng, 12000);
  const uint64_t t = 3000;
  for (const bool square : {false, true}) {
    const Words expected = InMemoryProduct(a, square ? a : b, t, square);
    for (const bool lean : {false, true}) {
      for (const int failures : {1, 2}) {
        const std::string what = std::string(square ? "square" : "product") +
                                 (lean ? " lean" : " hungry") +
                                 " failures=" + std::to_string(failures);
        const uint64_t hungryBytes = square ? OutOfCoreSquareMemoryBytes(12500, t, 0)
                                            : OutOfCoreMultiplyMemoryBytes(12500, 12000, t, 0);
        const uint64_t leanBytes =
            OutOfCoreLeanMemoryBytes(12500, square ? 12500 : 12000, t, square, 4000, 0);
        ASSERT_LT(leanBytes + kHeapSlackBytes, hungryBytes) << what;
        AllocationHeap heap;
        HeapCreate(nullptr, &heap, lean ? leanBytes + kHeapSlackBytes : 2 * hungryBytes);
        BigInt x = SwappedOut(&heap, a);
        BigInt y = SwappedOut(&heap, b);
        BigInt out;
        test::ConsoleCapture capture;
        HybridInjectFaults(static_cast<uint32_t>(failures));
        if (square) {
          BigIntSquare(&heap, x, out, t, 0, 0);
        } else {
          BigIntMultiply(&heap, x, y, out, t, 0, 0);
        }
        HybridInjectFaults(0);
        EXPECT_EQ(capture.text(), RecoveryText(failures)) << what;
        EXPECT_TRUE(out.words == nullptr && out.swap != nullptr) << what;
        EXPECT_TRUE(x.words == nullptr && y.words == nullptr) << "operands left loaded: " << what;
        EXPECT_TRUE(WordsOf(&heap, out) == expected) << what;
        EXPECT_TRUE(WordsOf(&heap, x) == a && WordsOf(&heap, y) == b) << "operands changed: " << what;
        BigIntRelease(out);
        BigIntRelease(y);
        BigIntRelease(x);
        HeapDestroy(&heap);
      }
    }
  }
}

}  // namespace
}  // namespace zx
