// The allocation heap's fixed cases: the piece layout, first fit, the table's room, compaction,
// shrinking, child merges, the dump and leak report, and every way the heap stops the program.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "runtime/allocation_heap.hpp"
#include "runtime_test_util.hpp"
#include "shell/fatal.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

uint64_t Raw(const void* piece) {
  return *reinterpret_cast<const uint64_t*>(static_cast<const char*>(piece) - 32);
}
uint64_t Address(const void* piece) {
  return reinterpret_cast<uintptr_t>(piece);
}
uint64_t RoundUp8(uint64_t value) {
  return (value + 7) & ~uint64_t{7};
}

std::string Hex(uint64_t value) {
  char text[32];
  std::snprintf(text, sizeof text, "%p", reinterpret_cast<void*>(value));
  return text;
}

struct HeapFixture : ::testing::Test {
  AllocationHeap heap;
  void SetUp() override { HeapCreate(nullptr, &heap, 64 * 1024); }
  void TearDown() override {
    test::ConsoleCapture quiet;
    HeapDestroy(&heap);
  }
};

using HeapPieceTest = HeapFixture;

TEST_F(HeapPieceTest, EmptyRequestsGiveTheAllOnesAddressFromEveryAllocator) {
  for (AllocationHeap* owner : {&heap, static_cast<AllocationHeap*>(nullptr)}) {
    SCOPED_TRACE(owner == nullptr ? "general allocator" : "heap");
    const std::vector<void*> pieces = {AllocBytes(owner, 0), AllocWords32(owner, 0),
                                       AllocWords64(owner, 0), AllocAligned16(owner, 0)};
    for (void* piece : pieces) {
      EXPECT_EQ(piece, kEmptyPiece);
      EXPECT_EQ(PieceSizeBytes(piece), 0u);
      Release(piece);
    }
    Release(nullptr);
  }
  EXPECT_EQ(heap.activeCount, 0u);
  EXPECT_EQ(heap.top, heap.start);
}

// The layout is the contract that lets Release free any piece: header words below the piece, the
// raw block pointing back at it, and the sentinel right behind the last byte.
TEST_F(HeapPieceTest, EveryPieceCarriesTheHeaderBackPointerAndSentinel) {
  struct Kind {
    const char* name;
    void* (*alloc)(AllocationHeap*, uint64_t);
    uint64_t alignBytes;
    uint64_t extraBytes;
  };
  const Kind kinds[] = {
      {"AllocBytes", [](AllocationHeap* h, uint64_t n) { return AllocBytes(h, n); }, 8, 49},
      {"AllocAligned16", [](AllocationHeap* h, uint64_t n) { return AllocAligned16(h, n); }, 16,
       57},
      {"AllocWords32",
       [](AllocationHeap* h, uint64_t n) -> void* { return AllocWords32(h, n / 4 + 1); }, 8, 49},
      {"AllocWords64",
       [](AllocationHeap* h, uint64_t n) -> void* { return AllocWords64(h, n / 8 + 1); }, 16, 57},
  };
  for (AllocationHeap* owner : {&heap, static_cast<AllocationHeap*>(nullptr)}) {
    for (const Kind& kind : kinds) {
      std::vector<void*> spacers;
      // Spacers of 8 and 16 bytes shift the raw bases through both residues modulo 16.
      for (uint64_t request = 1; request <= 90; ++request) {
        SCOPED_TRACE(std::string(kind.name) + (owner ? " heap" : " general") + " request " +
                     std::to_string(request));
        void* piece = kind.alloc(owner, request);
        ASSERT_NE(piece, nullptr);
        const uint64_t n = PieceSizeBytes(piece);
        const uint64_t u = Address(piece);
        const uint64_t raw = Raw(piece);
        EXPECT_EQ(u % kind.alignBytes, 0u);
        EXPECT_GE(u, raw + 40);
        EXPECT_LT(u, raw + 40 + kind.alignBytes);
        EXPECT_EQ(u, ((raw + 32) & ~(kind.alignBytes - 1)) + kind.alignBytes);
        EXPECT_EQ(*reinterpret_cast<uint64_t*>(raw), u);
        EXPECT_EQ(*reinterpret_cast<AllocationHeap**>(u - 24), owner);
        EXPECT_EQ(*reinterpret_cast<uint64_t*>(u - 16), n);
        EXPECT_EQ(static_cast<char*>(piece)[n], '#');
        EXPECT_EQ(PieceHeap(piece), owner);
        if (owner != nullptr) {
          const HeapEntry row = HeapEntryAt(owner, owner->activeCount - 1);
          EXPECT_EQ(row.base, raw);
          EXPECT_EQ(row.sizeBytes, RoundUp8(n + kind.extraBytes));
        }
        Release(piece);
        spacers.push_back(AllocBytes(owner, request % 2 == 0 ? 8 : 16));
      }
      for (void* spacer : spacers) Release(spacer);
      EXPECT_EQ(heap.activeCount, 0u);
    }
  }
}

TEST_F(HeapPieceTest, DuplicateStringCopiesTheTerminator) {
  for (const std::string text : {"", "D:", "/tmp/zentrix disk/"}) {
    char* copy = DuplicateString(&heap, text);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(PieceSizeBytes(copy), text.size() + 1);
    EXPECT_EQ(std::memcmp(copy, text.c_str(), text.size() + 1), 0);
    Release(copy);
  }
}

TEST_F(HeapPieceTest, ExhaustedHeapReturnsNull) {
  EXPECT_EQ(AllocBytes(&heap, 64 * 1024), nullptr);
  EXPECT_EQ(AllocWords64(&heap, uint64_t{1} << 62), nullptr);
  EXPECT_EQ(AllocWords32(&heap, ~uint64_t{0}), nullptr);
  EXPECT_EQ(heap.activeCount, 0u);
  EXPECT_EQ(heap.peakTop, heap.start);
}

using HeapFirstFitTest = HeapFixture;

TEST_F(HeapFirstFitTest, ReleasedHoleTakesTheNextRequestThatFits) {
  void* first = AllocBytes(&heap, 100);
  void* second = AllocBytes(&heap, 100);
  const uint64_t top = heap.top;
  Release(first);
  EXPECT_EQ(heap.top, top);
  void* third = AllocBytes(&heap, 100);
  EXPECT_EQ(third, first);
  EXPECT_EQ(heap.top, top);
  // A larger request skips the hole and goes above top.
  Release(third);
  void* large = AllocBytes(&heap, 200);
  EXPECT_EQ(Raw(large), top);
  // Smaller requests share the hole, in address order.
  void* small1 = AllocBytes(&heap, 8);
  void* small2 = AllocBytes(&heap, 8);
  EXPECT_EQ(Raw(small1), heap.start);
  EXPECT_EQ(Raw(small2), heap.start + RoundUp8(8 + 49));
  for (void* piece : {second, large, small1, small2}) Release(piece);
  EXPECT_EQ(heap.top, heap.start);
  EXPECT_EQ(heap.tableLimit, heap.end);
}

TEST(HeapTableRoom, RequestsMeetTheTableExactly) {
  AllocationHeap heap;
  HeapCreate(nullptr, &heap, 256);
  EXPECT_EQ(HeapAllocRaw(&heap, 241), nullptr);
  void* whole = HeapAllocRaw(&heap, 240);
  ASSERT_NE(whole, nullptr);
  EXPECT_EQ(heap.top, heap.tableLimit);
  EXPECT_EQ(HeapFreeSpace(&heap), 0u);
  EXPECT_EQ(HeapAllocRaw(&heap, 1), nullptr);
  EXPECT_EQ(HeapReleaseRaw(&heap, whole), 0u);
  HeapDestroy(&heap);
}

// Holes come from releases, and every release frees a row; a hole split in two takes a second
// row though, and that row must not land on the highest piece.
TEST(HeapTableRoom, HoleIsRefusedWhenTheRowWouldOverwriteThePieceBelowTheTable) {
  AllocationHeap heap;
  HeapCreate(nullptr, &heap, 256);
  void* a = HeapAllocRaw(&heap, 64);
  void* b = HeapAllocRaw(&heap, 64);
  void* c = HeapAllocRaw(&heap, 80);  // 3 rows: top meets the table at 208
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(heap.top, heap.tableLimit);
  test::FillPattern(c, 80, 3);
  HeapReleaseRaw(&heap, a);
  EXPECT_NE(HeapAllocRaw(&heap, 16), nullptr);  // takes the freed row
  EXPECT_EQ(HeapAllocRaw(&heap, 16), nullptr);  // the hole fits, the row does not
  EXPECT_EQ(test::FirstPatternMismatch(c, 80, 3), 80u);
  EXPECT_EQ(heap.activeCount, 3u);
  EXPECT_EQ(HeapFreeSpace(&heap), 0u);
  (void)b;
  test::ConsoleCapture quiet;
  HeapDestroy(&heap);
}

using HeapCompactTest = HeapFixture;

TEST_F(HeapCompactTest, PieceSlidesDownOverTheHoleWithItsData) {
  void* below = AllocBytes(&heap, 200);
  void* piece = AllocBytes(&heap, 300);
  test::FillPattern(piece, 300, 11);
  const uint64_t top = heap.top;
  Release(below);
  const uint64_t holeBytes = RoundUp8(200 + 49);
  void* moved = HeapCompact(piece);
  EXPECT_EQ(Address(moved), Address(piece) - holeBytes);
  EXPECT_EQ(heap.top, top - holeBytes);
  EXPECT_EQ(test::FirstPatternMismatch(moved, 300, 11), 300u);
  EXPECT_EQ(PieceHeap(moved), &heap);
  EXPECT_EQ(PieceSizeBytes(moved), 300u);
  EXPECT_EQ(Raw(moved), heap.start);
  EXPECT_EQ(*reinterpret_cast<uint64_t*>(heap.start), Address(moved));
  EXPECT_EQ(HeapCompact(moved), moved);  // nothing left below it
  Release(moved);
  EXPECT_EQ(heap.activeCount, 0u);
}

TEST_F(HeapCompactTest, AlignedPieceStaysAlignedAndPiecesBetweenHolesStayPut) {
  void* hole = AllocBytes(&heap, 1);  // a raw block of 56 bytes: 8 more than a multiple of 16
  auto* words = AllocWords64(&heap, 50);
  test::FillPattern(words, 400, 5);
  Release(hole);
  auto* moved = static_cast<uint64_t*>(HeapCompact(words));
  EXPECT_EQ(Address(moved) % 16, 0u);
  EXPECT_EQ(Address(moved), Address(words) - 48);
  EXPECT_EQ(test::FirstPatternMismatch(moved, 400, 5), 400u);
  void* general = AllocBytes(nullptr, 40);
  EXPECT_EQ(HeapCompact(general), general);
  Release(general);
  Release(moved);
}

using HeapShrinkTest = HeapFixture;

TEST_F(HeapShrinkTest, HighestPieceGivesItsTailBack) {
  void* low = AllocBytes(&heap, 100);
  void* high = AllocBytes(&heap, 1000);
  test::FillPattern(high, 1000, 9);
  const uint64_t freeBefore = HeapFreeSpace(&heap);
  HeapShrink(high, 10);
  EXPECT_EQ(PieceSizeBytes(high), 10u);
  EXPECT_EQ(static_cast<char*>(high)[10], '#');
  EXPECT_EQ(test::FirstPatternMismatch(high, 10, 9), 10u);
  EXPECT_EQ(heap.top, RoundUp8(Address(high) + 11));
  EXPECT_EQ(HeapFreeSpace(&heap),
            freeBefore + RoundUp8(1049) - RoundUp8(Address(high) + 11 - Raw(high)));
  const uint64_t top = heap.top;
  HeapShrink(low, 1);  // below the highest piece: top stays
  EXPECT_EQ(heap.top, top);
  void* general = AllocBytes(nullptr, 64);
  HeapShrink(general, 3);
  EXPECT_EQ(PieceSizeBytes(general), 3u);
  EXPECT_EQ(static_cast<char*>(general)[3], '#');
  for (void* piece : {low, high, general}) Release(piece);
  EXPECT_EQ(heap.top, heap.start);
}

TEST(HeapCreate, AreaIsRoundedToSixteenAlignedAndZeroed) {
  for (const uint64_t request : {0u, 1u, 15u, 16u, 17u, 1000u, 1u << 20}) {
    SCOPED_TRACE(request);
    AllocationHeap heap;
    HeapCreate(nullptr, &heap, request);
    const uint64_t expected = request == 0 ? 16 : (request + 15) & ~uint64_t{15};
    EXPECT_EQ(HeapFreeSpace(&heap), expected);
    EXPECT_EQ(heap.end - heap.start, expected);
    EXPECT_EQ(heap.start % 16, 0u);
    EXPECT_EQ(HeapUsedBytes(&heap), 0u);
    EXPECT_EQ(HeapPeakBytes(&heap), 0u);
    const auto* bytes = reinterpret_cast<const uint8_t*>(heap.start);
    uint64_t nonZero = 0;
    for (uint64_t i = 0; i < expected; ++i) nonZero += bytes[i] != 0;
    EXPECT_EQ(nonZero, 0u);
    HeapDestroy(&heap);
  }
}

using HeapMergeTest = HeapFixture;

TEST_F(HeapMergeTest, ChildPiecesStayUsableAndAppearInTheParentsDump) {
  HeapSplit(&heap, 3);
  AllocationHeap* left = HeapChild(&heap, 0);
  AllocationHeap* right = HeapChild(&heap, 1);
  EXPECT_EQ(left->parent, &heap);
  EXPECT_EQ(left->end - left->start, right->end - right->start);
  void* a = AllocBytes(left, 64);
  void* b = AllocBytes(right, 128);
  void* c = AllocBytes(right, 32);
  test::FillPattern(a, 64, 1);
  test::FillPattern(b, 128, 2);
  test::FillPattern(c, 32, 3);
  Release(c);
  HeapJoin(&heap);
  EXPECT_EQ(heap.children, nullptr);
  EXPECT_EQ(heap.activeCount, 2u);
  EXPECT_EQ(PieceHeap(a), &heap);
  EXPECT_EQ(PieceHeap(b), &heap);
  EXPECT_EQ(test::FirstPatternMismatch(a, 64, 1), 64u);
  EXPECT_EQ(test::FirstPatternMismatch(b, 128, 2), 128u);
  test::ConsoleCapture capture;
  HeapDump(&heap);
  EXPECT_NE(capture.text().find("Base: " + Hex(Raw(a)) + "   Size: "), std::string::npos);
  EXPECT_NE(capture.text().find("Base: " + Hex(Raw(b)) + "   Size: "), std::string::npos);
  EXPECT_EQ(test::CountOccurrences(capture.text(), "Base: "), 2);
  Release(a);
  Release(b);
  EXPECT_EQ(heap.activeCount, 0u);
  EXPECT_EQ(HeapFreeSpace(&heap), heap.end - heap.start);
}

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

TEST(HeapDump, PrintsEveryFieldAndOneLinePerPiece) {
  AllocationHeap heap;
  HeapCreate(nullptr, &heap, 4096);
  test::ConsoleCapture capture;
  HeapDump(nullptr);
  EXPECT_EQ(capture.Take(), "Heap Table Dump:\nHeap is NULL\n\n");
  HeapDump(&heap);
  const std::string head = "Heap Table Dump:\nParent              : " + Hex(0) +
                           "\nTotal Size          : 4,096\nActive Allocations  : 0\n"
                           "Peak Allocations    : 0\nCurrent Usage       : 0\n"
                           "Peak Heap Usage     : 0\nStart : " +
                           Hex(heap.start) + "\nEnd   : " + Hex(heap.end) + "\n";
  EXPECT_EQ(capture.Take(), head + "No Active Allocations\n\n");
  void* first = AllocBytes(&heap, 2000);
  void* second = AllocBytes(&heap, 10);
  Release(AllocBytes(&heap, 8));
  HeapDump(&heap);
  const std::string expected =
      "Heap Table Dump:\nParent              : " + Hex(0) +
      "\nTotal Size          : 4,096\nActive Allocations  : 2\nPeak Allocations    : 3\n"
      "Current Usage       : 2,120\nPeak Heap Usage     : 2,184\nStart : " +
      Hex(heap.start) + "\nEnd   : " + Hex(heap.end) + "\nBase: " + Hex(Raw(first)) +
      "   Size: " + Hex(2056) + "   ( 2,056 )\nBase: " + Hex(Raw(second)) + "   Size: " + Hex(64) +
      "   ( 64 )\nTable Limit         : " + Hex(heap.end - 32) + "\n\n";
  EXPECT_EQ(capture.Take(), expected);
  Release(first);
  Release(second);
  HeapDestroy(&heap);
  EXPECT_EQ(capture.Take(), "");
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

using HeapDeathTest = test::DeathTestBase;

TEST_F(HeapDeathTest, OverwrittenSentinelStopsTheRelease) {
  for (bool fromHeap : {true, false}) {
    EXPECT_DEATH(
        {
          test::ShowStdoutOnStderr();
          AllocationHeap heap;
          HeapCreate(nullptr, &heap, 1024);
          char* piece = static_cast<char*>(AllocBytes(fromHeap ? &heap : nullptr, 10));
          piece[10] = 'x';
          Release(piece);
        },
        "FATAL ERROR: Assertion Failure\n\nImpossible Functional Result: Allocation Heap\n\n"
        "The guard byte behind a piece was overwritten.");
  }
}

TEST_F(HeapDeathTest, TableOutOfStepWithTopStopsWithTheDump) {
  EXPECT_DEATH(
      {
        test::ShowStdoutOnStderr();
        AllocationHeap heap;
        HeapCreate(nullptr, &heap, 1024);
        AllocBytes(&heap, 10);
        reinterpret_cast<HeapEntry*>(heap.tableLimit)->sizeBytes += 8;
        HeapFreeSpace(&heap);
      },
      "Heap Table Dump:\n(.|\n)*FATAL ERROR: Assertion Failure\n\nImpossible Functional Result: "
      "Allocation Heap\n\nOut of sync...");
}

TEST_F(HeapDeathTest, PlainStopsExitWithCodeOne) {
  EXPECT_EXIT(
      {
        test::ShowStdoutOnStderr();
        HeapFreeSpace(nullptr);
      },
      ::testing::ExitedWithCode(1),
      "@@\nAllocation Heap required for this function.\nPress any key to continue . . . \n$");
  EXPECT_EXIT(
      {
        test::ShowStdoutOnStderr();
        AllocationHeap heap;
        HeapCreate(nullptr, &heap, 256);
        HeapSplit(&heap, 1);
      },
      ::testing::ExitedWithCode(1), "@@Allocation Failure\nPress any key to continue . . . \n$");
  EXPECT_EXIT(
      {
        test::ShowStdoutOnStderr();
        AllocationHeap heap;
        AllocationHeap child;
        HeapCreate(nullptr, &heap, 1024);
        HeapCreate(&heap, &child, 1024);
      },
      ::testing::ExitedWithCode(1), "@@\nAllocation Failure\nPress any key to continue . . . \n$");
}

// The parent keeps a small reserve for the children's rows; a child with many live pieces while
// its sibling fills its own area overflows it.
TEST_F(HeapDeathTest, MergeIntoAFullParentTableFails) {
  EXPECT_EXIT(
      {
        test::ShowStdoutOnStderr();
        AllocationHeap heap;
        HeapCreate(nullptr, &heap, 64 * 1024);
        HeapSplit(&heap, 1);
        for (int i = 0; i < 10; ++i) AllocBytes(HeapChild(&heap, 0), 8);
        AllocationHeap* right = HeapChild(&heap, 1);
        AllocBytes(right, HeapFreeSpace(right) - 16 - 56);
        HeapJoin(&heap);
      },
      ::testing::ExitedWithCode(1),
      "@@Allocation Heap: Merging Failed\nPress any key to continue . . . \n$");
}

}  // namespace
}  // namespace zx
