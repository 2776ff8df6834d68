// The products' oracle, shared by every test of multiplication: operands (random, sparse with long
// carry runs, all ones), exact and ring products by GMP, and one check of any multiplication path
// against them. A truncated product may fall short of the exact high words by the carries of the
// operand words it skipped: at most 2 in its lowest kept word.
#pragma once

#include <gmp.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "bignum_oracle.hpp"
#include "multiply/basecase/basecase.hpp"
#include "multiply/fft/fft_mul.hpp"
#include "multiply/fft/fft_outer.hpp"
#include "multiply/fft/fft_size_table.hpp"
#include "multiply/hybrid/hybrid_mul.hpp"
#include "multiply/hybrid/hybrid_tables.hpp"
#include "multiply/ntt/ntt_mul.hpp"
#include "test_support.hpp"

namespace zx::test {

using Words = std::vector<uint32_t>;

enum class Fill { kRandom, kSparse, kAllOnes };

inline Words Operand(std::mt19937_64& rng, uint64_t count, Fill fill) {
  Words words(count);
  for (uint32_t& word : words) {
    const uint64_t pick = fill == Fill::kSparse ? rng() % 8 : 7;
    word = fill == Fill::kAllOnes ? 0xFFFFFFFFu
           : pick < 3             ? 0
           : pick < 6             ? 0xFFFFFFFFu
                                  : static_cast<uint32_t>(rng());
  }
  return words;
}
inline Words SparseWords(std::mt19937_64& rng, uint64_t count) {
  return Operand(rng, count, Fill::kSparse);
}
inline Words AllOnes(uint64_t count) {
  return Words(count, 0xFFFFFFFFu);
}

// The low count words of z.
inline Words ExportWords(const mpz_t z, uint64_t count) {
  Words words(count + mpz_size(z) * 2 + 2, 0);
  size_t written = 0;
  mpz_export(words.data(), &written, -1, sizeof(uint32_t), 0, 0, z);
  words.resize(count);
  return words;
}

// a·b, as a.size() + b.size() words; with ringWords n, (a·b) mod 2^(32n) + 1 as n + 1 words.
inline Words GmpProduct(const Words& a, const Words& b, uint64_t ringWords = 0) {
  mpz_t x, y;
  mpz_inits(x, y, nullptr);
  mpz_import(x, a.size(), -1, sizeof(uint32_t), 0, 0, a.data());
  mpz_import(y, b.size(), -1, sizeof(uint32_t), 0, 0, b.data());
  mpz_mul(x, x, y);
  if (ringWords != 0) {
    mpz_ui_pow_ui(y, 2, 32 * ringWords);
    mpz_add_ui(y, y, 1);
    mpz_mod(x, x, y);
  }
  Words product = ExportWords(x, ringWords != 0 ? ringWords + 1 : a.size() + b.size());
  mpz_clears(x, y, nullptr);
  return product;
}

// exact[t..) minus got as an unsigned number, or ~0 when negative or beyond 2^32.
inline uint64_t TruncationShortfall(const Words& exact, uint64_t t, const Words& got) {
  mpz_t x, y;
  mpz_inits(x, y, nullptr);
  mpz_import(x, exact.size() - t, -1, sizeof(uint32_t), 0, 0, exact.data() + t);
  mpz_import(y, got.size(), -1, sizeof(uint32_t), 0, 0, got.data());
  mpz_sub(x, x, y);
  uint64_t shortfall = ~uint64_t{0};
  if (mpz_sgn(x) >= 0 && mpz_sizeinbase(x, 2) <= 32) shortfall = mpz_get_ui(x);
  mpz_clears(x, y, nullptr);
  return shortfall;
}

inline std::string Shape(uint64_t la, uint64_t lb, uint64_t t = 0) {
  return "la=" + std::to_string(la) + " lb=" + std::to_string(lb) + " t=" + std::to_string(t);
}

// kFftPacked: the FFT with its fields packed before the forward pass, where that pass would
// otherwise read the operand's words itself.
enum class ProductPath { kBasecase, kFft, kFftPacked, kHybrid, kNtt };

// Runs one path's product of a and b (its square when b is null) less the t lowest words, with a
// guard word behind the output, and checks it against GMP: exact when no operand word could be
// skipped (the hybrid transform is exact only untruncated), else short by at most 2.
inline void CheckProduct(ProductPath path, const Words& a, const Words* b, uint64_t t,
                         uint32_t threads, const std::string& what) {
  constexpr uint32_t kGuard = 0x5EC0DE17u;
  const Words& other = b == nullptr ? a : *b;
  const uint64_t la = a.size();
  const uint64_t lb = other.size();
  const uint64_t kept = t < la + lb ? la + lb - t : 0;
  Words out(kept + 1, kGuard);
  uint64_t status = 0;
  if (path == ProductPath::kBasecase) {
    status = b == nullptr ? BasecaseSquareTruncated(nullptr, a.data(), la, out.data(), t)
                          : BasecaseMultiplyTruncated(nullptr, a.data(), la, other.data(), lb,
                                                      out.data(), t);
  } else if (path == ProductPath::kFft || path == ProductPath::kFftPacked) {
    fft::OuterReadWords(path == ProductPath::kFft);
    status = b == nullptr
                 ? FftSquare(nullptr, a.data(), la, out.data(), t, threads)
                 : FftMultiply(nullptr, a.data(), la, other.data(), lb, out.data(), t, threads);
    fft::OuterReadWords(true);
  } else if (path == ProductPath::kNtt) {
    if (!NttAvailable()) GTEST_SKIP() << "this build has no number-theoretic transforms";
    status = b == nullptr
                 ? NttSquare(nullptr, a.data(), la, out.data(), t, threads)
                 : NttMultiply(nullptr, a.data(), la, other.data(), lb, out.data(), t, threads);
  } else {
    status = b == nullptr
                 ? HybridSquare(nullptr, a.data(), la, out.data(), t, threads)
                 : HybridMultiply(nullptr, a.data(), la, other.data(), lb, out.data(), t, threads);
  }
  ASSERT_EQ(status, 0u) << what;
  ASSERT_EQ(out[kept], kGuard) << "wrote past the product: " << what;
  if (kept == 0) return;
  out.resize(kept);
  const Words exact = GmpProduct(a, other);
  const TruncatedShape shape = TruncateOperands(la, lb, t);
  const bool exactly = t == 0 || (path != ProductPath::kHybrid && shape.dropA + shape.dropB == 0);
  ASSERT_LE(TruncationShortfall(exact, t, out), exactly ? 0u : 2u) << what;
}

// Words whose b-bit fields all hold `field` (the operand's points before balancing).
inline Words FieldPattern(uint64_t n, uint32_t bits, uint64_t field) {
  Words words(n, 0);
  for (uint64_t bit = 0; bit < 32 * n; bit += bits) {
    for (uint32_t k = 0; k < bits && bit + k < 32 * n; k++) {
      if ((field >> k) & 1) words[(bit + k) / 32] |= 1u << ((bit + k) % 32);
    }
  }
  return words;
}

// Balanced points are largest and most coherent when every field is 2^(b−1) − 1 or 2^(b−1):
// the worst case of the FFT, at the full capacity of each row (and all ones, the worst case of
// unsigned points).
inline void CheckFullFftRows(int firstRow, int lastRow) {
  for (int row = firstRow; row <= lastRow; row++) {
    const uint64_t n = FftCapacityBits(row) / 64;
    FftSize size;
    ASSERT_TRUE(ChooseFftSize(64 * n, &size));
    const uint64_t half = uint64_t{1} << (size.pointBits - 1);
    const std::string what = "row " + std::to_string(row) + " n=" + std::to_string(n);
    for (uint64_t field : {half - 1, half}) {
      const Words a = FieldPattern(n, size.pointBits, field);
      CheckProduct(ProductPath::kFft, a, &a, 0, 0, what + " field=" + std::to_string(field));
      CheckProduct(ProductPath::kFft, a, nullptr, 0, 0, "square " + what);
    }
    CheckProduct(ProductPath::kFft, AllOnes(n), nullptr, 0, 0, "all ones " + what);
  }
}

// A hybrid product (or square) of a table row at its exact capacity, on all-ones operands (the
// largest coefficients the check allows) or random ones.
inline void CheckHybridRowAtCapacity(const HybridRow& row, bool square, std::mt19937_64& rng) {
  const uint64_t la = square ? row.capacityWords / 2 : row.capacityWords / 2 + 1;
  const Fill fill = rng() % 2 ? Fill::kAllOnes : Fill::kRandom;
  const Words a = Operand(rng, la, fill);
  const Words b = Operand(rng, row.capacityWords - la, fill);
  CheckProduct(ProductPath::kHybrid, a, square ? nullptr : &b, 0, 1,
               "row " + std::to_string(row.capacityWords) + " (" + std::to_string(row.k) + ", " +
                   std::to_string(row.c) + ")");
}

// The console text of a product that recovers on the second attempt (one failed check) or the
// third (two).
inline std::string RecoveryText(int failures) {
  const std::string first = "\nMultiplication Failure: Re-attempting with same parameters...\n";
  if (failures == 1) {
    return first +
           "\nSecond Attempt Succeeded with same parameters.\n"
           "Most likely a hardware error... Please check your hardware.\nContinuing...\n\n";
  }
  return first +
         "\nSecond Attempt Failed: Possible Software Bug.\n"
         "Re-attempting with different parameters...\n"
         "\nThird Attempt Succeeded with different parameters.\n"
         "Most likely a software error... Please report this bug.\nContinuing...\n\n";
}

}  // namespace zx::test
