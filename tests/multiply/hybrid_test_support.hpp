// GMP models of the ring elements of the hybrid transform and the product check its tests share.
#pragma once

#include <gmp.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

#include "multiply/hybrid/hybrid_mul.hpp"
#include "multiply/hybrid/hybrid_tables.hpp"
#include "multiply_test_util.hpp"
#include "test_support.hpp"

namespace zx::test {

// Element layout of the transform: n words, then a 64-bit top limb (words n and n + 1).
inline void ElementToMpz(mpz_t out, const uint32_t* x, uint64_t ringWords) {
  mpz_import(out, ringWords + 1, -1, sizeof(uint32_t), 0, 0, x);
}

inline void MpzToElement(const mpz_t value, uint32_t* x, uint64_t ringWords) {
  for (uint64_t i = 0; i < ringWords + 2; ++i) x[i] = 0;
  size_t count = 0;
  mpz_export(x, &count, -1, sizeof(uint32_t), 0, 0, value);
}

inline void RingModulus(mpz_t m, uint64_t ringWords) {
  mpz_set_ui(m, 1);
  mpz_mul_2exp(m, m, 32 * ringWords);
  mpz_add_ui(m, m, 1);
}

// Reduced: top word 0, or 1 with every other word 0; the word above the top is always 0.
inline bool ElementReduced(const uint32_t* x, uint64_t ringWords) {
  if (x[ringWords + 1] != 0) return false;
  if (x[ringWords] == 0) return true;
  if (x[ringWords] != 1) return false;
  for (uint64_t i = 0; i < ringWords; ++i) {
    if (x[i] != 0) return false;
  }
  return true;
}

enum class Fill { kRandom, kSparse, kAllOnes };

inline Words Operand(std::mt19937_64& rng, uint64_t count, Fill fill) {
  switch (fill) {
    case Fill::kRandom:
      return RandomWords(rng, count);
    case Fill::kSparse:
      return SparseWords(rng, count);
    default:
      return AllOnes(count);
  }
}

inline std::string Describe(uint64_t la, uint64_t lb, uint64_t t, uint32_t threads, bool square) {
  return (square ? "square " : "") + Shape(la, lb, t) + " T=" + std::to_string(threads) +
         " seed=" + std::to_string(TestSeed());
}

// Runs the hybrid product (or square when b is null) and checks it against GMP; a truncated one
// may fall short of the exact words by the skipped operand words' carries.
inline void CheckHybridProduct(const Words& a, const Words* b, uint64_t t, uint32_t threads) {
  const bool square = b == nullptr;
  const Words& other = square ? a : *b;
  const uint64_t la = a.size();
  const uint64_t lb = other.size();
  const std::string what = Describe(la, lb, t, threads, square);
  Words out(la + lb - t + 1, 0xDEADBEEFu);
  const uint64_t status = square ? HybridSquare(nullptr, a.data(), la, out.data(), t, threads)
                                 : HybridMultiply(nullptr, a.data(), la, other.data(), lb,
                                                  out.data(), t, threads);
  ASSERT_EQ(status, 0u) << what;
  EXPECT_EQ(out.back(), 0xDEADBEEFu) << "wrote past the product: " << what;
  out.pop_back();
  const Words exact = GmpProduct(a, other);
  if (t == 0) {
    ASSERT_TRUE(out == exact) << what;
  } else {
    ASSERT_LE(TruncationShortfall(exact, t, out), 2u) << what;
  }
}

// A product (or square) of a table row at its exact capacity: worst-case operands (all ones,
// the largest coefficients the check allows) or random ones.
inline void CheckRowAtCapacity(const HybridRow& row, bool square, std::mt19937_64& rng) {
  const uint64_t la = square ? row.capacityWords / 2 : row.capacityWords / 2 + 1;
  const Fill fill = rng() % 2 ? Fill::kAllOnes : Fill::kRandom;
  const Words a = Operand(rng, la, fill);
  SCOPED_TRACE("row " + std::to_string(row.capacityWords) + " (" + std::to_string(row.k) + ", " +
               std::to_string(row.c) + ")");
  if (square) {
    CheckHybridProduct(a, nullptr, 0, 1);
  } else {
    const Words b = Operand(rng, row.capacityWords - la, fill);
    CheckHybridProduct(a, &b, 0, 1);
  }
}

}  // namespace zx::test
