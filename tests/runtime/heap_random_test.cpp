// Randomized run of the heap against a model: thousands of allocations of every kind, releases,
// shrinks, compactions, nested splits and joins. After each step the heap in use must agree with
// the model's list of live pieces (their bytes, owner, size and sentinel included), and its table
// must be sorted and free of overlap.
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "runtime/allocation_heap.hpp"
#include "runtime_test_util.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

struct ModelPiece {
  void* address;
  uint64_t sizeBytes;
  uint64_t seed;
};

struct Node {
  AllocationHeap* heap = nullptr;
  std::vector<ModelPiece> pieces;
};

struct Frame {
  Node* parent = nullptr;
  Node children[2];
  int active = 0;
};

uint64_t RawOf(const void* piece) {
  return *reinterpret_cast<const uint64_t*>(static_cast<const char*>(piece) - 32);
}

std::vector<HeapEntry> Rows(const AllocationHeap* heap) {
  std::vector<HeapEntry> rows;
  for (uint32_t i = 0; i < heap->activeCount; ++i) rows.push_back(HeapEntryAt(heap, i));
  return rows;
}

class HeapModelRun {
 public:
  explicit HeapModelRun(uint64_t seed) : rng_(seed) {
    HeapCreate(nullptr, &rootHeap_, 512 * 1024);
    root_.heap = &rootHeap_;
  }

  void Run(uint64_t steps) {
    for (step_ = 0; step_ < steps && !::testing::Test::HasFailure(); ++step_) {
      const uint64_t choice = rng_() % 100;
      if (choice < 42) {
        Allocate();
      } else if (choice < 66) {
        ReleaseOne();
      } else if (choice < 74) {
        CompactOne();
      } else if (choice < 79) {
        ShrinkOne();
      } else if (choice < 84) {
        if (!frames_.empty()) frames_.back().active ^= 1;
      } else if (choice < 91) {
        Split();
      } else if (choice < 99) {
        Join();
      } else {
        while (!Current().pieces.empty()) ReleaseOne();
      }
      Check(Current());
    }
    while (!frames_.empty() && !::testing::Test::HasFailure()) Join();
    while (!root_.pieces.empty()) ReleaseOne();
    test::ConsoleCapture capture;
    HeapDestroy(&rootHeap_);
    EXPECT_EQ(capture.text(), "") << Where("final destroy");
  }

 private:
  std::string Where(const char* what) const {
    std::ostringstream text;
    text << what << " at step " << step_ << ", depth " << frames_.size() << ", seed "
         << test::TestSeed();
    return text.str();
  }

  Node& Current() {
    return frames_.empty() ? root_ : frames_.back().children[frames_.back().active];
  }

  uint64_t RequestSize() {
    const uint64_t kind = rng_() % 100;
    if (kind < 2) return 0;
    if (kind < 72) return 1 + rng_() % 256;
    if (kind < 97) return 257 + rng_() % 3840;
    return 4097 + rng_() % 28672;
  }

  void Allocate() {
    Node& node = Current();
    const uint64_t request = RequestSize();
    const int kind = static_cast<int>(rng_() % 5);
    uint64_t sizeBytes = request;
    uint64_t alignBytes = 8;
    void* piece = nullptr;
    switch (kind) {
      case 1:
        sizeBytes = request / 4 * 4;
        piece = AllocWords32(node.heap, request / 4);
        break;
      case 2:
        sizeBytes = request / 8 * 8;
        alignBytes = 16;
        piece = AllocWords64(node.heap, request / 8);
        break;
      case 3:
        alignBytes = 16;
        piece = AllocAligned16(node.heap, request);
        break;
      case 4:
        sizeBytes = request + 1;
        piece = DuplicateString(node.heap, std::string(request, 'z'));
        break;
      default:
        piece = AllocBytes(node.heap, request);
        break;
    }
    if (sizeBytes == 0) {
      EXPECT_EQ(piece, kEmptyPiece) << Where("empty request");
      Release(piece);
      return;
    }
    // A full heap refuses; which requests it can still serve is first fit's business.
    if (piece == nullptr) return;
    EXPECT_EQ(reinterpret_cast<uintptr_t>(piece) % alignBytes, 0u) << Where("alignment");
    const uint64_t seed = rng_();
    test::FillPattern(piece, sizeBytes, seed);
    node.pieces.push_back({piece, sizeBytes, seed});
  }

  size_t PickPiece(const Node& node) { return static_cast<size_t>(rng_() % node.pieces.size()); }

  void ReleaseOne() {
    Node& node = Current();
    if (node.pieces.empty()) return;
    const size_t index = PickPiece(node);
    const uint32_t countBefore = node.heap->activeCount;
    Release(node.pieces[index].address);
    node.pieces.erase(node.pieces.begin() + static_cast<ptrdiff_t>(index));
    EXPECT_EQ(node.heap->activeCount, countBefore - 1) << Where("release");
  }

  void CompactOne() {
    Node& node = Current();
    if (node.pieces.empty()) return;
    ModelPiece& piece = node.pieces[PickPiece(node)];
    const uint64_t oldAddress = reinterpret_cast<uintptr_t>(piece.address);
    void* moved = HeapCompact(piece.address);
    const uint64_t newAddress = reinterpret_cast<uintptr_t>(moved);
    const uint64_t shiftBytes = oldAddress - newAddress;
    ASSERT_LE(newAddress, oldAddress) << Where("compaction moved a piece up");
    const uint64_t alignBytes = oldAddress % 16 == 0 ? 16 : 8;
    EXPECT_EQ(shiftBytes % alignBytes, 0u) << Where("compaction broke the alignment");
    piece.address = moved;
  }

  void ShrinkOne() {
    Node& node = Current();
    if (node.pieces.empty()) return;
    ModelPiece& piece = node.pieces[PickPiece(node)];
    const uint64_t oldTop = node.heap->top;
    piece.sizeBytes = rng_() % (piece.sizeBytes + 1);
    HeapShrink(piece.address, piece.sizeBytes);
    EXPECT_LE(node.heap->top, oldTop) << Where("shrink raised top");
  }

  void Split() {
    Node& parent = Current();
    if (frames_.size() >= 4) return;
    const uint32_t threads = 1 + static_cast<uint32_t>(rng_() % 4);
    const uint64_t reserveBytes = std::max<uint64_t>(32 * threads + 16, 96);
    // The split's own record piece must fit too; skip splits the heap could not survive.
    if (HeapFreeSpace(parent.heap) < 2 * reserveBytes + 4096) return;
    HeapSplit(parent.heap, threads);
    Frame& frame = frames_.emplace_back();
    frame.parent = &parent;
    for (int i = 0; i < 2; ++i) {
      frame.children[i].heap = HeapChild(parent.heap, i);
      Check(frame.children[i]);
    }
    frame.active = static_cast<int>(rng_() % 2);
  }

  void Join() {
    if (frames_.empty()) return;
    Frame& frame = frames_.back();
    Node& parent = *frame.parent;
    for (Node& child : frame.children) {
      for (const ModelPiece& piece : child.pieces) parent.pieces.push_back(piece);
    }
    HeapJoin(parent.heap);
    frames_.pop_back();
    Check(parent);
  }

  void Check(const Node& node) {
    const AllocationHeap* heap = node.heap;
    const std::vector<HeapEntry> rows = Rows(heap);
    uint64_t floor = heap->start;
    for (size_t i = 0; i < rows.size(); ++i) {
      ASSERT_GE(rows[i].base, floor) << Where("rows unsorted or overlapping") << ", row " << i;
      floor = rows[i].base + rows[i].sizeBytes;
    }
    ASSERT_LE(floor, heap->tableLimit) << Where("a piece reaches into the table");
    // While split, the heap also holds the children's areas and their record piece.
    const size_t splitRows = heap->children != nullptr ? 3 : 0;
    ASSERT_EQ(rows.size(), node.pieces.size() + splitRows) << Where("rows and live pieces differ");
    for (const ModelPiece& piece : node.pieces) {
      const uint64_t raw = RawOf(piece.address);
      const auto row =
          std::lower_bound(rows.begin(), rows.end(), raw,
                           [](const HeapEntry& r, uint64_t base) { return r.base < base; });
      ASSERT_TRUE(row != rows.end() && row->base == raw) << Where("piece without a row");
      const uint64_t pieceEnd = reinterpret_cast<uintptr_t>(piece.address) + piece.sizeBytes + 1;
      EXPECT_LE(pieceEnd, row->base + row->sizeBytes) << Where("piece longer than its row");
      EXPECT_EQ(PieceHeap(piece.address), heap) << Where("owner");
      EXPECT_EQ(PieceSizeBytes(piece.address), piece.sizeBytes) << Where("size");
      EXPECT_EQ(static_cast<const char*>(piece.address)[piece.sizeBytes], '#') << Where("sentinel");
      EXPECT_EQ(test::FirstPatternMismatch(piece.address, piece.sizeBytes, piece.seed),
                piece.sizeBytes)
          << Where("piece data changed") << ", piece of " << piece.sizeBytes << " bytes";
    }
  }

  std::mt19937_64 rng_;
  AllocationHeap rootHeap_;
  Node root_;
  std::deque<Frame> frames_;  // a deque keeps parents in place while frames come and go
  uint64_t step_ = 0;
};

TEST(HeapRandomized, AgreesWithTheModelThroughSplitsJoinsAndCompactions) {
  for (uint64_t round = 0; round < 4 && !::testing::Test::HasFailure(); ++round) {
    SCOPED_TRACE("round " + std::to_string(round) + ", seed " + std::to_string(test::TestSeed()));
    HeapModelRun run(test::TestSeed() + round);
    run.Run(2500 * test::TestMultiplier());
  }
}

}  // namespace
}  // namespace zx
