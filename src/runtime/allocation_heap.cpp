// The allocation table and everything that walks it. Row i sits in the 16 bytes ending at
// end - 16·i, so the table grows down towards the pieces and rows sorted by ascending base lie at
// descending addresses. Top is always the end of the last row (or start), which makes the free
// space above it a subtraction; HeapFreeSpace checks that promise before trusting it.
#include "runtime/allocation_heap.hpp"

#include <algorithm>
#include <cstring>
#include <limits>

#include "runtime/heap_internal.hpp"
#include "shell/console.hpp"
#include "shell/fatal.hpp"
#include "shell/number_print.hpp"

namespace zx {
namespace {

constexpr uint64_t kRowBytes = sizeof(HeapEntry);
static_assert(kRowBytes == 16, "rows are two 64-bit words");

HeapEntry* Row(const AllocationHeap* heap, uint32_t index) {
  return reinterpret_cast<HeapEntry*>(heap->end - kRowBytes * (uint64_t{index} + 1));
}

uint64_t RowEnd(const HeapEntry* row) {
  return row->base + row->sizeBytes;
}

void* AsPointer(uint64_t address) {
  return reinterpret_cast<void*>(address);
}

void SetTopFromTable(AllocationHeap* heap) {
  heap->top = heap->activeCount == 0 ? heap->start : RowEnd(Row(heap, heap->activeCount - 1));
}

void InsertRow(AllocationHeap* heap, uint32_t index, uint64_t base, uint64_t sizeBytes) {
  // Rows index.. occupy [tableLimit, end - 16·index) and slide one row down as a block.
  std::memmove(AsPointer(heap->tableLimit - kRowBytes), AsPointer(heap->tableLimit),
               kRowBytes * (heap->activeCount - index));
  heap->tableLimit -= kRowBytes;
  ++heap->activeCount;
  *Row(heap, index) = HeapEntry{base, sizeBytes};
  heap->peakCount = std::max(heap->peakCount, heap->activeCount);
  SetTopFromTable(heap);
}

void RemoveRow(AllocationHeap* heap, uint32_t index) {
  std::memmove(AsPointer(heap->tableLimit + kRowBytes), AsPointer(heap->tableLimit),
               kRowBytes * (heap->activeCount - 1 - index));
  heap->tableLimit += kRowBytes;
  --heap->activeCount;
  SetTopFromTable(heap);
}

void PrintCountLine(const char* label, uint64_t value) {
  ConsoleWrite(label);
  PrintCommas(value, 0);
  ConsoleWrite("\n");
}

// A child hands its live pieces to the parent where they lie: its area's row is replaced by the
// child's own rows, so the parent's table stays sorted without moving a byte of data. The merge
// leaves the peak alone: where a child's pieces happen to lie says nothing of the memory the
// work needed, which HeapJoin charges from the children's peaks.
void MergeIntoParent(AllocationHeap* child) {
  AllocationHeap* parent = child->parent;
  const void* area = AsPointer(child->start);
  CheckSentinel(area);
  uint32_t index = HeapReleaseRaw(parent, AsPointer(HeaderOf(area)->rawAddress));
  for (uint32_t i = 0; i < child->activeCount; ++i) {
    // Copied out first: the parent's table may grow over the child's released table.
    const HeapEntry row = *Row(child, i);
    if (parent->tableLimit - kRowBytes < std::max(parent->top, row.base + row.sizeBytes)) {
      FatalExit("Allocation Heap: Merging Failed\n");
    }
    const void* piece = AsPointer(*static_cast<const uint64_t*>(AsPointer(row.base)));
    HeaderOf(piece)->heap = parent;
    InsertRow(parent, index++, row.base, row.sizeBytes);
  }
}

}  // namespace

uint32_t HeapFindEntry(const AllocationHeap* heap, uint64_t address) {
  uint32_t low = 0;
  uint32_t high = heap->activeCount;
  while (high - low > 1) {
    const uint32_t middle = low + (high - low) / 2;
    if (Row(heap, middle)->base <= address) {
      low = middle;
    } else {
      high = middle;
    }
  }
  return low;
}

void HeapResizeEntry(AllocationHeap* heap, uint32_t index, uint64_t sizeBytes) {
  Row(heap, index)->sizeBytes = sizeBytes;
  SetTopFromTable(heap);
}

void HeapCreate(AllocationHeap* parent, AllocationHeap* heap, uint64_t sizeBytes) {
  if (sizeBytes > std::numeric_limits<uint64_t>::max() - 15) FatalExit("\nAllocation Failure\n");
  const uint64_t areaBytes = sizeBytes == 0 ? 16 : (sizeBytes + 15) & ~uint64_t{15};
  // A top-level area comes zeroed from the system, so pages the run never touches stay unbacked.
  void* area = AllocPiece(parent, areaBytes, 16, parent == nullptr);
  if (area == nullptr) FatalExit("\nAllocation Failure\n");
  *heap = AllocationHeap{};
  heap->parent = parent;
  heap->start = reinterpret_cast<uintptr_t>(area);
  heap->end = heap->start + areaBytes;
  heap->top = heap->start;
  heap->tableLimit = heap->end;
  heap->peakTop = heap->start;
}

void HeapDestroy(AllocationHeap* heap) {
  if (heap == nullptr) return;
  ZX_ASSERT(heap->children == nullptr);
  if (heap->parent != nullptr) {
    MergeIntoParent(heap);
  } else {
    if (heap->activeCount != 0) {
      ConsoleWrite("Allocation Heap: Memory leak detected\n");
      HeapDump(heap);
    }
    Release(AsPointer(heap->start));
  }
  *heap = AllocationHeap{};
}

void* HeapAllocRaw(AllocationHeap* heap, uint64_t sizeBytes) {
  if (sizeBytes > std::numeric_limits<uint64_t>::max() - 7) return nullptr;
  sizeBytes = (sizeBytes + 7) & ~uint64_t{7};
  uint64_t candidate = heap->start;
  uint32_t index = 0;
  for (; index < heap->activeCount; ++index) {
    const HeapEntry* row = Row(heap, index);
    if (row->base - candidate >= sizeBytes) break;
    candidate = RowEnd(row);
  }
  const uint64_t roomBytes = heap->tableLimit - candidate;
  if (index == heap->activeCount) {
    if (roomBytes < kRowBytes || roomBytes - kRowBytes < sizeBytes) return nullptr;
  } else if (heap->tableLimit - heap->top < kRowBytes) {
    // A hole fits the piece but the new row would overwrite the highest piece.
    return nullptr;
  }
  InsertRow(heap, index, candidate, sizeBytes);
  heap->peakTop = std::max(heap->peakTop, heap->top);
  return AsPointer(candidate);
}

uint32_t HeapReleaseRaw(AllocationHeap* heap, void* raw) {
  ZX_ASSERT(heap->activeCount != 0);
  const uint32_t index = HeapFindEntry(heap, reinterpret_cast<uintptr_t>(raw));
  RemoveRow(heap, index);
  return index;
}

uint64_t HeapFreeSpace(AllocationHeap* heap) {
  if (heap == nullptr) FatalExit("\nAllocation Heap required for this function.\n");
  if (heap->activeCount == 0) return heap->end - heap->start;
  if (RowEnd(Row(heap, heap->activeCount - 1)) != heap->top) {
    HeapDump(heap);
    FatalAssertion(kImpossibleResult, "Allocation Heap", "Out of sync...");
  }
  return heap->tableLimit - heap->top;
}

void* HeapCompact(void* piece) {
  if (piece == nullptr || piece == kEmptyPiece) return piece;
  PieceHeader* header = HeaderOf(piece);
  AllocationHeap* heap = header->heap;
  if (heap == nullptr) return piece;
  CheckSentinel(piece);
  const uint64_t raw = header->rawAddress;
  const uint32_t index = HeapFindEntry(heap, raw);
  const uint64_t below = index == 0 ? heap->start : RowEnd(Row(heap, index - 1));
  const uint64_t pieceAddress = reinterpret_cast<uintptr_t>(piece);
  // Moving by a multiple of the piece's own alignment keeps a 16-aligned piece 16-aligned.
  const uint64_t alignBytes = pieceAddress % 16 == 0 ? 16 : 8;
  const uint64_t gapBytes = (raw - below) & ~(alignBytes - 1);
  if (gapBytes == 0) return piece;

  HeapEntry* row = Row(heap, index);
  std::memmove(AsPointer(raw - gapBytes), AsPointer(raw), row->sizeBytes);
  void* moved = AsPointer(pieceAddress - gapBytes);
  HeaderOf(moved)->rawAddress = raw - gapBytes;
  *static_cast<uint64_t*>(AsPointer(raw - gapBytes)) = pieceAddress - gapBytes;
  row->base = raw - gapBytes;
  SetTopFromTable(heap);
  return moved;
}

HeapEntry HeapEntryAt(const AllocationHeap* heap, uint32_t index) {
  ZX_ASSERT(index < heap->activeCount);
  return *Row(heap, index);
}

uint64_t HeapUsedBytes(const AllocationHeap* heap) {
  return heap == nullptr ? 0 : heap->top - heap->start;
}

uint64_t HeapPeakBytes(const AllocationHeap* heap) {
  return heap == nullptr ? 0 : heap->peakTop - heap->start;
}

void HeapDump(const AllocationHeap* heap) {
  ConsoleWrite("Heap Table Dump:\n");
  if (heap == nullptr) {
    ConsoleWrite("Heap is NULL\n\n");
    return;
  }
  ConsolePrintf("Parent              : %p\n", static_cast<void*>(heap->parent));
  PrintCountLine("Total Size          : ", heap->end - heap->start);
  PrintCountLine("Active Allocations  : ", heap->activeCount);
  PrintCountLine("Peak Allocations    : ", heap->peakCount);
  PrintCountLine("Current Usage       : ", heap->top - heap->start);
  PrintCountLine("Peak Heap Usage     : ", heap->peakTop - heap->start);
  ConsolePrintf("Start : %p\n", AsPointer(heap->start));
  ConsolePrintf("End   : %p\n", AsPointer(heap->end));
  if (heap->activeCount == 0) {
    ConsoleWrite("No Active Allocations\n\n");
    return;
  }
  for (uint32_t i = 0; i < heap->activeCount; ++i) {
    const HeapEntry* row = Row(heap, i);
    ConsolePrintf("Base: %p   Size: %p   ( ", AsPointer(row->base), AsPointer(row->sizeBytes));
    PrintCommas(row->sizeBytes, 0);
    ConsoleWrite(" )\n");
  }
  ConsolePrintf("Table Limit         : %p\n", AsPointer(heap->tableLimit));
  ConsoleWrite("\n");
}

}  // namespace zx
