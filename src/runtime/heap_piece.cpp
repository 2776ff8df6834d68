// Pieces: the one layout shared by heap pieces and general-allocator pieces, so that Release needs
// no hint of where a piece came from. The raw block is the request plus 49 bytes (8-aligned) or
// 57 bytes (16-aligned): room for the back pointer, the 32-byte header, the alignment slack and
// the sentinel byte.
#include <cstdlib>
#include <cstring>
#include <limits>

#include "runtime/allocation_heap.hpp"
#include "runtime/heap_internal.hpp"
#include "shell/fatal.hpp"

namespace zx {
namespace {

constexpr uint64_t kExtraBytes8 = 49;
constexpr uint64_t kExtraBytes16 = 57;

bool IsRealPiece(const void* piece) {
  return piece != nullptr && piece != kEmptyPiece;
}

// Byte counts of word arrays, or a count no allocator can serve when the product overflows.
uint64_t WordBytes(uint64_t countWords, uint64_t wordBytes) {
  if (countWords > std::numeric_limits<uint64_t>::max() / wordBytes) {
    return std::numeric_limits<uint64_t>::max();
  }
  return countWords * wordBytes;
}

}  // namespace

void* AllocPiece(AllocationHeap* heap, uint64_t sizeBytes, uint64_t alignBytes, bool zeroed) {
  const uint64_t extraBytes = alignBytes == 16 ? kExtraBytes16 : kExtraBytes8;
  // The heap rounds the raw size up to 8 on top of the extra bytes.
  if (sizeBytes > std::numeric_limits<uint64_t>::max() - extraBytes - 8) return nullptr;
  const uint64_t rawBytes = sizeBytes + extraBytes;
  void* raw = nullptr;
  if (heap != nullptr) {
    raw = HeapAllocRaw(heap, rawBytes);
  } else {
    raw = zeroed ? std::calloc(rawBytes, 1) : std::malloc(rawBytes);
  }
  if (raw == nullptr) return nullptr;

  const uintptr_t rawAddress = reinterpret_cast<uintptr_t>(raw);
  const uintptr_t pieceAddress =
      ((rawAddress + kPieceHeaderBytes) & ~(alignBytes - 1)) + alignBytes;
  void* piece = reinterpret_cast<void*>(pieceAddress);
  PieceHeader* header = HeaderOf(piece);
  header->rawAddress = rawAddress;
  header->heap = heap;
  header->sizeBytes = sizeBytes;
  *static_cast<uint64_t*>(raw) = pieceAddress;
  *SentinelOf(piece) = kPieceSentinel;
  return piece;
}

void* AllocBytes(AllocationHeap* heap, uint64_t sizeBytes) {
  if (sizeBytes == 0) return kEmptyPiece;
  return AllocPiece(heap, sizeBytes, 8, false);
}

uint32_t* AllocWords32(AllocationHeap* heap, uint64_t countWords) {
  return static_cast<uint32_t*>(AllocBytes(heap, WordBytes(countWords, 4)));
}

uint64_t* AllocWords64(AllocationHeap* heap, uint64_t countWords) {
  return static_cast<uint64_t*>(AllocAligned16(heap, WordBytes(countWords, 8)));
}

void* AllocAligned16(AllocationHeap* heap, uint64_t sizeBytes) {
  if (sizeBytes == 0) return kEmptyPiece;
  return AllocPiece(heap, sizeBytes, 16, false);
}

char* DuplicateString(AllocationHeap* heap, const std::string& text) {
  char* copy = static_cast<char*>(AllocBytes(heap, text.size() + 1));
  if (copy == nullptr) return nullptr;
  std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

void CheckSentinel(const void* piece) {
  if (*SentinelOf(piece) != kPieceSentinel) {
    FatalAssertion(kImpossibleResult, "Allocation Heap",
                   "The guard byte behind a piece was overwritten.");
  }
}

void Release(void* piece) {
  if (!IsRealPiece(piece)) return;
  CheckSentinel(piece);
  const PieceHeader* header = HeaderOf(piece);
  if (header->heap == nullptr) {
    std::free(reinterpret_cast<void*>(header->rawAddress));
  } else {
    HeapReleaseRaw(header->heap, reinterpret_cast<void*>(header->rawAddress));
  }
}

AllocationHeap* PieceHeap(const void* piece) {
  return IsRealPiece(piece) ? HeaderOf(piece)->heap : nullptr;
}

uint64_t PieceSizeBytes(const void* piece) {
  return IsRealPiece(piece) ? HeaderOf(piece)->sizeBytes : 0;
}

void HeapShrink(void* piece, uint64_t newSizeBytes) {
  if (!IsRealPiece(piece)) return;
  CheckSentinel(piece);
  PieceHeader* header = HeaderOf(piece);
  ZX_ASSERT(newSizeBytes <= header->sizeBytes);
  if (newSizeBytes >= header->sizeBytes) return;
  header->sizeBytes = newSizeBytes;
  *SentinelOf(piece) = kPieceSentinel;
  if (header->heap == nullptr) return;
  // The raw block keeps its header offset and ends just past the sentinel.
  const uint64_t usedBytes =
      reinterpret_cast<uintptr_t>(piece) - header->rawAddress + newSizeBytes + 1;
  HeapResizeEntry(header->heap, HeapFindEntry(header->heap, header->rawAddress),
                  (usedBytes + 7) & ~uint64_t{7});
}

}  // namespace zx
