// The outer transform of the hybrid product: a length-K cyclic transform over Z/(2^(32n) + 1)
// whose K-th root of unity is ω = √2^c, so every twiddle is a shift. The forward direction is
// decimation in frequency (natural order in, bit-reversed order out) and the inverse undoes it
// step by step, so no reordering pass is ever needed; the inverse leaves K times the input.
#pragma once

#include <cstdint>

namespace zx {

// The K elements of one transform, each found through its slot: a butterfly writes its shifted
// output into a spare element and trades places with it instead of copying it back.
struct HybridBuffer {
  uint32_t** slots = nullptr;  // K element addresses
  uint64_t strideWords = 0;    // words an element occupies
  uint64_t ringWords = 0;      // n
  uint32_t k = 0;              // K = 2^k
  uint32_t c = 0;              // ω = √2^c
};

inline uint32_t* HybridElement(const HybridBuffer& buffer, uint64_t index) {
  return buffer.slots[index];
}

// A sub-transform: the 2^levels elements first + step·p, taken through the global butterfly
// levels [firstLevel, firstLevel + levels), level 0 being the one of span K/2. It is closed under
// those levels when step = K / 2^(firstLevel + levels); first mod step is then its column offset,
// which twists its roots.
struct HybridSpan {
  uint64_t first = 0;
  uint64_t step = 1;
  uint32_t firstLevel = 0;
  uint32_t levels = 0;
};

// Serial transforms of one span; spare is one element of scratch. Spans larger than the cache
// block are done as columns and rows of their own, so every level runs on cached data. On return
// spare is free again and every element of the span is at an address its slots held before or at
// the spare's.
void HybridForward(const HybridBuffer& buffer, const HybridSpan& span, uint32_t* spare);
void HybridInverse(const HybridBuffer& buffer, const HybridSpan& span, uint32_t* spare);

}  // namespace zx
