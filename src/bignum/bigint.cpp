// BigInt lifecycle: setting, copying, releasing, and moving between memory and the swap disks.
#include "bignum/bigint.hpp"

#include <cstring>
#include <utility>

#include "runtime/run_record.hpp"
#include "shell/fatal.hpp"

namespace zx {

uint32_t* AllocWordsOrDie(AllocationHeap* heap, uint64_t countWords) {
  uint32_t* words = AllocWords32(heap, countWords);
  if (words == nullptr) FatalAllocation();
  return words;
}

void BigIntSetZero(BigInt& out) { out = BigInt{}; }

void BigIntSetWord(AllocationHeap* heap, BigInt& out, uint32_t w) {
  if (w == 0) {
    BigIntSetZero(out);
    return;
  }
  out.words = AllocWordsOrDie(heap, 3);
  out.words[0] = w;
  out.length = 1;
  out.capacity = 3;
  out.swap = nullptr;
}

void BigIntSetU64(AllocationHeap* heap, BigInt& out, uint64_t v) {
  if (v >> 32 == 0) {
    BigIntSetWord(heap, out, static_cast<uint32_t>(v));
    return;
  }
  out.words = AllocWordsOrDie(heap, 4);
  out.words[0] = static_cast<uint32_t>(v);
  out.words[1] = static_cast<uint32_t>(v >> 32);
  out.length = 2;
  out.capacity = 4;
  out.swap = nullptr;
}

void BigIntCopy(AllocationHeap* heap, BigInt& source, BigInt& out) {
  if (source.length == 0) {
    BigIntSetZero(out);
    return;
  }
  BigIntMakeResident(heap, source);
  const uint64_t length = source.length;
  uint32_t* words = AllocWordsOrDie(heap, length + 2);
  std::memcpy(words, source.words, length * sizeof(uint32_t));
  out.length = length;
  out.words = words;
  out.capacity = length + 2;
  out.swap = nullptr;
}

void BigIntDropMemory(BigInt& a) {
  Release(a.words);
  a.words = nullptr;
  a.capacity = 0;
}

void BigIntDropDisk(BigInt& a) {
  if (a.swap == nullptr) return;
  RaidFileDestroy(*a.swap);
  Release(a.swap);
  a.swap = nullptr;
}

void BigIntRelease(BigInt& a) {
  BigIntDropMemory(a);
  BigIntDropDisk(a);
  a.length = kReleasedLength;
}

void BigIntSwapOut(AllocationHeap* heap, BigInt& a) {
  if (a.length == 0) return;
  if (a.swap == nullptr) {
    auto* raid = static_cast<RaidFile*>(AllocBytes(heap, sizeof(RaidFile)));
    if (raid == nullptr) FatalAllocation();
    *raid = RaidFile{};
    RaidFileCreateFrom(heap, *raid, CurrentRun().swapDisks, a.words, a.length);
    a.swap = raid;
  }
  BigIntDropMemory(a);
}

void BigIntMakeResident(AllocationHeap* heap, BigInt& a) {
  if (a.length == 0 || a.words != nullptr) return;
  ZX_ASSERT(a.swap != nullptr && a.length != kReleasedLength);
  a.capacity = a.length + 2;
  a.words = AllocWordsOrDie(heap, a.capacity);
  RaidFileReadAll(*a.swap, a.words, a.length);
}

void BigIntShrink(BigInt& a) {
  if (a.words == nullptr || a.capacity == a.length || a.length == 0) return;
  HeapShrink(a.words, a.length * sizeof(uint32_t));
  a.capacity = a.length;
}

void BigIntSwap(BigInt& a, BigInt& b) { std::swap(a, b); }

}  // namespace zx
