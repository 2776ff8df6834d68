// Carry chains with AVX-512 or AVX2 where the compiler targets them, plain add-with-carry
// otherwise. In a group of four (eight) lanes the carry into lane i is bit i of (G|P) + G +
// carryIn XOR P, where G marks the lanes that overflowed and P those that are all ones (a borrow
// chain likewise, with lanes that went below zero and lanes that are zero); bit 4 (8) of the sum
// is the group's carry out.
#include "multiply/hybrid/hybrid_chains.hpp"

#include "multiply/hybrid/hybrid_limbs.hpp"

#if defined(__AVX2__)
#include <immintrin.h>
#endif

namespace zx {
namespace {

#if defined(__AVX2__)

// Lane masks of −1 for each 4-bit carry pattern: subtracting one adds the carries.
struct alignas(32) LaneMasks {
  int64_t lanes[16][4];
  constexpr LaneMasks() : lanes() {
    for (int m = 0; m < 16; ++m) {
      for (int j = 0; j < 4; ++j) lanes[m][j] = (m >> j) & 1 ? -1 : 0;
    }
  }
};
constexpr LaneMasks kLaneMasks;

inline __m256i Mask(unsigned m) {
  return _mm256_load_si256(reinterpret_cast<const __m256i*>(kLaneMasks.lanes[m]));
}
inline unsigned Bits(__m256i v) {
  return static_cast<unsigned>(_mm256_movemask_pd(_mm256_castsi256_pd(v)));
}

inline __m256i SignBits() { return _mm256_set1_epi64x(static_cast<long long>(0x8000000000000000ull)); }

// The carries into the four lanes, and the carry out of the group.
inline unsigned Resolve(unsigned generate, unsigned propagate, unsigned& carry) {
  const unsigned sum = (generate | propagate) + generate + carry;
  carry = sum >> 4;
  return (sum ^ propagate) & 15;
}

// Groups of four limbs, for the loops below.
struct Group4 {
  using Vector = __m256i;
  static constexpr uint64_t kLimbs = 4;
  static Vector Load(const uint32_t* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
  }
  static void Store(uint32_t* p, Vector v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
  }
  static Vector Add(Vector a, Vector b, unsigned& carry) {
    const __m256i s = _mm256_add_epi64(a, b);
    const unsigned generate =
        Bits(_mm256_cmpgt_epi64(_mm256_xor_si256(a, SignBits()), _mm256_xor_si256(s, SignBits())));
    const unsigned propagate = Bits(_mm256_cmpeq_epi64(s, _mm256_set1_epi64x(-1)));
    return _mm256_sub_epi64(s, Mask(Resolve(generate, propagate, carry)));
  }
  static Vector Sub(Vector a, Vector b, unsigned& borrow) {
    const __m256i d = _mm256_sub_epi64(a, b);
    const unsigned generate =
        Bits(_mm256_cmpgt_epi64(_mm256_xor_si256(b, SignBits()), _mm256_xor_si256(a, SignBits())));
    const unsigned propagate = Bits(_mm256_cmpeq_epi64(d, _mm256_setzero_si256()));
    return _mm256_add_epi64(d, Mask(Resolve(generate, propagate, borrow)));
  }
};

#endif

#if defined(__AVX512F__)

inline __mmask8 Resolve8(unsigned generate, unsigned propagate, unsigned& carry) {
  const unsigned sum = (generate | propagate) + generate + carry;
  carry = sum >> 8;
  return static_cast<__mmask8>(sum ^ propagate);
}

// Groups of eight limbs: the lane masks come from comparisons straight into mask registers, and
// the carries enter by a masked subtraction of −1 (a borrow by a masked addition).
struct Group8 {
  using Vector = __m512i;
  static constexpr uint64_t kLimbs = 8;
  static Vector Load(const uint32_t* p) { return _mm512_loadu_si512(p); }
  static void Store(uint32_t* p, Vector v) { _mm512_storeu_si512(p, v); }
  static Vector Add(Vector a, Vector b, unsigned& carry) {
    const __m512i s = _mm512_add_epi64(a, b);
    const __m512i ones = _mm512_set1_epi64(-1);
    const unsigned generate = _mm512_cmplt_epu64_mask(s, a);
    const unsigned propagate = _mm512_cmpeq_epi64_mask(s, ones);
    return _mm512_mask_sub_epi64(s, Resolve8(generate, propagate, carry), s, ones);
  }
  static Vector Sub(Vector a, Vector b, unsigned& borrow) {
    const __m512i d = _mm512_sub_epi64(a, b);
    const unsigned generate = _mm512_cmplt_epu64_mask(a, b);
    const unsigned propagate = _mm512_cmpeq_epi64_mask(d, _mm512_setzero_si512());
    return _mm512_mask_add_epi64(d, Resolve8(generate, propagate, borrow), d,
                                 _mm512_set1_epi64(-1));
  }
};

#endif

// Whole groups of limbs from limb i on, with sum or difference (kAdd, kSub) or both; returns the
// first limb left over.
template <class G, bool kAdd, bool kSub>
uint64_t Groups(const uint32_t* a, const uint32_t* b, uint32_t* sum, uint32_t* diff, uint64_t i,
                uint64_t limbs, unsigned& carry, unsigned& borrow) {
  for (; i + G::kLimbs <= limbs; i += G::kLimbs) {
    const typename G::Vector x = G::Load(a + 2 * i);
    const typename G::Vector y = G::Load(b + 2 * i);
    if constexpr (kAdd) G::Store(sum + 2 * i, G::Add(x, y, carry));
    if constexpr (kSub) G::Store(diff + 2 * i, G::Sub(x, y, borrow));
  }
  return i;
}

template <bool kAdd, bool kSub>
uint64_t VectorGroups([[maybe_unused]] const uint32_t* a, [[maybe_unused]] const uint32_t* b,
                      [[maybe_unused]] uint32_t* sum, [[maybe_unused]] uint32_t* diff,
                      [[maybe_unused]] uint64_t limbs, [[maybe_unused]] unsigned& carry,
                      [[maybe_unused]] unsigned& borrow) {
  uint64_t i = 0;
#if defined(__AVX512F__)
  i = Groups<Group8, kAdd, kSub>(a, b, sum, diff, i, limbs, carry, borrow);
#endif
#if defined(__AVX2__)
  i = Groups<Group4, kAdd, kSub>(a, b, sum, diff, i, limbs, carry, borrow);
#endif
  return i;
}

}  // namespace

unsigned ChainAdd(const uint32_t* a, const uint32_t* b, uint32_t* out, uint64_t limbs,
                  unsigned carry) {
  unsigned unused = 0;
  uint64_t i = VectorGroups<true, false>(a, b, out, nullptr, limbs, carry, unused);
  unsigned char c = static_cast<unsigned char>(carry);
  for (; i < limbs; ++i) StoreLimb(out, i, AddWithCarry(LoadLimb(a, i), LoadLimb(b, i), c));
  return c;
}

unsigned ChainSub(const uint32_t* a, const uint32_t* b, uint32_t* out, uint64_t limbs,
                  unsigned borrow) {
  unsigned unused = 0;
  uint64_t i = VectorGroups<false, true>(a, b, nullptr, out, limbs, unused, borrow);
  unsigned char c = static_cast<unsigned char>(borrow);
  for (; i < limbs; ++i) StoreLimb(out, i, SubWithBorrow(LoadLimb(a, i), LoadLimb(b, i), c));
  return c;
}

void ChainAddSub(const uint32_t* a, const uint32_t* b, uint32_t* sum, uint32_t* diff,
                 uint64_t limbs, unsigned& carry, unsigned& borrow) {
  uint64_t i = VectorGroups<true, true>(a, b, sum, diff, limbs, carry, borrow);
  unsigned char c = static_cast<unsigned char>(carry);
  unsigned char d = static_cast<unsigned char>(borrow);
  for (; i < limbs; ++i) {
    const uint64_t x = LoadLimb(a, i);
    const uint64_t y = LoadLimb(b, i);
    StoreLimb(sum, i, AddWithCarry(x, y, c));
    StoreLimb(diff, i, SubWithBorrow(x, y, d));
  }
  carry = c;
  borrow = d;
}

}  // namespace zx
