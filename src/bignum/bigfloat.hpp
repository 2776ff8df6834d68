// BigFloat, the signed number of every computation: ±magnitude·2^(32·exponent), the exponent
// counting whole words. Zero is sign 1, exponent 0, a zero magnitude; a value is zero exactly when
// its magnitude's length is 0 (a product by zero and the double -0.0 leave other fields on
// purpose). Precision p is counted in words; results keep p + 3 guard words and are truncated,
// never rounded.
#pragma once

#include <cstdint>

#include "bignum/bigint.hpp"

namespace zx {

struct BigFloat {
  uint32_t sign = 1;     // 1 = positive or zero, 0 = negative
  int64_t exponent = 0;  // position of the lowest word
  BigInt magnitude;
};

// Where a computation keeps its large numbers between steps: in memory, or written out to the
// swap disks, to be read back by the next operation that needs them. Every routine with a
// disk-swapping form is one template over this.
enum class Storage { kMemory, kSwap };

// Writes a value out to the swap disks in the disk-swapping forms; nothing in memory.
template <Storage kStorage>
void StageOut(AllocationHeap* heap, BigFloat& a) {
  if constexpr (kStorage == Storage::kSwap) BigIntSwapOut(heap, a.magnitude);
}

// A precision that truncates nothing.
inline constexpr uint64_t kFullPrecision = (uint64_t{1} << 62) - 1;

inline bool BigFloatIsZero(const BigFloat& a) { return a.magnitude.length == 0; }
// The word index just above the most significant word.
inline int64_t BigFloatTop(const BigFloat& a) {
  return a.exponent + static_cast<int64_t>(a.magnitude.length);
}
// Negation flips the sign of non-zero values only.
inline void BigFloatNegate(BigFloat& a) {
  if (!BigFloatIsZero(a)) a.sign ^= 1;
}

void BigFloatSetZero(BigFloat& out);
void BigFloatSetWord(AllocationHeap* heap, BigFloat& out, uint32_t w);
void BigFloatSetU64(AllocationHeap* heap, BigFloat& out, uint64_t v);
void BigFloatCopy(AllocationHeap* heap, BigFloat& source, BigFloat& out);
void BigFloatRelease(BigFloat& a);
void BigFloatSwap(BigFloat& a, BigFloat& b);

void BigFloatFromDouble(AllocationHeap* heap, BigFloat& out, double x);
// The leading words as a double; the caller scales by 2^(32·wordExponent).
double BigFloatToDouble(AllocationHeap* heap, BigFloat& a, int64_t* wordExponent);
// Moves zero low words into the exponent.
void BigFloatNormalize(AllocationHeap* heap, BigFloat& a);

// a = a·w from the top keepWords words of a: the words below them are dropped into the exponent
// first. w = 1 changes nothing, the low words included.
void BigFloatMulWordKeep(AllocationHeap* heap, BigFloat& a, uint32_t w, uint64_t keepWords);

// 1, 0 or −1 as |a| is greater than, equal to or less than |b|.
int BigFloatCompareMagnitude(AllocationHeap* heap, BigFloat& a, BigFloat& b);
// a = a·2^bits (bits may be negative); the magnitude is shifted whichever way loses no bit.
void BigFloatShiftBits(AllocationHeap* heap, BigFloat& a, int64_t bits);
// out = a + b: the top position kept, at most p + 3 words below it, plus a possible carry word.
void BigFloatAdd(AllocationHeap* heap, BigFloat& a, BigFloat& b, BigFloat& out, uint64_t precisionWords);
// a = a − b at precision p.
void BigFloatSubtract(AllocationHeap* heap, BigFloat& a, BigFloat& b, uint64_t precisionWords);
// For non-negative a and b: out = a + b, and the highest word position at which a and b differ
// within the kept range (the lowest kept position when they agree throughout).
int64_t BigFloatAddMeasure(AllocationHeap* heap, BigFloat& a, BigFloat& b, BigFloat& out,
                           uint64_t precisionWords);

}  // namespace zx
