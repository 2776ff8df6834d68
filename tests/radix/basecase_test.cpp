// The conversion's basecase, which needs no products, against GMP: random values up to the largest
// P[0] and beyond, zero top words included.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "bignum_oracle.hpp"
#include "radix/base_conversion.hpp"
#include "radix/digit_writers.hpp"
#include "radix_oracle.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

// The decimal text of base-10^9 words, most significant first, without leading zeros.
std::string BillionsText(const std::vector<uint32_t>& out) {
  mpz_t n;
  mpz_init(n);
  for (size_t i = out.size(); i-- > 0;) {
    EXPECT_LT(out[i], kBillion);
    mpz_mul_ui(n, n, kBillion);
    mpz_add_ui(n, n, out[i]);
  }
  std::string text = test::MpzText(n, 10);
  mpz_clear(n);
  return text;
}

TEST(ConvertWords, AgreesWithGmpUpToTheLargestBasecase) {
  std::mt19937_64 rng(test::TestSeed());
  mpz_t value;
  mpz_init(value);
  const int iterations = 4000 * static_cast<int>(test::TestMultiplier());
  for (int i = 0; i < iterations; ++i) {
    // Up to 16 words, past the 15 base-10^9 words of the largest P[0], plus zero top words.
    const uint64_t length = 1 + rng() % 16;
    std::vector<uint32_t> words = test::RandomWords(rng, length);
    if (i % 7 == 0) words.back() = static_cast<uint32_t>(rng() % 3);  // small or zero top word
    if (i % 11 == 0) words.assign(length, 0xFFFFFFFFu);
    words.resize(length + rng() % 3, 0);
    test::ToMpz(value, words.data(), words.size());
    std::vector<uint32_t> out(2 * words.size() + 2, 0xDEADBEEF);
    const uint64_t produced = ConvertWords(words.data(), words.size(), out.data());
    SCOPED_TRACE(::testing::Message()
                 << "case " << i << " seed " << test::TestSeed() << " words " << words.size());
    ASSERT_LE(produced, out.size());
    // Not one word beyond the result may be touched: the leaves write into shared arrays.
    for (size_t k = produced; k < out.size(); ++k) ASSERT_EQ(out[k], 0xDEADBEEF) << k;
    out.resize(produced);
    if (mpz_sgn(value) == 0) {
      EXPECT_EQ(produced, 0u);
      continue;
    }
    ASSERT_GT(produced, 0u);
    EXPECT_NE(out.back(), 0u);
    EXPECT_EQ(BillionsText(out), test::MpzText(value, 10));
  }
  mpz_clear(value);
}

}  // namespace
}  // namespace zx
