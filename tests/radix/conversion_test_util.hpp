// Shared pieces of the conversion tests: the fixture that prepares the FFT tables, integers from
// words or GMP values, tables built for a given length, and the decimal text of base-10^9 words.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "bignum_oracle.hpp"
#include "multiply/fft_mul.hpp"
#include "radix/base_conversion.hpp"
#include "radix_oracle.hpp"
#include "test_support.hpp"

namespace zx::test {

class ConversionTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { PrepareFftTables(20000); }
  static void TearDownTestSuite() { ReleaseFftTables(); }
};

inline void SetInteger(AllocationHeap* heap, BigFloat& x, const std::vector<uint32_t>& words) {
  BigFloatSetZero(x);
  SetWords(heap, x.magnitude, words);
}

inline void SetInteger(AllocationHeap* heap, BigFloat& x, const mpz_t value) {
  SetInteger(heap, x, FromMpz(value));
}

// Builds the table for a random number of lengthWords words, its console lines swallowed.
inline void BuildTableFor(AllocationHeap* heap, uint64_t lengthWords, ConversionTable& table,
                          uint32_t threads, std::mt19937_64& rng) {
  BigFloat x;
  SetInteger(heap, x, RandomWords(rng, lengthWords));
  ConsoleCapture capture;
  BuildConversionTable(heap, x, table, threads);
  BigFloatRelease(x);
}

// The base-10^9 words as one decimal text of nine digits each, most significant first.
inline std::string BillionWordsText(const uint32_t* words, uint64_t count) {
  std::string text;
  text.reserve(9 * count);
  char group[16];
  for (uint64_t i = count; i-- > 0;) {
    std::snprintf(group, sizeof group, "%09u", words[i]);
    text += group;
  }
  return text;
}

inline std::string PaddedDecimal(const mpz_t value, uint64_t width) {
  const std::string text = mpz_sgn(value) == 0 ? "" : MpzText(value, 10);
  return text.size() >= width ? text : std::string(width - text.size(), '0') + text;
}

}  // namespace zx::test
