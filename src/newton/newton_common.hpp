// Pieces shared by the Newton iterations: the constant one, 1 − t, halving, the nesting markers
// and the "Iterating: " line.
#pragma once

#include <cstdint>

#include "bignum/bigfloat.hpp"

namespace zx {

// Operands from this many words on are staged through the swap disks in the disk-swapping forms.
inline constexpr uint64_t kStagedMinWords = 1000;

// The precision schedule n → floor(n/2) + 1 → … → 2 → 1.
inline uint64_t NewtonHalf(uint64_t n) { return n == 2 ? 1 : n / 2 + 1; }

// out = 1 − t at precisionWords words (t's sign is flipped and restored around the sum).
void OneMinus(AllocationHeap* heap, BigFloat& t, BigFloat& out, uint64_t precisionWords);
// out = a's leading words + 3 words (the words below them dropped), a copy.
void LeadingWords(AllocationHeap* heap, BigFloat& a, BigFloat& out, uint64_t words);
// a = a / 2, exactly.
void Halve(AllocationHeap* heap, BigFloat& a);

// Nesting markers on the progress label; pushed only when progress is shown.
void PushMarker(bool progress, char marker);
void PopMarker(bool progress);
// "Iterating: " with the decimal digits that m correct words hold.
void PrintIterating(bool progress, uint64_t correctWords);

// The doubling schedule every Newton iteration shares: levels n → NewtonHalf(n) → … → 1, each
// refining the previous level's m correct words to n. seed() makes the one-word start and
// refine(n, m, staged) does one level. A staged schedule (stage ≥ 1) keeps its levels of 1000
// words and more at stages 1 and 2 on the disks and hands the rest to the memory schedule behind a
// ":" marker, so at most the two largest levels wait on disk.
template <class Seed, class Refine>
void NewtonSchedule(uint64_t n, uint32_t stage, bool progress, const Seed& seed,
                    const Refine& refine) {
  if (stage != 0 && (n < kStagedMinWords || stage >= 2)) {
    PushMarker(progress, ':');
    NewtonSchedule(n, 0, progress, seed, refine);
    PopMarker(progress);
    return;
  }
  if (n <= 1) {
    seed();
    return;
  }
  const uint64_t m = NewtonHalf(n);
  PushMarker(progress, '0');
  NewtonSchedule(m, stage == 0 ? 0 : stage + 1, progress, seed, refine);
  PopMarker(progress);
  PrintIterating(progress, m);
  refine(n, m, stage != 0);
}

}  // namespace zx
