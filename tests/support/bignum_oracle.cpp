#include "bignum_oracle.hpp"

namespace zx::test {

void ToMpz(mpz_t z, const uint32_t* words, uint64_t length) {
  mpz_import(z, length, -1, sizeof(uint32_t), 0, 0, words);
}

void ToMpz(mpz_t z, AllocationHeap* heap, BigInt& a) {
  BigIntMakeResident(heap, a);
  if (a.length == 0) {
    mpz_set_ui(z, 0);
    return;
  }
  ToMpz(z, a.words, a.length);
}

void ToScaledMpz(mpz_t z, AllocationHeap* heap, BigFloat& a, int64_t scale) {
  ToMpz(z, heap, a.magnitude);
  mpz_mul_2exp(z, z, static_cast<mp_bitcnt_t>(32 * (a.exponent - scale)));
  if (a.sign == 0) mpz_neg(z, z);
}

std::vector<uint32_t> FromMpz(const mpz_t z) {
  size_t count = 0;
  std::vector<uint32_t> words((mpz_sizeinbase(z, 2) + 31) / 32 + 1);
  mpz_export(words.data(), &count, -1, sizeof(uint32_t), 0, 0, z);
  words.resize(count);
  return words;
}

std::vector<uint32_t> RandomWords(std::mt19937_64& rng, uint64_t length) {
  std::vector<uint32_t> words(length);
  const int flavour = static_cast<int>(rng() % 4);
  for (auto& w : words) {
    const uint64_t r = rng();
    if (flavour == 1 && r % 3 == 0) {
      w = 0;
    } else if (flavour == 2 && r % 3 == 0) {
      w = 0xFFFFFFFFu;
    } else {
      w = static_cast<uint32_t>(r >> 16);
    }
  }
  if (!words.empty() && words.back() == 0) words.back() = 1 + static_cast<uint32_t>(rng() % 0xFFFF);
  return words;
}

void SetWords(AllocationHeap* heap, BigInt& out, const std::vector<uint32_t>& words) {
  if (words.empty()) {
    BigIntSetZero(out);
    return;
  }
  out.words = AllocWordsOrDie(heap, words.size() + 2);
  std::copy(words.begin(), words.end(), out.words);
  out.length = words.size();
  out.capacity = words.size() + 2;
  out.swap = nullptr;
}

void RandomBigFloat(AllocationHeap* heap, std::mt19937_64& rng, BigFloat& out, uint64_t maxWords,
                    int64_t exponentSpread) {
  const uint64_t length = 1 + rng() % maxWords;
  SetWords(heap, out.magnitude, RandomWords(rng, length));
  out.sign = static_cast<uint32_t>(rng() & 1);
  out.exponent =
      static_cast<int64_t>(rng() % static_cast<uint64_t>(2 * exponentSpread + 1)) - exponentSpread;
}

}  // namespace zx::test
