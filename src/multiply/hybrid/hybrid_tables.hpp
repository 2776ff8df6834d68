// Parameter rows of the hybrid transform and the shape derived from one. A row (k, c) cuts a
// product of up to K·s words into K = 2^k pieces of s = c·K/256 − 1 words and computes in the ring
// of n = c·K/128 = 2(s + 1) words modulo 2^(32n) + 1, so a sum of K products of two pieces never
// reaches the ring's top word, which is what the product check rests on.
#pragma once

#include <cstdint>
#include <span>

namespace zx {

struct HybridRow {
  uint64_t capacityWords;
  uint32_t k;
  uint32_t c;
};

// Generated rows, sorted by capacity (hybrid_table_rows.cpp).
extern const HybridRow kHybridMultiplyRows[];
extern const uint32_t kHybridMultiplyRowsCount;
extern const HybridRow kHybridSquareRows[];
extern const uint32_t kHybridSquareRowsCount;

std::span<const HybridRow> HybridMultiplyTable();
std::span<const HybridRow> HybridSquareTable();

// Ring elements below this size are multiplied by the basecase instead of the negacyclic FFT.
inline constexpr uint64_t kHybridDirectBelowWords = 28;

struct HybridParams {
  uint32_t k = 0;             // log2 of the transform length
  uint32_t c = 0;             // K-th root of unity is √2^c
  uint64_t points = 0;        // K
  uint64_t ringWords = 0;     // n
  uint64_t pieceWords = 0;    // s
  uint64_t capacityWords = 0; // K·s
};

HybridParams HybridParamsFromRow(uint32_t k, uint32_t c);

// The first row whose capacity is at least productWords: squares search the second table only,
// products the first and then the second. Beyond both the program stops with
// "Maximum supported multiplication size has been exceeded.".
HybridParams HybridChooseParams(uint64_t productWords, bool square);

// Words one element occupies in the transform buffer: n words, a 64-bit top limb, and padding
// that keeps every element 32-byte aligned and breaks power-of-two strides.
uint64_t HybridElementWords(uint64_t ringWords);

// Stops with the architectural limit report when K elements of n + 1 words overflow a 64-bit
// word count.
void HybridCheckAddressSpace(uint32_t k, uint64_t ringWords);

}  // namespace zx
