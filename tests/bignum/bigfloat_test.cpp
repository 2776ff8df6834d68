#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "bignum_oracle.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

struct Expected {
  uint32_t sign;
  int64_t exponent;
  std::vector<uint32_t> words;
};

Expected Describe(BigFloat& a) {
  BigIntMakeResident(nullptr, a.magnitude);
  return {a.sign, a.exponent,
          std::vector<uint32_t>(a.magnitude.words, a.magnitude.words + a.magnitude.length)};
}

void ExpectFromDouble(double x, const Expected& want) {
  BigFloat a;
  BigFloatFromDouble(nullptr, a, x);
  const Expected got = Describe(a);
  EXPECT_EQ(got.sign, want.sign) << x;
  EXPECT_EQ(got.exponent, want.exponent) << x;
  EXPECT_EQ(got.words, want.words) << x;
  BigFloatRelease(a);
}

TEST(BigFloatFromDouble, NamedValues) {
  ExpectFromDouble(1.0, {1, 0, {1}});
  ExpectFromDouble(4294967296.0, {1, 1, {1}});
  ExpectFromDouble(0.5, {1, -1, {0x80000000u}});
  ExpectFromDouble(-3.0, {0, 0, {3}});
  ExpectFromDouble(0.0, {1, 0, {}});
  ExpectFromDouble(-0.0, {0, 0, {}});  // the one way a negative zero arises
  // 1/3 in double: 0x15555555555555 · 2^-54, i.e. 0x5555555555555400 · 2^-64.
  ExpectFromDouble(1.0 / 3.0, {1, -2, {0x55555400u, 0x55555555u}});
  // An infinity converts as if finite: 2^52 shifted left by 972 bits, no message.
  test::ConsoleCapture capture;
  BigFloat inf;
  BigFloatFromDouble(nullptr, inf, -std::numeric_limits<double>::infinity());
  EXPECT_EQ(capture.text(), "");
  EXPECT_EQ(inf.sign, 0u);
  const Expected got = Describe(inf);
  // 2^(52 + 972) = 2^1024 = word 32 set to 1.
  EXPECT_EQ(got.exponent, 32);
  EXPECT_EQ(got.words, (std::vector<uint32_t>{1}));
  BigFloatRelease(inf);
}

// Only the top two words are converted, so a mantissa spread over three words loses its lowest
// bits; whatever fits in two words comes back exactly.
TEST(BigFloatToDouble, KeepsTheTopTwoWords) {
  std::mt19937_64 rng(test::TestSeed());
  for (int i = 0; i < 5000; ++i) {
    const double x = std::ldexp(static_cast<double>(rng() >> 11), static_cast<int>(rng() % 400) - 250) *
                     (rng() % 2 ? 1 : -1);
    if (x == 0) continue;
    BigFloat a;
    BigFloatFromDouble(nullptr, a, x);
    int64_t wordExponent = 0;
    const double leading = BigFloatToDouble(nullptr, a, &wordExponent);
    const double back = std::ldexp(leading, static_cast<int>(32 * wordExponent));
    if (a.magnitude.length <= 2) {
      EXPECT_EQ(back, x) << i;
    } else {
      EXPECT_LE(std::fabs(back - x), std::fabs(x) * 0x1p-32) << i;
      EXPECT_LE(std::fabs(back), std::fabs(x)) << i;  // truncated, never rounded up
    }
    EXPECT_NE(a.magnitude.words[0], 0u);  // normalised
    BigFloatRelease(a);
  }
}

TEST(BigFloatShiftBits, ChoosesTheShiftThatLosesNothing) {
  BigFloat a;
  BigFloatSetWord(nullptr, a, 1);
  BigFloatShiftBits(nullptr, a, -1);
  EXPECT_EQ(Describe(a).words, (std::vector<uint32_t>{0x80000000u}));
  EXPECT_EQ(a.exponent, -1);
  BigFloatShiftBits(nullptr, a, 1);
  EXPECT_EQ(Describe(a).words, (std::vector<uint32_t>{1}));
  EXPECT_EQ(a.exponent, 0);
  BigFloatRelease(a);

  std::mt19937_64 rng(test::TestSeed() + 2);
  mpz_t before, after;
  mpz_inits(before, after, nullptr);
  for (int i = 0; i < 3000; ++i) {
    BigFloat x;
    test::RandomBigFloat(nullptr, rng, x, 8, 5);
    const int64_t bits = static_cast<int64_t>(rng() % 401) - 200;
    const int64_t scale = x.exponent - 10;
    test::ToScaledMpz(before, nullptr, x, scale);
    BigFloatShiftBits(nullptr, x, bits);
    test::ToScaledMpz(after, nullptr, x, scale - 10);
    mpz_mul_2exp(before, before, static_cast<mp_bitcnt_t>(320 + bits));
    EXPECT_EQ(mpz_cmp(before, after), 0) << i << " shift " << bits;
    BigFloatRelease(x);
  }
  mpz_clears(before, after, nullptr);
}

TEST(BigFloatNormalize, MovesLowZeroWordsIntoTheExponent) {
  BigFloat a;
  test::SetWords(nullptr, a.magnitude, {0, 0, 7, 0, 9});
  a.exponent = -3;
  BigFloatNormalize(nullptr, a);
  EXPECT_EQ(a.exponent, -1);
  EXPECT_EQ(Describe(a).words, (std::vector<uint32_t>{7, 0, 9}));
  BigFloatRelease(a);
}

}  // namespace
}  // namespace zx
