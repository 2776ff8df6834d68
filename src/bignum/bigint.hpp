// BigInt, the unsigned magnitude under every number: a little-endian vector of 32-bit words that
// lives in memory (a heap piece), on disk (a RaidFile striped over the swap disks), or both. Every
// operation that reads one first makes it resident; an operation that changes words in place first
// drops any disk copy, so a stale disk copy never survives.
#pragma once

#include <cstdint>

#include "runtime/allocation_heap.hpp"
#include "runtime/swap_file.hpp"

namespace zx {

struct BigInt {
  uint64_t length = 0;         // significant words; the top word is non-zero when length > 0
  uint32_t* words = nullptr;   // in-memory copy, null while swapped out or zero
  uint64_t capacity = 0;       // words allocated at `words`
  RaidFile* swap = nullptr;    // disk copy, or null
};

// The mark a released record carries until it is set again.
inline constexpr uint64_t kReleasedLength = ~uint64_t{0};

inline bool BigIntIsZero(const BigInt& a) { return a.length == 0; }

void BigIntSetZero(BigInt& out);
void BigIntSetWord(AllocationHeap* heap, BigInt& out, uint32_t w);
void BigIntSetU64(AllocationHeap* heap, BigInt& out, uint64_t v);
// out = source in a fresh buffer of length + 2 words; a swapped-out source is made resident first.
void BigIntCopy(AllocationHeap* heap, BigInt& source, BigInt& out);
// Frees both copies and marks the record released.
void BigIntRelease(BigInt& a);
void BigIntDropMemory(BigInt& a);
void BigIntDropDisk(BigInt& a);
// Writes the words to a new RaidFile over the swap disks (unless a disk copy exists already) and
// drops the memory copy.
void BigIntSwapOut(AllocationHeap* heap, BigInt& a);
// Reads a swapped-out value back into a buffer of length + 2 words; the disk copy is kept.
void BigIntMakeResident(AllocationHeap* heap, BigInt& a);
// Shrinks the buffer in place to the words in use (the newest piece of a heap gives its tail back).
void BigIntShrink(BigInt& a);
// Swaps two records.
void BigIntSwap(BigInt& a, BigInt& b);

// Word buffers: a piece of countWords words, or the "Allocation Failure" stop.
uint32_t* AllocWordsOrDie(AllocationHeap* heap, uint64_t countWords);

// Linear operations.
void BigIntShiftRightWords(AllocationHeap* heap, BigInt& a, uint64_t count);
void BigIntShiftLeftWords(AllocationHeap* heap, BigInt& a, uint64_t count);
void BigIntShiftRightBits(AllocationHeap* heap, BigInt& a, uint32_t bits);  // bits in 1..31
void BigIntShiftLeftBits(AllocationHeap* heap, BigInt& a, uint32_t bits);   // bits in 1..31
// a = (a without its dropCount low words) · w. w = 1 changes nothing, the low words included.
void BigIntMulWordDrop(AllocationHeap* heap, BigInt& a, uint32_t w, uint64_t dropCount);
// out = lengthWords words of a, read from startWord on, times w.
void BigIntMulWordInto(AllocationHeap* heap, BigInt& a, uint32_t w, BigInt& out, uint64_t startWord);

// The kernel of the scalar products: out[i] = low half of w·in[i] + carry; returns the carry.
uint32_t MulWordKernel(uint32_t* out, const uint32_t* in, uint64_t count, uint32_t w);

}  // namespace zx
