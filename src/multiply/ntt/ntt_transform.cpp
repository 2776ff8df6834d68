// The four-step transform. Cost per point and level: half a butterfly of 3 multiply-adds on 8
// lanes; the twist adds 7 per 8 points. Memory: the columns are copied a strip of up to 128 at a
// time into scratch (their rows are a power of two apart, which would map a strip onto a handful
// of cache sets), the rows are worked in place.
#include "multiply/ntt/ntt_transform.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <functional>

#include "multiply/ntt/ntt_lanes.hpp"
#include "runtime/threads.hpp"

namespace zx::ntt {
namespace {

// p = c·2^30 + 1 just below 2^51, each with 3 as a primitive root.
constexpr uint64_t kPrimes[kPrimeCount] = {0x7fffe40000001, 0x7fff600000001, 0x7fff3c0000001};
constexpr uint64_t kGenerator = 3;
// Rows hold at most 2^13 points and columns fewer, so tables of ω_(2·len)^j reach len = 2^12.
constexpr uint32_t kMaxLogSide = 13;
constexpr uint64_t kTableSize = uint64_t{1} << kMaxLogSide;
constexpr uint64_t kTwistEntries = 40;

uint64_t InverseMod2Pow52(uint64_t p) {
  uint64_t x = 1;  // Newton: each step doubles the correct low bits
  for (int i = 0; i < 6; ++i) x *= 2 - p * x;
  return x & kMask52;
}

PrimeField MakeField(uint64_t p) {
  PrimeField f;
  f.p = p;
  f.pInverse = InverseMod2Pow52(p);
  f.montgomery = (uint64_t{1} << 52) % p;
  f.root = PowMod(kGenerator, (p - 1) >> kMaxLogPoints, p);
  return f;
}

// ω_(2·len)^±j at [len + j] with its Shoup companion, for len from 1 to kTableSize / 2.
struct Tables {
  alignas(64) uint64_t forward[kTableSize];
  alignas(64) uint64_t forwardShoup[kTableSize];
  alignas(64) uint64_t inverse[kTableSize];
  alignas(64) uint64_t inverseShoup[kTableSize];
};

// floor(w·2^52 / p) for w < p: estimated in doubles (within a unit or two), then corrected on the
// remainder w·2^52 − q·p, which stays small enough to form modulo 2^64. A division of 128 bits
// would take most of the time of the twist tables built for every product.
uint64_t ShoupOf(uint64_t w, uint64_t p) {
  auto q = static_cast<uint64_t>(static_cast<double>(w) * (0x1p52 / static_cast<double>(p)));
  auto r = static_cast<int64_t>((w << 52) - q * p);
  for (; r < 0; --q) r += static_cast<int64_t>(p);
  for (; r >= static_cast<int64_t>(p); ++q) r -= static_cast<int64_t>(p);
  return q;
}

void FillTables(const PrimeField& f, Tables* t) {
  const uint64_t top = PowMod(f.root, uint64_t{1} << (kMaxLogPoints - kMaxLogSide), f.p);
  const uint64_t topInverse = PowMod(top, f.p - 2, f.p);
  for (uint64_t len = 1; len < kTableSize; len *= 2) {
    const uint64_t step = kTableSize / (2 * len);
    const uint64_t w = PowMod(top, step, f.p);
    const uint64_t wInverse = PowMod(topInverse, step, f.p);
    uint64_t x = 1;
    uint64_t y = 1;
    for (uint64_t j = 0; j < len; ++j) {
      t->forward[len + j] = x;
      t->forwardShoup[len + j] = ShoupOf(x, f.p);
      t->inverse[len + j] = y;
      t->inverseShoup[len + j] = ShoupOf(y, f.p);
      x = MulMod(x, w, f.p);
      y = MulMod(y, wInverse, f.p);
    }
  }
  t->forward[0] = t->forwardShoup[0] = t->inverse[0] = t->inverseShoup[0] = 0;
}

struct Fields {
  std::array<PrimeField, kPrimeCount> field;
  std::array<Tables, kPrimeCount> tables;
};

const Fields& AllFields() {
  static const Fields* fields = [] {
    auto* f = new Fields;
    for (int i = 0; i < kPrimeCount; ++i) {
      f->field[i] = MakeField(kPrimes[i]);
      FillTables(f->field[i], &f->tables[i]);
    }
    return f;
  }();
  return *fields;
}

struct Shape {
  uint32_t logRows;     // N1: the column transforms' length
  uint32_t logColumns;  // N2: the rows' length, at least 32
};

// Columns are the strided pass: at most 2^9 of them per row from 2^20 points on, so that a strip
// of 128 columns (a kilobyte of each row) still fits half the second-level cache; rows take the
// rest, up to 2^13 points (64 KiB, worked in the second-level cache).
Shape ShapeFor(uint32_t logPoints) {
  Shape s;
  s.logColumns = std::min<uint32_t>(kMaxLogSide, std::max((logPoints + 1) / 2, logPoints - 9));
  s.logRows = logPoints - s.logColumns;
  return s;
}

// Strips as wide as keep one in half of the second-level cache (at least a vector): each visit to
// a row should bring several lines.
uint64_t StripWidth(const Shape& s) {
  return std::min(std::clamp<uint64_t>((uint64_t{1} << 16) >> s.logRows, 8, 128),
                  uint64_t{1} << s.logColumns);
}

}  // namespace

uint64_t MulMod(uint64_t a, uint64_t b, uint64_t p) {
  // The quotient from doubles is within a few units of the true one for p < 2^51, so the
  // remainder, formed modulo 2^64, is a small signed number to correct.
  const auto q = static_cast<uint64_t>(static_cast<double>(a) * static_cast<double>(b) /
                                       static_cast<double>(p));
  auto r = static_cast<int64_t>(a * b - q * p);
  while (r < 0) r += static_cast<int64_t>(p);
  while (r >= static_cast<int64_t>(p)) r -= static_cast<int64_t>(p);
  return static_cast<uint64_t>(r);
}

uint64_t PowMod(uint64_t a, uint64_t e, uint64_t p) {
  uint64_t r = 1;
  a %= p;
  for (; e != 0; e >>= 1) {
    if (e & 1) r = MulMod(r, a, p);
    a = MulMod(a, a, p);
  }
  return r;
}

const PrimeField& Prime(int index) {
  return AllFields().field[index];
}

uint64_t RunnerScratchBytes(uint32_t logPoints) {
  const Shape s = ShapeFor(logPoints);
  // A strip of columns, or a row of the second operand.
  return std::max(StripWidth(s) << s.logRows, uint64_t{1} << s.logColumns) * 8;
}

void ForChunks(SharedSteps* shared, uint64_t count,
               const std::function<void(uint32_t chunk, uint64_t first, uint64_t end)>& body) {
  // Eight chunks give the two runners an even finish; alone, the caller takes one.
  const bool partner = shared != nullptr && shared->partner != nullptr;
  const auto chunks = static_cast<uint32_t>(std::min<uint64_t>(partner ? kMaxChunks : 1, count));
  if (chunks == 0) return;
  auto run = [&](uint32_t chunk) {
    body(chunk, count * chunk / chunks, count * (chunk + 1) / chunks);
  };
  if (chunks == 1) {
    run(0);
  } else {
    RunSharedStep(*shared, chunks, run);
  }
}

uint64_t TwistBytes(uint32_t logPoints) {
  return (2 * kTwistEntries << ShapeFor(logPoints).logRows) * 8;
}

#if defined(ZX_NTT_LANES)
namespace {

struct Context {
  Lanes p, twoP, pInverse, negP;
  const Tables* tables;
  const PrimeField* field;
};

uint32_t BitReverse(uint64_t x, uint32_t bits) {
  uint32_t r = 0;
  for (uint32_t i = 0; i < bits; ++i) r |= static_cast<uint32_t>((x >> i) & 1) << (bits - 1 - i);
  return r;
}

Context ContextFor(int index) {
  const Fields& all = AllFields();
  Context c;
  c.field = &all.field[index];
  c.tables = &all.tables[index];
  c.p = Broadcast(c.field->p);
  c.twoP = Broadcast(2 * c.field->p);
  c.pInverse = Broadcast(c.field->pInverse);
  c.negP = Broadcast((uint64_t{1} << 52) - c.field->p);
  return c;
}

// Two levels of butterflies at once on x0..x3 (quarter-distance apart): forward, the outer level
// (x0, x2), (x1, x3) then the inner (x0, x1), (x2, x3); inverse the other way round. Half the
// loads and stores of two radix-2 levels, the same arithmetic.
inline void RadixFourForward(const Context& c, uint64_t* x0, uint64_t* x1, uint64_t* x2,
                             uint64_t* x3, Lanes w02, Lanes s02, Lanes w13, Lanes s13, Lanes w,
                             Lanes s) {
  Lanes a = Load(x0), b = Load(x1), d = Load(x2), e = Load(x3);
  ButterflyForward(a, d, w02, s02, c.negP, c.twoP);
  ButterflyForward(b, e, w13, s13, c.negP, c.twoP);
  ButterflyForward(a, b, w, s, c.negP, c.twoP);
  ButterflyForward(d, e, w, s, c.negP, c.twoP);
  Store(x0, a);
  Store(x1, b);
  Store(x2, d);
  Store(x3, e);
}

inline void RadixFourInverse(const Context& c, uint64_t* x0, uint64_t* x1, uint64_t* x2,
                             uint64_t* x3, Lanes w, Lanes s, Lanes w02, Lanes s02, Lanes w13,
                             Lanes s13) {
  Lanes a = Load(x0), b = Load(x1), d = Load(x2), e = Load(x3);
  ButterflyInverse(a, b, w, s, c.negP, c.twoP);
  ButterflyInverse(d, e, w, s, c.negP, c.twoP);
  ButterflyInverse(a, d, w02, s02, c.negP, c.twoP);
  ButterflyInverse(b, e, w13, s13, c.negP, c.twoP);
  Store(x0, a);
  Store(x1, b);
  Store(x2, d);
  Store(x3, e);
}

inline void RadixTwo(const Context& c, uint64_t* x, uint64_t* y, Lanes w, Lanes s, bool inverse) {
  Lanes a = Load(x), b = Load(y);
  if (inverse) {
    ButterflyInverse(a, b, w, s, c.negP, c.twoP);
  } else {
    ButterflyForward(a, b, w, s, c.negP, c.twoP);
  }
  Store(x, a);
  Store(y, b);
}

// Levels len = high, high/2, .., low of a transform (decimation in frequency) on the units
// [0, span), two at a time, one alone first if their count is odd; the inverse (decimation in
// time) the other way round. Columns (kRows false): a unit is a row of a strip `width` columns
// wide, one twiddle broadcast over all of it. Rows (kRows true): a unit is one point, eight
// consecutive ones with their own twiddles per vector, so low ≥ 16.
template <bool kRows>
struct Units {
  uint64_t width;  // columns: the strip's width
  uint64_t stride() const { return kRows ? 1 : width; }
  uint64_t step() const { return kRows ? 8 : 1; }
  uint64_t lanes() const { return kRows ? 8 : width; }
  static Lanes Twiddle(const uint64_t* table, uint64_t i) {
    return kRows ? Load(table + i) : Broadcast(table[i]);
  }
};

template <bool kRows>
void LevelsForward(const Context& c, uint64_t* x, uint64_t span, uint64_t high, uint64_t low,
                   Units<kRows> u) {
  const uint64_t* t = c.tables->forward;
  const uint64_t* ts = c.tables->forwardShoup;
  const uint64_t d = u.stride();
  uint64_t len = high;
  if ((std::countr_zero(high) - std::countr_zero(low)) % 2 == 0) {
    for (uint64_t start = 0; start < span; start += 2 * len) {
      for (uint64_t j = 0; j < len; j += u.step()) {
        const Lanes w = u.Twiddle(t, len + j), s = u.Twiddle(ts, len + j);
        uint64_t* y = x + d * (start + j);
        for (uint64_t v = 0; v < u.lanes(); v += 8)
          RadixTwo(c, y + v, y + d * len + v, w, s, false);
      }
    }
    len /= 2;
  }
  for (; len > low; len /= 4) {
    const uint64_t q = len / 2;
    for (uint64_t start = 0; start < span; start += 2 * len) {
      for (uint64_t j = 0; j < q; j += u.step()) {
        const Lanes w02 = u.Twiddle(t, len + j), s02 = u.Twiddle(ts, len + j);
        const Lanes w13 = u.Twiddle(t, len + q + j), s13 = u.Twiddle(ts, len + q + j);
        const Lanes w = u.Twiddle(t, q + j), s = u.Twiddle(ts, q + j);
        uint64_t* y = x + d * (start + j);
        for (uint64_t v = 0; v < u.lanes(); v += 8) {
          RadixFourForward(c, y + v, y + d * q + v, y + d * len + v, y + d * (len + q) + v, w02,
                           s02, w13, s13, w, s);
        }
      }
    }
  }
}

template <bool kRows>
void LevelsInverse(const Context& c, uint64_t* x, uint64_t span, uint64_t low, uint64_t high,
                   Units<kRows> u) {
  const uint64_t* t = c.tables->inverse;
  const uint64_t* ts = c.tables->inverseShoup;
  const uint64_t d = u.stride();
  uint64_t len = low;
  for (; len < high; len *= 4) {
    for (uint64_t start = 0; start < span; start += 4 * len) {
      for (uint64_t j = 0; j < len; j += u.step()) {
        const Lanes w = u.Twiddle(t, len + j), s = u.Twiddle(ts, len + j);
        const Lanes w02 = u.Twiddle(t, 2 * len + j), s02 = u.Twiddle(ts, 2 * len + j);
        const Lanes w13 = u.Twiddle(t, 3 * len + j), s13 = u.Twiddle(ts, 3 * len + j);
        uint64_t* y = x + d * (start + j);
        for (uint64_t v = 0; v < u.lanes(); v += 8) {
          RadixFourInverse(c, y + v, y + d * len + v, y + d * 2 * len + v, y + d * 3 * len + v, w,
                           s, w02, s02, w13, s13);
        }
      }
    }
  }
  if (len == high) {
    for (uint64_t start = 0; start < span; start += 2 * len) {
      for (uint64_t j = 0; j < len; j += u.step()) {
        const Lanes w = u.Twiddle(t, len + j), s = u.Twiddle(ts, len + j);
        uint64_t* y = x + d * (start + j);
        for (uint64_t v = 0; v < u.lanes(); v += 8) RadixTwo(c, y + v, y + d * len + v, w, s, true);
      }
    }
  }
}

// Rows of a strip that fit the first-level cache together (32 KiB): the levels below them run
// block by block, depth first, instead of as passes over the whole strip in the second level.
uint64_t CacheBlockRows(uint64_t rows, uint64_t width) {
  return std::clamp<uint64_t>((uint64_t{32} << 10) / (8 * width), 2, rows);
}

// Column transforms on a strip of `width` columns (width / 8 vectors per row).
void ColumnsForward(const Context& c, uint64_t* strip, uint32_t logRows, uint64_t width) {
  const uint64_t rows = uint64_t{1} << logRows;
  const uint64_t block = CacheBlockRows(rows, width);
  const Units<false> units{width};
  if (block < rows) LevelsForward(c, strip, rows, rows / 2, block, units);
  for (uint64_t start = 0; start < rows; start += block) {
    LevelsForward(c, strip + width * start, block, block / 2, 1, units);
  }
}

void ColumnsInverse(const Context& c, uint64_t* strip, uint32_t logRows, uint64_t width) {
  const uint64_t rows = uint64_t{1} << logRows;
  const uint64_t block = CacheBlockRows(rows, width);
  const Units<false> units{width};
  for (uint64_t start = 0; start < rows; start += block) {
    LevelsInverse(c, strip + width * start, block, 1, block / 2, units);
  }
  if (block < rows) LevelsInverse(c, strip, rows, block, rows / 2, units);
}

// The twist of row r, which holds frequency k = bitrev(r) after the columns: column n is
// multiplied by ω_N^(±k·n). Each row's table holds ω^(k·l) for l < 32 in Montgomery form (four
// chains of eight lanes, so that the steps do not wait on each other) and the Shoup pair of
// ω^(32k) that moves every chain on by 32 columns; rows are padded to whole lines.

// Rows first .. end − 1 (in natural order of k) of the table, every entry times `factor`.
void TwistTable(const Context& c, uint32_t logPoints, uint32_t logRows, bool inverse,
                uint64_t factor, uint64_t first, uint64_t end, uint64_t* table) {
  const uint64_t p = c.field->p;
  uint64_t w = PowMod(c.field->root, uint64_t{1} << (kMaxLogPoints - logPoints), p);
  if (inverse) w = PowMod(w, p - 2, p);
  uint64_t wk = PowMod(w, first, p);
  for (uint64_t k = first; k < end; ++k, wk = MulMod(wk, w, p)) {
    uint64_t* row = table + kTwistEntries * BitReverse(k, logRows);
    uint64_t x = MulMod(c.field->montgomery, factor, p);
    for (uint64_t l = 0; l < 8; ++l, x = MulMod(x, wk, p)) row[l] = x;
    // x is now factor·ω^(8k) in Montgomery form; lanes 8..31 follow eight at a time.
    const uint64_t step8 = PowMod(wk, 8, p);
    const Lanes sw = Broadcast(step8), ss = Broadcast(ShoupOf(step8, p));
    for (uint64_t l = 8; l < 32; l += 8)
      Store(row + l, MulShoup(Load(row + l - 8), sw, ss, c.negP));
    const uint64_t step32 = PowMod(step8, 4, p);
    row[32] = step32;
    row[33] = ShoupOf(step32, p);
  }
}

// from[0..n) times its row's twist, into to (which may be from), n a multiple of 32.
inline void TwistRow(const Context& c, const uint64_t* from, uint64_t* to, uint64_t n,
                     const uint64_t* row) {
  Lanes root[4] = {Load(row), Load(row + 8), Load(row + 16), Load(row + 24)};
  const Lanes w = Broadcast(row[32]), ws = Broadcast(row[33]);
  for (uint64_t i = 0; i < n; i += 32) {
    for (int q = 0; q < 4; ++q) {
      Store(to + i + 8 * q, MulMontgomery(Load(from + i + 8 * q), root[q], c.p, c.pInverse));
      root[q] = MulShoup(root[q], w, ws, c.negP);
    }
  }
}

// Coefficients n = 8·column + lane of row r, reduced below 2p: a limb is lo + hi·2^52 with
// hi < 2^12, and hi·(2^52 mod p) stays below 2^50 for these primes.
Lanes LoadCoefficients(const Context& c, const Coefficients& source, uint64_t n) {
  alignas(64) uint64_t limbs[8];
  const uint64_t limbCount = (source.wordCount + 1) / 2;
  if (n + 8 <= source.wordCount / 2) {
    const Lanes x = _mm512_loadu_si512(source.words + 2 * n);
    const Lanes hi = _mm512_srli_epi64(x, 52);
    const Lanes lo = _mm512_and_si512(x, Broadcast(kMask52));
    return ReduceBelow(_mm512_madd52lo_epu64(lo, hi, Broadcast(c.field->montgomery)), c.twoP);
  }
  for (uint64_t l = 0; l < 8; ++l) {
    const uint64_t i = n + l;
    uint64_t v = 0;
    if (i < limbCount) {
      v = source.words[2 * i];
      if (2 * i + 1 < source.wordCount) v |= uint64_t{source.words[2 * i + 1]} << 32;
    }
    limbs[l] = v % c.field->p;
  }
  return Load(limbs);
}

uint64_t CoefficientCount(const Coefficients& source) {
  return source.residues != nullptr ? source.residueCount : (source.wordCount + 1) / 2;
}

// Coefficients n .. n + 7 of the source (n a multiple of 8), zero from its count on.
Lanes CoefficientsAt(const Context& c, const Coefficients& source, uint64_t n, uint64_t count) {
  if (n >= count) return _mm512_setzero_si512();
  return source.residues != nullptr ? Load(source.residues + n) : LoadCoefficients(c, source, n);
}

const void* CoefficientAddress(const Coefficients& source, uint64_t n) {
  return source.residues != nullptr ? static_cast<const void*>(source.residues + n)
                                    : static_cast<const void*>(source.words + 2 * n);
}

// Rows longer than this many points (16 KiB) run their lower levels block by block, each block
// finished in the first-level cache.
constexpr uint64_t kRowBlock = 2048;

// The last four levels of a row on pairs of vectors u = x[0..8), v = x[8..16): the len = 8
// butterfly pairs them whole, then the lanes are regrouped so that every butterfly pairs two
// vectors; the scrambled order they are stored in is the one the inverse reads.
const __m512i kPairLow = _mm512_setr_epi64(0, 1, 8, 9, 4, 5, 12, 13);
const __m512i kPairHigh = _mm512_setr_epi64(2, 3, 10, 11, 6, 7, 14, 15);

Lanes Repeat4(const uint64_t* w) {
  return _mm512_broadcast_i64x4(_mm256_load_si256(reinterpret_cast<const __m256i*>(w)));
}
Lanes Repeat2(const uint64_t* w) {
  return _mm512_broadcast_i64x2(_mm_load_si128(reinterpret_cast<const __m128i*>(w)));
}

// The last four levels of one block of a row.
void RowTailForward(const Context& c, uint64_t* x, uint64_t n) {
  const Tables& t = *c.tables;
  const Lanes w8 = Load(t.forward + 8), w8s = Load(t.forwardShoup + 8);
  const Lanes w4 = Repeat4(t.forward + 4), w4s = Repeat4(t.forwardShoup + 4);
  const Lanes w2 = Repeat2(t.forward + 2), w2s = Repeat2(t.forwardShoup + 2);
  for (uint64_t i = 0; i < n; i += 16) {
    Lanes u = Load(x + i);
    Lanes v = Load(x + i + 8);
    ButterflyForward(u, v, w8, w8s, c.negP, c.twoP);
    Lanes a = _mm512_shuffle_i64x2(u, v, 0x44);
    Lanes b = _mm512_shuffle_i64x2(u, v, 0xEE);
    ButterflyForward(a, b, w4, w4s, c.negP, c.twoP);
    Lanes e = _mm512_permutex2var_epi64(a, kPairLow, b);
    Lanes f = _mm512_permutex2var_epi64(a, kPairHigh, b);
    ButterflyForward(e, f, w2, w2s, c.negP, c.twoP);
    const Lanes g = _mm512_unpacklo_epi64(e, f);
    const Lanes h = _mm512_unpackhi_epi64(e, f);
    Store(x + i, ReduceBelow(_mm512_add_epi64(g, h), c.twoP));
    Store(x + i + 8, SubMod(g, h, c.twoP));
  }
}

void RowTailInverse(const Context& c, uint64_t* x, uint64_t n) {
  const Tables& t = *c.tables;
  const Lanes w8 = Load(t.inverse + 8), w8s = Load(t.inverseShoup + 8);
  const Lanes w4 = Repeat4(t.inverse + 4), w4s = Repeat4(t.inverseShoup + 4);
  const Lanes w2 = Repeat2(t.inverse + 2), w2s = Repeat2(t.inverseShoup + 2);
  for (uint64_t i = 0; i < n; i += 16) {
    const Lanes g0 = Load(x + i);
    const Lanes h0 = Load(x + i + 8);
    const Lanes g = ReduceBelow(_mm512_add_epi64(g0, h0), c.twoP);
    const Lanes h = SubMod(g0, h0, c.twoP);
    Lanes e = _mm512_unpacklo_epi64(g, h);
    Lanes f = _mm512_unpackhi_epi64(g, h);
    ButterflyInverse(e, f, w2, w2s, c.negP, c.twoP);
    Lanes a = _mm512_permutex2var_epi64(e, kPairLow, f);
    Lanes b = _mm512_permutex2var_epi64(e, kPairHigh, f);
    ButterflyInverse(a, b, w4, w4s, c.negP, c.twoP);
    Lanes u = _mm512_shuffle_i64x2(a, b, 0x44);
    Lanes v = _mm512_shuffle_i64x2(a, b, 0xEE);
    ButterflyInverse(u, v, w8, w8s, c.negP, c.twoP);
    Store(x + i, u);
    Store(x + i + 8, v);
  }
}

void RowForward(const Context& c, uint64_t* x, uint32_t logColumns) {
  const uint64_t n = uint64_t{1} << logColumns;
  const uint64_t block = std::min(n, kRowBlock);
  if (block < n) LevelsForward(c, x, n, n / 2, block, Units<true>{});
  for (uint64_t start = 0; start < n; start += block) {
    if (block > 16) LevelsForward(c, x + start, block, block / 2, 16, Units<true>{});
    RowTailForward(c, x + start, block);
  }
}

void RowInverse(const Context& c, uint64_t* x, uint32_t logColumns) {
  const uint64_t n = uint64_t{1} << logColumns;
  const uint64_t block = std::min(n, kRowBlock);
  for (uint64_t start = 0; start < n; start += block) {
    RowTailInverse(c, x + start, block);
    if (block > 16) LevelsInverse(c, x + start, block, 16, block / 2, Units<true>{});
  }
  if (block < n) LevelsInverse(c, x, n, block, n / 2, Units<true>{});
}

// Arrays past half the last-level cache are written back from the strips around the caches: the
// next pass reads them from memory anyway, and a streamed store saves reading each line first.
constexpr uint32_t kStreamLogPoints = 21;

inline void StoreStrip(uint64_t* to, Lanes x, bool stream) {
  if (stream) {
    _mm512_stream_si512(reinterpret_cast<__m512i*>(to), x);
  } else {
    Store(to, x);
  }
}

// A strip reads a kilobyte or less from each of its rows, far apart: the hardware sees no stream
// to follow, so the rows a few ahead are asked for explicitly.
constexpr uint64_t kPrefetchRows = 8;

inline void PrefetchLines(const void* from, uint64_t limbs) {
  const auto* bytes = static_cast<const char*>(from);
  for (uint64_t i = 0; i < limbs * 8; i += 64) _mm_prefetch(bytes + i, _MM_HINT_T0);
}

// Each runner (the caller, the partner) takes one of two scratch blocks for a chunk's duration.
struct Runners {
  SharedSteps* shared;
  uint64_t* scratch[2];
  std::atomic<bool> busy[2] = {false, false};
};

void RunChunks(Runners& runners, uint64_t count,
               const std::function<void(uint64_t first, uint64_t end, uint64_t* scratch)>& body) {
  ForChunks(runners.shared, count, [&](uint32_t, uint64_t first, uint64_t end) {
    int slot = 0;
    while (runners.busy[slot].exchange(true)) slot ^= 1;
    body(first, end, runners.scratch[slot]);
    runners.busy[slot].store(false);
  });
}

// The column transforms of every strip: the source's coefficients (which may be data itself) into
// a strip, transformed there, written back to data.
void ColumnPass(const Pass& pass, const Coefficients& source, uint64_t* data, bool inverse) {
  const Context c = ContextFor(pass.prime);
  const Shape s = ShapeFor(pass.logPoints);
  const uint64_t rows = uint64_t{1} << s.logRows;
  const uint64_t columns = uint64_t{1} << s.logColumns;
  const uint64_t width = StripWidth(s);
  const uint64_t count = CoefficientCount(source);
  const bool stream = pass.logPoints >= kStreamLogPoints;
  Runners runners{pass.shared, {pass.scratch[0], pass.scratch[1]}};
  RunChunks(runners, columns / width, [&](uint64_t first, uint64_t end, uint64_t* strip) {
    for (uint64_t column = first * width; column < end * width; column += width) {
      for (uint64_t r = 0; r < rows; ++r) {
        const uint64_t ahead = (r + kPrefetchRows) * columns + column;
        if (ahead < count) PrefetchLines(CoefficientAddress(source, ahead), width);
        for (uint64_t v = 0; v < width; v += 8) {
          Store(strip + width * r + v, CoefficientsAt(c, source, r * columns + column + v, count));
        }
      }
      if (inverse) {
        ColumnsInverse(c, strip, s.logRows, width);
      } else {
        ColumnsForward(c, strip, s.logRows, width);
      }
      for (uint64_t r = 0; r < rows; ++r) {
        for (uint64_t v = 0; v < width; v += 8) {
          StoreStrip(data + r * columns + column + v, Load(strip + width * r + v), stream);
        }
      }
    }
    // Streamed stores are weakly ordered: they must be out before the chunk counts as done.
    if (stream) _mm_sfence();
  });
}

}  // namespace

void Forward(const Pass& pass, const Coefficients& source, uint64_t* data) {
  ColumnPass(pass, source, data, false);
}

void RowsMultiply(const Pass& pass, uint64_t* a, const uint64_t* b, uint64_t scale) {
  const Context c = ContextFor(pass.prime);
  const Shape s = ShapeFor(pass.logPoints);
  const uint64_t rows = uint64_t{1} << s.logRows;
  const uint64_t columns = uint64_t{1} << s.logColumns;
  const uint64_t p = c.field->p;
  // The inverse twist also scales by scale / N, times 2^52 against the pointwise Montgomery
  // product's 2^−52.
  const uint64_t k = MulMod(MulMod(scale, PowMod(uint64_t{1} << pass.logPoints, p - 2, p), p),
                            c.field->montgomery, p);
  uint64_t* forwardTwist = pass.twist;
  uint64_t* inverseTwist = pass.twist + kTwistEntries * rows;
  Runners runners{pass.shared, {pass.scratch[0], pass.scratch[1]}};
  // As a shared step too: a pause between steps longer than the partner's spin sends it to sleep
  // for the rest of the product.
  RunChunks(runners, rows, [&](uint64_t first, uint64_t end, uint64_t*) {
    TwistTable(c, pass.logPoints, s.logRows, false, 1, first, end, forwardTwist);
    TwistTable(c, pass.logPoints, s.logRows, true, k, first, end, inverseTwist);
  });
  RunChunks(runners, rows, [&](uint64_t first, uint64_t end, uint64_t* rowB) {
    for (uint64_t r = first; r < end; ++r) {
      uint64_t* x = a + r * columns;
      const uint64_t* forward = forwardTwist + kTwistEntries * r;
      TwistRow(c, x, x, columns, forward);
      RowForward(c, x, s.logColumns);
      const uint64_t* y = x;
      if (b != a) {
        TwistRow(c, b + r * columns, rowB, columns, forward);
        RowForward(c, rowB, s.logColumns);
        y = rowB;
      }
      for (uint64_t i = 0; i < columns; i += 8) {
        Store(x + i, MulMontgomery(Load(x + i), Load(y + i), c.p, c.pInverse));
      }
      RowInverse(c, x, s.logColumns);
      TwistRow(c, x, x, columns, inverseTwist + kTwistEntries * r);
    }
  });
}

void InverseColumns(const Pass& pass, uint64_t* a) {
  ColumnPass(pass, {.residues = a, .residueCount = uint64_t{1} << pass.logPoints}, a, true);
}

void Fold(int prime, const Coefficients& source, uint64_t* out, uint64_t n, uint64_t g,
          uint64_t factor, bool accumulate, SharedSteps* shared) {
  const Context c = ContextFor(prime);
  const uint64_t p = c.field->p;
  const uint64_t count = CoefficientCount(source);
  ForChunks(shared, n / 8, [&](uint32_t, uint64_t first, uint64_t end) {
    uint64_t weight = factor % p;  // factor·g^j
    for (uint64_t block = 0; block * n < count || (block == 0 && !accumulate);
         ++block, weight = MulMod(weight, g, p)) {
      const Lanes w = Broadcast(weight), ws = Broadcast(ShoupOf(weight, p));
      for (uint64_t v = first; v < end; ++v) {
        Lanes sum = MulShoup(CoefficientsAt(c, source, block * n + 8 * v, count), w, ws, c.negP);
        if (block > 0 || accumulate)
          sum = ReduceBelow(_mm512_add_epi64(sum, Load(out + 8 * v)), c.twoP);
        Store(out + 8 * v, sum);
      }
    }
  });
}

void MultiplyByPowers(int prime, uint64_t* data, uint64_t n, uint64_t root, uint64_t factor,
                      SharedSteps* shared) {
  const Context c = ContextFor(prime);
  const uint64_t p = c.field->p;
  ForChunks(shared, n / 32, [&](uint32_t, uint64_t first, uint64_t end) {
    // The twist's row layout: root^l for l < 32 in Montgomery form, then root^32's Shoup pair.
    alignas(64) uint64_t row[kTwistEntries];
    uint64_t x = MulMod(MulMod(c.field->montgomery, factor % p, p), PowMod(root, 32 * first, p), p);
    for (int l = 0; l < 32; ++l, x = MulMod(x, root, p)) row[l] = x;
    row[32] = PowMod(root, 32, p);
    row[33] = ShoupOf(row[32], p);
    TwistRow(c, data + 32 * first, data + 32 * first, 32 * (end - first), row);
  });
}

#endif

uint64_t RootOfOrder(int prime, uint32_t logOrder) {
  const uint64_t p = Prime(prime).p;
  return PowMod(kGenerator, (p - 1) >> logOrder, p);
}

}  // namespace zx::ntt
