// Outer pass kernels. Per vector v the four lanes are the inputs of one radix-4 butterfly; it runs
// as two radix-2 levels across lanes (halves swapped, then neighbours swapped), which leaves the
// outputs k in lane order 0, 2, 1, 3; the outer twiddle table is stored in that order. The weights
// ζ^(l·N/4 + v) factor into lane constants e^(iπl/8), applied before the butterfly, and ζ^v, merged
// into the twiddles after it.
#include "multiply/fft/fft_outer.hpp"

#include <atomic>
#include <cmath>
#include <cstring>
#include <type_traits>

#include "multiply/fft/fft_twiddles.hpp"
#include "multiply/fft/fft_vector.hpp"
#include "shell/fatal.hpp"

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
// field(j) gives field j, from the packed points or from the operand's words.
template <typename FieldAt>
int32_t BalancedCarry(const FieldAt& field, uint64_t index, uint32_t pointBits) {
  const uint32_t half = 1u << (pointBits - 1);
  for (uint64_t j = index; j-- > 0;) {
    const uint32_t value = field(j);
    if (value >= half) return 1;
    if (value != half - 1) return 0;
  }
  return 0;
}

int32_t BalancedCarryInto(const uint32_t* fields, uint64_t index, uint32_t pointBits) {
  return BalancedCarry([fields](uint64_t j) { return fields[j]; }, index, pointBits);
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

// What every group of four vectors of a forward pass reads.
struct ForwardContext {
  double* x;
  const double* twiddles;
  uint64_t m;
  uint64_t low;
  uint32_t lowShift;
  uint32_t pointBits;
  bool halfZero;

  ForwardContext(double* into, uint64_t n, uint32_t bits, bool zeroHalf)
      : x(into),
        twiddles(OuterTwiddles(n)),
        m(n / 4),
        low(OuterLowCount(m)),
        // low is a power of two: its quotients and remainders are shifts and masks.
        lowShift(static_cast<uint32_t>(__builtin_ctzll(low))),
        pointBits(bits),
        halfZero(zeroHalf) {}
};

// Balances the fields of vectors v..v+3 (lane c: the c-th eighth's field, lanes 4..7 absent in
// the four-lane form of a half-zero operand) and stores their weighted first level. Only the add
// and the shift are on the chain from one point to the next.
template <typename Lanes>
inline void ForwardGroup(const ForwardContext& f, uint64_t v, Lanes points[4], Lanes& carry) {
  const int32_t half = int32_t{1} << (f.pointBits - 1);
  for (int i = 0; i < 4; i++) {
    const Lanes value = points[i] + carry;
    carry = ((points[i] + half) + carry) >> f.pointBits;
    points[i] = value - (carry << f.pointBits);
  }
  constexpr bool kEightLanes = sizeof(Lanes) == sizeof(I32x8);
  // The top point keeps its carry (a field up to 2^b): nothing lies above it to take it.
  if constexpr (kEightLanes) {
    if (!f.halfZero && v + 4 == f.m) points[3][7] += carry[7] << f.pointBits;
  }
  const CV4 high = LoadC(f.twiddles + 8 * (f.low + (v >> f.lowShift)));
  for (int i = 0; i < 4; i++) {
    CV4 weighted;
    if constexpr (kEightLanes) {
      const V4 re = LowToDouble(points[i]);
      weighted = f.halfZero ? CV4{re * kLaneRe, re * kLaneIm}
                            : Mul(CV4{re, HighToDouble(points[i])}, CV4{kLaneRe, kLaneIm});
    } else {
      const V4 re = __builtin_convertvector(points[i], V4);
      weighted = CV4{re * kLaneRe, re * kLaneIm};
    }
    const CV4 lowPart = LoadC(f.twiddles + 8 * ((v + i) & (f.low - 1)));
    // With one high entry (m = S) that entry is 1.
    const CV4 twiddle = f.m == f.low ? lowPart : Mul(high, lowPart);
    StoreC(f.x + 8 * (v + i), Mul(LaneButterfly(weighted), twiddle));
  }
}

}  // namespace

void OuterForward(double* x, const uint32_t* fields, uint64_t n, uint32_t pointBits,
                  bool halfZero) {
  OuterForwardRange(x, fields, n, pointBits, halfZero, 0, n / 4);
}

void OuterForwardRange(double* x, const uint32_t* fields, uint64_t n, uint32_t pointBits,
                       bool halfZero, uint64_t from, uint64_t to) {
  const ForwardContext f(x, n, pointBits, halfZero);
  // Lane c runs the chain of the c-th eighth of the points (lanes 4..7 are the imaginary inputs),
  // started with the carry its part of that eighth receives from below.
  I32x8 carry;
  for (int c = 0; c < 8; c++) {
    carry[c] = halfZero && c >= 4 ? 0 : BalancedCarryInto(fields, c * f.m + from, pointBits);
  }
  for (uint64_t v = from; v < to; v += 4) {
    I32x8 points[4];
    LoadColumns8x4(fields + v, f.m, halfZero, points);
    ForwardGroup(f, v, points, carry);
  }
}

#if ZX_FFT_FIELDS_FROM_WORDS
namespace {

#if defined(ZX_TEST_HOOKS)
std::atomic<bool> gFromWords{true};
#endif

// Field j of the operand (zero beyond it), for the carries that enter a range.
uint32_t FieldOf(const uint32_t* words, uint64_t count, uint32_t pointBits, uint64_t j) {
  const uint64_t bit = j * pointBits;
  const uint64_t w = bit / 32;
  if (w >= count) return 0;
  uint64_t pair = words[w];
  if (w + 1 < count) pair |= static_cast<uint64_t>(words[w + 1]) << 32;
  return static_cast<uint32_t>((pair >> (bit % 32)) & ((uint64_t{1} << pointBits) - 1));
}

int32_t BalancedCarryIntoWords(const uint32_t* words, uint64_t count, uint64_t index,
                               uint32_t pointBits) {
  return BalancedCarry([&](uint64_t j) { return FieldOf(words, count, pointBits, j); }, index,
                       pointBits);
}

// Eight consecutive fields of one eighth start at the same bit within a byte every time (8·b bits
// are b whole bytes), so one byte permutation and one shift per lane cut them from a 32-byte
// window (8·22 + 7 bits at most): the window's byte offset, lane by lane, and the shift after it.
struct FieldCutter {
  __m512i bytes;
  __m512i shifts;
};

FieldCutter MakeCutter(uint32_t firstBit, uint32_t pointBits) {
  typedef uint64_t U64x8 __attribute__((vector_size(64)));
  const U64x8 bit = firstBit + U64x8{0, 1, 2, 3, 4, 5, 6, 7} * pointBits;
  // Lane i's eight byte indices are bit/8 + 0..7 (below 32, so no byte overflows into the next).
  U64x8 index = bit >> 3;
  index |= index << 8;
  index |= index << 16;
  index |= index << 32;
  index += 0x0706050403020100;
  FieldCutter cutter;
  const U64x8 shift = bit & 7;
  std::memcpy(&cutter.bytes, &index, sizeof index);
  std::memcpy(&cutter.shifts, &shift, sizeof shift);
  return cutter;
}

// GCC 12's AVX-512 intrinsics pass an undefined vector as the merge source of their unmasked
// forms, which its own flow analysis then reports.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"

// The eight fields whose window starts at byte `at` of the operand; a window reaching past its
// end reads zeros there.
inline __m256i CutFields(const uint8_t* bytes, uint64_t byteCount, uint64_t at,
                         const FieldCutter& cutter, __m512i mask) {
  __m256i window;
  if (at + 32 <= byteCount) {
    window = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes + at));
  } else {
    alignas(32) uint8_t tail[32] = {};
    if (at < byteCount) std::memcpy(tail, bytes + at, byteCount - at);
    window = _mm256_load_si256(reinterpret_cast<const __m256i*>(tail));
  }
  const __m512i spread = _mm512_permutexvar_epi8(cutter.bytes, _mm512_zextsi256_si512(window));
  return _mm512_cvtepi64_epi32(_mm512_and_si512(_mm512_srlv_epi64(spread, cutter.shifts), mask));
}

#pragma GCC diagnostic pop

template <typename Lanes, typename Register>
inline Lanes As(Register v) {
  static_assert(sizeof(Lanes) == sizeof(Register));
  Lanes lanes;
  std::memcpy(&lanes, &v, sizeof lanes);
  return lanes;
}

}  // namespace

bool OuterReadsWords() {
#if defined(ZX_TEST_HOOKS)
  return gFromWords.load(std::memory_order_relaxed);
#else
  return true;
#endif
}

#if defined(ZX_TEST_HOOKS)
void OuterReadWords(bool enabled) {
  gFromWords.store(enabled);
}
#endif

namespace {

// The pass for kEighths eighths with data (4: a half-zero operand, whose vectors keep four lanes).
template <int kEighths>
void ForwardFromWords(const ForwardContext f, const uint32_t* words, uint64_t count,
                      uint64_t from, uint64_t to) {
  using Lanes = std::conditional_t<kEighths == 8, I32x8, I32x4>;
  const uint8_t* bytes = reinterpret_cast<const uint8_t*>(words);
  const uint64_t byteCount = 4 * count;
  Lanes carry;
  FieldCutter cutters[kEighths];
  uint64_t firstByte[kEighths];
  for (int c = 0; c < kEighths; c++) {
    const uint64_t first = c * f.m + from;
    carry[c] = BalancedCarryIntoWords(words, count, first, f.pointBits);
    firstByte[c] = first * f.pointBits / 8;
    cutters[c] = MakeCutter(static_cast<uint32_t>(first * f.pointBits % 8), f.pointBits);
  }
  const __m512i mask = _mm512_set1_epi64((int64_t{1} << f.pointBits) - 1);
  // Blocks of eight vectors: row c holds eighth c's fields v..v+7, and the transposition makes
  // vector v+i of the i-th fields (a range of a multiple of four may end in half a block).
  for (uint64_t v = from; v < to; v += 8) {
    const uint64_t step = (v - from) / 8 * f.pointBits;
    __m256i rows[kEighths];
    for (int c = 0; c < kEighths; c++) {
      rows[c] = CutFields(bytes, byteCount, firstByte[c] + step, cutters[c], mask);
    }
    __m256i pairs[kEighths];
    for (int c = 0; c < kEighths; c += 2) {
      pairs[c] = _mm256_unpacklo_epi32(rows[c], rows[c + 1]);
      pairs[c + 1] = _mm256_unpackhi_epi32(rows[c], rows[c + 1]);
    }
    // quads[c + k] holds fields k (low half) and k + 4 (high half) of eighths c..c+3.
    __m256i quads[kEighths];
    for (int c = 0; c < kEighths; c += 4) {
      quads[c] = _mm256_unpacklo_epi64(pairs[c], pairs[c + 2]);
      quads[c + 1] = _mm256_unpackhi_epi64(pairs[c], pairs[c + 2]);
      quads[c + 2] = _mm256_unpacklo_epi64(pairs[c + 1], pairs[c + 3]);
      quads[c + 3] = _mm256_unpackhi_epi64(pairs[c + 1], pairs[c + 3]);
    }
    Lanes points[8];
    for (int k = 0; k < 4; k++) {
      if constexpr (kEighths == 8) {
        points[k] = As<I32x8>(_mm256_permute2x128_si256(quads[k], quads[k + 4], 0x20));
        points[k + 4] = As<I32x8>(_mm256_permute2x128_si256(quads[k], quads[k + 4], 0x31));
      } else {
        points[k] = As<I32x4>(_mm256_castsi256_si128(quads[k]));
        points[k + 4] = As<I32x4>(_mm256_extracti128_si256(quads[k], 1));
      }
    }
    ForwardGroup(f, v, points, carry);
    if (v + 4 < to) ForwardGroup(f, v + 4, points + 4, carry);
  }
}

}  // namespace

void OuterForwardWordsRange(double* x, const uint32_t* words, uint64_t count, uint64_t n,
                            uint32_t pointBits, bool halfZero, uint64_t from, uint64_t to) {
  const ForwardContext f(x, n, pointBits, halfZero);
  if (halfZero) {
    ForwardFromWords<4>(f, words, count, from, to);
  } else {
    ForwardFromWords<8>(f, words, count, from, to);
  }
}
#else
bool OuterReadsWords() {
  return false;
}

#if defined(ZX_TEST_HOOKS)
void OuterReadWords(bool) {}
#endif

void OuterForwardWordsRange(double*, const uint32_t*, uint64_t, uint64_t, uint32_t, bool, uint64_t,
                            uint64_t) {
  FatalAssertion(kImpossibleResult, __func__, "OuterReadsWords()");
}
#endif

int64_t OuterInverseCarry(const double* x, uint32_t* points, uint64_t n, uint32_t pointBits) {
  ChainCarries carries;
  OuterInverseRange(x, points, n, pointBits, 0, n / 4, &carries);
  return JoinChains(points, n, pointBits, &carries, 1);
}

namespace {

// The eight carry chains of the inverse pass (lane c of a vector's real parts is chain c, of its
// imaginary parts chain c + 4): each value is rounded half up, floor(v + 1/2), and added to its
// chain's carry; the point keeps the low b bits and the rest moves on. Only the add and the shift
// are on the chain from one point to the next.
#if defined(__AVX512DQ__) && defined(__AVX512VL__)
// Both halves in one register, rounded down to integers by the conversion itself.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
struct InverseChains {
  __m512i carry = _mm512_setzero_si512();
  __m512i mask;
  __m128i shift;

  explicit InverseChains(uint32_t pointBits)
      : mask(_mm512_set1_epi64((int64_t{1} << pointBits) - 1)),
        shift(_mm_cvtsi32_si128(static_cast<int>(pointBits))) {}

  I32x8 Step(const CV4& value) {
    __m256d re;
    __m256d im;
    std::memcpy(&re, &value.re, sizeof re);
    std::memcpy(&im, &value.im, sizeof im);
    const __m512d both = _mm512_insertf64x4(_mm512_castpd256_pd512(re), im, 1);
    const __m512i rounded = _mm512_cvt_roundpd_epi64(
        _mm512_add_pd(both, _mm512_set1_pd(0.5)), _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC);
    const __m512i sum = _mm512_add_epi64(rounded, carry);
    carry = _mm512_sra_epi64(sum, shift);
    const __m256i narrow = _mm512_cvtepi64_epi32(_mm512_and_si512(sum, mask));
    I32x8 column;
    std::memcpy(&column, &narrow, sizeof column);
    return column;
  }
  void Out(int64_t out[8]) const {
    _mm512_storeu_si512(out, carry);
  }
};
#pragma GCC diagnostic pop
#else
struct InverseChains {
  // Lanes 0..3 of carryRe are chains 0..3 (points below N), of carryIm chains 4..7.
  I64x4 carryRe = {};
  I64x4 carryIm = {};
  uint32_t pointBits;
  int64_t mask;

  explicit InverseChains(uint32_t bits)
      : pointBits(bits), mask((int64_t{1} << bits) - 1) {}

  I32x8 Step(const CV4& value) {
    const V4 half = Splat(0.5);
    const I64x4 roundedRe = IntegralToInt64(Floor(value.re + half));
    const I64x4 roundedIm = IntegralToInt64(Floor(value.im + half));
    const I64x4 sumRe = roundedRe + carryRe;
    const I64x4 sumIm = roundedIm + carryIm;
#if defined(__AVX512VL__)
    carryRe = sumRe >> pointBits;
    carryIm = sumIm >> pointBits;
#else
    // Arithmetic shifts of 64-bit lanes go by way of a bias: |sum| < 2^62 keeps sum + 2^62
    // positive.
    const int64_t bias = int64_t{1} << 62;
    const int64_t biasShifted = bias >> pointBits;
    carryRe = Reinterpret<I64x4>(Reinterpret<U64x4>((roundedRe + bias) + carryRe) >> pointBits) -
              biasShifted;
    carryIm = Reinterpret<I64x4>(Reinterpret<U64x4>((roundedIm + bias) + carryIm) >> pointBits) -
              biasShifted;
#endif
    return __builtin_shufflevector(Reinterpret<I32x8>(sumRe & mask),
                                   Reinterpret<I32x8>(sumIm & mask), 0, 2, 4, 6, 8, 10, 12, 14);
  }
  void Out(int64_t out[8]) const {
    for (int chain = 0; chain < 4; chain++) {
      out[chain] = carryRe[chain];
      out[chain + 4] = carryIm[chain];
    }
  }
};
#endif

}  // namespace

void OuterInverseRange(const double* x, uint32_t* points, uint64_t n, uint32_t pointBits,
                       uint64_t from, uint64_t to, ChainCarries* carries) {
  const uint64_t m = n / 4;
  const double* twiddles = OuterTwiddles(n);
  const double scale = 1.0 / static_cast<double>(n);
  const CV4 lanes{kLaneRe * scale, kLaneIm * scale};
  InverseChains chains(pointBits);
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
      columns[i] = chains.Step(MulConj(LaneButterflyInverse(spectrum), lanes));
    }
    StoreColumns8x4(points + v, m, columns);
  }
  carries->from = from;
  carries->to = to;
  chains.Out(carries->out);
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
