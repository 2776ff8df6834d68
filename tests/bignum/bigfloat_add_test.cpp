// Additions against GMP: operands are truncated at the kept range's low end exactly as the
// precision rule says, summed exactly by GMP, and the result must match word for word.
#include <gtest/gtest.h>

#include <algorithm>

#include "bignum_oracle.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

// The value of a truncated to positions at or above low, scaled to 2^(32·low).
void TruncatedAt(mpz_t z, BigFloat& a, int64_t low) {
  test::ToMpz(z, nullptr, a.magnitude);
  if (a.exponent >= low) {
    mpz_mul_2exp(z, z, static_cast<mp_bitcnt_t>(32 * (a.exponent - low)));
  } else {
    mpz_fdiv_q_2exp(z, z, static_cast<mp_bitcnt_t>(32 * (low - a.exponent)));
  }
  if (a.sign == 0) mpz_neg(z, z);
}

struct AddCase {
  uint64_t maxWords;
  int64_t exponentSpread;
  int iterations;
};

class AddAgainstGmp : public ::testing::TestWithParam<AddCase> {};

TEST_P(AddAgainstGmp, KeepsTopAndPPlusThreeWordsWithoutRounding) {
  const AddCase param = GetParam();
  std::mt19937_64 rng(test::TestSeed());
  mpz_t x, y, expected, actual;
  mpz_inits(x, y, expected, actual, nullptr);
  const int iterations = param.iterations * static_cast<int>(test::TestMultiplier());
  for (int i = 0; i < iterations; ++i) {
    BigFloat a, b, sum;
    test::RandomBigFloat(nullptr, rng, a, param.maxWords, param.exponentSpread);
    if (rng() % 5 == 0) {
      BigFloatCopy(nullptr, a, b);  // equal magnitudes: cancellation to the canonical zero
      if (rng() % 2 == 0) b.exponent += static_cast<int64_t>(rng() % 3);
    } else {
      test::RandomBigFloat(nullptr, rng, b, param.maxWords, param.exponentSpread);
    }
    if (rng() % 7 == 0) {
      BigFloat& zeroed = rng() % 2 ? a : b;
      BigFloatRelease(zeroed);
      BigFloatSetZero(zeroed);
    }
    const uint64_t precision =
        rng() % 8 == 0 ? kFullPrecision : 1 + rng() % (2 * param.maxWords + 2);
    const bool subtract = rng() % 2 == 0;
    SCOPED_TRACE(::testing::Message() << "seed " << test::TestSeed() << " case " << i << " la "
                                      << a.magnitude.length << " ea " << a.exponent << " lb "
                                      << b.magnitude.length << " eb " << b.exponent << " p "
                                      << precision << (subtract ? " subtract" : " add"));
    const bool oneZero = BigFloatIsZero(a) || BigFloatIsZero(b);
    const int64_t top = std::max(BigFloatTop(a), BigFloatTop(b));
    int64_t low = top - static_cast<int64_t>(precision) - 3;
    if (low < a.exponent && low < b.exponent) low = std::min(a.exponent, b.exponent);
    if (oneZero) low = std::min(a.exponent, b.exponent) - 1;  // a zero operand copies exactly

    TruncatedAt(x, a, low);
    TruncatedAt(y, b, low);
    subtract ? mpz_sub(expected, x, y) : mpz_add(expected, x, y);

    if (subtract) {
      BigFloatCopy(nullptr, a, sum);
      BigFloatSubtract(nullptr, sum, b, precision);
    } else {
      BigFloatAdd(nullptr, a, b, sum, precision);
    }
    if (mpz_sgn(expected) == 0) {
      EXPECT_TRUE(BigFloatIsZero(sum));
      EXPECT_EQ(sum.sign, 1u);
      EXPECT_EQ(sum.exponent, 0);
      EXPECT_EQ(sum.magnitude.words, nullptr);
    } else {
      ASSERT_FALSE(BigFloatIsZero(sum));
      EXPECT_NE(sum.magnitude.words[sum.magnitude.length - 1], 0u);
      if (!oneZero) {
        EXPECT_EQ(sum.exponent, low);
        EXPECT_LE(BigFloatTop(sum), top + 1);
      }
      test::ToScaledMpz(actual, nullptr, sum, low);
      EXPECT_EQ(mpz_cmp(actual, expected), 0);
    }
    BigFloatRelease(a);
    BigFloatRelease(b);
    BigFloatRelease(sum);
  }
  mpz_clears(x, y, expected, actual, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Shapes, AddAgainstGmp,
                         ::testing::Values(AddCase{4, 3, 4000}, AddCase{40, 30, 2000},
                                           AddCase{2000, 2500, 300}));

}  // namespace
}  // namespace zx
