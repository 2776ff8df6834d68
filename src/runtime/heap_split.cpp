// Splitting a heap for two threads. The children are pieces of the parent sharing its free space
// (in halves, or in the shares their work is estimated to need); the rest is kept for the
// parent's table, which must absorb the children's rows when they merge back. The split's own
// pieces do not count towards the peak, but the join charges the space at which each child's
// peak would still have fitted its share, since the halves are not the same on every run.
#include <algorithm>
#include <new>

#include "runtime/allocation_heap.hpp"
#include "shell/fatal.hpp"

namespace zx {
namespace {

__extension__ typedef unsigned __int128 Uint128;

// ceil(value·numerator/denominator) without overflow; a zero denominator counts as one.
uint64_t ScaledUp(uint64_t value, uint64_t numerator, uint64_t denominator) {
  const Uint128 d = denominator == 0 ? 1 : denominator;
  return static_cast<uint64_t>((static_cast<Uint128>(value) * numerator + d - 1) / d);
}

}  // namespace

void HeapSplit(AllocationHeap* heap, uint32_t threads) { HeapSplitShare(heap, threads, 0.5); }

void HeapSplitShare(AllocationHeap* heap, uint32_t threads, double firstShare) {
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
  const uint64_t sharedBytes = freeBytes - 2 * reserveBytes;
  const double share = std::clamp(firstShare, kMinHeapShare, 1 - kMinHeapShare);
  const auto firstBytes = static_cast<uint64_t>(static_cast<double>(sharedBytes) * share);
  HeapCreate(heap, &children[0], firstBytes);
  HeapCreate(heap, &children[1], sharedBytes - firstBytes);
  heap->children = children;
  heap->peakTop = peakTop;
}

void HeapJoin(AllocationHeap* heap) {
  AllocationHeap* children = heap->children;
  ZX_ASSERT(children != nullptr);
  const uint64_t peak0 = HeapPeakBytes(&children[0]);
  const uint64_t peak1 = HeapPeakBytes(&children[1]);
  // The free space at which each child's peak would still have fitted its share: twice the larger
  // peak for halves.
  const uint64_t size0 = children[0].end - children[0].start;
  const uint64_t size1 = children[1].end - children[1].start;
  const uint64_t needed = std::max(ScaledUp(peak0, size0 + size1, size0),
                                   ScaledUp(peak1, size0 + size1, size1));
  // Child 1 lies above child 0. Merged first, it frees its area before child 0's rows arrive, so
  // the parent's table can grow into it; the other order leaves child 0 only the reserve.
  HeapDestroy(&children[1]);
  HeapDestroy(&children[0]);
  heap->peakTop = std::max(heap->peakTop, heap->savedTop + needed);
  heap->children = nullptr;
  Release(children);
}

AllocationHeap* HeapChild(AllocationHeap* heap, int index) {
  ZX_ASSERT(heap->children != nullptr && (index == 0 || index == 1));
  return &heap->children[index];
}

}  // namespace zx
