// Carry-propagating loops over little-endian arrays of 32-bit words, shared by the basecase
// methods and the FFT's recombination. Each returns the word that leaves the top (carry, borrow
// or high word of a product); none allocates. The long loops take two words at a time as one
// 64-bit limb (the machine is little-endian) with a 128-bit accumulator, then the odd word.
#pragma once

#include <cstdint>
#include <cstring>

namespace zx {

__extension__ typedef unsigned __int128 WordPair2;
__extension__ typedef __int128 SignedWordPair2;

inline uint64_t LoadPair(const uint32_t* p) {
  uint64_t value;
  std::memcpy(&value, p, sizeof value);
  return value;
}

inline void StorePair(uint32_t* p, uint64_t value) {
  std::memcpy(p, &value, sizeof value);
}

// r = a + b over n words; r may alias a or b.
inline uint32_t AddWords(uint32_t* r, const uint32_t* a, const uint32_t* b, uint64_t n) {
  uint64_t carry = 0;
  uint64_t i = 0;
  for (; i + 2 <= n; i += 2) {
    const WordPair2 sum = static_cast<WordPair2>(LoadPair(a + i)) + LoadPair(b + i) + carry;
    StorePair(r + i, static_cast<uint64_t>(sum));
    carry = static_cast<uint64_t>(sum >> 64);
  }
  if (i < n) {
    carry += static_cast<uint64_t>(a[i]) + b[i];
    r[i] = static_cast<uint32_t>(carry);
    carry >>= 32;
  }
  return static_cast<uint32_t>(carry);
}

// r = a − b over n words; returns the borrow (0 or 1).
inline uint32_t SubWords(uint32_t* r, const uint32_t* a, const uint32_t* b, uint64_t n) {
  uint64_t borrow = 0;
  uint64_t i = 0;
  for (; i + 2 <= n; i += 2) {
    const WordPair2 difference = static_cast<WordPair2>(LoadPair(a + i)) - LoadPair(b + i) - borrow;
    StorePair(r + i, static_cast<uint64_t>(difference));
    borrow = static_cast<uint64_t>(difference >> 64) & 1;
  }
  if (i < n) {
    const uint64_t d = static_cast<uint64_t>(a[i]) - b[i] - borrow;
    r[i] = static_cast<uint32_t>(d);
    borrow = d >> 63;
  }
  return static_cast<uint32_t>(borrow);
}

// r[0..n) += x, carry propagated; returns the carry out of word n − 1.
inline uint32_t AddWordCarry(uint32_t* r, uint64_t n, uint32_t x) {
  for (uint64_t i = 0; i < n && x != 0; i++) {
    const uint32_t s = r[i] + x;
    x = s < x ? 1 : 0;
    r[i] = s;
  }
  return x;
}

// r[0..n) −= x, borrow propagated; returns the borrow out of word n − 1.
inline uint32_t SubWordBorrow(uint32_t* r, uint64_t n, uint32_t x) {
  for (uint64_t i = 0; i < n && x != 0; i++) {
    const uint32_t before = r[i];
    r[i] = before - x;
    x = before < x ? 1 : 0;
  }
  return x;
}

// r[0..n) += a[0..la) with la ≤ n; returns the carry out of word n − 1.
inline uint32_t AddWordsInto(uint32_t* r, uint64_t n, const uint32_t* a, uint64_t la) {
  const uint32_t carry = AddWords(r, r, a, la);
  return AddWordCarry(r + la, n - la, carry);
}

// r[0..n) −= a[0..la) with la ≤ n; returns the borrow out of word n − 1.
inline uint32_t SubWordsFrom(uint32_t* r, uint64_t n, const uint32_t* a, uint64_t la) {
  const uint32_t borrow = SubWords(r, r, a, la);
  return SubWordBorrow(r + la, n - la, borrow);
}

// r[0..n) += a[0..n)·m; returns the high word.
inline uint32_t AddMulWord(uint32_t* r, const uint32_t* a, uint64_t n, uint32_t m) {
  uint64_t carry = 0;
  uint64_t i = 0;
  for (; i + 2 <= n; i += 2) {
    const WordPair2 t = static_cast<WordPair2>(LoadPair(a + i)) * m + LoadPair(r + i) + carry;
    StorePair(r + i, static_cast<uint64_t>(t));
    carry = static_cast<uint64_t>(t >> 64);
  }
  if (i < n) {
    carry += static_cast<uint64_t>(a[i]) * m + r[i];
    r[i] = static_cast<uint32_t>(carry);
    carry >>= 32;
  }
  return static_cast<uint32_t>(carry);
}

// r[0..n) −= a[0..n)·m; returns the word borrowed from above.
inline uint32_t SubMulWord(uint32_t* r, const uint32_t* a, uint64_t n, uint32_t m) {
  uint64_t borrow = 0;
  uint64_t i = 0;
  for (; i + 2 <= n; i += 2) {
    const WordPair2 p = static_cast<WordPair2>(LoadPair(a + i)) * m + borrow;
    const uint64_t low = static_cast<uint64_t>(p);
    const uint64_t x = LoadPair(r + i);
    borrow = static_cast<uint64_t>(p >> 64) + (x < low ? 1 : 0);
    StorePair(r + i, x - low);
  }
  if (i < n) {
    const uint64_t p = static_cast<uint64_t>(a[i]) * m + borrow;
    const uint32_t low = static_cast<uint32_t>(p);
    borrow = (p >> 32) + (r[i] < low ? 1 : 0);
    r[i] -= low;
  }
  return static_cast<uint32_t>(borrow);
}

// Sign of a − b over n words (−1, 0, 1), scanning from the top.
inline int CompareWords(const uint32_t* a, const uint32_t* b, uint64_t n) {
  for (uint64_t i = n; i-- > 0;) {
    if (a[i] != b[i]) return a[i] > b[i] ? 1 : -1;
  }
  return 0;
}

inline void ClearWords(uint32_t* r, uint64_t n) {
  if (n != 0) std::memset(r, 0, n * sizeof(uint32_t));
}

inline void CopyWords(uint32_t* r, const uint32_t* a, uint64_t n) {
  if (n != 0) std::memmove(r, a, n * sizeof(uint32_t));
}

}  // namespace zx
