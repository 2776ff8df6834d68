// Outer pass kernels. Per vector v the four lanes are the inputs of one radix-4 butterfly; it runs
// as two radix-2 levels across lanes (halves swapped, then neighbours swapped), which leaves the
// outputs k in lane order 0, 2, 1, 3; the outer twiddle table is stored in that order. The weights
// ζ^(l·N/4 + v) factor into lane constants e^(iπl/8), applied before the butterfly, and ζ^v, merged
// into the twiddles after it.
#include "multiply/fft/fft_outer.hpp"

#include <cmath>
#include <cstring>

#include "multiply/fft/fft_twiddles.hpp"
#include "multiply/fft/fft_vector.hpp"

namespace zx::fft {
namespace {

constexpr double kCos8 = 0.92387953251128675612818318939679;  // cos(π/8)
constexpr double kSin8 = 0.38268343236508977172845998403040;  // sin(π/8)
constexpr double kRootHalf = 0.70710678118654752440084436210485;

const V4 kLaneRe = {1.0, kCos8, kRootHalf, kSin8};
const V4 kLaneIm = {0.0, kSin8, kRootHalf, kCos8};
const V4 kHalvesSign = {1.0, 1.0, -1.0, -1.0};
const V4 kPairsSign = {1.0, -1.0, 1.0, -1.0};

// The carry (0 or 1) that balancing from point 0 brings into point `index`: a field of 2^(b−1)
// or more sends one, a field below 2^(b−1) − 1 none, and 2^(b−1) − 1 passes on what it got.
int32_t BalancedCarryInto(const uint32_t* fields, uint64_t index, uint32_t pointBits) {
  const uint32_t half = 1u << (pointBits - 1);
  for (uint64_t j = index; j-- > 0;) {
    if (fields[j] >= half) return 1;
    if (fields[j] != half - 1) return 0;
  }
  return 0;
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
  OuterForwardRange(x, fields, n, pointBits, halfZero, 0, n / 4);
}

void OuterForwardRange(double* x, const uint32_t* fields, uint64_t n, uint32_t pointBits,
                       bool halfZero, uint64_t from, uint64_t to) {
  const uint64_t m = n / 4;
  const double* twiddles = OuterTwiddles(n);
  const CV4 lanes{kLaneRe, kLaneIm};
  const int32_t half = int32_t{1} << (pointBits - 1);
  // Lane c runs the chain of the c-th eighth of the points (lanes 4..7 are the imaginary inputs),
  // started with the carry its part of that eighth receives from below; the chain step is integer
  // work of three instructions.
  I32x8 carry;
  for (int c = 0; c < 8; c++) {
    carry[c] = halfZero && c >= 4 ? 0 : BalancedCarryInto(fields, c * m + from, pointBits);
  }
  const uint64_t low = OuterLowCount(m);
  // low is a power of two: its quotients and remainders are shifts and masks, not divisions.
  const uint32_t lowShift = static_cast<uint32_t>(__builtin_ctzll(low));
  for (uint64_t v = from; v < to; v += 4) {
    I32x8 points[4];
    LoadColumns8x4(fields + v, m, halfZero, points);
    // Only the add and the shift are on the chain from one point to the next.
    for (int i = 0; i < 4; i++) {
      const I32x8 value = points[i] + carry;
      carry = ((points[i] + half) + carry) >> pointBits;
      points[i] = value - (carry << pointBits);
    }
    // The top point keeps its carry (a field up to 2^b): nothing lies above it to take it.
    if (!halfZero && v + 4 == m) points[3][7] += carry[7] << pointBits;
    const CV4 high = LoadC(twiddles + 8 * (low + (v >> lowShift)));
    for (int i = 0; i < 4; i++) {
      const V4 re = LowToDouble(points[i]);
      const CV4 weighted =
          halfZero ? CV4{re * kLaneRe, re * kLaneIm} : Mul(CV4{re, HighToDouble(points[i])}, lanes);
      const CV4 lowPart = LoadC(twiddles + 8 * ((v + i) & (low - 1)));
      // With one high entry (m = S) that entry is 1.
      const CV4 twiddle = m == low ? lowPart : Mul(high, lowPart);
      StoreC(x + 8 * (v + i), Mul(LaneButterfly(weighted), twiddle));
    }
  }
}

int64_t OuterInverseCarry(const double* x, uint32_t* points, uint64_t n, uint32_t pointBits) {
  ChainCarries carries;
  OuterInverseRange(x, points, n, pointBits, 0, n / 4, &carries);
  return JoinChains(points, n, pointBits, &carries, 1);
}

void OuterInverseRange(const double* x, uint32_t* points, uint64_t n, uint32_t pointBits,
                       uint64_t from, uint64_t to, ChainCarries* carries) {
  const uint64_t m = n / 4;
  const double* twiddles = OuterTwiddles(n);
  const double scale = 1.0 / static_cast<double>(n);
  const CV4 lanes{kLaneRe * scale, kLaneIm * scale};
  const V4 half = Splat(0.5);
  const int64_t mask = (int64_t{1} << pointBits) - 1;
  // Without AVX-512, arithmetic shifts of 64-bit lanes go by way of a bias: |sum| < 2^62 keeps
  // sum + 2^62 positive. The carry chain runs through one add and one shift (two with the bias).
  [[maybe_unused]] const int64_t bias = int64_t{1} << 62;
  [[maybe_unused]] const int64_t biasShifted = bias >> pointBits;
  // Lanes 0..3 of carryRe are chains 0..3 (points below N), of carryIm chains 4..7.
  I64x4 carryRe = {};
  I64x4 carryIm = {};
  const uint64_t low = OuterLowCount(m);
  // low is a power of two: its quotients and remainders are shifts and masks, not divisions.
  const uint32_t lowShift = static_cast<uint32_t>(__builtin_ctzll(low));
  for (uint64_t v = from; v < to; v += 4) {
    I32x8 columns[4];
    const CV4 high = LoadC(twiddles + 8 * (low + (v >> lowShift)));
    for (int i = 0; i < 4; i++) {
      const CV4 lowPart = LoadC(twiddles + 8 * ((v + i) & (low - 1)));
      // With one high entry (m = S) that entry is 1.
      const CV4 twiddle = m == low ? lowPart : Mul(high, lowPart);
      const CV4 spectrum = MulConj(LoadC(x + 8 * (v + i)), twiddle);
      const CV4 value = MulConj(LaneButterflyInverse(spectrum), lanes);
      // Round half up, then carry in integers: the chain step is an add and a shift.
      const I64x4 roundedRe = IntegralToInt64(Floor(value.re + half));
      const I64x4 roundedIm = IntegralToInt64(Floor(value.im + half));
      const I64x4 sumRe = roundedRe + carryRe;
      const I64x4 sumIm = roundedIm + carryIm;
#if defined(__AVX512VL__)
      carryRe = sumRe >> pointBits;
      carryIm = sumIm >> pointBits;
#else
      carryRe = Reinterpret<I64x4>(Reinterpret<U64x4>((roundedRe + bias) + carryRe) >> pointBits) -
                biasShifted;
      carryIm = Reinterpret<I64x4>(Reinterpret<U64x4>((roundedIm + bias) + carryIm) >> pointBits) -
                biasShifted;
#endif
      columns[i] =
          __builtin_shufflevector(Reinterpret<I32x8>(sumRe & mask),
                                  Reinterpret<I32x8>(sumIm & mask), 0, 2, 4, 6, 8, 10, 12, 14);
    }
    StoreColumns8x4(points + v, m, columns);
  }
  carries->from = from;
  carries->to = to;
  for (int chain = 0; chain < 4; chain++) {
    carries->out[chain] = carryRe[chain];
    carries->out[chain + 4] = carryIm[chain];
  }
}

int64_t JoinChains(uint32_t* points, uint64_t n, uint32_t pointBits, const ChainCarries* ranges,
                   uint32_t count) {
  const uint64_t m = n / 4;
  const int64_t mask = (int64_t{1} << pointBits) - 1;
  // Every part of a chain began with no carry; its true carry-in enters at its first point and
  // may run on.
  int64_t pending = 0;
  for (int chain = 0; chain < 8; chain++) {
    for (uint32_t r = 0; r < count; r++) {
      uint32_t* start = points + chain * m + ranges[r].from;
      const uint64_t length = ranges[r].to - ranges[r].from;
      for (uint64_t i = 0; i < length && pending != 0; i++) {
        const int64_t sum = start[i] + pending;
        start[i] = static_cast<uint32_t>(sum & mask);
        pending = sum >> pointBits;
      }
      pending += ranges[r].out[chain];
    }
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

bool TakeMagnitude(uint32_t* points, uint64_t count, uint32_t pointBits, uint32_t top) {
  if (top == 1) {
    points[0] = 1;
    return true;
  }
  if (points[count - 1] < 1u << (pointBits - 1)) return false;
  // 2^(L·b) + 1 − R: every point complemented, then 2 carried in.
  const uint32_t mask = (1u << pointBits) - 1;
  for (uint64_t i = 0; i < count; i++) points[i] = mask - points[i];
  CarryIn(points, count, pointBits, 2);
  return true;
}

}  // namespace zx::fft
