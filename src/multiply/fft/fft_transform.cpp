// Lane transform kernels: radix-4 passes with table twiddles, and the closing radix-2, radix-3 or
// radix-6 blocks (no twiddles beyond constants) that finish lengths 2·4^a, 3·4^a and 6·4^a.
// A forward radix-4 pass at level q (span s = q/4) turns x[j + l·s] into quarter k's
// y_k = Σ_l x[j + l·s]·(−i)^(lk), times w^(jk); the inverse pass undoes it with conjugates.
#include "multiply/fft/fft_transform.hpp"

#include "multiply/fft/fft_twiddles.hpp"
#include "multiply/fft/fft_vector.hpp"

namespace zx::fft {
namespace {

constexpr uint64_t kVectorDoubles = 8;
constexpr double kHalfRootThree = 0.86602540378443864676372317075294;

inline CV4 At(const double* x, uint64_t i) {
  return LoadC(x + kVectorDoubles * i);
}
inline void Put(double* x, uint64_t i, const CV4& v) {
  StoreC(x + kVectorDoubles * i, v);
}

// Forward: y_k = Σ_l x_l·(−i)^(lk) in place (a, b, c, d become y0..y3); inverse: the
// unnormalised x_l = Σ_k y_k·i^(lk). The two differ only in the direction of the quarter turn.
template <bool kInverse>
inline void Butterfly(CV4& a, CV4& b, CV4& c, CV4& d) {
  const CV4 t0 = a + c;
  const CV4 t1 = a - c;
  const CV4 t2 = b + d;
  const CV4 t3 = kInverse ? MulI(b - d) : MulMinusI(b - d);
  a = t0 + t2;
  b = t1 + t3;
  c = t0 - t2;
  d = t1 - t3;
}

constexpr auto ForwardButterfly = Butterfly<false>;
constexpr auto InverseButterfly = Butterfly<true>;

// Butterflies j in [from, to) of the pass; a whole pass runs them all.
void Radix4Forward(double* x, uint64_t q, const double* twiddles, uint64_t from, uint64_t to) {
  const uint64_t s = q / 4;
  double* x1 = x + kVectorDoubles * s;
  double* x2 = x1 + kVectorDoubles * s;
  double* x3 = x2 + kVectorDoubles * s;
  for (uint64_t j = from; j < to; j++) {
    CV4 a = At(x, j);
    CV4 b = At(x1, j);
    CV4 c = At(x2, j);
    CV4 d = At(x3, j);
    ForwardButterfly(a, b, c, d);
    const double* w = twiddles + 6 * j;
    Put(x, j, a);
    Put(x1, j, MulScalar(b, w[0], w[1]));
    Put(x2, j, MulScalar(c, w[2], w[3]));
    Put(x3, j, MulScalar(d, w[4], w[5]));
  }
}

void Radix4Inverse(double* x, uint64_t q, const double* twiddles, uint64_t from, uint64_t to) {
  const uint64_t s = q / 4;
  double* x1 = x + kVectorDoubles * s;
  double* x2 = x1 + kVectorDoubles * s;
  double* x3 = x2 + kVectorDoubles * s;
  for (uint64_t j = from; j < to; j++) {
    const double* w = twiddles + 6 * j;
    CV4 a = At(x, j);
    CV4 b = MulScalarConj(At(x1, j), w[0], w[1]);
    CV4 c = MulScalarConj(At(x2, j), w[2], w[3]);
    CV4 d = MulScalarConj(At(x3, j), w[4], w[5]);
    InverseButterfly(a, b, c, d);
    Put(x, j, a);
    Put(x1, j, b);
    Put(x2, j, c);
    Put(x3, j, d);
  }
}

// Radix-4 on consecutive groups of four vectors, where every twiddle is 1.
template <void (*kButterfly)(CV4&, CV4&, CV4&, CV4&)>
void Radix4Groups(double* x, uint64_t count) {
  for (uint64_t g = 0; g < count; g += 4) {
    CV4 a = At(x, g);
    CV4 b = At(x, g + 1);
    CV4 c = At(x, g + 2);
    CV4 d = At(x, g + 3);
    kButterfly(a, b, c, d);
    Put(x, g, a);
    Put(x, g + 1, b);
    Put(x, g + 2, c);
    Put(x, g + 3, d);
  }
}

void Radix2Groups(double* x, uint64_t count) {
  for (uint64_t g = 0; g < count; g += 2) {
    const CV4 a = At(x, g);
    const CV4 b = At(x, g + 1);
    Put(x, g, a + b);
    Put(x, g + 1, a - b);
  }
}

// Three-point DFT of x[i], x[i + stride], x[i + 2·stride]; forward uses w3 = e^(−2πi/3).
inline void Radix3(double* x, uint64_t i, uint64_t stride, bool inverse) {
  const CV4 a = At(x, i);
  const CV4 b = At(x, i + stride);
  const CV4 c = At(x, i + 2 * stride);
  const CV4 t = b + c;
  const V4 half = Splat(0.5);
  const CV4 middle{a.re - half * t.re, a.im - half * t.im};
  const V4 h = Splat(inverse ? -kHalfRootThree : kHalfRootThree);
  const CV4 u = MulMinusI(b - c);
  const CV4 rotated{h * u.re, h * u.im};
  Put(x, i, a + t);
  Put(x, i + stride, middle + rotated);
  Put(x, i + 2 * stride, middle - rotated);
}

void Radix3Groups(double* x, uint64_t count, bool inverse) {
  for (uint64_t g = 0; g < count; g += 3) Radix3(x, g, 1, inverse);
}

// Six points as a radix-2 pass (span 3, twiddles e^(−2πij/6)) and two three-point DFTs.
void Radix6Groups(double* x, uint64_t count, bool inverse) {
  static const double kSixth[3][2] = {{1.0, 0.0}, {0.5, -kHalfRootThree}, {-0.5, -kHalfRootThree}};
  for (uint64_t g = 0; g < count; g += 6) {
    double* block = x + kVectorDoubles * g;
    if (!inverse) {
      for (uint64_t j = 0; j < 3; j++) {
        const CV4 a = At(block, j);
        const CV4 b = At(block, j + 3);
        Put(block, j, a + b);
        Put(block, j + 3, MulScalar(a - b, kSixth[j][0], kSixth[j][1]));
      }
    }
    Radix3(block, 0, 1, inverse);
    Radix3(block, 3, 1, inverse);
    if (inverse) {
      for (uint64_t j = 0; j < 3; j++) {
        const CV4 a = At(block, j);
        const CV4 b = MulScalarConj(At(block, j + 3), kSixth[j][0], kSixth[j][1]);
        Put(block, j, a + b);
        Put(block, j + 3, a - b);
      }
    }
  }
}

// The closing block length after the radix-4 levels: 1, 2, 3 or 6.
uint64_t ClosingLength(uint64_t m) {
  while (m % 4 == 0) m /= 4;
  return m;
}

void ForwardBlock(double* x, uint64_t m) {
  uint64_t q = m;
  for (; q % 4 == 0; q /= 4) {
    if (q == 4) {
      Radix4Groups<ForwardButterfly>(x, m);
      continue;
    }
    const double* twiddles = Radix4Twiddles(q);
    for (uint64_t block = 0; block < m; block += q) {
      Radix4Forward(x + kVectorDoubles * block, q, twiddles, 0, q / 4);
    }
  }
  if (q == 2) Radix2Groups(x, m);
  if (q == 3) Radix3Groups(x, m, false);
  if (q == 6) Radix6Groups(x, m, false);
}

void InverseBlock(double* x, uint64_t m) {
  const uint64_t closing = ClosingLength(m);
  if (closing == 2) Radix2Groups(x, m);
  if (closing == 3) Radix3Groups(x, m, true);
  if (closing == 6) Radix6Groups(x, m, true);
  for (uint64_t q = closing * 4; q <= m; q *= 4) {
    if (q == 4) {
      Radix4Groups<InverseButterfly>(x, m);
      continue;
    }
    const double* twiddles = Radix4Twiddles(q);
    for (uint64_t block = 0; block < m; block += q) {
      Radix4Inverse(x + kVectorDoubles * block, q, twiddles, 0, q / 4);
    }
  }
}

void Pointwise(double* x, const double* y, uint64_t m) {
  for (uint64_t i = 0; i < m; i++) {
    const CV4 a = At(x, i);
    Put(x, i, Mul(a, y == nullptr ? a : At(y, i)));
  }
}

}  // namespace

void LaneForward(double* x, uint64_t m) {
  if (m <= kLaneLeafVectors) {
    ForwardBlock(x, m);
    return;
  }
  Radix4Forward(x, m, Radix4Twiddles(m), 0, m / 4);
  const uint64_t quarter = m / 4;
  for (int k = 0; k < 4; k++) LaneForward(x + kVectorDoubles * quarter * k, quarter);
}

void LaneInverse(double* x, uint64_t m) {
  if (m <= kLaneLeafVectors) {
    InverseBlock(x, m);
    return;
  }
  const uint64_t quarter = m / 4;
  for (int k = 0; k < 4; k++) LaneInverse(x + kVectorDoubles * quarter * k, quarter);
  Radix4Inverse(x, m, Radix4Twiddles(m), 0, m / 4);
}

void LaneConvolve(double* x, const double* y, uint64_t m) {
  if (m <= kLaneLeafVectors) {
    ForwardBlock(x, m);
    Pointwise(x, y, m);
    InverseBlock(x, m);
    return;
  }
  const double* twiddles = Radix4Twiddles(m);
  Radix4Forward(x, m, twiddles, 0, m / 4);
  const uint64_t quarter = m / 4;
  for (int k = 0; k < 4; k++) {
    const uint64_t offset = kVectorDoubles * quarter * k;
    LaneConvolve(x + offset, y == nullptr ? nullptr : y + offset, quarter);
  }
  Radix4Inverse(x, m, twiddles, 0, m / 4);
}

void LaneForwardTop(double* x, uint64_t m, uint64_t from, uint64_t to) {
  Radix4Forward(x, m, Radix4Twiddles(m), from, to);
}

void LaneInverseTop(double* x, uint64_t m, uint64_t from, uint64_t to) {
  Radix4Inverse(x, m, Radix4Twiddles(m), from, to);
}

}  // namespace zx::fft
