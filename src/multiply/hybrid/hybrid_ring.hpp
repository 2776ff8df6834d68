// Arithmetic on elements of the ring Z/(2^(32n) + 1) as the hybrid transform stores them: n words
// (n even, so n/2 little-endian 64-bit limbs) followed by a 64-bit top limb at words n and n + 1.
// A reduced element has top 0, or top 1 with all other limbs zero for 2^(32n) itself. Every
// operation here takes and leaves reduced elements; carries beyond the ring are folded back with
// 2^(32n) ≡ −1, which nearly always touches one limb only.
#pragma once

#include <cstdint>

namespace zx {

// The top limb of an element of ringWords words.
uint64_t RingTop(const uint32_t* x, uint64_t ringWords);

// The limbs hold R; makes x the reduced form of R + carry·2^(32n), |carry| ≤ 3.
void RingNormalize(uint32_t* x, uint64_t ringWords, int64_t carry);

// Adds v·2^(64·limb) to the limbs; returns the carry (or borrow) out of the top limb.
bool RingAddAt(uint32_t* x, uint64_t ringWords, uint64_t limb, uint64_t v);
bool RingSubAt(uint32_t* x, uint64_t ringWords, uint64_t limb, uint64_t v);

// x = ±2^bit + x for 0 ≤ bit < 32n, reduced.
void RingAddSignedPow2(uint32_t* x, uint64_t ringWords, uint64_t bit, int sign);

void RingNegate(uint32_t* x, uint64_t ringWords);

// sum = x + y and diff = x − y in one pass. sum may be x and diff may be y.
void RingAddSub(const uint32_t* x, const uint32_t* y, uint32_t* sum, uint32_t* diff,
                uint64_t ringWords);

// out = ±x·2^bits for 0 ≤ bits < 32n: the limbs shifted out at the top re-enter at the bottom
// negated, all in one borrow chain. out must not overlap x.
void RingShiftInto(const uint32_t* x, uint32_t* out, uint64_t ringWords, uint64_t bits,
                   bool negate);
// out = out ± x·2^bits, the same shift accumulated into out.
void RingShiftAccumulate(const uint32_t* x, uint32_t* out, uint64_t ringWords, uint64_t bits,
                         int sign);

}  // namespace zx
