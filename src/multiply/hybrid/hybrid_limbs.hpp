// 64-bit limb access to ring elements stored as 32-bit words, and the carry primitives the
// butterflies are built on. Every ring size is even, so an element's n words are n/2 limbs; the
// loads go through memcpy, which compiles to plain moves and keeps the word arrays alias-safe.
#pragma once

#include <cstdint>
#include <cstring>

#if defined(__x86_64__)
#include <x86intrin.h>
#endif

namespace zx {

inline uint64_t LoadLimb(const uint32_t* words, uint64_t limb) {
  uint64_t value;
  std::memcpy(&value, words + 2 * limb, sizeof value);
  return value;
}

inline void StoreLimb(uint32_t* words, uint64_t limb, uint64_t value) {
  std::memcpy(words + 2 * limb, &value, sizeof value);
}

// a + b + carry; carry becomes the carry out.
inline uint64_t AddWithCarry(uint64_t a, uint64_t b, unsigned char& carry) {
#if defined(__x86_64__)
  unsigned long long sum;
  carry = _addcarry_u64(carry, a, b, &sum);
  return sum;
#else
  const uint64_t partial = a + b;
  const uint64_t sum = partial + carry;
  carry = static_cast<unsigned char>((partial < a) | (sum < partial));
  return sum;
#endif
}

// a − b − borrow; borrow becomes the borrow out.
inline uint64_t SubWithBorrow(uint64_t a, uint64_t b, unsigned char& borrow) {
#if defined(__x86_64__)
  unsigned long long difference;
  borrow = _subborrow_u64(borrow, a, b, &difference);
  return difference;
#else
  const uint64_t partial = a - b;
  const uint64_t difference = partial - borrow;
  borrow = static_cast<unsigned char>((a < b) | (partial < borrow));
  return difference;
#endif
}

}  // namespace zx
