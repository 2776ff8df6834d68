// Fork/join: thread counts of fork trees, and identical results, first half first, when thread
// starts fail.
#include "runtime/threads.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "runtime/allocation_heap.hpp"
#include "runtime_test_util.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

// A binary fork tree over leaves [first, first + count): each leaf takes a piece from the heap it
// was handed, fills it and leaves it alive, so every join has pieces to merge.
struct TreeRun {
  std::vector<uint64_t> results;
  std::vector<void*> pieces;
  std::vector<uint64_t> visitRank;   // the order in which the leaves ran
  std::vector<uint32_t> forkLevels;  // ForkLevels() seen by each leaf
  std::atomic<uint64_t> nextRank{0};
};

uint32_t ForkTree(AllocationHeap* heap, uint32_t budget, uint64_t first, uint64_t count,
                  TreeRun& run) {
  if (budget == 0 || count == 1) {
    for (uint64_t leaf = first; leaf < first + count; ++leaf) {
      run.visitRank[leaf] = run.nextRank.fetch_add(1);
      run.forkLevels[leaf] = ForkLevels();
      const uint64_t sizeBytes = 64 + 8 * leaf;
      void* piece = AllocBytes(heap, sizeBytes);
      if (piece == nullptr) return 3;
      test::FillPattern(piece, sizeBytes, leaf);
      run.pieces[leaf] = piece;
      run.results[leaf] = leaf * leaf + 1;
    }
    return 0;
  }
  const uint64_t half = count / 2;
  ForkJoin(
      heap, 3, [&](AllocationHeap* child) { return ForkTree(child, budget - 1, first, half, run); },
      [&](AllocationHeap* child) {
        return ForkTree(child, budget - 1, first + half, count - half, run);
      });
  return 0;
}

struct TreeOutcome {
  uint64_t threads;
  std::string output;
};

TreeOutcome RunTree(AllocationHeap* heap, uint32_t budget, uint64_t leaves, TreeRun& run) {
  run.results.assign(leaves, 0);
  run.pieces.assign(leaves, nullptr);
  run.visitRank.assign(leaves, 0);
  run.forkLevels.assign(leaves, 0);
  run.nextRank = 0;
  test::ConsoleCapture capture;
  const uint64_t before = ThreadsStarted();
  EXPECT_EQ(ForkTree(heap, budget, 0, leaves, run), 0u);
  // Every half counts one level more than its caller, started or run inline, and the caller is
  // back at its own level after the join.
  EXPECT_EQ(ForkLevels(), 0u);
  if (leaves == (uint64_t{1} << budget)) {
    for (uint64_t leaf = 0; leaf < leaves; ++leaf) EXPECT_EQ(run.forkLevels[leaf], budget);
  }
  return {ThreadsStarted() - before, capture.text()};
}

void ExpectLeavesDone(AllocationHeap* heap, TreeRun& run) {
  for (uint64_t leaf = 0; leaf < run.results.size(); ++leaf) {
    SCOPED_TRACE("leaf " + std::to_string(leaf));
    EXPECT_EQ(run.results[leaf], leaf * leaf + 1);
    EXPECT_EQ(PieceHeap(run.pieces[leaf]), heap);
    EXPECT_EQ(test::FirstPatternMismatch(run.pieces[leaf], 64 + 8 * leaf, leaf), 64 + 8 * leaf);
    Release(run.pieces[leaf]);
  }
  if (heap != nullptr) {
    EXPECT_EQ(heap->activeCount, 0u);
  }
}

TEST(ForkJoin, BudgetKStartsTwoToTheKMinusOneThreads) {
  for (bool withHeap : {true, false}) {
    for (uint32_t budget = 0; budget <= 3; ++budget) {
      SCOPED_TRACE("budget " + std::to_string(budget) + (withHeap ? " with heap" : " general"));
      AllocationHeap heap;
      HeapCreate(nullptr, &heap, 1 << 20);
      AllocationHeap* used = withHeap ? &heap : nullptr;
      TreeRun run;
      const uint64_t leaves = uint64_t{1} << budget;
      const TreeOutcome outcome = RunTree(used, budget, leaves, run);
      EXPECT_EQ(outcome.threads, leaves - 1);
      EXPECT_EQ(outcome.output, "");
      ExpectLeavesDone(used, run);
      HeapDestroy(&heap);
    }
  }
}

TEST(ForkJoin, FailedStartsRunInlineFirstHalfFirstWithTheSameResults) {
  AllocationHeap heap;
  HeapCreate(nullptr, &heap, 1 << 20);
  for (uint32_t budget = 1; budget <= 3; ++budget) {
    SCOPED_TRACE("budget " + std::to_string(budget));
    const uint64_t leaves = uint64_t{1} << budget;
    FailNextThreadStarts(1000);
    TreeRun run;
    const TreeOutcome outcome = RunTree(&heap, budget, leaves, run);
    FailNextThreadStarts(0);
    EXPECT_EQ(outcome.threads, 0u);
    EXPECT_EQ(test::CountOccurrences(outcome.output, "Warning: Unable to create thread.\n"),
              static_cast<int>(leaves - 1));
    EXPECT_EQ(outcome.output.size(),
              (leaves - 1) * std::string("Warning: Unable to create thread.\n").size());
    for (uint64_t leaf = 0; leaf < leaves; ++leaf) EXPECT_EQ(run.visitRank[leaf], leaf);
    ExpectLeavesDone(&heap, run);
  }
  // Only the top start fails: its half runs here and still forks below.
  FailNextThreadStarts(1);
  TreeRun run;
  const TreeOutcome outcome = RunTree(&heap, 2, 4, run);
  EXPECT_EQ(outcome.threads, 2u);
  EXPECT_EQ(outcome.output, "Warning: Unable to create thread.\n");
  ExpectLeavesDone(&heap, run);
  HeapDestroy(&heap);
}

// Shared steps run every chunk exactly once, each step after the one before has finished, whether
// the partner comes or its start fails (then after the warning, all on the calling thread).
TEST(SharedSteps, EveryChunkRunsOnceAfterTheStepBefore) {
  constexpr uint32_t kSteps = 4;
  constexpr uint32_t kChunks = 64;
  for (const uint32_t failures : {1u, 0u}) {
    SCOPED_TRACE("failed starts " + std::to_string(failures));
    std::vector<std::atomic<uint32_t>> runs(kSteps * kChunks);
    std::vector<uint64_t> values(kSteps * kChunks, 0);
    std::vector<uint64_t> seen(kSteps * kChunks, 0);
    test::ConsoleCapture capture;
    FailNextThreadStarts(failures);
    SharedSteps steps = BeginSharedSteps();
    FailNextThreadStarts(0);
    for (uint32_t step = 0; step < kSteps; ++step) {
      RunSharedStep(steps, kChunks, [&](uint32_t chunk) {
        runs[step * kChunks + chunk].fetch_add(1);
        if (step > 0)
          seen[step * kChunks + chunk] = values[(step - 1) * kChunks + kChunks - 1 - chunk];
        values[step * kChunks + chunk] = 1000 * step + chunk + 1;
      });
    }
    EndSharedSteps(steps);
    EXPECT_EQ(capture.text(), failures != 0 ? "Warning: Unable to create thread.\n" : "");
    for (uint32_t step = 0; step < kSteps; ++step) {
      for (uint32_t chunk = 0; chunk < kChunks; ++chunk) {
        EXPECT_EQ(runs[step * kChunks + chunk].load(), 1u) << step << " " << chunk;
        if (step > 0) {
          EXPECT_EQ(seen[step * kChunks + chunk], 1000 * (step - 1) + kChunks - chunk)
              << step << " " << chunk;
        }
      }
    }
  }
}

}  // namespace
}  // namespace zx
