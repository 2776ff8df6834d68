// Shifts and scalar products of BigInt. Operations that may grow a value by one word build into a
// new buffer unless the carry word already fits, so callers never see a reallocation they did not
// ask for except through the record.
#include <cstring>

#include "bignum/bigint.hpp"
#include "shell/fatal.hpp"

namespace zx {
namespace {

// Replaces a's storage by a new buffer (releasing the old one together with any disk copy).
void AdoptBuffer(BigInt& a, uint32_t* words, uint64_t length, uint64_t capacity) {
  BigIntDropMemory(a);
  BigIntDropDisk(a);
  a.words = words;
  a.length = length;
  a.capacity = capacity;
}

void TrimTopWord(BigInt& a) {
  if (a.length != 0 && a.words[a.length - 1] == 0) --a.length;
  if (a.length == 0) {
    BigIntRelease(a);
    BigIntSetZero(a);
  }
}

}  // namespace

uint32_t MulWordKernel(uint32_t* out, const uint32_t* in, uint64_t count, uint32_t w) {
  uint64_t acc = 0;
  for (uint64_t i = 0; i < count; ++i) {
    acc = static_cast<uint64_t>(w) * in[i] + (acc >> 32);
    out[i] = static_cast<uint32_t>(acc);
  }
  return static_cast<uint32_t>(acc >> 32);
}

void BigIntShiftRightWords(AllocationHeap* heap, BigInt& a, uint64_t count) {
  if (count == 0 || a.length == 0) return;
  if (count >= a.length) {
    BigIntRelease(a);
    BigIntSetZero(a);
    return;
  }
  BigIntMakeResident(heap, a);
  const uint64_t length = a.length - count;
  uint32_t* words = AllocWordsOrDie(heap, length + 2);
  std::memcpy(words, a.words + count, length * sizeof(uint32_t));
  AdoptBuffer(a, words, length, length + 2);
}

void BigIntShiftLeftWords(AllocationHeap* heap, BigInt& a, uint64_t count) {
  if (count == 0 || a.length == 0) return;
  BigIntMakeResident(heap, a);
  const uint64_t length = a.length + count;
  uint32_t* words = AllocWordsOrDie(heap, length + 2);
  std::memset(words, 0, count * sizeof(uint32_t));
  std::memcpy(words + count, a.words, a.length * sizeof(uint32_t));
  AdoptBuffer(a, words, length, length + 2);
}

void BigIntShiftRightBits(AllocationHeap* heap, BigInt& a, uint32_t bits) {
  if (bits == 0 || a.length == 0) return;
  BigIntMakeResident(heap, a);
  BigIntDropDisk(a);
  uint32_t* w = a.words;
  const uint64_t last = a.length - 1;
  for (uint64_t i = 0; i < last; ++i) w[i] = (w[i] >> bits) | (w[i + 1] << (32 - bits));
  w[last] >>= bits;
  TrimTopWord(a);
}

void BigIntShiftLeftBits(AllocationHeap* heap, BigInt& a, uint32_t bits) {
  if (bits == 0 || a.length == 0) return;
  BigIntMakeResident(heap, a);
  const uint64_t length = a.length;
  const uint32_t* in = a.words;
  const uint32_t carry = in[length - 1] >> (32 - bits);
  if (length >= a.capacity) {
    uint32_t* words = AllocWordsOrDie(heap, length + 3);
    words[0] = in[0] << bits;
    for (uint64_t i = 1; i < length; ++i) words[i] = (in[i] << bits) | (in[i - 1] >> (32 - bits));
    words[length] = carry;
    AdoptBuffer(a, words, length + (carry != 0 ? 1 : 0), length + 3);
    return;
  }
  BigIntDropDisk(a);
  uint32_t* w = a.words;
  for (uint64_t i = length - 1; i > 0; --i) w[i] = (w[i] << bits) | (w[i - 1] >> (32 - bits));
  w[0] <<= bits;
  if (carry != 0) w[a.length++] = carry;
}

void BigIntMulWordDrop(AllocationHeap* heap, BigInt& a, uint32_t w, uint64_t dropCount) {
  // A factor of 1 leaves even the words below dropCount in place: callers rely on it.
  if (w == 1 || a.length == 0) return;
  if (w == 0) {
    BigIntRelease(a);
    BigIntSetZero(a);
    return;
  }
  BigIntMakeResident(heap, a);
  if (dropCount >= a.length) {
    BigIntRelease(a);
    BigIntSetZero(a);
    return;
  }
  const uint64_t length = a.length - dropCount;
  if (length >= a.capacity || dropCount != 0) {
    uint32_t* words = AllocWordsOrDie(heap, length + 3);
    const uint32_t carry = MulWordKernel(words, a.words + dropCount, length, w);
    words[length] = carry;
    AdoptBuffer(a, words, length + (carry != 0 ? 1 : 0), length + 3);
    return;
  }
  BigIntDropDisk(a);
  const uint32_t carry = MulWordKernel(a.words, a.words, length, w);
  if (carry != 0) a.words[a.length++] = carry;
}

void BigIntMulWordInto(AllocationHeap* heap, BigInt& a, uint32_t w, BigInt& out, uint64_t startWord) {
  if (a.length == 0 || w == 0) {
    BigIntSetZero(out);
    return;
  }
  BigIntMakeResident(heap, a);
  const uint64_t length = a.length;
  uint32_t* words = AllocWordsOrDie(heap, length + 3);
  const uint32_t carry = MulWordKernel(words, a.words + startWord, length, w);
  words[length] = carry;
  out.words = words;
  out.length = length + (carry != 0 ? 1 : 0);
  out.capacity = length + 3;
  out.swap = nullptr;
  // Words read from startWord on may end in zeros; keep the top word non-zero.
  while (out.length != 0 && out.words[out.length - 1] == 0) --out.length;
  if (out.length == 0) {
    Release(words);
    BigIntSetZero(out);
  }
}

}  // namespace zx
