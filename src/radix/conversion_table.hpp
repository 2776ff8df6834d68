// The conversion table: the powers P[i] = (10^9)^(b·2^i) and their reciprocals R[i], built once
// per run for the largest number to convert. Each power is the square of the one below, so a
// number below P[i+1] splits at P[i] into two halves of b·2^i base-10^9 words each, and every
// division is a product by R[i] followed by at most a few corrections.
#pragma once

#include <cstdint>

#include "bignum/bigfloat.hpp"
#include "radix/radix_constants.hpp"

namespace zx {

struct ConversionTable {
  uint64_t baseExponent = 0;  // b: the smallest divisor is (10^9)^b; 8..15, or 0 with no levels
  uint32_t levelCount = 0;    // L; 0 means no table (the basecase converts everything)
  BigFloat powers[kMaxTableLevels];       // exact, zero low words moved into the exponent
  BigFloat reciprocals[kMaxTableLevels];  // 1/P[i] to (top position of P[i]) + 4 words
};

struct TableShape {
  uint64_t baseExponent = 0;
  uint32_t levelCount = 0;
};

// The table for a number of billionWords base-10^9 words: b·2^L >= billionWords with b in 8..15,
// or no table below 16 words.
inline TableShape ConversionTableShape(uint64_t billionWords) {
  TableShape shape;
  if (billionWords < kTableMinBillionWords) return shape;
  uint64_t b = billionWords;
  while (b >= kTableMinBillionWords) {
    ++shape.levelCount;
    b = (b + 1) / 2;
  }
  shape.baseExponent = b;
  return shape;
}
// Base-10^9 words a number of lengthWords 32-bit words may need.
inline uint64_t BillionWordsFor(uint64_t lengthWords) {
  return 2 + FloorTimes(lengthWords, kBillionWordsPerWord);
}

// Sizes and fills the table for converting x (any value of x's length), printing its progress.
// Cost: L − 1 exact squarings and L reciprocals, about three products of the largest size.
// The pieces end up side by side at the lowest addresses the heap has free.
void BuildConversionTable(AllocationHeap* heap, BigFloat& x, ConversionTable& table,
                          uint32_t threadExponent);
// The same table with every level on the swap disks once built (DivModSwap and SplitSwap read
// them in for each use); only their small swap records stay in memory, outside the heap.
void BuildConversionTableSwap(AllocationHeap* heap, BigFloat& x, ConversionTable& table,
                              uint32_t threadExponent);
void ReleaseConversionTable(ConversionTable& table);

// out = (10^9)^k for k >= 0 by left-to-right binary powering, each square kept to p + 3 words
// (kFullPrecision: exact). Zero low words are moved into the exponent.
void PowerOfBillion(AllocationHeap* heap, uint64_t k, BigFloat& out, uint64_t precisionWords,
                    uint32_t threadExponent);
// The same for any k: negative powers are the reciprocal of (10^9)^(−k) to p words.
void PowerOfBillionSigned(AllocationHeap* heap, int64_t k, BigFloat& out, uint64_t precisionWords,
                          uint32_t threadExponent);

}  // namespace zx
