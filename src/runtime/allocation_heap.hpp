// The program's own sub-allocator. One block, obtained once at the start of a run and sized to the
// memory estimate the user saw, is handed out by first fit with the allocation table kept at the
// top end of the block itself, so a run's whole memory need is fixed before it starts. A heap can
// be split into two children for two threads and joined again; the children's live pieces pass to
// the parent in place. Every piece, from a heap or from the general allocator, carries the same
// header and a "#" sentinel, so Release frees any piece without being told where it came from.
// A null heap means the general allocator.
#pragma once

#include <cstdint>
#include <string>

namespace zx {

struct AllocationHeap {
  AllocationHeap* parent = nullptr;
  uint64_t start = 0;                  // first usable byte, 16-byte aligned
  uint64_t end = 0;                    // one past the last byte of the area
  uint64_t top = 0;                    // one past the highest piece (start when empty)
  uint64_t tableLimit = 0;             // lowest byte of the table, which grows down from end
  AllocationHeap* children = nullptr;  // two records while split
  uint64_t savedTop = 0;               // top at the moment of the split
  uint32_t activeCount = 0;
  uint32_t peakCount = 0;
  uint64_t peakTop = 0;
};

// The address of an empty (0-byte) piece; Release ignores it, as it ignores null.
inline void* const kEmptyPiece = reinterpret_cast<void*>(~uintptr_t{0});

// Area of sizeBytes rounded up to 16 (0 counts as 16), as one 16-aligned piece of parent (or of
// the general allocator when parent is null). A top-level area is cleared. Failure to obtain the
// area is fatal ("\nAllocation Failure\n").
void HeapCreate(AllocationHeap* parent, AllocationHeap* heap, uint64_t sizeBytes);
// A child merges its live pieces into its parent in place; a top-level heap reports leaks and
// gives its area back. Null is ignored.
void HeapDestroy(AllocationHeap* heap);

// First-fit primitive: sizeBytes rounded up to 8; null when neither a gap nor the room above top
// (with 16 bytes for the new table entry) holds it.
void* HeapAllocRaw(AllocationHeap* heap, uint64_t sizeBytes);
// Removes the piece whose base is the last at or below raw; returns its table index.
uint32_t HeapReleaseRaw(AllocationHeap* heap, void* raw);

// Pieces with the common header: null when memory is exhausted, kEmptyPiece for 0 bytes.
void* AllocBytes(AllocationHeap* heap, uint64_t sizeBytes);
uint32_t* AllocWords32(AllocationHeap* heap, uint64_t countWords);
uint64_t* AllocWords64(AllocationHeap* heap, uint64_t countWords);  // 16-byte aligned
// 16-byte aligned piece of sizeBytes (transform buffers of doubles).
void* AllocAligned16(AllocationHeap* heap, uint64_t sizeBytes);
// Copies a zero-terminated path, terminator included, into a new piece; null on exhaustion.
char* DuplicateString(AllocationHeap* heap, const std::string& text);
// Frees any piece; null and kEmptyPiece are ignored. A piece whose sentinel was overwritten stops
// the program with an assertion report.
void Release(void* piece);

// The owning heap of a piece (null for the general allocator) and its requested size.
AllocationHeap* PieceHeap(const void* piece);
uint64_t PieceSizeBytes(const void* piece);

// Shrinks a piece in place to newSizeBytes (at most its size); the freed tail becomes free space
// when the piece is the highest one of its heap.
void HeapShrink(void* piece, uint64_t newSizeBytes);

// Contiguous bytes between top and the table; holes below top are not counted.
uint64_t HeapFreeSpace(AllocationHeap* heap);

// Two children of equal size from the free space, less a reserve of max(32·threads + 16, 96)
// bytes for the parent's table. Too little space is fatal ("Allocation Failure\n").
void HeapSplit(AllocationHeap* heap, uint32_t threads);
// The same with the shared space divided firstShare : 1 − firstShare (clamped to
// [kMinHeapShare, 1 − kMinHeapShare]), for halves whose work is not the same size.
inline constexpr double kMinHeapShare = 1.0 / 16;
void HeapSplitShare(AllocationHeap* heap, uint32_t threads, double firstShare);
void HeapJoin(AllocationHeap* heap);
// Children of a split heap (index 0 for the new thread, 1 for the calling one).
AllocationHeap* HeapChild(AllocationHeap* heap, int index);

// Slides a piece down over the free gap below it and returns its new address.
void* HeapCompact(void* piece);

void HeapDump(const AllocationHeap* heap);

// One row of the allocation table: a raw block of the area.
struct HeapEntry {
  uint64_t base = 0;
  uint64_t sizeBytes = 0;
};
// Row index (0 <= index < activeCount) in ascending order of base.
HeapEntry HeapEntryAt(const AllocationHeap* heap, uint32_t index);

// Bytes in use and the peak, measured from start.
uint64_t HeapUsedBytes(const AllocationHeap* heap);
uint64_t HeapPeakBytes(const AllocationHeap* heap);

}  // namespace zx
