// Pass tasks and their recursive halving over threads. A task stays on its thread when it has no
// budget, or when all its sub-transforms together come to 16 points or fewer or to under 20000
// words of data; a pass without pointwise products also needs 2^19 word-levels of butterflies,
// since starting a thread costs about 40 µs, as much as 2^17 of them. A single large
// sub-transform is itself cut into columns and rows first, so its halves become independent.
#include "multiply/hybrid/hybrid_passes.hpp"

#include <algorithm>

#include "multiply/hybrid/hybrid_butterfly.hpp"
#include "multiply/hybrid/hybrid_roots.hpp"
#include "runtime/threads.hpp"

namespace zx {
namespace {

// Working set the split keeps its inner blocks under: (n + 1)·2^j + 2n + 2 words of 4 bytes.
constexpr uint64_t kInnerBlockBytes = 0x300000;
constexpr uint64_t kThreadMinWords = 20000;
constexpr uint64_t kThreadMinPoints = 17;
constexpr uint64_t kPassThreadMinWordLevels = uint64_t{1} << 19;

uint64_t InnerBlockBytes(uint64_t ringWords, uint32_t j) {
  return (((ringWords + 1) << j) + 2 * ringWords + 2) * 4;
}

// One less than the first j ≥ 3 (j ≤ h) whose block reaches the limit, or h when none does.
uint32_t LargestFittingExponent(uint64_t ringWords, uint32_t h) {
  uint32_t j = 3;
  while (j <= h && InnerBlockBytes(ringWords, j) < kInnerBlockBytes) ++j;
  return j - 1;
}

// A thread's block: two spare elements, then the pointwise scratch, each on a cache line.
uint64_t SpareBytes(uint64_t strideWords) { return (2 * strideWords * 4 + 63) & ~uint64_t{63}; }

uint32_t* SpareOf(const HybridPassTask& task) {
  return reinterpret_cast<uint32_t*>(task.scratch);
}

double* PointwiseScratchOf(const HybridPassTask& task) {
  return reinterpret_cast<double*>(task.scratch + SpareBytes(task.buffer.strideWords));
}

HybridSpan SpanOf(const HybridPassTask& task, uint64_t index) {
  HybridSpan span = task.span;
  span.first += task.spanDistance * index;
  return span;
}

bool RunsSerially(const HybridPassTask& task) {
  const uint64_t points = task.count << task.span.levels;
  return task.threadExponent == 0 || points < kThreadMinPoints ||
         points * task.buffer.ringWords < kThreadMinWords;
}

bool PassRunsSerially(const HybridPassTask& task) {
  const uint64_t transforms = task.partner != nullptr ? 2 : 1;
  const uint64_t wordLevels =
      transforms * (task.count << task.span.levels) * task.buffer.ringWords * task.span.levels;
  return RunsSerially(task) || wordLevels < kPassThreadMinWordLevels;
}

// Halves of a task: the first half, for the new thread, takes the scratch blocks further on.
void Halves(const HybridPassTask& task, HybridPassTask& first, HybridPassTask& second) {
  first = task;
  second = task;
  const uint64_t half = task.count / 2;
  first.count = half;
  second.count = task.count - half;
  second.span.first += task.spanDistance * half;
  first.threadExponent = second.threadExponent = task.threadExponent - 1;
  first.scratch += task.scratchBlockBytes << (task.threadExponent - 1);
}

template <typename Body>
void ForkHalves(const HybridPassTask& task, const Body& body) {
  HybridPassTask first;
  HybridPassTask second;
  Halves(task, first, second);
  ForkJoin(
      nullptr, 1,
      [&](AllocationHeap*) {
        body(first);
        return 0u;
      },
      [&](AllocationHeap*) {
        body(second);
        return 0u;
      });
}

// Element g of the operand, zero-extended; false (and nothing stored) when it is all zero.
bool LoadPiece(uint32_t* element, uint64_t index, uint64_t ringWords, const HybridSource& source) {
  const uint64_t begin = index * source.pieceWords;
  if (begin >= source.lengthWords) return false;
  const uint64_t copied = std::min(source.pieceWords, source.lengthWords - begin);
  std::copy(source.words + begin, source.words + begin + copied, element);
  std::fill(element + copied, element + ringWords + 2, 0u);
  return true;
}

// Loads a span that starts at level 0 and runs that level on the way in. Its butterflies pair
// pieces g and g + K/2; when the upper piece is empty (for all g in a balanced product) the
// butterfly is just x, x·ω^g, so the zeros are neither stored nor added.
void LoadFirstLevel(const HybridBuffer& buffer, const HybridSpan& span, const HybridSource& source,
                    uint32_t* spare) {
  const uint64_t n = buffer.ringWords;
  const uint64_t half = uint64_t{1} << (span.levels - 1);
  const uint64_t order = RingRootOrder(n);
  for (uint64_t p = 0; p < half; ++p) {
    const uint64_t index = span.first + span.step * p;
    const uint64_t upperIndex = index + span.step * half;
    uint32_t* x = HybridElement(buffer, index);
    uint32_t* y = HybridElement(buffer, upperIndex);
    const uint64_t exponent = uint64_t{buffer.c} % order * (index % order) % order;
    const bool lower = LoadPiece(x, index, n, source);
    if (LoadPiece(y, upperIndex, n, source)) {
      if (!lower) std::fill(x, x + n + 2, 0u);
      if (HybridForwardButterfly(x, y, spare, n, exponent)) std::copy(spare, spare + n + 2, y);
    } else if (!lower) {
      std::fill(x, x + n + 2, 0u);
      std::fill(y, y + n + 2, 0u);
    } else if (exponent == 0) {
      std::copy(x, x + n + 2, y);
    } else {
      RingMulRoot(x, y, n, exponent);
    }
  }
}

// The forward transform of a span, loading it first when it starts at the operand.
void ForwardSpan(const HybridPassTask& task, const HybridSpan& span) {
  if (task.source == nullptr || span.firstLevel != 0 || span.levels == 0) {
    if (task.source != nullptr) {
      for (uint64_t p = 0; p < (uint64_t{1} << span.levels); ++p) {
        const uint64_t index = span.first + span.step * p;
        uint32_t* element = HybridElement(task.buffer, index);
        if (!LoadPiece(element, index, task.buffer.ringWords, *task.source)) {
          std::fill(element, element + task.buffer.ringWords + 2, 0u);
        }
      }
    }
    HybridForward(task.buffer, span, SpareOf(task));
    return;
  }
  LoadFirstLevel(task.buffer, span, *task.source, SpareOf(task));
  const uint64_t half = uint64_t{1} << (span.levels - 1);
  for (uint64_t part = 0; part < 2; ++part) {
    const HybridSpan rest{span.first + span.step * half * part, span.step, 1, span.levels - 1};
    HybridForward(task.buffer, rest, SpareOf(task));
  }
}

// One large sub-transform of exponent e becomes 2^g sub-transforms of e − g points (its first
// levels) and then 2^(e−g) of g points, g sized like the inner block of the two-level split.
uint32_t RowExponentForOne(uint64_t ringWords, uint32_t levels) {
  const uint32_t h = levels / 2;
  return h < 3 ? 2 : LargestFittingExponent(ringWords, h);
}

void SplitOne(const HybridPassTask& task, HybridPassTask& columns, HybridPassTask& rows) {
  const uint32_t g = RowExponentForOne(task.buffer.ringWords, task.span.levels);
  columns = task;
  columns.span.step = task.span.step << g;
  columns.span.levels = task.span.levels - g;
  columns.spanDistance = task.span.step;
  columns.count = uint64_t{1} << g;
  rows = task;
  rows.source = nullptr;
  rows.partnerSource = nullptr;
  rows.span.firstLevel = task.span.firstLevel + task.span.levels - g;
  rows.span.levels = g;
  rows.spanDistance = task.span.step << g;
  rows.count = uint64_t{1} << (task.span.levels - g);
}

// Pointwise products over the elements of sub-transforms [0, count) of the task.
void PointwiseSerial(const HybridPassTask& task, const HybridBuffer* b,
                     const HybridPointwise& pointwise) {
  double* scratch = PointwiseScratchOf(task);
  for (uint64_t j = 0; j < task.count; ++j) {
    const HybridSpan span = SpanOf(task, j);
    for (uint64_t p = 0; p < (uint64_t{1} << span.levels); ++p) {
      const uint64_t index = span.first + span.step * p;
      uint32_t* a = HybridElement(task.buffer, index);
      if (b == nullptr) {
        HybridPointwiseSquare(pointwise, a, scratch);
      } else {
        HybridPointwiseMultiply(pointwise, a, HybridElement(*b, index), scratch);
      }
    }
  }
}

// The pointwise products of a task whose transforms run serially, still spread over threads:
// they are the larger part of the work.
void PointwiseParallel(const HybridPassTask& task, const HybridBuffer* b,
                       const HybridPointwise& pointwise) {
  const uint64_t elements = task.count << task.span.levels;
  if (task.threadExponent == 0 || elements < 2 ||
      elements * task.buffer.ringWords < kThreadMinWords) {
    PointwiseSerial(task, b, pointwise);
    return;
  }
  if (task.count < 2) {
    // Sub-transforms of one point each, one per element.
    HybridPassTask points = task;
    points.count = uint64_t{1} << task.span.levels;
    points.spanDistance = task.span.step;
    points.span.levels = 0;
    PointwiseParallel(points, b, pointwise);
    return;
  }
  ForkHalves(task, [&](const HybridPassTask& half) { PointwiseParallel(half, b, pointwise); });
}

void RowSerial(const HybridPassTask& task, const HybridBuffer* b,
               const HybridPointwise& pointwise) {
  uint32_t* spare = SpareOf(task);
  for (uint64_t j = 0; j < task.count; ++j) {
    HybridPassTask one = task;
    one.span = SpanOf(task, j);
    one.count = 1;
    HybridForward(task.buffer, one.span, spare);
    if (b != nullptr) HybridForward(*b, one.span, spare);
    PointwiseSerial(one, b, pointwise);
    HybridInverse(task.buffer, one.span, spare);
  }
}

// The coefficients of a span whose inverse transform is complete: scaled and checked while
// they are in cache.
void FinishSpan(const HybridPassTask& task, const HybridSpan& span) {
  const HybridFinish& finish = *task.finish;
  for (uint64_t p = 0; p < (uint64_t{1} << span.levels); ++p) {
    const uint64_t index = span.first + span.step * p;
    const bool corrupt = finish.corruptFirst && index == 0;
    if (!HybridFinishCoefficient(HybridElement(task.buffer, index), SpareOf(task), task.buffer,
                                 corrupt)) {
      finish.failed->store(true, std::memory_order_relaxed);
    }
  }
}

template <bool kForward>
void RunPass(const HybridPassTask& task) {
  if (PassRunsSerially(task)) {
    for (uint64_t j = 0; j < task.count; ++j) {
      const HybridSpan span = SpanOf(task, j);
      if constexpr (kForward) {
        ForwardSpan(task, span);
        if (task.partner != nullptr) {
          HybridPassTask partner = task;
          partner.buffer = *task.partner;
          partner.source = task.partnerSource;
          ForwardSpan(partner, span);
        }
      } else {
        HybridInverse(task.buffer, span, SpareOf(task));
        if (task.finish != nullptr) FinishSpan(task, span);
      }
    }
  } else if (task.count < 2) {
    HybridPassTask columns;
    HybridPassTask rows;
    SplitOne(task, columns, rows);
    rows.finish = nullptr;
    RunPass<kForward>(kForward ? columns : rows);
    RunPass<kForward>(kForward ? rows : columns);
  } else {
    ForkHalves(task, [](const HybridPassTask& half) { RunPass<kForward>(half); });
  }
}

}  // namespace

HybridSplit HybridSplitFor(uint32_t k, uint64_t ringWords, uint32_t threadExponent) {
  if (k < 5) return {k, 0};
  const uint32_t threads = std::min(k, threadExponent);
  const uint32_t h = k / 2;
  uint32_t inner = h;
  if (h >= 3) {
    uint32_t g = LargestFittingExponent(ringWords, h);
    if (threads + 2 <= h) {
      if (g + threads > h) g = h - threads;
      inner = std::max(g, 2u);
    } else {
      inner = 2;
    }
  }
  return {inner, k - inner};
}

uint64_t HybridScratchBlockBytes(uint64_t strideWords, const HybridPointwise& pointwise) {
  return SpareBytes(strideWords) + ((pointwise.scratchDoubles * 8 + 63) & ~uint64_t{63});
}

void HybridForwardPass(const HybridPassTask& task) { RunPass<true>(task); }

void HybridInversePass(const HybridPassTask& task) { RunPass<false>(task); }

void HybridRowPass(const HybridPassTask& task, const HybridBuffer* b,
                   const HybridPointwise& pointwise) {
  if (task.threadExponent == 0) {
    RowSerial(task, b, pointwise);
  } else if (RunsSerially(task) || task.count < 2) {
    // Transforms that may not be split by rows: they run as passes of their own, and the
    // products, the larger part of the work, still go to all threads.
    HybridPassTask forward = task;
    forward.partner = b;
    HybridForwardPass(forward);
    PointwiseParallel(task, b, pointwise);
    HybridInversePass(task);
  } else {
    ForkHalves(task, [&](const HybridPassTask& half) { HybridRowPass(half, b, pointwise); });
  }
}

}  // namespace zx
