// The lean out-of-core product: both operands are cut into blocks of B words (the last block of
// each takes the remainder, B to 2B − 1 words), and the product is formed one diagonal i + j = d
// at a time in an accumulator that starts at word d·B. Every later pair starts at (d + 1)·B or
// above, so after diagonal d the accumulator's low B words are final: they go to disk and the
// accumulator slides down B words. The product is written once, in order, and is exact.
// Memory: two blocks, one pair product and the accumulator (about 2(LA + LB) words) plus one
// pair's transform. Disk reads: about 2·la·lb/B words, one pass over each operand per diagonal.
#include <algorithm>
#include <cstring>

#include "multiply/basecase/basecase_ops.hpp"
#include "multiply/hybrid/hybrid_mul.hpp"
#include "multiply/out_of_core/out_of_core.hpp"
#include "shell/fatal.hpp"

namespace zx {
namespace {

// One operand cut into blocks: block i starts at first + i·B; the last takes the remainder.
struct Blocks {
  RaidFile* file;
  uint64_t firstWord;
  uint64_t lengthWords;
  uint64_t blockWords;
  uint64_t count;
  uint64_t Length(uint64_t i) const {
    return i + 1 < count ? blockWords : lengthWords - (count - 1) * blockWords;
  }
  uint64_t Longest() const { return Length(count - 1); }
};

Blocks CutBlocks(RaidFile* file, uint64_t firstWord, uint64_t lengthWords, uint64_t blockWords) {
  return {file, firstWord, lengthWords, blockWords, std::max<uint64_t>(1, lengthWords / blockWords)};
}

uint64_t PairBytes(uint64_t x, uint64_t y, bool squarePair, uint32_t threadExponent) {
  const uint32_t threads = OutOfCoreProductThreads(x + y, squarePair, threadExponent);
  return squarePair ? HybridSquareMemoryBytes(x, 0, threads)
                    : HybridMultiplyMemoryBytes(std::max(x, y), std::min(x, y), 0, threads);
}

// Block lengths are B or the operand's longest, so four shapes (and their squares) bound every
// pair's transform.
uint64_t LeanBytes(const Blocks& a, const Blocks& b, bool square, uint32_t threadExponent) {
  const uint64_t la = a.Longest();
  const uint64_t lb = b.Longest();
  uint64_t transformBytes = 0;
  for (const uint64_t x : {std::min(a.blockWords, la), la}) {
    for (const uint64_t y : {std::min(b.blockWords, lb), lb}) {
      transformBytes = std::max(transformBytes, PairBytes(x, y, false, threadExponent));
      if (square) transformBytes = std::max(transformBytes, PairBytes(x, x, true, threadExponent));
    }
  }
  // The two blocks, the pair product (la + lb) and the accumulator (la + lb + 2, see below).
  const uint64_t bufferWords = 3 * (la + lb) + 2;
  return bufferWords * sizeof(uint32_t) + 4 * kOutOfCorePieceBytes + transformBytes;
}

// Candidate block sizes: floor(lb / m) for m = 1, 2, 3, ..., then growing by a sixteenth, down to
// kLeanMinBlockWords (the first is always tried). The floor makes the shorter operand exactly m
// blocks; a ceiling would leave m − 1 with a last block near twice the others.
uint64_t NextParts(uint64_t parts) { return std::max(parts + 1, parts + parts / 16); }

struct LeanPlan {
  Blocks a;
  Blocks b;
  uint64_t bytes;
};

LeanPlan PlanFor(const OutOfCoreShape& s, RaidFile* a, RaidFile* b, bool square,
                 uint64_t blockWords, uint32_t threadExponent) {
  LeanPlan plan{CutBlocks(a, s.firstA, s.la, blockWords), CutBlocks(b, s.firstB, s.lb, blockWords),
                0};
  plan.bytes = LeanBytes(plan.a, plan.b, square, threadExponent);
  return plan;
}

// The largest blocks whose working memory fits in freeBytes, or the smallest blocks when none do.
LeanPlan ChoosePlan(const OutOfCoreShape& s, RaidFile* a, RaidFile* b, bool square,
                    uint64_t freeBytes, uint32_t threadExponent) {
  LeanPlan plan = PlanFor(s, a, b, square, s.lb, threadExponent);
  for (uint64_t parts = 2; plan.bytes > freeBytes; parts = NextParts(parts)) {
    const uint64_t blockWords = s.lb / parts;
    if (blockWords < kLeanMinBlockWords) break;
    plan = PlanFor(s, a, b, square, blockWords, threadExponent);
  }
  return plan;
}

// A block buffer that remembers which block it holds, so that a block shared by consecutive pairs
// is read once.
struct LoadedBlock {
  uint32_t* words = nullptr;
  uint64_t index = ~uint64_t{0};
  void Load(const Blocks& blocks, uint64_t i) {
    if (index == i) return;
    RaidFileReadRange(*blocks.file, blocks.firstWord + i * blocks.blockWords, words,
                      blocks.Length(i));
    index = i;
  }
};

// Writes product words [base, base + count) to out, less those below t.
void WriteKept(RaidFile& out, const uint32_t* words, uint64_t base, uint64_t count, uint64_t t) {
  if (base + count <= t) return;
  const uint64_t from = std::max(base, t);
  RaidFileWriteRange(out, from - t, words + (from - base), base + count - from);
}

struct LeanBuffers {
  LoadedBlock x;
  LoadedBlock y;
  uint32_t* pair = nullptr;
  uint32_t* sum = nullptr;
  void Release() {
    zx::Release(sum);
    zx::Release(pair);
    zx::Release(y.words);
    zx::Release(x.words);
  }
};

// Adds block i of a times block j of b (a square pair when the blocks are the same) into sum.
uint64_t AddPair(AllocationHeap* heap, const LeanPlan& plan, bool square, uint64_t i, uint64_t j,
                 LeanBuffers& buffers, uint64_t sumWords, uint32_t threadExponent) {
  const uint64_t lx = plan.a.Length(i);
  const uint64_t ly = plan.b.Length(j);
  buffers.x.Load(plan.a, i);
  uint64_t status = 0;
  if (square && i == j) {
    const uint32_t threads = OutOfCoreProductThreads(2 * lx, true, threadExponent);
    status = HybridSquare(heap, buffers.x.words, lx, buffers.pair, 0, threads);
  } else {
    buffers.y.Load(plan.b, j);
    const uint32_t threads = OutOfCoreProductThreads(lx + ly, false, threadExponent);
    status = lx >= ly ? HybridMultiply(heap, buffers.x.words, lx, buffers.y.words, ly,
                                       buffers.pair, 0, threads)
                      : HybridMultiply(heap, buffers.y.words, ly, buffers.x.words, lx,
                                       buffers.pair, 0, threads);
  }
  if (status != 0) return status;
  // Off-diagonal pairs of a square stand for a_i·a_j and a_j·a_i.
  const int copies = square && i != j ? 2 : 1;
  for (int c = 0; c < copies; ++c) {
    [[maybe_unused]] const uint32_t carry =
        AddWordsInto(buffers.sum, sumWords, buffers.pair, lx + ly);
    ZX_ASSERT(carry == 0);
  }
  return 0;
}

uint64_t RunLean(AllocationHeap* heap, const LeanPlan& plan, bool square, uint64_t t,
                 RaidFile& out, uint32_t threadExponent) {
  const uint64_t la = plan.a.Longest();
  const uint64_t lb = plan.b.Longest();
  const uint64_t blockWords = plan.a.blockWords;
  // Carried in from the diagonals below d: under 2^(32(la + lb − B) + 33); diagonal d itself, at
  // most 2^32 pairs of la + lb words each: under 2^(32(la + lb + 1)). Their sum fits la + lb + 2.
  const uint64_t sumWords = la + lb + 2;
  LeanBuffers buffers;
  buffers.x.words = AllocWords32(heap, la);
  buffers.y.words = AllocWords32(heap, lb);
  buffers.pair = AllocWords32(heap, la + lb);
  buffers.sum = AllocWords32(heap, sumWords);
  if (buffers.x.words == nullptr || buffers.y.words == nullptr || buffers.pair == nullptr ||
      buffers.sum == nullptr) {
    buffers.Release();
    return plan.bytes;
  }
  std::fill(buffers.sum, buffers.sum + sumWords, 0u);

  const uint64_t totalWords = plan.a.lengthWords + plan.b.lengthWords;
  const uint64_t diagonals = plan.a.count + plan.b.count - 1;
  for (uint64_t d = 0; d < diagonals; ++d) {
    // Pairs (i, d − i) with both blocks present; a square takes i ≤ j only.
    const uint64_t low = d >= plan.b.count ? d - (plan.b.count - 1) : 0;
    const uint64_t high = square ? d / 2 : std::min(d, plan.a.count - 1);
    // Alternate directions, so that the last block of one diagonal is the first of the next.
    for (uint64_t step = 0; step <= high - low; ++step) {
      const uint64_t i = d % 2 == 0 ? low + step : high - step;
      const uint64_t status = AddPair(heap, plan, square, i, d - i, buffers, sumWords, threadExponent);
      if (status != 0) {
        buffers.Release();
        return status;
      }
    }
    const uint64_t base = d * blockWords;
    if (d + 1 == diagonals) {
      WriteKept(out, buffers.sum, base, totalWords - base, t);
      break;
    }
    WriteKept(out, buffers.sum, base, blockWords, t);
    std::memmove(buffers.sum, buffers.sum + blockWords, (sumWords - blockWords) * sizeof(uint32_t));
    std::fill(buffers.sum + (sumWords - blockWords), buffers.sum + sumWords, 0u);
  }
  buffers.Release();
  return 0;
}

uint64_t Lean(AllocationHeap* heap, RaidFile& a, uint64_t la, RaidFile& b, uint64_t lb, bool square,
              RaidFile& out, uint64_t t, uint32_t threadExponent) {
  const OutOfCoreShape s = OutOfCoreShapeFor(la, lb, t);
  const uint64_t freeBytes = heap == nullptr ? ~uint64_t{0} : HeapFreeSpace(heap);
  const LeanPlan plan = ChoosePlan(s, &a, &b, square, freeBytes, threadExponent);
  return RunLean(heap, plan, square, s.t, out, threadExponent);
}

}  // namespace

uint64_t OutOfCoreMultiplyLean(AllocationHeap* heap, RaidFile& a, uint64_t la, RaidFile& b,
                               uint64_t lb, RaidFile& out, uint64_t t, uint32_t threadExponent) {
  if (la < lb) return Lean(heap, b, lb, a, la, false, out, t, threadExponent);
  return Lean(heap, a, la, b, lb, false, out, t, threadExponent);
}

uint64_t OutOfCoreSquareLean(AllocationHeap* heap, RaidFile& a, uint64_t n, RaidFile& out,
                             uint64_t t, uint32_t threadExponent) {
  return Lean(heap, a, n, a, n, true, out, t, threadExponent);
}

uint64_t OutOfCoreLeanMemoryBytes(uint64_t la, uint64_t lb, uint64_t t, bool square,
                                  uint64_t blockWords, uint32_t threadExponent) {
  if (la < lb) std::swap(la, lb);
  if (lb == 0 || t >= la + lb) return 0;
  const OutOfCoreShape s = OutOfCoreShapeFor(la, lb, t);
  return PlanFor(s, nullptr, nullptr, square, std::max<uint64_t>(blockWords, 1), threadExponent)
      .bytes;
}

uint64_t OutOfCoreLeanMinimumBytes(uint64_t la, uint64_t lb, uint64_t t, bool square,
                                   uint32_t threadExponent) {
  if (la < lb) std::swap(la, lb);
  if (lb == 0 || t >= la + lb) return 0;
  const OutOfCoreShape s = OutOfCoreShapeFor(la, lb, t);
  return ChoosePlan(s, nullptr, nullptr, square, 0, threadExponent).bytes;
}

}  // namespace zx
