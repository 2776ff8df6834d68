// The allocation heap's fixed cases beside the randomized model: an exhausted heap refuses, joins
// charge the children's peaks, and leaks are reported (its stops are in stops_test.cpp).
#include <gtest/gtest.h>

#include "runtime/allocation_heap.hpp"
#include "runtime_test_util.hpp"
#include "shell/fatal.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

struct HeapFixture : ::testing::Test {
  AllocationHeap heap;
  void SetUp() override { HeapCreate(nullptr, &heap, 64 * 1024); }
  void TearDown() override {
    test::ConsoleCapture quiet;
    HeapDestroy(&heap);
  }
};

using HeapPieceTest = HeapFixture;

TEST_F(HeapPieceTest, ExhaustedHeapReturnsNull) {
  EXPECT_EQ(AllocBytes(&heap, 64 * 1024), nullptr);
  EXPECT_EQ(AllocWords64(&heap, uint64_t{1} << 62), nullptr);
  EXPECT_EQ(AllocWords32(&heap, ~uint64_t{0}), nullptr);
  EXPECT_EQ(heap.activeCount, 0u);
  EXPECT_EQ(heap.peakTop, heap.start);
}

using HeapMergeTest = HeapFixture;

TEST_F(HeapMergeTest, JoinChargesTheLargerChildsPeakTwice) {
  void* before = AllocBytes(&heap, 1000);
  const uint64_t peakBefore = heap.peakTop;
  HeapSplit(&heap, 1);
  EXPECT_EQ(heap.peakTop, std::max(peakBefore, heap.savedTop));  // the children are not usage
  const uint64_t savedTop = heap.savedTop;
  void* small = AllocBytes(HeapChild(&heap, 0), 100);
  void* large = AllocBytes(HeapChild(&heap, 1), 3000);
  const uint64_t largePeak = HeapPeakBytes(HeapChild(&heap, 1));
  Release(large);
  HeapJoin(&heap);
  EXPECT_EQ(heap.peakTop, savedTop + 2 * largePeak);
  Release(small);
  Release(before);
}

// Shares split the space unevenly; the join charges the space at which each child's peak would
// still have fitted its share, and shares past the clamp keep a sixteenth for the smaller child.
TEST_F(HeapMergeTest, SharedSplitsSizeTheChildrenAndChargeByShare) {
  for (const double share : {0.001, 0.75}) {
    const uint64_t freeBefore = HeapFreeSpace(&heap);
    const uint64_t peakBefore = heap.peakTop;
    HeapSplitShare(&heap, 1, share);
    const uint64_t savedTop = heap.savedTop;
    AllocationHeap* first = HeapChild(&heap, 0);
    AllocationHeap* second = HeapChild(&heap, 1);
    const double size0 = static_cast<double>(first->end - first->start);
    const double size1 = static_cast<double>(second->end - second->start);
    const double expected = std::max(share, kMinHeapShare);
    EXPECT_NEAR(size0 / (size0 + size1), expected, 1e-3) << share;
    EXPECT_LE(first->end - first->start + second->end - second->start, freeBefore);
    void* piece = AllocBytes(second, 4000);
    const uint64_t peak = HeapPeakBytes(second);
    Release(piece);
    HeapJoin(&heap);
    const double charged = static_cast<double>(savedTop) + peak * (size0 + size1) / size1;
    EXPECT_NEAR(static_cast<double>(heap.peakTop),
                std::max(static_cast<double>(peakBefore), charged), 2)
        << share;
  }
}

TEST(HeapDestroy, TopLevelLeakIsReportedWithTheDumpAndTheRunGoesOn) {
  AllocationHeap heap;
  HeapCreate(nullptr, &heap, 1024);
  AllocWords32(&heap, 10);
  test::ConsoleCapture capture;
  HeapDestroy(&heap);
  const std::string& text = capture.text();
  EXPECT_EQ(text.rfind("Allocation Heap: Memory leak detected\nHeap Table Dump:\n", 0), 0u) << text;
  EXPECT_EQ(test::CountOccurrences(text, "Base: "), 1);
  EXPECT_NE(text.find("Active Allocations  : 1\n"), std::string::npos);
  HeapDestroy(nullptr);
}

}  // namespace
}  // namespace zx
