// The three transforms per prime (two forward, one inverse, the pointwise product inside the row
// pass), then the Chinese remainder theorem over the coefficients and one pass of carries.
// Cost: 9 transforms of N points (6 for a square), and 9 of L ≤ N/2 for the product modulo
// x^L − g where there is one; memory 32N bytes (24N for a square) and 24L.
#include "multiply/ntt/ntt_mul.hpp"

#include <algorithm>
#include <atomic>
#include <bit>

#include "multiply/basecase/basecase.hpp"
#include "multiply/ntt/ntt_lanes.hpp"
#include "multiply/ntt/ntt_transform.hpp"
#include "multiply/product_check.hpp"
#include "runtime/threads.hpp"
#include "shell/fatal.hpp"

namespace zx {
namespace {

using ntt::kPrimeCount;
__extension__ typedef unsigned __int128 U128;

// The transform lengths of a product of M coefficients: N = 2^k ≥ M, or, where M exceeds a power
// of two N by r ≤ N/2, the cyclic convolution of length N (whose first r coefficients are
// c_i + c_(N+i)) beside the product modulo x^L − g for a power of two L ≥ r, which separates the
// wrapped ones: N + L points instead of 2N.
struct Plan {
  uint32_t logPoints = 0;
  uint64_t wrapLimbs = 0;  // r, or 0
  uint32_t logWrap = 0;    // L
};

struct Shape {
  const uint32_t* a;
  uint64_t la;
  const uint32_t* b;
  uint64_t lb;
  uint64_t t;
  Plan plan;
};

uint64_t CoefficientsOf(uint64_t la, uint64_t lb) {
  return (la + 1) / 2 + (lb + 1) / 2 - 1;
}

Plan PlanFor(uint64_t la, uint64_t lb) {
  const uint64_t coefficients = CoefficientsOf(la, lb);
  Plan plan;
  plan.logPoints = std::max<uint32_t>(ntt::kMinLogPoints, std::bit_width(coefficients - 1));
  const uint64_t half = uint64_t{1} << (plan.logPoints - 1);
  if (plan.logPoints <= ntt::kMinLogPoints || (la + 1) / 2 > half || (lb + 1) / 2 > half) {
    return plan;
  }
  const uint64_t wrap = coefficients - half;
  // Eight more: the last group of eight coefficients past N reads that far.
  const uint32_t logWrap = std::max<uint32_t>(ntt::kMinLogPoints, std::bit_width(wrap + 7));
  if (logWrap + 2 > plan.logPoints) return plan;
  plan.logPoints -= 1;
  plan.wrapLimbs = wrap;
  plan.logWrap = logWrap;
  return plan;
}

Shape ShapeFor(const uint32_t* a, uint64_t la, const uint32_t* b, uint64_t lb, uint64_t t) {
  const TruncatedShape s = TruncateOperands(la, lb, t);
  Shape shape{a + s.dropA, la - s.dropA, b + s.dropB, lb - s.dropB, s.t, {}};
  shape.plan = PlanFor(shape.la, shape.lb);
  return shape;
}

// Arrays: the residues of each prime and the second operand's transform, at both lengths.
uint64_t MemoryBytesFor(const Plan& plan, bool square) {
  const uint64_t arrays = square ? kPrimeCount : kPrimeCount + 1;
  const uint64_t wrapPoints = plan.wrapLimbs == 0 ? 0 : uint64_t{1} << plan.logWrap;
  // The scratch and tables of the longer transform serve the shorter one too.
  const uint32_t scratchLog = std::max(plan.logPoints, plan.logWrap);
  return 8 * ((uint64_t{1} << plan.logPoints) * arrays + wrapPoints * kPrimeCount) +
         2 * ntt::RunnerScratchBytes(scratchLog) + ntt::TwistBytes(scratchLog) + 64 + 128;
}

std::atomic<uint32_t> gFaultsLeft{0};

#if defined(ZX_NTT_LANES)

using ntt::Lanes;

// Coefficients of a·b with n = min(limbs of a, b) ≤ 2^23 terms are below 2^151, about a quarter
// of the primes' product P > 2^152.99; the reconstruction needs them below three quarters.
struct Crt {
  uint64_t cofactor[kPrimeCount][2];  // P / p_j
  uint64_t scale[kPrimeCount];        // (P / p_j)^−1 mod p_j
  double inverse[kPrimeCount];        // 1 / p_j
  uint64_t multiple[kPrimeCount][3];  // k·P for k < 3
};

const Crt& CrtConstants() {
  static const Crt crt = [] {
    Crt c{};
    const uint64_t p[3] = {ntt::Prime(0).p, ntt::Prime(1).p, ntt::Prime(2).p};
    for (int j = 0; j < kPrimeCount; ++j) {
      const U128 q = static_cast<U128>(p[(j + 1) % 3]) * p[(j + 2) % 3];
      c.cofactor[j][0] = static_cast<uint64_t>(q);
      c.cofactor[j][1] = static_cast<uint64_t>(q >> 64);
      c.scale[j] = ntt::PowMod(static_cast<uint64_t>(q % p[j]), p[j] - 2, p[j]);
      c.inverse[j] = 1.0 / static_cast<double>(p[j]);
    }
    const U128 p01 = static_cast<U128>(p[0]) * p[1];
    const U128 low = static_cast<U128>(static_cast<uint64_t>(p01)) * p[2];
    const U128 high = static_cast<U128>(static_cast<uint64_t>(p01 >> 64)) * p[2] + (low >> 64);
    const uint64_t whole[3] = {static_cast<uint64_t>(low), static_cast<uint64_t>(high),
                               static_cast<uint64_t>(high >> 64)};
    for (int k = 1; k < 3; ++k) {
      U128 carry = 0;
      for (int l = 0; l < 3; ++l) {
        carry += static_cast<U128>(whole[l]) * k;
        c.multiple[k][l] = static_cast<uint64_t>(carry);
        carry >>= 64;
      }
    }
    return c;
  }();
  return crt;
}

constexpr uint64_t kResidueModulus = (uint64_t{1} << 61) - 1;

uint64_t FoldResidue(uint64_t x) {
  return (x & kResidueModulus) + (x >> 61);
}

// The coefficients' limbs, eight at a time: y_j reduced below p_j, c = Σ y_j·(P / p_j) − k·P in
// 52-bit columns, k from the same sum over p_j in floating point (k plus c / P, which is a quarter
// at most, so adding a quarter keeps the truncation clear of both integers), then the columns as
// three 64-bit limbs.
struct CrtLanes {
  Lanes p[kPrimeCount];
  Lanes cofactor[kPrimeCount][2];
  __m512d inverse[kPrimeCount];
  Lanes multiple[3];  // lanes 0..2: k·P's 52-bit limb l for k = 0, 1, 2
};

CrtLanes CrtLanesFor(const Crt& crt) {
  CrtLanes v;
  for (int j = 0; j < kPrimeCount; ++j) {
    v.p[j] = ntt::Broadcast(ntt::Prime(j).p);
    const U128 q = (static_cast<U128>(crt.cofactor[j][1]) << 64) | crt.cofactor[j][0];
    v.cofactor[j][0] = ntt::Broadcast(static_cast<uint64_t>(q) & ntt::kMask52);
    v.cofactor[j][1] = ntt::Broadcast(static_cast<uint64_t>(q >> 52));
    v.inverse[j] = _mm512_set1_pd(crt.inverse[j]);
  }
  alignas(64) uint64_t limbs[3][8] = {};
  for (int k = 1; k < 3; ++k) {
    const uint64_t* m = crt.multiple[k];
    limbs[0][k] = m[0] & ntt::kMask52;
    limbs[1][k] = ((m[0] >> 52) | (m[1] << 12)) & ntt::kMask52;
    limbs[2][k] = (m[1] >> 40) | (m[2] << 24);
  }
  for (int l = 0; l < 3; ++l) v.multiple[l] = ntt::Load(limbs[l]);
  return v;
}

// Residue modulo 2^61 − 1 of eight coefficients' limbs (l0 + l1·2^64 + l2·2^128, with
// 2^64 ≡ 2^3), each weighted by 2^(64·i) ≡ 2^(3i mod 61) through its lane's shift.
Lanes LimbsResidue(Lanes l0, Lanes l1, Lanes l2, Lanes shift) {
  const Lanes m = ntt::Broadcast(kResidueModulus);
  auto fold = [&](Lanes x) {
    return _mm512_add_epi64(_mm512_and_si512(x, m), _mm512_srli_epi64(x, 61));
  };
  Lanes x = _mm512_add_epi64(
      fold(l0), _mm512_add_epi64(_mm512_slli_epi64(l2, 6),
                                 _mm512_add_epi64(_mm512_and_si512(_mm512_slli_epi64(l1, 3), m),
                                                  _mm512_srli_epi64(l1, 58))));
  x = fold(x);
  return _mm512_add_epi64(_mm512_and_si512(_mm512_sllv_epi64(x, shift), m),
                          _mm512_srlv_epi64(x, _mm512_sub_epi64(ntt::Broadcast(61), shift)));
}

// Coefficients i .. i + 7 from their residues: three 64-bit limbs each into limbs[0..2], and their
// part of the product's residue added to `residue` (lanes below 2^62).
void CrtEight(const CrtLanes& v, const Lanes (&residues)[kPrimeCount], uint64_t* const (&limbs)[3],
              Lanes shift, Lanes& residue) {
  const Lanes zero = _mm512_setzero_si512();
  Lanes col0 = zero, col1 = zero, col2 = zero;
  __m512d f = _mm512_set1_pd(0.25);
  for (int j = 0; j < kPrimeCount; ++j) {
    const Lanes y = ntt::ReduceBelow(residues[j], v.p[j]);
    f = _mm512_fmadd_pd(_mm512_cvtepu64_pd(y), v.inverse[j], f);
    col0 = _mm512_madd52lo_epu64(col0, y, v.cofactor[j][0]);
    col1 = _mm512_madd52hi_epu64(col1, y, v.cofactor[j][0]);
    col1 = _mm512_madd52lo_epu64(col1, y, v.cofactor[j][1]);
    col2 = _mm512_madd52hi_epu64(col2, y, v.cofactor[j][1]);
  }
  const Lanes k = _mm512_cvttpd_epu64(f);
  col0 = _mm512_sub_epi64(col0, _mm512_permutexvar_epi64(k, v.multiple[0]));
  col1 = _mm512_sub_epi64(col1, _mm512_permutexvar_epi64(k, v.multiple[1]));
  col2 = _mm512_sub_epi64(col2, _mm512_permutexvar_epi64(k, v.multiple[2]));
  const Lanes mask = ntt::Broadcast(ntt::kMask52);
  col1 = _mm512_add_epi64(col1, _mm512_srai_epi64(col0, 52));
  col0 = _mm512_and_si512(col0, mask);
  col2 = _mm512_add_epi64(col2, _mm512_srai_epi64(col1, 52));
  col1 = _mm512_and_si512(col1, mask);
  const Lanes l0 = _mm512_or_si512(col0, _mm512_slli_epi64(col1, 52));
  const Lanes l1 = _mm512_or_si512(_mm512_srli_epi64(col1, 12), _mm512_slli_epi64(col2, 40));
  const Lanes l2 = _mm512_srli_epi64(col2, 24);
  ntt::Store(limbs[0], l0);
  ntt::Store(limbs[1], l1);
  ntt::Store(limbs[2], l2);
  const Lanes sum = _mm512_add_epi64(residue, LimbsResidue(l0, l1, l2, shift));
  const Lanes m = ntt::Broadcast(kResidueModulus);
  residue = _mm512_add_epi64(_mm512_and_si512(sum, m), _mm512_srli_epi64(sum, 61));
}

// Where coefficients come from: with q_i = c_(N+i) (i < r, 0 up to L) from the product modulo
// x^L − g, c_i = d_i − q_i for i < r, c_i = d_i for r ≤ i < N from the cyclic convolution d, and
// c_(N+i) = q_i. Their limbs then take the place of the residues: c_i's (i < N) in the cyclic
// arrays, c_(N+i)'s in the short ones, which are read last.
struct Residues {
  uint64_t* cyclic[kPrimeCount];
  uint64_t* wrap[kPrimeCount];
  uint64_t points;
  uint64_t wrapLimbs;
};

uint64_t* LimbsAt(const Residues& r, int l, uint64_t i) {
  return i < r.points ? r.cyclic[l] + i : r.wrap[l] + (i - r.points);
}

// Coefficients i .. i + 7 modulo each prime, each in [0, 2p).
void ResiduesAt(const Residues& r, const CrtLanes& v, uint64_t i, Lanes (&y)[kPrimeCount]) {
  for (int j = 0; j < kPrimeCount; ++j) {
    if (i >= r.points) {
      y[j] = ntt::Load(r.wrap[j] + (i - r.points));
    } else if (i < r.wrapLimbs) {
      y[j] = ntt::SubMod(ntt::Load(r.cyclic[j] + i), ntt::Load(r.wrap[j] + i),
                         _mm512_add_epi64(v.p[j], v.p[j]));
    } else {
      y[j] = ntt::Load(r.cyclic[j] + i);
    }
  }
}

// Coefficients first .. end − 1 (multiples of 8) as limbs; returns their residue.
uint64_t CrtRange(const Residues& r, const CrtLanes& v, uint64_t first, uint64_t end) {
  const Lanes step = ntt::Broadcast(24 % 61);
  const Lanes modulus = ntt::Broadcast(61);
  Lanes shift = _mm512_setr_epi64(0, 3, 6, 9, 12, 15, 18, 21);
  shift = _mm512_add_epi64(shift, ntt::Broadcast(3 * first % 61));
  shift = _mm512_min_epu64(shift, _mm512_sub_epi64(shift, modulus));
  Lanes residue = _mm512_setzero_si512();
  for (uint64_t i = first; i < end; i += 8) {
    Lanes y[kPrimeCount];
    ResiduesAt(r, v, i, y);
    uint64_t* const limbs[3] = {LimbsAt(r, 0, i), LimbsAt(r, 1, i), LimbsAt(r, 2, i)};
    CrtEight(v, y, limbs, shift, residue);
    shift = _mm512_add_epi64(shift, step);
    shift = _mm512_min_epu64(shift, _mm512_sub_epi64(shift, modulus));
  }
  alignas(64) uint64_t lanes[8];
  ntt::Store(lanes, residue);
  uint64_t sum = 0;
  for (const uint64_t lane : lanes) sum = FoldResidue(sum + lane);
  return sum;
}

// Limbs first .. end − 1 of the product from the coefficients' limbs at c0, c1, c2 (index i at
// c·[i], c1 one limb up, c2 two), words from t on into out.
struct Carry {
  uint64_t pending[2] = {};  // the sums waiting at the next two limbs
};

void CarrySegment(Carry& carry, const uint64_t* c0, const uint64_t* c1, const uint64_t* c2,
                  uint64_t first, uint64_t end, uint64_t productWords, uint64_t t, uint32_t* out) {
  for (uint64_t i = first; i < end; ++i) {
    const uint64_t k = i - first;
    U128 s = static_cast<U128>(carry.pending[0]) + c0[k];
    const uint64_t limb = static_cast<uint64_t>(s);
    s = (s >> 64) + carry.pending[1] + c1[k];
    carry.pending[0] = static_cast<uint64_t>(s);
    carry.pending[1] = c2[k] + static_cast<uint64_t>(s >> 64);
    const uint64_t word = 2 * i;
    if (word >= t && word + 1 < productWords) {
      out[word - t] = static_cast<uint32_t>(limb);
      out[word + 1 - t] = static_cast<uint32_t>(limb >> 32);
    } else {
      if (word >= t && word < productWords) out[word - t] = static_cast<uint32_t>(limb);
      if (word + 1 >= t && word + 1 < productWords)
        out[word + 1 - t] = static_cast<uint32_t>(limb >> 32);
    }
  }
}

// Limbs first .. end − 1 of the product, through the two places the coefficients' limbs lie and
// the zero limbs above the last coefficient.
void CarryRange(Carry& carry, const Residues& r, uint64_t coefficients, uint64_t first,
                uint64_t end, uint64_t productWords, uint64_t t, uint32_t* out) {
  const uint64_t bounds[3] = {0, std::min(coefficients, r.points), coefficients};
  for (int k = 0; k < 2; ++k) {
    const uint64_t from = std::max(first, bounds[k]);
    const uint64_t to = std::min(end, bounds[k + 1]);
    if (from < to) {
      CarrySegment(carry, LimbsAt(r, 0, from), LimbsAt(r, 1, from), LimbsAt(r, 2, from), from, to,
                   productWords, t, out);
    }
  }
  const uint64_t zeros[1] = {};
  for (uint64_t i = std::max(first, coefficients); i < end; ++i) {
    CarrySegment(carry, zeros, zeros, zeros, i, i + 1, productWords, t, out);
  }
}

// Below this many limbs the carries are not worth a handover.
constexpr uint64_t kShareMinLimbs = uint64_t{1} << 16;

// The coefficients, the carries between them, and the words from t on into out; returns the
// whole product's residue modulo 2^61 − 1. The coefficients below N go first, while the short
// convolution's residues they read are still in place.
uint64_t Recombine(const Residues& r, uint64_t coefficients, uint64_t productWords, uint64_t t,
                   uint32_t* out, SharedSteps* shared) {
  const CrtLanes lanes = CrtLanesFor(CrtConstants());
  const uint64_t groups = (coefficients + 7) / 8;
  const uint64_t lowGroups = std::min(groups, r.points / 8);
  uint64_t parts[2][ntt::kMaxChunks] = {};
  ntt::ForChunks(shared, lowGroups, [&](uint32_t chunk, uint64_t first, uint64_t end) {
    parts[0][chunk] = CrtRange(r, lanes, 8 * first, 8 * end);
  });
  ntt::ForChunks(shared, groups - lowGroups, [&](uint32_t chunk, uint64_t first, uint64_t end) {
    parts[1][chunk] = CrtRange(r, lanes, 8 * (lowGroups + first), 8 * (lowGroups + end));
  });
  uint64_t residue = 0;
  for (const auto& step : parts) {
    for (const uint64_t part : step) residue = FoldResidue(residue + part);
  }

  const uint64_t limbs = (productWords + 1) / 2;
  // With the partner, the limbs from `split` on are carried at the same time from a zero carry,
  // then the first part's carry is added in; the split keeps that second part within the words
  // kept, where the addition can be made.
  const uint64_t split = std::max(limbs / 2, (t + 1) / 2);
  if (shared == nullptr || shared->partner == nullptr || split + 2 >= limbs ||
      limbs < kShareMinLimbs) {
    Carry carry;
    CarryRange(carry, r, coefficients, 0, limbs, productWords, t, out);
  } else {
    Carry carries[2];
    ntt::ForChunks(shared, 2, [&](uint32_t part, uint64_t, uint64_t) {
      CarryRange(carries[part], r, coefficients, part == 0 ? 0 : split, part == 0 ? split : limbs,
                 productWords, t, out);
    });
    U128 add = (static_cast<U128>(carries[0].pending[1]) << 64) | carries[0].pending[0];
    uint64_t carry = 0;
    for (uint64_t word = 2 * split; (add != 0 || carry != 0) && word < productWords; ++word) {
      const uint64_t sum = uint64_t{out[word - t]} + static_cast<uint32_t>(add) + carry;
      out[word - t] = static_cast<uint32_t>(sum);
      carry = sum >> 32;
      add >>= 32;
    }
  }
  residue = FoldResidue(residue);
  return residue >= kResidueModulus ? residue - kResidueModulus : residue;
}

// Scratch of the passes: the runners' blocks and the twist tables.
struct Work {
  uint64_t* scratch[2];
  uint64_t* twist;
  SharedSteps* shared;
};

// One cyclic convolution of length 2^logPoints modulo every prime, into residues[j].
void Convolve(const ntt::Coefficients& a, const ntt::Coefficients& b, bool square,
              uint32_t logPoints, uint64_t* const (&residues)[kPrimeCount], uint64_t* other,
              const Work& work) {
  const Crt& crt = CrtConstants();
  for (int j = 0; j < kPrimeCount; ++j) {
    const ntt::Pass pass{j, logPoints, {work.scratch[0], work.scratch[1]}, work.twist, work.shared};
    ntt::Forward(pass, a, residues[j]);
    if (!square) ntt::Forward(pass, b, other);
    ntt::RowsMultiply(pass, residues[j], square ? residues[j] : other, crt.scale[j]);
    ntt::InverseColumns(pass, residues[j]);
  }
}

// q_i = c_(N+i) modulo every prime into r.wrap: with θ of order 2N and g = θ^L, the product modulo
// x^L − g is a cyclic convolution of the operands folded modulo x^L − g and weighted by θ^i, and
// since x^N − 1 ≡ g^(N/L) − 1 = −2 there, q = (c mod (x^L − g) − d mod (x^L − g)) / −2.
void WrappedCoefficients(const Shape& s, bool square, const Residues& r, uint64_t* other,
                         const Work& work, uint32_t logWrap) {
  const Crt& crt = CrtConstants();
  const uint64_t length = uint64_t{1} << logWrap;
  const auto logPoints = static_cast<uint32_t>(std::countr_zero(r.points));
  for (int j = 0; j < kPrimeCount; ++j) {
    const uint64_t p = ntt::Prime(j).p;
    const uint64_t theta = ntt::RootOfOrder(j, logPoints + 1);
    const uint64_t g = ntt::PowMod(theta, length, p);
    const uint64_t minusHalf = ntt::PowMod(p - 2, p - 2, p);  // (−2)^−1
    const ntt::Pass pass{j, logWrap, {work.scratch[0], work.scratch[1]}, work.twist, work.shared};
    uint64_t* const q = r.wrap[j];
    ntt::Fold(j, {s.a, s.la}, q, length, g, 1, false, work.shared);
    ntt::MultiplyByPowers(j, q, length, theta, 1, work.shared);
    ntt::Forward(pass, {.residues = q, .residueCount = length}, q);
    if (!square) {
      ntt::Fold(j, {s.b, s.lb}, other, length, g, 1, false, work.shared);
      ntt::MultiplyByPowers(j, other, length, theta, 1, work.shared);
      ntt::Forward(pass, {.residues = other, .residueCount = length}, other);
    }
    ntt::RowsMultiply(pass, q, square ? q : other, crt.scale[j]);
    ntt::InverseColumns(pass, q);
    ntt::MultiplyByPowers(j, q, length, ntt::PowMod(theta, p - 2, p), minusHalf, work.shared);
    ntt::Fold(j, {.residues = r.cyclic[j], .residueCount = r.points}, q, length, g, p - minusHalf,
              true, work.shared);
  }
}

// Below this many points the partner's handovers cost more than its help.
constexpr uint32_t kShareMinLogPoints = 15;

uint64_t Product(AllocationHeap* heap, const Shape& s, bool square, uint32_t* out,
                 uint32_t threadExponent) {
  const Plan& plan = s.plan;
  const uint64_t bytes = MemoryBytesFor(plan, square);
  void* memory = AllocAligned16(heap, bytes);
  if (memory == nullptr) return bytes;
  auto* base =
      reinterpret_cast<uint64_t*>((reinterpret_cast<uintptr_t>(memory) + 63) & ~uintptr_t{63});
  Residues r{};
  r.points = uint64_t{1} << plan.logPoints;
  r.wrapLimbs = plan.wrapLimbs;
  uint64_t* next = base;
  for (int j = 0; j < kPrimeCount; ++j, next += r.points) r.cyclic[j] = next;
  uint64_t* other = square ? nullptr : next;
  if (!square) next += r.points;
  const uint64_t wrapPoints = plan.wrapLimbs == 0 ? 0 : uint64_t{1} << plan.logWrap;
  for (int j = 0; j < kPrimeCount; ++j, next += wrapPoints) r.wrap[j] = next;
  const uint32_t scratchLog = std::max(plan.logPoints, plan.logWrap);
  const uint64_t runnerWords = ntt::RunnerScratchBytes(scratchLog) / 8;
  SharedSteps steps;
  Work work{{next, next + runnerWords}, next + 2 * runnerWords, nullptr};
  if (threadExponent > 0 && plan.logPoints >= kShareMinLogPoints) {
    steps = BeginSharedSteps();
    work.shared = &steps;
  }
  Convolve({s.a, s.la}, {s.b, s.lb}, square, plan.logPoints, r.cyclic, other, work);
  if (plan.wrapLimbs != 0) WrappedCoefficients(s, square, r, other, work, plan.logWrap);
  if (TakePlantedFault(gFaultsLeft)) r.cyclic[0][0] ^= 1;
  const uint64_t residue =
      Recombine(r, CoefficientsOf(s.la, s.lb), s.la + s.lb, s.t, out, work.shared);
  if (work.shared != nullptr) EndSharedSteps(steps);
  Release(memory);
  const uint64_t expected = ResidueProduct(WordsResidue(s.a, s.la), WordsResidue(s.b, s.lb));
  return residue == expected ? 0 : kProductCheckFailed;
}

#else

// Builds without the vector arithmetic never dispatch here (NttReaches is false).
uint64_t Product(AllocationHeap*, const Shape&, bool, uint32_t*, uint32_t) {
  FatalAssertion(kImpossibleResult, __func__, "NttAvailable()");
}

#endif

}  // namespace

bool NttAvailable() {
#if defined(ZX_NTT_LANES)
  return true;
#else
  return false;
#endif
}

bool NttReaches(uint64_t la, uint64_t lb) {
  return NttAvailable() && la > 0 && lb > 0 && PlanFor(la, lb).logPoints <= ntt::kMaxLogPoints;
}

uint64_t NttMultiplyMemoryBytes(uint64_t la, uint64_t lb, uint64_t t) {
  if (t >= la + lb) return 0;
  const TruncatedShape s = TruncateOperands(la, lb, t);
  return MemoryBytesFor(PlanFor(la - s.dropA, lb - s.dropB), false);
}

uint64_t NttSquareMemoryBytes(uint64_t n, uint64_t t) {
  if (t >= 2 * n) return 0;
  const TruncatedShape s = TruncateOperands(n, n, t);
  return MemoryBytesFor(PlanFor(n - s.dropA, n - s.dropB), true);
}

uint64_t NttMultiply(AllocationHeap* heap, const uint32_t* a, uint64_t la, const uint32_t* b,
                     uint64_t lb, uint32_t* out, uint64_t t, uint32_t threadExponent) {
  if (t >= la + lb) return 0;
  return Product(heap, ShapeFor(a, la, b, lb, t), false, out, threadExponent);
}

uint64_t NttSquare(AllocationHeap* heap, const uint32_t* a, uint64_t n, uint32_t* out, uint64_t t,
                   uint32_t threadExponent) {
  if (t >= 2 * n) return 0;
  const Shape s = ShapeFor(a, n, a, n, t);
  // Truncation may keep different words of the two copies; then it is a product.
  return Product(heap, s, s.a == s.b && s.la == s.lb, out, threadExponent);
}

#if defined(ZX_TEST_HOOKS)
void NttInjectFaults(uint32_t products) {
  gFaultsLeft.store(products);
}
#endif

}  // namespace zx
