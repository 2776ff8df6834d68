// What the heap's files share and nobody else may touch: the header in front of every piece and
// the table operations that keep the sorted rows and top in step. A piece u of n bytes lives in a
// raw block: the raw block's first word points at u, the 32 bytes below u hold the header, and
// the byte at u + n is the "#" sentinel.
#pragma once

#include <cstdint>

#include "runtime/allocation_heap.hpp"

namespace zx {

struct PieceHeader {
  uint64_t rawAddress;
  AllocationHeap* heap;
  uint64_t sizeBytes;
  uint64_t unused;
};

inline constexpr uint64_t kPieceHeaderBytes = 32;
inline constexpr char kPieceSentinel = '#';

inline PieceHeader* HeaderOf(const void* piece) {
  return reinterpret_cast<PieceHeader*>(reinterpret_cast<uintptr_t>(piece) - kPieceHeaderBytes);
}

inline char* SentinelOf(const void* piece) {
  return reinterpret_cast<char*>(reinterpret_cast<uintptr_t>(piece) + HeaderOf(piece)->sizeBytes);
}

// A piece of sizeBytes aligned to alignBytes (8 or 16) from heap or, for a null heap, from the
// general allocator (zero-filled when zeroed). Null when memory is exhausted.
void* AllocPiece(AllocationHeap* heap, uint64_t sizeBytes, uint64_t alignBytes, bool zeroed);

// Stops the program when the piece's sentinel was overwritten.
void CheckSentinel(const void* piece);

// Index of the last row whose base is at or below address (0 when none is).
uint32_t HeapFindEntry(const AllocationHeap* heap, uint64_t address);
// Sets the size of row index and moves top with it.
void HeapResizeEntry(AllocationHeap* heap, uint32_t index, uint64_t sizeBytes);

}  // namespace zx
