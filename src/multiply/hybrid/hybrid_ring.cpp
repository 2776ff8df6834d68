// Ring element arithmetic modulo 2^(32n) + 1 on 64-bit limbs. A shift by b = 64q + r bits splits
// x·2^b into the limbs that stay below 2^(32n) (Lo) and those that wrap (Hi); since
// 2^(32n) ≡ −1 the result is Lo − Hi, formed limb by limb in a single borrow chain.
#include "multiply/hybrid/hybrid_ring.hpp"

#include "multiply/hybrid/hybrid_chains.hpp"
#include "multiply/hybrid/hybrid_limbs.hpp"

namespace zx {
namespace {

__extension__ typedef __int128 Int128;

// Limb idx of x·2^(64q + r), x taken without its top limb (M limbs).
uint64_t ShiftedLimb(const uint32_t* x, uint64_t limbs, uint64_t q, uint32_t r, uint64_t idx) {
  if (idx < q || idx - q > limbs) return 0;
  const uint64_t i = idx - q;
  const uint64_t low = i < limbs ? LoadLimb(x, i) : 0;
  if (r == 0) return low;
  const uint64_t previous = i >= 1 ? LoadLimb(x, i - 1) : 0;
  return (low << r) | (previous >> (64 - r));
}

// Limbs [from, to) of out become 0 − limb − borrow, one borrow chain: while no borrow has started
// zero limbs stay zero, the first nonzero one is negated, and every later one complemented (so the
// long part is a plain vector loop). Returns the borrow out.
unsigned char NegateLimbs(uint32_t* out, uint64_t from, uint64_t to, unsigned char borrow) {
  uint64_t j = from;
  if (borrow == 0) {
    while (j < to && LoadLimb(out, j) == 0) ++j;
    if (j == to) return 0;
    StoreLimb(out, j, 0 - LoadLimb(out, j));
    ++j;
  }
  for (; j < to; ++j) StoreLimb(out, j, ~LoadLimb(out, j));
  return 1;
}

// Limbs [from, to) of out become limb − borrow: a borrow runs only through zero limbs.
unsigned char DecrementLimbs(uint32_t* out, uint64_t from, uint64_t to, unsigned char borrow) {
  for (uint64_t j = from; j < to && borrow != 0; ++j) {
    const uint64_t limb = LoadLimb(out, j);
    StoreLimb(out, j, limb - 1);
    borrow = limb == 0 ? 1 : 0;
  }
  return borrow;
}

// The limbs of x·2^(64q + r) in place: limb j of the part shifted out at the top (Hi) for j below
// q, limb j of the part that stays (Lo) above q. Limb q, where both meet when r > 0, is left to
// the caller.
void ShiftLimbs(const uint32_t* x, uint32_t* out, uint64_t limbs, uint64_t q, uint32_t r) {
  if (r == 0) {
    for (uint64_t j = 0; j < q; ++j) StoreLimb(out, j, LoadLimb(x, j + limbs - q));
    for (uint64_t j = q; j < limbs; ++j) StoreLimb(out, j, LoadLimb(x, j - q));
    return;
  }
  const uint32_t back = 64 - r;
  for (uint64_t j = 0; j < q; ++j) {
    StoreLimb(out, j, (LoadLimb(x, j + limbs - q) << r) | (LoadLimb(x, j + limbs - q - 1) >> back));
  }
  for (uint64_t j = q + 1; j < limbs; ++j) {
    StoreLimb(out, j, (LoadLimb(x, j - q) << r) | (LoadLimb(x, j - q - 1) >> back));
  }
}

void SetTop(uint32_t* x, uint64_t ringWords, uint64_t top) {
  StoreLimb(x, ringWords / 2, top);
}

}  // namespace

uint64_t RingTop(const uint32_t* x, uint64_t ringWords) {
  return LoadLimb(x, ringWords / 2);
}

bool RingAddAt(uint32_t* x, uint64_t ringWords, uint64_t limb, uint64_t v) {
  const uint64_t limbs = ringWords / 2;
  for (uint64_t i = limb; i < limbs && v != 0; ++i) {
    const uint64_t sum = LoadLimb(x, i) + v;
    v = sum < v ? 1 : 0;
    StoreLimb(x, i, sum);
  }
  return v != 0;
}

bool RingSubAt(uint32_t* x, uint64_t ringWords, uint64_t limb, uint64_t v) {
  const uint64_t limbs = ringWords / 2;
  for (uint64_t i = limb; i < limbs && v != 0; ++i) {
    const uint64_t old = LoadLimb(x, i);
    StoreLimb(x, i, old - v);
    v = old < v ? 1 : 0;
  }
  return v != 0;
}

void RingNormalize(uint32_t* x, uint64_t ringWords, int64_t carry) {
  // R + carry·2^N ≡ R − carry, and R − carry stays within (−4, 2^N + 3).
  uint64_t top = 0;
  if (carry > 0) {
    if (RingSubAt(x, ringWords, 0, static_cast<uint64_t>(carry))) {
      // The limbs hold R − carry + 2^N; one more gives R − carry + 2^N + 1, at most 2^N.
      top = RingAddAt(x, ringWords, 0, 1) ? 1 : 0;
    }
  } else if (carry < 0) {
    if (RingAddAt(x, ringWords, 0, static_cast<uint64_t>(-carry))) {
      // The limbs hold L = R − carry − 2^N, and L − 1 is the residue; L = 0 gives −1 = 2^N.
      if (RingSubAt(x, ringWords, 0, 1)) {
        RingAddAt(x, ringWords, 0, 1);
        top = 1;
      }
    }
  }
  SetTop(x, ringWords, top);
}

void RingAddSignedPow2(uint32_t* x, uint64_t ringWords, uint64_t bit, int sign) {
  const uint64_t top = RingTop(x, ringWords);
  const uint64_t v = uint64_t{1} << (bit % 64);
  int64_t carry = static_cast<int64_t>(top);
  if (sign > 0) {
    carry += RingAddAt(x, ringWords, bit / 64, v) ? 1 : 0;
  } else {
    carry -= RingSubAt(x, ringWords, bit / 64, v) ? 1 : 0;
  }
  RingNormalize(x, ringWords, carry);
}

void RingNegate(uint32_t* x, uint64_t ringWords) {
  const uint64_t limbs = ringWords / 2;
  if (RingTop(x, ringWords) != 0) {
    // −2^N ≡ 1.
    StoreLimb(x, 0, 1);
    SetTop(x, ringWords, 0);
    return;
  }
  const unsigned char borrow = NegateLimbs(x, 0, limbs, 0);
  // A borrow means x ≠ 0 and the limbs hold 2^N − x; the residue is one more.
  uint64_t top = 0;
  if (borrow != 0 && RingAddAt(x, ringWords, 0, 1)) top = 1;
  SetTop(x, ringWords, top);
}

void RingAddSub(const uint32_t* x, const uint32_t* y, uint32_t* sum, uint32_t* diff,
                uint64_t ringWords) {
  const uint64_t limbs = ringWords / 2;
  const uint64_t xTop = LoadLimb(x, limbs);
  const uint64_t yTop = LoadLimb(y, limbs);
  unsigned carry = 0;
  unsigned borrow = 0;
  ChainAddSub(x, y, sum, diff, limbs, carry, borrow);
  RingNormalize(sum, ringWords, static_cast<int64_t>(xTop + yTop + carry));
  RingNormalize(diff, ringWords, static_cast<int64_t>(xTop) - static_cast<int64_t>(yTop) - borrow);
}

void RingShiftInto(const uint32_t* x, uint32_t* out, uint64_t ringWords, uint64_t bits,
                   bool negate) {
  const uint64_t limbs = ringWords / 2;
  if (RingTop(x, ringWords) != 0) {
    // x = 2^N ≡ −1.
    for (uint64_t i = 0; i <= limbs; ++i) StoreLimb(out, i, 0);
    RingAddSignedPow2(out, ringWords, bits, negate ? 1 : -1);
    return;
  }
  const uint64_t q = bits / 64;
  const uint32_t r = static_cast<uint32_t>(bits % 64);
  // Lo − Hi (or Hi − Lo): Hi lives below limb q (and at q when r > 0), Lo from q up. The shifted
  // limbs are formed first; the one borrow chain then negates one part and decrements the other.
  ShiftLimbs(x, out, limbs, q, r);
  unsigned char borrow = 0;
  if (r == 0) {
    borrow = negate ? NegateLimbs(out, q, limbs, 0)
                    : DecrementLimbs(out, q, limbs, NegateLimbs(out, 0, q, 0));
  } else {
    const uint64_t hiAtQ = LoadLimb(x, limbs - 1) >> (64 - r);
    const uint64_t loAtQ = LoadLimb(x, 0) << r;
    if (negate) {
      StoreLimb(out, q, SubWithBorrow(hiAtQ, loAtQ, borrow));
      borrow = NegateLimbs(out, q + 1, limbs, borrow);
    } else {
      borrow = NegateLimbs(out, 0, q, 0);
      StoreLimb(out, q, SubWithBorrow(loAtQ, hiAtQ, borrow));
      borrow = DecrementLimbs(out, q + 1, limbs, borrow);
    }
  }
  // A final borrow stands for −2^N ≡ +1.
  RingNormalize(out, ringWords, -static_cast<int64_t>(borrow));
}

void RingShiftAccumulate(const uint32_t* x, uint32_t* out, uint64_t ringWords, uint64_t bits,
                         int sign) {
  const uint64_t limbs = ringWords / 2;
  if (RingTop(x, ringWords) != 0) {
    RingAddSignedPow2(out, ringWords, bits, -sign);
    return;
  }
  const uint64_t q = bits / 64;
  const uint32_t r = static_cast<uint32_t>(bits % 64);
  int64_t carry = 0;
  for (uint64_t j = 0; j < limbs; ++j) {
    const Int128 term = static_cast<Int128>(ShiftedLimb(x, limbs, q, r, j)) -
                        static_cast<Int128>(ShiftedLimb(x, limbs, q, r, j + limbs));
    const Int128 value = static_cast<Int128>(LoadLimb(out, j)) + (sign > 0 ? term : -term) + carry;
    StoreLimb(out, j, static_cast<uint64_t>(value));
    carry = static_cast<int64_t>(value >> 64);
  }
  RingNormalize(out, ringWords, carry + static_cast<int64_t>(RingTop(out, ringWords)));
}

}  // namespace zx
