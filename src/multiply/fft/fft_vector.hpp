// Four-lane double vectors for the transforms, on the compiler's generic vector extension: AVX2
// registers where the target has them, pairs of SSE2 registers or scalars elsewhere, one source.
// A complex vector is 8 doubles in memory (4 real parts, then 4 imaginary parts, 64 bytes), so the
// butterflies between vectors are plain vertical arithmetic.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>

#if defined(__AVX__)
#include <immintrin.h>
#endif

#if defined(__GNUC__) && !defined(__clang__) && !defined(__AVX__)
// Vectors never cross a compiled interface (every function taking one is inline or file-local),
// so the note that 32-byte vectors are passed differently without AVX does not concern us.
#pragma GCC diagnostic ignored "-Wpsabi"
#endif

namespace zx::fft {

typedef double V4 __attribute__((vector_size(32)));
typedef int64_t I64x4 __attribute__((vector_size(32)));
typedef uint64_t U64x4 __attribute__((vector_size(32)));
typedef int32_t I32x8 __attribute__((vector_size(32)));
typedef int32_t I32x4 __attribute__((vector_size(16)));

struct CV4 {
  V4 re;
  V4 im;
};

inline V4 Load(const double* p) {
  V4 v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

inline void Store(double* p, V4 v) {
  std::memcpy(p, &v, sizeof v);
}

inline V4 Splat(double x) {
  return V4{x, x, x, x};
}

inline CV4 LoadC(const double* p) {
  return CV4{Load(p), Load(p + 4)};
}

inline void StoreC(double* p, const CV4& v) {
  Store(p, v.re);
  Store(p + 4, v.im);
}

inline CV4 operator+(const CV4& a, const CV4& b) {
  return CV4{a.re + b.re, a.im + b.im};
}
inline CV4 operator-(const CV4& a, const CV4& b) {
  return CV4{a.re - b.re, a.im - b.im};
}

// a·w for lane-wise complex w.
inline CV4 Mul(const CV4& a, const CV4& w) {
  return CV4{a.re * w.re - a.im * w.im, a.re * w.im + a.im * w.re};
}

// a·conj(w).
inline CV4 MulConj(const CV4& a, const CV4& w) {
  return CV4{a.re * w.re + a.im * w.im, a.im * w.re - a.re * w.im};
}

// a·(c + i·s) with the same scalar twiddle in every lane.
inline CV4 MulScalar(const CV4& a, double c, double s) {
  const V4 vc = Splat(c);
  const V4 vs = Splat(s);
  return CV4{a.re * vc - a.im * vs, a.re * vs + a.im * vc};
}

// a·(c − i·s).
inline CV4 MulScalarConj(const CV4& a, double c, double s) {
  const V4 vc = Splat(c);
  const V4 vs = Splat(s);
  return CV4{a.re * vc + a.im * vs, a.im * vc - a.re * vs};
}

// −i·a and i·a.
inline CV4 MulMinusI(const CV4& a) {
  return CV4{a.im, -a.re};
}
inline CV4 MulI(const CV4& a) {
  return CV4{-a.im, a.re};
}

inline V4 Floor(V4 v) {
#if defined(__AVX__)
  __m256d x;
  std::memcpy(&x, &v, sizeof x);
  x = _mm256_floor_pd(x);
  std::memcpy(&v, &x, sizeof x);
  return v;
#else
  return V4{std::floor(v[0]), std::floor(v[1]), std::floor(v[2]), std::floor(v[3])};
#endif
}

// Lane permutations (both compilers provide __builtin_shufflevector).
#define ZX_SHUFFLE(a, b, i0, i1, i2, i3) __builtin_shufflevector(a, b, i0, i1, i2, i3)

// Rows of a 4×4 block become its columns.
inline void Transpose(V4& r0, V4& r1, V4& r2, V4& r3) {
  const V4 t0 = ZX_SHUFFLE(r0, r1, 0, 4, 2, 6);
  const V4 t1 = ZX_SHUFFLE(r0, r1, 1, 5, 3, 7);
  const V4 t2 = ZX_SHUFFLE(r2, r3, 0, 4, 2, 6);
  const V4 t3 = ZX_SHUFFLE(r2, r3, 1, 5, 3, 7);
  r0 = ZX_SHUFFLE(t0, t2, 0, 1, 4, 5);
  r1 = ZX_SHUFFLE(t1, t3, 0, 1, 4, 5);
  r2 = ZX_SHUFFLE(t0, t2, 2, 3, 6, 7);
  r3 = ZX_SHUFFLE(t1, t3, 2, 3, 6, 7);
}

// The bits of one vector type as another of the same size.
template <typename To, typename From>
inline To Reinterpret(const From& from) {
  static_assert(sizeof(To) == sizeof(From));
  To to;
  std::memcpy(&to, &from, sizeof to);
  return to;
}

inline V4 LowToDouble(I32x8 v) {
  return __builtin_convertvector(ZX_SHUFFLE(v, v, 0, 1, 2, 3), V4);
}
inline V4 HighToDouble(I32x8 v) {
  return __builtin_convertvector(ZX_SHUFFLE(v, v, 4, 5, 6, 7), V4);
}

// Doubles holding integers of magnitude below 2^51 as 64-bit integers: added to 1.5·2^52 they
// share one exponent, and the mantissa bits are the integer offset by the constant's.
inline I64x4 IntegralToInt64(V4 v) {
  constexpr double kMagic = 6755399441055744.0;
  const V4 magic = Splat(kMagic);
  return Reinterpret<I64x4>(v + magic) - Reinterpret<I64x4>(magic);
}

// Eight rows of four 32-bit values, row r at base + r·stride, as four vectors of eight lanes:
// lane r of column i is element i of row r. StoreColumns8x4 is the inverse.
inline void LoadColumns8x4(const uint32_t* base, uint64_t stride, bool upperRowsZero,
                           I32x8 columns[4]) {
  I32x8 pairs[4];
  for (int r = 0; r < 4; r++) {
    I32x4 low;
    I32x4 high = {};
    std::memcpy(&low, base + r * stride, sizeof low);
    if (!upperRowsZero) std::memcpy(&high, base + (r + 4) * stride, sizeof high);
    pairs[r] = __builtin_shufflevector(low, high, 0, 1, 2, 3, 4, 5, 6, 7);
  }
  const I32x8 t0 = __builtin_shufflevector(pairs[0], pairs[1], 0, 8, 1, 9, 4, 12, 5, 13);
  const I32x8 t1 = __builtin_shufflevector(pairs[0], pairs[1], 2, 10, 3, 11, 6, 14, 7, 15);
  const I32x8 t2 = __builtin_shufflevector(pairs[2], pairs[3], 0, 8, 1, 9, 4, 12, 5, 13);
  const I32x8 t3 = __builtin_shufflevector(pairs[2], pairs[3], 2, 10, 3, 11, 6, 14, 7, 15);
  columns[0] = __builtin_shufflevector(t0, t2, 0, 1, 8, 9, 4, 5, 12, 13);
  columns[1] = __builtin_shufflevector(t0, t2, 2, 3, 10, 11, 6, 7, 14, 15);
  columns[2] = __builtin_shufflevector(t1, t3, 0, 1, 8, 9, 4, 5, 12, 13);
  columns[3] = __builtin_shufflevector(t1, t3, 2, 3, 10, 11, 6, 7, 14, 15);
}

inline void StoreColumns8x4(uint32_t* base, uint64_t stride, const I32x8 columns[4]) {
  // The same two-level exchange undoes itself.
  const I32x8 t0 = __builtin_shufflevector(columns[0], columns[1], 0, 8, 1, 9, 4, 12, 5, 13);
  const I32x8 t1 = __builtin_shufflevector(columns[0], columns[1], 2, 10, 3, 11, 6, 14, 7, 15);
  const I32x8 t2 = __builtin_shufflevector(columns[2], columns[3], 0, 8, 1, 9, 4, 12, 5, 13);
  const I32x8 t3 = __builtin_shufflevector(columns[2], columns[3], 2, 10, 3, 11, 6, 14, 7, 15);
  const I32x8 pairs[4] = {__builtin_shufflevector(t0, t2, 0, 1, 8, 9, 4, 5, 12, 13),
                          __builtin_shufflevector(t0, t2, 2, 3, 10, 11, 6, 7, 14, 15),
                          __builtin_shufflevector(t1, t3, 0, 1, 8, 9, 4, 5, 12, 13),
                          __builtin_shufflevector(t1, t3, 2, 3, 10, 11, 6, 7, 14, 15)};
  for (int r = 0; r < 4; r++) {
    const I32x4 low = __builtin_shufflevector(pairs[r], pairs[r], 0, 1, 2, 3);
    const I32x4 high = __builtin_shufflevector(pairs[r], pairs[r], 4, 5, 6, 7);
    std::memcpy(base + r * stride, &low, sizeof low);
    std::memcpy(base + (r + 4) * stride, &high, sizeof high);
  }
}

}  // namespace zx::fft
