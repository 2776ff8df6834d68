// Carry and borrow chains over runs of 64-bit limbs, the inner loops of every butterfly. With
// AVX2 four limbs are added at once and the carries between them are resolved from two bit masks
// (generate: the lane overflowed; propagate: the lane is all ones) by one small integer addition,
// which runs about twice as fast as a chain of add-with-carry instructions; with AVX-512 eight
// limbs, their masks straight from the comparisons.
#pragma once

#include <cstdint>

namespace zx {

// out = a + b + carry over `limbs` limbs; returns the carry out. out may be a or b.
unsigned ChainAdd(const uint32_t* a, const uint32_t* b, uint32_t* out, uint64_t limbs,
                  unsigned carry);
// out = a − b − borrow; returns the borrow out. out may be a or b.
unsigned ChainSub(const uint32_t* a, const uint32_t* b, uint32_t* out, uint64_t limbs,
                  unsigned borrow);
// sum = a + b and diff = a − b in one pass; carry and borrow in and out. sum may be a, diff b.
void ChainAddSub(const uint32_t* a, const uint32_t* b, uint32_t* sum, uint32_t* diff,
                 uint64_t limbs, unsigned& carry, unsigned& borrow);

}  // namespace zx
