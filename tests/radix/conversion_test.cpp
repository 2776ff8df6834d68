// The normalisation of any BigFloat to an integer times a power of 10^9, against GMP (the table's
// powers are checked through every digit file the other tests write).
#include <gtest/gtest.h>

#include <algorithm>

#include "conversion_test_util.hpp"

namespace zx {
namespace {

using test::BuildTableFor;
using test::ConversionTest;
using test::SetInteger;

// x·10^(−9e) lies in [N, N + 1 + its truncation at p + 3 words); x itself is any BigFloat.
TEST_F(ConversionTest, NormalizationBracketsTheScaledValue) {
  std::mt19937_64 rng(test::TestSeed());
  mpz_t exact, integer, slack;
  mpz_inits(exact, integer, slack, nullptr);
  for (int i = 0; i < 300; ++i) {
    BigFloat x;
    test::RandomBigFloat(nullptr, rng, x, i % 30 == 0 ? 400 : 30, 60);
    x.sign = 1;
    const uint64_t p = 1 + rng() % 60;
    const int64_t exponent = x.exponent;
    test::ToMpz(exact, nullptr, x.magnitude);
    const uint64_t lengthWords = x.magnitude.length;
    SCOPED_TRACE(::testing::Message() << "case " << i << " words " << lengthWords << " exponent "
                                      << exponent << " p " << p);
    const int64_t e = NormalizeForConversion(nullptr, x, p, 0);
    ASSERT_EQ(x.exponent, 0);
    ASSERT_GT(x.magnitude.length, 0u);
    test::ToMpz(integer, nullptr, x.magnitude);
    // exact = m·2^(32·exponent)·10^(−9e), compared as integers over a common denominator.
    mpz_t num, den;
    mpz_inits(num, den, nullptr);
    mpz_set(num, exact);
    mpz_set_ui(den, 1);
    if (exponent >= 0)
      mpz_mul_2exp(num, num, static_cast<mp_bitcnt_t>(32 * exponent));
    else
      mpz_mul_2exp(den, den, static_cast<mp_bitcnt_t>(-32 * exponent));
    mpz_ui_pow_ui(slack, 10, static_cast<unsigned long>(9 * (e < 0 ? -e : e)));
    if (e <= 0)
      mpz_mul(num, num, slack);
    else
      mpz_mul(den, den, slack);
    mpz_fdiv_q(slack, num, den);  // floor of the exact scaled value
    mpz_sub(slack, slack, integer);
    // The product is truncated to p + 3 words (and the reciprocal of a negative power is not
    // exact), so N may miss the floor by units of its (p + 1)-th word.
    mpz_abs(slack, slack);
    const int64_t slackBits = static_cast<int64_t>(mpz_sizeinbase(slack, 2));
    EXPECT_LE(slackBits, std::max<int64_t>(2, static_cast<int64_t>(mpz_sizeinbase(integer, 2)) -
                                                  32 * static_cast<int64_t>(p + 1)));
    // Scaling keeps the precision: the integer is at least as long as the words asked for.
    EXPECT_GE(x.magnitude.length, std::min<uint64_t>(lengthWords, p + 2));
    mpz_clears(num, den, nullptr);
    BigFloatRelease(x);
  }
  BigFloat zero;
  EXPECT_EQ(NormalizeForConversion(nullptr, zero, 5, 0), 0);
  EXPECT_TRUE(BigFloatIsZero(zero));
  mpz_clears(exact, integer, slack, nullptr);
}

}  // namespace
}  // namespace zx
