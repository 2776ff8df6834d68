// Butterflies with limb-aligned roots. With q whole limbs of shift, M limbs per element and
// 2^(64M) ≡ −1, a value z splits into its low M − q limbs and its high q limbs, and
// z·2^(64q) ≡ z_low·2^(64q) − z_high: the high limbs come back at the bottom with the opposite
// sign. Every combination below is therefore two runs of one carry chain, the first over the
// q wrapped limbs and the second over the rest.
#include "multiply/hybrid/hybrid_butterfly.hpp"

#include "multiply/hybrid/hybrid_chains.hpp"
#include "multiply/hybrid/hybrid_ring.hpp"
#include "multiply/hybrid/hybrid_roots.hpp"

namespace zx {
namespace {

// Shift by `bits` (< 2N) as whole limbs q and a sign: 2^bits = sign·2^(64q).
struct LimbShift {
  bool aligned;
  uint64_t q;
  bool negative;
};

LimbShift LimbShiftOf(uint64_t ringWords, uint64_t exponent) {
  if (exponent % 2 != 0 || (exponent / 2) % 64 != 0) return {false, 0, false};
  const uint64_t bits = exponent / 2;
  const uint64_t ringBits = 32 * ringWords;
  if (bits < ringBits) return {true, bits / 64, false};
  return {true, (bits - ringBits) / 64, true};
}

bool TopsClear(const uint32_t* x, const uint32_t* y, uint64_t ringWords) {
  return RingTop(x, ringWords) == 0 && RingTop(y, ringWords) == 0;
}

uint32_t* Limbs(uint32_t* x, uint64_t limb) { return x + 2 * limb; }
const uint32_t* Limbs(const uint32_t* x, uint64_t limb) { return x + 2 * limb; }

// out = (p − r)·2^(64q): the wrapped run is r_high − p_high, the rest p_low − r_low.
void ShiftedDifference(const uint32_t* p, const uint32_t* r, uint32_t* out, uint64_t ringWords,
                       uint64_t q) {
  const uint64_t limbs = ringWords / 2;
  unsigned borrow = ChainSub(Limbs(r, limbs - q), Limbs(p, limbs - q), out, q, 0);
  borrow = ChainSub(p, r, Limbs(out, q), limbs - q, borrow);
  RingNormalize(out, ringWords, -static_cast<int64_t>(borrow));
}

// out = a + sign·b·2^(64q) = a ± b_low·2^(64q) ∓ b_high. out may be a.
void ShiftedCombination(const uint32_t* a, const uint32_t* b, uint32_t* out, uint64_t ringWords,
                        uint64_t q, bool subtract) {
  const uint64_t limbs = ringWords / 2;
  int64_t carry = 0;
  if (!subtract) {
    const unsigned wrapped = ChainSub(a, Limbs(b, limbs - q), out, q, 0);
    carry = ChainAdd(Limbs(a, q), b, Limbs(out, q), limbs - q, 0);
    if (wrapped != 0 && RingSubAt(out, ringWords, q, 1)) --carry;
  } else {
    const unsigned wrapped = ChainAdd(a, Limbs(b, limbs - q), out, q, 0);
    carry = -static_cast<int64_t>(ChainSub(Limbs(a, q), b, Limbs(out, q), limbs - q, 0));
    if (wrapped != 0 && RingAddAt(out, ringWords, q, 1)) ++carry;
  }
  RingNormalize(out, ringWords, carry);
}

}  // namespace

bool HybridForwardButterfly(uint32_t* x, uint32_t* y, uint32_t* spare, uint64_t ringWords,
                            uint64_t exponent) {
  if (exponent == 0) {
    RingAddSub(x, y, x, y, ringWords);
    return false;
  }
  const LimbShift shift = LimbShiftOf(ringWords, exponent);
  if (!shift.aligned || !TopsClear(x, y, ringWords)) {
    RingAddSub(x, y, x, spare, ringWords);
    RingMulRoot(spare, y, ringWords, exponent);
    return false;
  }
  // −(x − y)·2^(64q) = (y − x)·2^(64q).
  if (shift.negative) {
    ShiftedDifference(y, x, spare, ringWords, shift.q);
  } else {
    ShiftedDifference(x, y, spare, ringWords, shift.q);
  }
  RingNormalize(x, ringWords, ChainAdd(x, y, x, ringWords / 2, 0));
  return true;
}

bool HybridInverseButterfly(uint32_t* x, uint32_t* y, uint32_t* spare, uint64_t ringWords,
                            uint64_t exponent) {
  if (exponent == 0) {
    RingAddSub(x, y, x, y, ringWords);
    return false;
  }
  const uint64_t inverse = RingRootOrder(ringWords) - exponent;
  const LimbShift shift = LimbShiftOf(ringWords, inverse);
  if (!shift.aligned || !TopsClear(x, y, ringWords)) {
    RingMulRoot(y, spare, ringWords, inverse);
    RingAddSub(x, spare, x, y, ringWords);
    return false;
  }
  // u = ±y·2^(64q); y ← x − u must read x before x ← x + u overwrites it.
  ShiftedCombination(x, y, spare, ringWords, shift.q, !shift.negative);
  ShiftedCombination(x, y, x, ringWords, shift.q, shift.negative);
  return true;
}

}  // namespace zx
