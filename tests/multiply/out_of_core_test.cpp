// Out-of-core products against the in-memory product: both variants (the lean one forced by the
// heap's size) through the front end on swapped operands, the product's life on disk and its
// files, and the retry when a product fails its check out of core.
#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "multiply/hybrid/hybrid_mul.hpp"
#include "multiply/multiply.hpp"
#include "multiply/out_of_core/out_of_core.hpp"
#include "product_oracle.hpp"
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
                      FrontCase{12000, 48000, 0, false, true},
                      FrontCase{12000, 48000, 25000, true, true},
                      FrontCase{12000, 48001, 0, false, false},
                      FrontCase{11999, 12000, 0, false, false},
                      FrontCase{12000, 0, 0, false, true},
                      FrontCase{12000, 0, 13000, true, true},
                      FrontCase{11999, 0, 0, false, false}));

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
        EXPECT_EQ(capture.text(), test::RecoveryText(failures)) << what;
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
