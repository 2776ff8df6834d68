// GMP models of the ring elements of the hybrid transform, for its tests.
#pragma once

#include <gmp.h>

#include <cstdint>

#include "multiply_test_util.hpp"

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

}  // namespace zx::test
