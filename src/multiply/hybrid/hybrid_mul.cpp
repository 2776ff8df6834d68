// Entry points of the hybrid transform: truncation, parameters, the one allocation, the passes
// and the recombination. Memory: one block holding the transform of each operand (K elements of
// n + 1 words, padded, and their slot table) and one scratch block per thread; nothing else is
// allocated.
#include "multiply/hybrid/hybrid_mul.hpp"

#include <algorithm>
#include <atomic>

#include "multiply/basecase/basecase.hpp"
#include "multiply/hybrid/hybrid_passes.hpp"
#include "multiply/hybrid/hybrid_recombine.hpp"
#include "multiply/hybrid/hybrid_tables.hpp"

namespace zx {
namespace {

// What the heap adds to a 16-aligned piece: header and sentinel, rounding, and a table entry.
constexpr uint64_t kPieceOverheadBytes = 57 + 7 + 16;

struct Layout {
  HybridParams params;
  HybridPointwise pointwise;
  uint64_t strideWords = 0;
  uint32_t threadExponent = 0;  // min(T, k)
  uint64_t bufferBytes = 0;     // one operand's transform
  uint64_t slotBytes = 0;       // its table of element addresses
  uint64_t blockBytes = 0;      // one thread's scratch
  uint64_t totalBytes = 0;
};

Layout LayoutFor(const HybridParams& params, bool square, uint32_t threadExponent) {
  Layout layout;
  layout.params = params;
  HybridCheckAddressSpace(layout.params.k, layout.params.ringWords);
  layout.pointwise = HybridPointwiseFor(layout.params.ringWords, square);
  layout.strideWords = HybridElementWords(layout.params.ringWords);
  layout.threadExponent = std::min(threadExponent, layout.params.k);
  layout.bufferBytes = layout.params.points * layout.strideWords * 4;
  layout.slotBytes = layout.params.points * sizeof(uint32_t*);
  layout.blockBytes = HybridScratchBlockBytes(layout.strideWords, layout.pointwise);
  // Rows of few, large pieces have a scratch block per thread nearly as large as an operand's
  // transform: past twice the operands' transforms, more threads would make such a product the
  // largest of its run, and every memory estimate would have to grow for it.
  const uint64_t operandBytes = layout.bufferBytes * (square ? 1 : 2);
  while (layout.threadExponent > 1 &&
         (layout.blockBytes << layout.threadExponent) > 2 * operandBytes) {
    --layout.threadExponent;
  }
  layout.totalBytes = (layout.bufferBytes + layout.slotBytes) * (square ? 1 : 2) +
                      (layout.blockBytes << layout.threadExponent);
  return layout;
}

// The slot table at `table` for the K elements laid out from `elements` on.
uint32_t** SlotTable(uint8_t* table, uint8_t* elements, const Layout& layout) {
  auto** slots = reinterpret_cast<uint32_t**>(table);
  auto* words = reinterpret_cast<uint32_t*>(elements);
  for (uint64_t g = 0; g < layout.params.points; ++g) slots[g] = words + g * layout.strideWords;
  return slots;
}

struct Operands {
  const uint32_t* a;
  uint64_t la;
  const uint32_t* b;
  uint64_t lb;
  uint64_t t;
};

Operands Truncate(const uint32_t* a, uint64_t la, const uint32_t* b, uint64_t lb, uint64_t t) {
  const TruncatedShape shape = TruncateOperands(la, lb, t);
  return {a + shape.dropA, la - shape.dropA, b + shape.dropB, lb - shape.dropB, shape.t};
}

uint64_t Product(AllocationHeap* heap, const Operands& ops, uint32_t* out, bool square,
                 uint32_t threadExponent, const HybridParams& params) {
  const uint64_t productWords = ops.la + ops.lb;
  const Layout layout = LayoutFor(params, square, threadExponent);
  void* memory = AllocAligned16(heap, layout.totalBytes);
  if (memory == nullptr) return layout.totalBytes;
  auto* bytes = static_cast<uint8_t*>(memory);

  const uint64_t operands = square ? 1 : 2;
  HybridBuffer a{nullptr, layout.strideWords, params.ringWords, params.k, params.c};
  HybridBuffer b = a;
  a.slots = SlotTable(bytes + layout.bufferBytes * operands, bytes, layout);
  if (!square) {
    b.slots = SlotTable(bytes + layout.bufferBytes * 2 + layout.slotBytes,
                        bytes + layout.bufferBytes, layout);
  }
  uint8_t* scratch = bytes + (layout.bufferBytes + layout.slotBytes) * operands;
  const HybridSource sourceA{ops.a, ops.la, params.pieceWords};
  const HybridSource sourceB{ops.b, ops.lb, params.pieceWords};

  HybridPointwisePrepare(layout.pointwise);
  const HybridSplit split = HybridSplitFor(params.k, params.ringWords, layout.threadExponent);
  HybridPassTask columns;
  columns.buffer = a;
  columns.span = {0, uint64_t{1} << split.outerExponent, 0, split.innerExponent};
  columns.spanDistance = 1;
  columns.count = uint64_t{1} << split.outerExponent;
  columns.scratch = scratch;
  columns.scratchBlockBytes = layout.blockBytes;
  columns.threadExponent = std::min(layout.threadExponent, split.outerExponent);
  columns.source = &sourceA;
  if (!square) {
    columns.partner = &b;
    columns.partnerSource = &sourceB;
  }
  HybridForwardPass(columns);
  columns.partner = nullptr;
  columns.partnerSource = nullptr;

  HybridPassTask rows = columns;
  rows.span = {0, 1, split.innerExponent, split.outerExponent};
  rows.spanDistance = uint64_t{1} << split.outerExponent;
  rows.count = uint64_t{1} << split.innerExponent;
  rows.threadExponent = layout.threadExponent;
  rows.source = nullptr;
  rows.partner = nullptr;
  HybridRowPass(rows, square ? nullptr : &b, layout.pointwise);

  std::atomic<bool> failed{false};
  const HybridFinish finish{HybridTakeFault(), &failed};
  columns.source = nullptr;
  columns.finish = &finish;
  HybridInversePass(columns);

  HybridRecombineJob job;
  job.buffer = &a;
  job.pieceWords = params.pieceWords;
  job.productWords = productWords;
  job.truncationWords = ops.t;
  job.out = out;
  job.scratch = scratch;
  job.scratchBlockBytes = layout.blockBytes;
  job.threadExponent = layout.threadExponent;
  const uint64_t status = failed.load() ? kProductCheckFailed : HybridRecombine(job);
  Release(memory);
  return status;
}

uint64_t MemoryBytes(uint64_t la, uint64_t lb, uint64_t t, bool square, uint32_t threadExponent) {
  if (la == 0 || lb == 0 || t >= la + lb) return 0;
  const TruncatedShape shape = TruncateOperands(la, lb, t);
  const uint64_t productWords = la + lb - shape.dropA - shape.dropB;
  const HybridParams params = HybridChooseParams(productWords, square);
  return LayoutFor(params, square, threadExponent).totalBytes + kPieceOverheadBytes;
}

}  // namespace

uint64_t HybridMemoryEnvelopeBytes(uint64_t productWords, uint32_t threadExponent) {
  if (productWords == 0) return 0;
  const uint64_t capacity = std::max(HybridChooseParams(productWords, false).capacityWords,
                                     HybridChooseParams(productWords, true).capacityWords);
  uint64_t bytes = 0;
  for (const auto table : {HybridMultiplyTable(), HybridSquareTable()}) {
    for (const HybridRow& row : table) {
      if (row.capacityWords > capacity) break;
      const HybridParams params = HybridParamsFromRow(row.k, row.c);
      bytes = std::max(bytes, LayoutFor(params, false, threadExponent).totalBytes);
    }
  }
  return bytes + kPieceOverheadBytes;
}

uint64_t HybridMultiply(AllocationHeap* heap, const uint32_t* a, uint64_t la, const uint32_t* b,
                        uint64_t lb, uint32_t* out, uint64_t t, uint32_t threadExponent) {
  if (t >= la + lb) return 0;
  if (la == 0 || lb == 0) {
    std::fill(out, out + (la + lb - t), 0u);
    return 0;
  }
  const Operands ops = Truncate(a, la, b, lb, t);
  return Product(heap, ops, out, false, threadExponent, HybridChooseParams(ops.la + ops.lb, false));
}

uint64_t HybridSquare(AllocationHeap* heap, const uint32_t* a, uint64_t n, uint32_t* out,
                      uint64_t t, uint32_t threadExponent) {
  if (n == 0 || t >= 2 * n) return 0;
  const Operands ops = Truncate(a, n, a, n, t);
  return Product(heap, ops, out, true, threadExponent, HybridChooseParams(ops.la + ops.lb, true));
}

uint64_t HybridMultiplyMemoryBytes(uint64_t la, uint64_t lb, uint64_t t, uint32_t threadExponent) {
  return MemoryBytes(la, lb, t, false, threadExponent);
}

uint64_t HybridSquareMemoryBytes(uint64_t n, uint64_t t, uint32_t threadExponent) {
  return MemoryBytes(n, n, t, true, threadExponent);
}

#if defined(ZX_TEST_HOOKS)
void HybridInjectFaults(uint32_t products) {
  HybridSetFaults(products);
}

uint64_t HybridMultiplyWithRow(AllocationHeap* heap, const uint32_t* a, uint64_t la,
                               const uint32_t* b, uint64_t lb, uint32_t* out, uint64_t t,
                               uint32_t threadExponent, uint32_t k, uint32_t c) {
  if (la == 0 || lb == 0 || t >= la + lb) return 0;
  const bool square = a == b && la == lb;
  return Product(heap, Truncate(a, la, b, lb, t), out, square, threadExponent,
                 HybridParamsFromRow(k, c));
}
#endif

}  // namespace zx
