// Pieces shared by the Newton iterations: the constant one, 1 − t, halving, the nesting markers
// and the "Iterating: " line.
#pragma once

#include <cstdint>

#include "bignum/bigfloat.hpp"

namespace zx {

// Decimal digits held by one word: the progress lines count correct digits with it.
inline constexpr double kDigitsPerWordNewton = 9.632959861247397;
// Operands from this many words on are staged through the swap disks in the disk-swapping forms.
inline constexpr uint64_t kStagedMinWords = 1000;

// The precision schedule n → floor(n/2) + 1 → … → 2 → 1.
inline uint64_t NewtonHalf(uint64_t n) { return n == 2 ? 1 : n / 2 + 1; }

// out = 1 − t at precisionWords words (t's sign is flipped and restored around the sum).
void OneMinus(AllocationHeap* heap, BigFloat& t, BigFloat& out, uint64_t precisionWords);
// a = a / 2, exactly.
void Halve(AllocationHeap* heap, BigFloat& a);

// Nesting markers on the progress label; pushed only when progress is shown.
void PushMarker(bool progress, char marker);
void PopMarker(bool progress);
// "Iterating: " with the decimal digits that m correct words hold.
void PrintIterating(bool progress, uint64_t correctWords);

// Swaps a value out to the disks only in the staged forms.
template <bool kStaged>
inline void StageOut(AllocationHeap* heap, BigFloat& a) {
  if constexpr (kStaged) BigIntSwapOut(heap, a.magnitude);
}

}  // namespace zx
