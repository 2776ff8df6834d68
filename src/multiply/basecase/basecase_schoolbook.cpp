// Schoolbook products. The word arrays are read as 64-bit limbs (two words per limb, the machine
// being little-endian) so that each hardware multiply does the work of four word products; long
// operands are taken in chunks of kChunkWords so that the limb copies live on the stack.
#include <bit>
#include <cstdint>
#include <cstring>

#include "multiply/basecase/basecase.hpp"
#include "multiply/basecase/basecase_ops.hpp"

namespace zx {
namespace {

static_assert(std::endian::native == std::endian::little, "words are read two at a time as limbs");

__extension__ typedef unsigned __int128 Limb2;

constexpr uint64_t kChunkWords = 64;
constexpr uint64_t kChunkLimbs = kChunkWords / 2;

// Words to limbs, the odd top word zero-extended; returns the limb count. Short fixed-width
// copies rather than a library call: the operands here are a few limbs long.
uint64_t LoadLimbs(uint64_t* limbs, const uint32_t* words, uint64_t count) {
  const uint64_t whole = count / 2;
  for (uint64_t i = 0; i < whole; i++) limbs[i] = LoadPair(words + 2 * i);
  if ((count & 1) != 0) limbs[whole] = words[count - 1];
  return (count + 1) / 2;
}

// The low count words of limbs.
void StoreWords(uint32_t* words, const uint64_t* limbs, uint64_t count) {
  const uint64_t whole = count / 2;
  for (uint64_t i = 0; i < whole; i++) StorePair(words + 2 * i, limbs[i]);
  if ((count & 1) != 0) words[count - 1] = static_cast<uint32_t>(limbs[whole]);
}

// r[0..2k) = a², the cross products once, doubled, then the squares on the diagonal.
void SquareLimbs(const uint64_t* a, uint64_t k, uint64_t* r) {
  std::memset(r, 0, 2 * k * sizeof(uint64_t));
  for (uint64_t i = 0; i + 1 < k; i++) {
    uint64_t carry = 0;
    for (uint64_t j = i + 1; j < k; j++) {
      const Limb2 t = static_cast<Limb2>(a[i]) * a[j] + r[i + j] + carry;
      r[i + j] = static_cast<uint64_t>(t);
      carry = static_cast<uint64_t>(t >> 64);
    }
    r[i + k] = carry;
  }
  uint64_t shifted = 0;
  for (uint64_t i = 0; i < 2 * k; i++) {
    const uint64_t word = r[i];
    r[i] = (word << 1) | shifted;
    shifted = word >> 63;
  }
  uint64_t carry = 0;
  for (uint64_t i = 0; i < k; i++) {
    const Limb2 square = static_cast<Limb2>(a[i]) * a[i];
    const Limb2 low = static_cast<Limb2>(r[2 * i]) + static_cast<uint64_t>(square) + carry;
    r[2 * i] = static_cast<uint64_t>(low);
    const Limb2 high = static_cast<Limb2>(r[2 * i + 1]) + static_cast<uint64_t>(square >> 64) +
                       static_cast<uint64_t>(low >> 64);
    r[2 * i + 1] = static_cast<uint64_t>(high);
    carry = static_cast<uint64_t>(high >> 64);
  }
}

}  // namespace

void MulLimbs(const uint64_t* __restrict a, uint64_t na, const uint64_t* __restrict b, uint64_t nb,
              uint64_t* __restrict r) {
  Limb2 sum = 0;
  uint64_t top = 0;
  for (uint64_t k = 0; k + 1 < na + nb; ++k) {
    const uint64_t first = k < nb ? 0 : k - nb + 1;
    const uint64_t last = k < na ? k : na - 1;
    for (uint64_t i = first; i <= last; ++i) {
      const Limb2 product = static_cast<Limb2>(a[i]) * b[k - i];
      sum += product;
      top += sum < product ? 1 : 0;
    }
    r[k] = static_cast<uint64_t>(sum);
    sum = (sum >> 64) | (static_cast<Limb2>(top) << 64);
    top = 0;
  }
  r[na + nb - 1] = static_cast<uint64_t>(sum);
}

void MulSchoolbook(const uint32_t* a, uint64_t la, const uint32_t* b, uint64_t lb, uint32_t* out) {
  uint64_t aLimbs[kChunkLimbs];
  uint64_t bLimbs[kChunkLimbs];
  uint64_t product[2 * kChunkLimbs];
  if (la <= kChunkWords && lb <= kChunkWords) {
    const uint64_t na = LoadLimbs(aLimbs, a, la);
    const uint64_t nb = LoadLimbs(bLimbs, b, lb);
    if (na >= nb) {
      MulLimbs(aLimbs, na, bLimbs, nb, product);
    } else {
      MulLimbs(bLimbs, nb, aLimbs, na, product);
    }
    StoreWords(out, product, la + lb);
    return;
  }
  ClearWords(out, la + lb);
  AddMulSchoolbook(out, la + lb, a, la, b, lb);
}

void AddMulSchoolbook(uint32_t* out, uint64_t total, const uint32_t* a, uint64_t la,
                      const uint32_t* b, uint64_t lb) {
  uint64_t aLimbs[kChunkLimbs];
  uint64_t bLimbs[kChunkLimbs];
  uint64_t product[2 * kChunkLimbs];
  uint32_t productWords[4 * kChunkLimbs];
  // Chunk products land at their offsets; their carries stop within a few words.
  for (uint64_t ib = 0; ib < lb; ib += kChunkWords) {
    const uint64_t cb = lb - ib < kChunkWords ? lb - ib : kChunkWords;
    const uint64_t nb = LoadLimbs(bLimbs, b + ib, cb);
    for (uint64_t ia = 0; ia < la; ia += kChunkWords) {
      const uint64_t ca = la - ia < kChunkWords ? la - ia : kChunkWords;
      const uint64_t na = LoadLimbs(aLimbs, a + ia, ca);
      if (na >= nb) {
        MulLimbs(aLimbs, na, bLimbs, nb, product);
      } else {
        MulLimbs(bLimbs, nb, aLimbs, na, product);
      }
      StoreWords(productWords, product, ca + cb);
      const uint64_t offset = ia + ib;
      AddWordsInto(out + offset, total - offset, productWords, ca + cb);
    }
  }
}

void SquareSchoolbook(const uint32_t* a, uint64_t n, uint32_t* out) {
  if (n > kChunkWords) {
    MulSchoolbook(a, n, a, n, out);
    return;
  }
  uint64_t limbs[kChunkLimbs];
  uint64_t product[2 * kChunkLimbs];
  const uint64_t k = LoadLimbs(limbs, a, n);
  SquareLimbs(limbs, k, product);
  StoreWords(out, product, 2 * n);
}

}  // namespace zx
