// Carry chains with AVX2 where the compiler targets it, plain add-with-carry otherwise. In a
// group of four lanes the carry into lane i is bit i of (G|P) + G + carryIn XOR P, where G marks
// the lanes that overflowed and P those that are all ones (a borrow chain likewise, with lanes
// that went below zero and lanes that are zero); bit 4 of the sum is the group's carry out.
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

inline __m256i Load4(const uint32_t* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
inline void Store4(uint32_t* p, __m256i v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }
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

inline __m256i AddGroup(__m256i a, __m256i b, unsigned& carry) {
  const __m256i s = _mm256_add_epi64(a, b);
  const unsigned generate =
      Bits(_mm256_cmpgt_epi64(_mm256_xor_si256(a, SignBits()), _mm256_xor_si256(s, SignBits())));
  const unsigned propagate = Bits(_mm256_cmpeq_epi64(s, _mm256_set1_epi64x(-1)));
  return _mm256_sub_epi64(s, Mask(Resolve(generate, propagate, carry)));
}

inline __m256i SubGroup(__m256i a, __m256i b, unsigned& borrow) {
  const __m256i d = _mm256_sub_epi64(a, b);
  const unsigned generate =
      Bits(_mm256_cmpgt_epi64(_mm256_xor_si256(b, SignBits()), _mm256_xor_si256(a, SignBits())));
  const unsigned propagate = Bits(_mm256_cmpeq_epi64(d, _mm256_setzero_si256()));
  return _mm256_add_epi64(d, Mask(Resolve(generate, propagate, borrow)));
}

#endif

}  // namespace

unsigned ChainAdd(const uint32_t* a, const uint32_t* b, uint32_t* out, uint64_t limbs,
                  unsigned carry) {
  uint64_t i = 0;
#if defined(__AVX2__)
  for (; i + 4 <= limbs; i += 4) Store4(out + 2 * i, AddGroup(Load4(a + 2 * i), Load4(b + 2 * i), carry));
#endif
  unsigned char c = static_cast<unsigned char>(carry);
  for (; i < limbs; ++i) StoreLimb(out, i, AddWithCarry(LoadLimb(a, i), LoadLimb(b, i), c));
  return c;
}

unsigned ChainSub(const uint32_t* a, const uint32_t* b, uint32_t* out, uint64_t limbs,
                  unsigned borrow) {
  uint64_t i = 0;
#if defined(__AVX2__)
  for (; i + 4 <= limbs; i += 4) Store4(out + 2 * i, SubGroup(Load4(a + 2 * i), Load4(b + 2 * i), borrow));
#endif
  unsigned char c = static_cast<unsigned char>(borrow);
  for (; i < limbs; ++i) StoreLimb(out, i, SubWithBorrow(LoadLimb(a, i), LoadLimb(b, i), c));
  return c;
}

void ChainAddSub(const uint32_t* a, const uint32_t* b, uint32_t* sum, uint32_t* diff,
                 uint64_t limbs, unsigned& carry, unsigned& borrow) {
  uint64_t i = 0;
#if defined(__AVX2__)
  for (; i + 4 <= limbs; i += 4) {
    const __m256i x = Load4(a + 2 * i);
    const __m256i y = Load4(b + 2 * i);
    Store4(sum + 2 * i, AddGroup(x, y, carry));
    Store4(diff + 2 * i, SubGroup(x, y, borrow));
  }
#endif
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
