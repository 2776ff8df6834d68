// Arithmetic modulo a prime p < 2^51 on eight 64-bit lanes, with the 52-bit multiply-add
// instructions of AVX-512 IFMA. Values stay in [0, 2p) between operations (below 2^52, the width
// those instructions read), so a sum needs one conditional subtraction and a product none.
#pragma once

#include <cstdint>

#if defined(__AVX512F__) && defined(__AVX512IFMA__)
#include <immintrin.h>
#define ZX_NTT_LANES 1
// g++ 12's intrinsics start several results from _mm512_undefined_epi32(), which its own
// uninitialised-use analysis then reports once inlined.
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

namespace zx::ntt {

inline constexpr uint64_t kMask52 = (uint64_t{1} << 52) - 1;

#if defined(ZX_NTT_LANES)

using Lanes = __m512i;

inline Lanes Load(const uint64_t* p) {
  return _mm512_load_si512(p);
}
inline void Store(uint64_t* p, Lanes x) {
  _mm512_store_si512(p, x);
}
inline Lanes Broadcast(uint64_t x) {
  return _mm512_set1_epi64(static_cast<long long>(x));
}

// x − m where that is not negative, else x (x < 2m): one subtraction and an unsigned minimum.
inline Lanes ReduceBelow(Lanes x, Lanes m) {
  return _mm512_min_epu64(x, _mm512_sub_epi64(x, m));
}

// x·w mod p in [0, 2p) for x < 2^52 and a constant w < p with wShoup = floor(w·2^52 / p): the
// quotient estimate is at most one short, and the remainder fits 52 bits, so its low bits suffice.
// negP is 2^52 − p, so that the remainder is one more multiply-add on x·w's low bits.
inline Lanes MulShoup(Lanes x, Lanes w, Lanes wShoup, Lanes negP) {
  const Lanes zero = _mm512_setzero_si512();
  const Lanes q = _mm512_madd52hi_epu64(zero, x, wShoup);
  const Lanes r = _mm512_madd52lo_epu64(_mm512_madd52lo_epu64(zero, x, w), q, negP);
  return _mm512_and_si512(r, Broadcast(kMask52));
}

// a − b mod 2p for a, b in [0, 2p): a negative difference wraps to a huge one, and adding 2p
// brings it back below 2p, so the unsigned minimum picks the right one of the two.
inline Lanes SubMod(Lanes a, Lanes b, Lanes twoP) {
  const Lanes d = _mm512_sub_epi64(a, b);
  return _mm512_min_epu64(d, _mm512_add_epi64(d, twoP));
}

// x·y·2^−52 mod p in [0, 2p) for x, y < 2p (Montgomery): m = lo·p^−1 makes lo − m·p vanish below
// bit 52, so the high halves' difference is the result, in (−p, 2p).
inline Lanes MulMontgomery(Lanes x, Lanes y, Lanes p, Lanes pInverse) {
  const Lanes zero = _mm512_setzero_si512();
  const Lanes lo = _mm512_madd52lo_epu64(zero, x, y);
  const Lanes hi = _mm512_madd52hi_epu64(zero, x, y);
  const Lanes m = _mm512_madd52lo_epu64(zero, lo, pInverse);
  const Lanes r = _mm512_sub_epi64(hi, _mm512_madd52hi_epu64(zero, m, p));
  return _mm512_min_epu64(r, _mm512_add_epi64(r, p));
}

// Forward butterfly (a, b) → (a + b, (a − b)·w), both in [0, 2p).
inline void ButterflyForward(Lanes& a, Lanes& b, Lanes w, Lanes wShoup, Lanes negP, Lanes twoP) {
  const Lanes sum = ReduceBelow(_mm512_add_epi64(a, b), twoP);
  const Lanes diff = SubMod(a, b, twoP);
  a = sum;
  b = MulShoup(diff, w, wShoup, negP);
}

// Inverse butterfly (a, b) → (a + b·w, a − b·w), undoing the forward one with w's inverse up to
// a factor 2.
inline void ButterflyInverse(Lanes& a, Lanes& b, Lanes w, Lanes wShoup, Lanes negP, Lanes twoP) {
  const Lanes t = MulShoup(b, w, wShoup, negP);
  const Lanes sum = ReduceBelow(_mm512_add_epi64(a, t), twoP);
  b = SubMod(a, t, twoP);
  a = sum;
}

#endif

}  // namespace zx::ntt
