// Operands and the GMP oracle shared by the multiplication tests: random and all-ones word
// arrays, exact products computed by GMP, and the comparison of a truncated product with the
// exact one (the kept value may fall short by the carries of the skipped operand words).
#pragma once

#include <gmp.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace zx::test {

using Words = std::vector<uint32_t>;

inline Words RandomWords(std::mt19937_64& rng, uint64_t count) {
  Words words(count);
  for (uint32_t& word : words) word = static_cast<uint32_t>(rng());
  return words;
}

// Random words with long runs of zeros and of all ones, where carries travel far.
inline Words SparseWords(std::mt19937_64& rng, uint64_t count) {
  Words words(count);
  for (uint32_t& word : words) {
    const uint64_t pick = rng() % 8;
    word = pick < 3 ? 0 : pick < 6 ? 0xFFFFFFFFu : static_cast<uint32_t>(rng());
  }
  return words;
}

inline Words AllOnes(uint64_t count) {
  return Words(count, 0xFFFFFFFFu);
}

// Value of count words (least significant first) as a GMP integer.
inline void ImportWords(mpz_t z, const uint32_t* words, uint64_t count) {
  mpz_import(z, count, -1, sizeof(uint32_t), 0, 0, words);
}

// The low count words of z.
inline Words ExportWords(const mpz_t z, uint64_t count) {
  Words words(count + mpz_size(z) * 2 + 2, 0);
  size_t written = 0;
  mpz_export(words.data(), &written, -1, sizeof(uint32_t), 0, 0, z);
  words.resize(count);
  return words;
}

// The exact product a·b, la + lb words.
inline Words GmpProduct(const uint32_t* a, uint64_t la, const uint32_t* b, uint64_t lb) {
  mpz_t x, y;
  mpz_inits(x, y, nullptr);
  ImportWords(x, a, la);
  ImportWords(y, b, lb);
  mpz_mul(x, x, y);
  Words product = ExportWords(x, la + lb);
  mpz_clears(x, y, nullptr);
  return product;
}

inline Words GmpProduct(const Words& a, const Words& b) {
  return GmpProduct(a.data(), a.size(), b.data(), b.size());
}

// (a·b) mod 2^(32n) + 1 as n + 1 words.
inline Words GmpRingProduct(const Words& a, const Words& b, uint64_t n) {
  mpz_t x, y, modulus;
  mpz_inits(x, y, modulus, nullptr);
  ImportWords(x, a.data(), n + 1);
  ImportWords(y, b.data(), n + 1);
  mpz_mul(x, x, y);
  mpz_ui_pow_ui(modulus, 2, 32 * n);
  mpz_add_ui(modulus, modulus, 1);
  mpz_mod(x, x, modulus);
  Words result = ExportWords(x, n + 1);
  mpz_clears(x, y, modulus, nullptr);
  return result;
}

// exact[t..) minus got as an unsigned number (got has exact.size() − t words); the truncated
// products promise a value in [0, 2]. Returns the difference, or ~0 when it exceeds 2^32.
inline uint64_t TruncationShortfall(const Words& exact, uint64_t t, const Words& got) {
  mpz_t x, y;
  mpz_inits(x, y, nullptr);
  ImportWords(x, exact.data() + t, exact.size() - t);
  ImportWords(y, got.data(), got.size());
  mpz_sub(x, x, y);
  uint64_t shortfall = ~uint64_t{0};
  if (mpz_sgn(x) >= 0 && mpz_sizeinbase(x, 2) <= 32) shortfall = mpz_get_ui(x);
  mpz_clears(x, y, nullptr);
  return shortfall;
}

inline std::string Shape(uint64_t la, uint64_t lb, uint64_t t = 0) {
  return "la=" + std::to_string(la) + " lb=" + std::to_string(lb) + " t=" + std::to_string(t);
}

}  // namespace zx::test
