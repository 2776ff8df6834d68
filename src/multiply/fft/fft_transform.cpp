// Lane transform kernels: radix-4 passes with table twiddles, and the closing blocks of 2, 3, 5, 7
// points or twice an odd count (no twiddles beyond constants) that finish lengths c·4^a.
// A forward radix-4 pass at level q (span s = q/4) turns x[j + l·s] into quarter k's
// y_k = Σ_l x[j + l·s]·(−i)^(lk), times w^(jk); the inverse pass undoes it with conjugates.
#include "multiply/fft/fft_transform.hpp"

#include "multiply/fft/fft_twiddles.hpp"
#include "multiply/fft/fft_vector.hpp"

namespace zx::fft {
namespace {

constexpr uint64_t kVectorDoubles = 8;
// From this length (16 MiB of data, half the last-level cache) the top two levels run as one pass:
// below it the fused pass's register spills cost more than the traffic it saves.
constexpr uint64_t kTwoLevelVectors = 262144;

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

// The sixteen vectors of a two-level pass at j, v[t][u] = x[j + t·r + u·4r], loaded or stored.
inline void Sixteen(double* x, uint64_t j, uint64_t r, CV4 (&v)[4][4], bool store) {
  for (int t = 0; t < 4; t++) {
    for (int u = 0; u < 4; u++) {
      const uint64_t at = j + t * r + 4 * r * u;
      if (store) {
        Put(x, at, v[t][u]);
      } else {
        v[t][u] = At(x, at);
      }
    }
  }
}

// Two radix-4 levels in one pass, levels q and q/4 (with r = q/16, vector j + t·r + u·4r is
// element j + t·r of the level-q butterfly's quarter u, and element j of the level-q/4 butterfly
// of quarter u at position t): sixteen vectors loaded once and stored once where two passes would
// each move all of them. Beyond the second-level cache that halves the traffic of the top levels.
void Radix16Forward(double* x, uint64_t q, const double* outer, const double* inner) {
  const uint64_t r = q / 16;
  for (uint64_t j = 0; j < r; j++) {
    CV4 v[4][4];
    Sixteen(x, j, r, v, false);
    for (int t = 0; t < 4; t++) {
      ForwardButterfly(v[t][0], v[t][1], v[t][2], v[t][3]);
      const double* w = outer + 6 * (j + t * r);
      v[t][1] = MulScalar(v[t][1], w[0], w[1]);
      v[t][2] = MulScalar(v[t][2], w[2], w[3]);
      v[t][3] = MulScalar(v[t][3], w[4], w[5]);
    }
    const double* w = inner + 6 * j;
    for (int u = 0; u < 4; u++) {
      ForwardButterfly(v[0][u], v[1][u], v[2][u], v[3][u]);
      v[1][u] = MulScalar(v[1][u], w[0], w[1]);
      v[2][u] = MulScalar(v[2][u], w[2], w[3]);
      v[3][u] = MulScalar(v[3][u], w[4], w[5]);
    }
    Sixteen(x, j, r, v, true);
  }
}

void Radix16Inverse(double* x, uint64_t q, const double* outer, const double* inner) {
  const uint64_t r = q / 16;
  for (uint64_t j = 0; j < r; j++) {
    CV4 v[4][4];
    Sixteen(x, j, r, v, false);
    const double* w = inner + 6 * j;
    for (int u = 0; u < 4; u++) {
      v[1][u] = MulScalarConj(v[1][u], w[0], w[1]);
      v[2][u] = MulScalarConj(v[2][u], w[2], w[3]);
      v[3][u] = MulScalarConj(v[3][u], w[4], w[5]);
      InverseButterfly(v[0][u], v[1][u], v[2][u], v[3][u]);
    }
    for (int t = 0; t < 4; t++) {
      const double* wt = outer + 6 * (j + t * r);
      v[t][1] = MulScalarConj(v[t][1], wt[0], wt[1]);
      v[t][2] = MulScalarConj(v[t][2], wt[2], wt[3]);
      v[t][3] = MulScalarConj(v[t][3], wt[4], wt[5]);
      InverseButterfly(v[t][0], v[t][1], v[t][2], v[t][3]);
    }
    Sixteen(x, j, r, v, true);
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

// The factors of an odd-length DFT, R = 3, 5 or 7: cos and sin of 2π·jk/R for j, k < R/2 + 1, and
// e^(−2πij/(2R)) for j < R, the twiddles of the radix-2 pass that doubles it. Computed once in
// extended precision and rounded, like the tables.
template <int R>
struct OddFactors {
  double cosine[R / 2 + 1][R / 2 + 1];
  double sine[R / 2 + 1][R / 2 + 1];
  double doubled[R][2];

  OddFactors() {
    const long double turn = 2.0L * 3.141592653589793238462643383279502884L / R;
    for (int k = 1; k <= R / 2; k++) {
      for (int j = 1; j <= R / 2; j++) {
        cosine[k][j] = static_cast<double>(std::cos(turn * j * k));
        sine[k][j] = static_cast<double>(std::sin(turn * j * k));
      }
    }
    for (int j = 0; j < R; j++) {
      doubled[j][0] = static_cast<double>(std::cos(turn * j / 2));
      doubled[j][1] = static_cast<double>(-std::sin(turn * j / 2));
    }
  }
};

template <int R>
const OddFactors<R>& FactorsOf() {
  static const OddFactors<R> factors;
  return factors;
}

// R-point DFT of x[i + l·stride], forward with w = e^(−2πi/R): the inputs pair up as sums and
// differences of l and R − l, so each output pair k, R − k shares one real combination of the
// sums and one of the differences, which the direction only rotates by ∓i.
template <int R>
inline void OddDft(double* x, uint64_t i, uint64_t stride, bool inverse, const OddFactors<R>& f) {
  constexpr int kHalf = R / 2;
  const CV4 a0 = At(x, i);
  CV4 sum[kHalf + 1];
  CV4 difference[kHalf + 1];
  CV4 total = a0;
  for (int j = 1; j <= kHalf; j++) {
    const CV4 low = At(x, i + j * stride);
    const CV4 high = At(x, i + (R - j) * stride);
    sum[j] = low + high;
    difference[j] = low - high;
    total = total + sum[j];
  }
  for (int k = 1; k <= kHalf; k++) {
    CV4 even = a0;
    CV4 odd{Splat(0.0), Splat(0.0)};
    for (int j = 1; j <= kHalf; j++) {
      const V4 c = Splat(f.cosine[k][j]);
      const V4 s = Splat(f.sine[k][j]);
      even = CV4{even.re + c * sum[j].re, even.im + c * sum[j].im};
      odd = CV4{odd.re + s * difference[j].re, odd.im + s * difference[j].im};
    }
    const CV4 turned = inverse ? MulI(odd) : MulMinusI(odd);
    Put(x, i + k * stride, even + turned);
    Put(x, i + (R - k) * stride, even - turned);
  }
  Put(x, i, total);
}

template <int R>
void OddGroups(double* x, uint64_t count, bool inverse) {
  const OddFactors<R>& f = FactorsOf<R>();
  for (uint64_t g = 0; g < count; g += R) OddDft<R>(x, g, 1, inverse, f);
}

// 2R points as a radix-2 pass (span R, twiddles e^(−2πij/(2R))) and two R-point DFTs.
template <int R>
void DoubledOddGroups(double* x, uint64_t count, bool inverse) {
  const OddFactors<R>& f = FactorsOf<R>();
  for (uint64_t g = 0; g < count; g += 2 * R) {
    double* block = x + kVectorDoubles * g;
    if (!inverse) {
      for (uint64_t j = 0; j < R; j++) {
        const CV4 a = At(block, j);
        const CV4 b = At(block, j + R);
        Put(block, j, a + b);
        Put(block, j + R, MulScalar(a - b, f.doubled[j][0], f.doubled[j][1]));
      }
    }
    OddDft<R>(block, 0, 1, inverse, f);
    OddDft<R>(block, R, 1, inverse, f);
    if (inverse) {
      for (uint64_t j = 0; j < R; j++) {
        const CV4 a = At(block, j);
        const CV4 b = MulScalarConj(At(block, j + R), f.doubled[j][0], f.doubled[j][1]);
        Put(block, j, a + b);
        Put(block, j + R, a - b);
      }
    }
  }
}

// The closing blocks: lengths 2, 3, 6, 5, 10, 7 and 14 (1 needs none).
void ClosingGroups(double* x, uint64_t m, uint64_t closing, bool inverse) {
  switch (closing) {
    case 2:
      return Radix2Groups(x, m);
    case 3:
      return OddGroups<3>(x, m, inverse);
    case 6:
      return DoubledOddGroups<3>(x, m, inverse);
    case 5:
      return OddGroups<5>(x, m, inverse);
    case 10:
      return DoubledOddGroups<5>(x, m, inverse);
    case 7:
      return OddGroups<7>(x, m, inverse);
    case 14:
      return DoubledOddGroups<7>(x, m, inverse);
    default:
      return;
  }
}

// The closing block length after the radix-4 levels: 1, 2, 3, 6, 5, 10, 7 or 14.
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
  ClosingGroups(x, m, q, false);
}

void InverseBlock(double* x, uint64_t m) {
  const uint64_t closing = ClosingLength(m);
  ClosingGroups(x, m, closing, true);
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

// x ← x ⊙ y + sign·s.
void PointwiseAdd(double* x, const double* y, const double* s, double sign, uint64_t m) {
  const V4 factor = Splat(sign);
  for (uint64_t i = 0; i < m; i++) {
    const CV4 product = Mul(At(x, i), At(y, i));
    const CV4 other = At(s, i);
    Put(x, i, CV4{product.re + factor * other.re, product.im + factor * other.im});
  }
}

// LaneConvolve and its halves: forward, the pointwise step (with s added when given), and the
// inverse unless the product stays in the transform domain.
void LaneProduct(double* x, const double* y, const double* s, double sign, bool inverse,
                 uint64_t m) {
  if (m <= kLaneLeafVectors) {
    ForwardBlock(x, m);
    if (s != nullptr) {
      PointwiseAdd(x, y, s, sign, m);
    } else {
      Pointwise(x, y, m);
    }
    if (inverse) InverseBlock(x, m);
    return;
  }
  if (m >= kTwoLevelVectors) {
    const double* outer = Radix4Twiddles(m);
    const double* inner = Radix4Twiddles(m / 4);
    Radix16Forward(x, m, outer, inner);
    const uint64_t sixteenth = m / 16;
    for (int k = 0; k < 16; k++) {
      const uint64_t offset = kVectorDoubles * sixteenth * k;
      LaneProduct(x + offset, y == nullptr ? nullptr : y + offset,
                  s == nullptr ? nullptr : s + offset, sign, inverse, sixteenth);
    }
    if (inverse) Radix16Inverse(x, m, outer, inner);
    return;
  }
  const double* twiddles = Radix4Twiddles(m);
  Radix4Forward(x, m, twiddles, 0, m / 4);
  const uint64_t quarter = m / 4;
  for (int k = 0; k < 4; k++) {
    const uint64_t offset = kVectorDoubles * quarter * k;
    LaneProduct(x + offset, y == nullptr ? nullptr : y + offset,
                s == nullptr ? nullptr : s + offset, sign, inverse, quarter);
  }
  if (inverse) Radix4Inverse(x, m, twiddles, 0, m / 4);
}

}  // namespace

void LaneForward(double* x, uint64_t m) {
  if (m <= kLaneLeafVectors) {
    ForwardBlock(x, m);
    return;
  }
  if (m >= kTwoLevelVectors) {
    Radix16Forward(x, m, Radix4Twiddles(m), Radix4Twiddles(m / 4));
    for (int k = 0; k < 16; k++) LaneForward(x + kVectorDoubles * (m / 16) * k, m / 16);
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
  if (m >= kTwoLevelVectors) {
    for (int k = 0; k < 16; k++) LaneInverse(x + kVectorDoubles * (m / 16) * k, m / 16);
    Radix16Inverse(x, m, Radix4Twiddles(m), Radix4Twiddles(m / 4));
    return;
  }
  const uint64_t quarter = m / 4;
  for (int k = 0; k < 4; k++) LaneInverse(x + kVectorDoubles * quarter * k, quarter);
  Radix4Inverse(x, m, Radix4Twiddles(m), 0, m / 4);
}

void LaneConvolve(double* x, const double* y, uint64_t m) {
  LaneProduct(x, y, nullptr, 0, true, m);
}

void LaneMultiply(double* x, const double* y, uint64_t m) {
  LaneProduct(x, y, nullptr, 0, false, m);
}

void LaneConvolveAdd(double* x, const double* y, const double* s, double sign, uint64_t m) {
  LaneProduct(x, y, s, sign, true, m);
}

void LaneForwardTop(double* x, uint64_t m, uint64_t from, uint64_t to) {
  Radix4Forward(x, m, Radix4Twiddles(m), from, to);
}

void LaneInverseTop(double* x, uint64_t m, uint64_t from, uint64_t to) {
  Radix4Inverse(x, m, Radix4Twiddles(m), from, to);
}

}  // namespace zx::fft
