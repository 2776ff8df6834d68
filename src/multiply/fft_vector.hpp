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

namespace zx::fft {

typedef double V4 __attribute__((vector_size(32)));
typedef int64_t I4 __attribute__((vector_size(32)));

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

}  // namespace zx::fft
