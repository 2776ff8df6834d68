// Outer pass kernels. Per vector v the four lanes are the inputs of one radix-4 butterfly; it runs
// as two radix-2 levels across lanes (halves swapped, then neighbours swapped), which leaves the
// outputs k in lane order 0, 2, 1, 3; the outer twiddle table is stored in that order. The weights
// ζ^(l·N/4 + v) factor into lane constants e^(iπl/8), applied before the butterfly, and ζ^v, merged
// into the twiddles after it.
#include "multiply/fft_outer.hpp"

#include <cmath>
#include <cstring>

#include "multiply/fft_twiddles.hpp"
#include "multiply/fft_vector.hpp"

namespace zx::fft {
namespace {

constexpr double kCos8 = 0.92387953251128675612818318939679;  // cos(π/8)
constexpr double kSin8 = 0.38268343236508977172845998403040;  // sin(π/8)
constexpr double kRootHalf = 0.70710678118654752440084436210485;

const V4 kLaneRe = {1.0, kCos8, kRootHalf, kSin8};
const V4 kLaneIm = {0.0, kSin8, kRootHalf, kCos8};
const V4 kHalvesSign = {1.0, 1.0, -1.0, -1.0};
const V4 kPairsSign = {1.0, -1.0, 1.0, -1.0};

// Four fields (below 2^31) as doubles.
inline V4 LoadPoints(const uint32_t* p) {
#if defined(__AVX__)
  __m256d d = _mm256_cvtepi32_pd(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
  V4 v;
  std::memcpy(&v, &d, sizeof v);
  return v;
#else
  return V4{static_cast<double>(p[0]), static_cast<double>(p[1]), static_cast<double>(p[2]),
            static_cast<double>(p[3])};
#endif
}

// The carry (0 or 1) that balancing from point 0 brings into point `index`: a field of 2^(b−1)
// or more sends one, a field below 2^(b−1) − 1 none, and 2^(b−1) − 1 passes on what it got.
double BalancedCarryInto(const uint32_t* fields, uint64_t index, uint32_t pointBits) {
  const uint32_t half = 1u << (pointBits - 1);
  for (uint64_t j = index; j-- > 0;) {
    if (fields[j] >= half) return 1.0;
    if (fields[j] != half - 1) return 0.0;
  }
  return 0.0;
}

// One step of four balancing chains: value = field + carry becomes value − carry'·2^b with
// carry' = 1 when value ≥ 2^(b−1). Exact in doubles.
struct Balancer {
  V4 radix;
  V4 inverseRadix;
  V4 half;

  V4 Step(V4 field, V4& carry) const {
    const V4 value = field + carry;
    carry = Floor((value + half) * inverseRadix);
    return value - carry * radix;
  }
};

// Four exact integers below 2^31 as points.
inline void StorePoints(uint32_t* p, V4 v) {
#if defined(__AVX__)
  __m256d d;
  std::memcpy(&d, &v, sizeof d);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm256_cvtpd_epi32(d));
#else
  for (int i = 0; i < 4; i++) p[i] = static_cast<uint32_t>(v[i]);
#endif
}

// One radix-2 level across lanes: pairs two apart (halves swapped) or neighbours.
inline V4 HalvesLevel(V4 v) {
  return ZX_SHUFFLE(v, v, 2, 3, 0, 1) + kHalvesSign * v;
}
inline V4 PairsLevel(V4 v) {
  return ZX_SHUFFLE(v, v, 1, 0, 3, 2) + kPairsSign * v;
}

// y_k = Σ_l w_l·(−i)^(lk), lanes out in order 0, 2, 1, 3.
inline CV4 LaneButterfly(const CV4& w) {
  const V4 re = HalvesLevel(w.re);
  const V4 im = HalvesLevel(w.im);
  // Lane 3 holds w1 − w3, which the second level needs times −i.
  const V4 negRe = -re;
  return CV4{PairsLevel(ZX_SHUFFLE(re, im, 0, 1, 2, 7)),
             PairsLevel(ZX_SHUFFLE(im, negRe, 0, 1, 2, 7))};
}

// 4·w from the butterfly's outputs (lane order 0, 2, 1, 3): the two levels undone in reverse.
inline CV4 LaneButterflyInverse(const CV4& y) {
  const V4 re = PairsLevel(y.re);
  const V4 im = PairsLevel(y.im);
  const V4 negIm = -im;
  return CV4{HalvesLevel(ZX_SHUFFLE(re, negIm, 0, 1, 2, 7)),
             HalvesLevel(ZX_SHUFFLE(im, re, 0, 1, 2, 7))};
}

}  // namespace

void OuterForward(double* x, const uint32_t* fields, uint64_t n, uint32_t pointBits,
                  bool halfZero) {
  const uint64_t m = n / 4;
  const double* twiddles = OuterTwiddles(n);
  const CV4 lanes{kLaneRe, kLaneIm};
  const Balancer balancer{Splat(std::ldexp(1.0, static_cast<int>(pointBits))),
                          Splat(std::ldexp(1.0, -static_cast<int>(pointBits))),
                          Splat(std::ldexp(1.0, static_cast<int>(pointBits) - 1))};
  // Lanes are the chains of the eighths of the points; each starts with the carry its eighth
  // receives from below.
  V4 carryRe;
  V4 carryIm;
  for (int l = 0; l < 4; l++) {
    carryRe[l] = BalancedCarryInto(fields, l * m, pointBits);
    carryIm[l] = halfZero ? 0.0 : BalancedCarryInto(fields, n + l * m, pointBits);
  }
  for (uint64_t v = 0; v < m; v += 4) {
    V4 re[4];
    V4 im[4] = {};
    for (int l = 0; l < 4; l++) re[l] = LoadPoints(fields + l * m + v);
    Transpose(re[0], re[1], re[2], re[3]);
    for (int i = 0; i < 4; i++) re[i] = balancer.Step(re[i], carryRe);
    if (!halfZero) {
      for (int l = 0; l < 4; l++) im[l] = LoadPoints(fields + n + l * m + v);
      Transpose(im[0], im[1], im[2], im[3]);
      for (int i = 0; i < 4; i++) im[i] = balancer.Step(im[i], carryIm);
      // The top point keeps its carry (a field up to 2^b): nothing lies above it to take it.
      if (v + 4 == m) im[3][3] += carryIm[3] * balancer.radix[3];
    }
    for (int i = 0; i < 4; i++) {
      const CV4 weighted =
          halfZero ? CV4{re[i] * kLaneRe, re[i] * kLaneIm} : Mul(CV4{re[i], im[i]}, lanes);
      const double* twiddle = twiddles + 8 * (v + i);
      StoreC(x + 8 * (v + i), Mul(LaneButterfly(weighted), LoadC(twiddle)));
    }
  }
}

int64_t OuterInverseCarry(const double* x, uint32_t* points, uint64_t n, uint32_t pointBits) {
  const uint64_t m = n / 4;
  const double* twiddles = OuterTwiddles(n);
  const double scale = 1.0 / static_cast<double>(n);
  const CV4 lanes{kLaneRe * scale, kLaneIm * scale};
  const V4 radix = Splat(std::ldexp(1.0, static_cast<int>(pointBits)));
  const V4 inverseRadix = Splat(std::ldexp(1.0, -static_cast<int>(pointBits)));
  const V4 half = Splat(0.5);
  // Lanes 0..3 of carryRe are chains 0..3 (points below N), of carryIm chains 4..7.
  V4 carryRe = {};
  V4 carryIm = {};
  for (uint64_t v = 0; v < m; v += 4) {
    V4 re[4];
    V4 im[4];
    for (int i = 0; i < 4; i++) {
      const double* twiddle = twiddles + 8 * (v + i);
      const CV4 spectrum = MulConj(LoadC(x + 8 * (v + i)), LoadC(twiddle));
      const CV4 value = MulConj(LaneButterflyInverse(spectrum), lanes);
      // Round half up, then carry: the sums stay exact integers below 2^53.
      const V4 roundedRe = Floor(value.re + half) + carryRe;
      const V4 roundedIm = Floor(value.im + half) + carryIm;
      carryRe = Floor(roundedRe * inverseRadix);
      carryIm = Floor(roundedIm * inverseRadix);
      re[i] = roundedRe - carryRe * radix;
      im[i] = roundedIm - carryIm * radix;
    }
    Transpose(re[0], re[1], re[2], re[3]);
    Transpose(im[0], im[1], im[2], im[3]);
    for (int l = 0; l < 4; l++) {
      StorePoints(points + l * m + v, re[l]);
      StorePoints(points + n + l * m + v, im[l]);
    }
  }
  // Chain c began with no carry; its true carry-in enters at its first point and may run on.
  const int64_t mask = (int64_t{1} << pointBits) - 1;
  int64_t pending = 0;
  for (int chain = 0; chain < 8; chain++) {
    uint32_t* start = points + chain * m;
    for (uint64_t i = 0; i < m && pending != 0; i++) {
      const int64_t sum = start[i] + pending;
      start[i] = static_cast<uint32_t>(sum & mask);
      pending = sum >> pointBits;
    }
    const V4 carries = chain < 4 ? carryRe : carryIm;
    pending += static_cast<int64_t>(carries[chain % 4]);
  }
  return pending;
}

// Adds `pending` at point 0 and carries upward; returns what leaves the top point.
int64_t CarryIn(uint32_t* points, uint64_t count, uint32_t pointBits, int64_t pending) {
  const int64_t mask = (int64_t{1} << pointBits) - 1;
  for (uint64_t i = 0; i < count && pending != 0; i++) {
    const int64_t sum = points[i] + pending;
    points[i] = static_cast<uint32_t>(sum & mask);
    pending = sum >> pointBits;
  }
  return pending;
}

uint32_t ReduceNegacyclic(uint32_t* points, uint64_t count, uint32_t pointBits, int64_t topCarry) {
  // h = what leaves the top after −carry enters the bottom; h·2^(Lb) ≡ −h, |h| ≤ 1.
  const int64_t high = CarryIn(points, count, pointBits, -topCarry);
  if (high == 0 || CarryIn(points, count, pointBits, -high) == 0) return 0;
  // The value ran from 0 down to −1, or from 2^(Lb) − 1 up to 2^(Lb): both are 2^(Lb) itself.
  std::memset(points, 0, count * sizeof(uint32_t));
  return 1;
}

}  // namespace zx::fft
