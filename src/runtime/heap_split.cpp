// Splitting a heap for two threads. Each child is a piece of the parent covering just under half
// of the parent's free space; the rest is kept for the parent's table, which must absorb the
// children's rows when they merge back. The split's own pieces do not count towards the peak,
// but the join charges the larger child's peak twice, since either half may be the larger one on
// another run.
#include <algorithm>
#include <new>

#include "runtime/allocation_heap.hpp"
#include "shell/fatal.hpp"

namespace zx {

void HeapSplit(AllocationHeap* heap, uint32_t threads) {
  void* records = AllocBytes(heap, 2 * sizeof(AllocationHeap));
  if (records == nullptr) FatalAllocation();
  AllocationHeap* children = static_cast<AllocationHeap*>(records);
  new (&children[0]) AllocationHeap{};
  new (&children[1]) AllocationHeap{};

  const uint64_t freeBytes = HeapFreeSpace(heap);
  // Two rows per thread that may still merge, and never less than six rows.
  const uint64_t reserveBytes = std::max<uint64_t>(32 * uint64_t{threads} + 16, 96);
  if (freeBytes / 2 < reserveBytes) FatalAllocation();

  const uint64_t peakTop = heap->peakTop;
  heap->savedTop = heap->top;
  HeapCreate(heap, &children[0], freeBytes / 2 - reserveBytes);
  HeapCreate(heap, &children[1], freeBytes / 2 - reserveBytes);
  heap->children = children;
  heap->peakTop = peakTop;
}

void HeapJoin(AllocationHeap* heap) {
  AllocationHeap* children = heap->children;
  ZX_ASSERT(children != nullptr);
  const uint64_t peak0 = HeapPeakBytes(&children[0]);
  const uint64_t peak1 = HeapPeakBytes(&children[1]);
  // Child 1 lies above child 0. Merged first, it frees its area before child 0's rows arrive, so
  // the parent's table can grow into it; the other order leaves child 0 only the reserve.
  HeapDestroy(&children[1]);
  HeapDestroy(&children[0]);
  heap->peakTop = std::max(heap->peakTop, heap->savedTop + 2 * std::max(peak0, peak1));
  heap->children = nullptr;
  Release(children);
}

AllocationHeap* HeapChild(AllocationHeap* heap, int index) {
  ZX_ASSERT(heap->children != nullptr && (index == 0 || index == 1));
  return &heap->children[index];
}

}  // namespace zx
