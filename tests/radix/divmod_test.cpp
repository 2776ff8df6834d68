// Divisions by the table's powers against GMP: random dividends at every level, the edges (x equal
// to P[j], multiples of it, one below P[j]²), estimates pushed off by a skewed reciprocal so that
// the corrections run, and the fatal reports once the allowance of corrections is exceeded.
#include <unistd.h>

#include "conversion_test_util.hpp"
#include "shell/console.hpp"

namespace zx {
namespace {

using test::ConversionTest;
using test::SetInteger;

void CheckDivision(ConversionTable& table, uint32_t level, const mpz_t dividend, uint32_t threads,
                   const char* what) {
  mpz_t power, q, r, gotQ, gotR;
  mpz_inits(power, q, r, gotQ, gotR, nullptr);
  test::ToScaledMpz(power, nullptr, table.powers[level], 0);
  mpz_fdiv_qr(q, r, dividend, power);
  BigFloat x, quotient;
  SetInteger(nullptr, x, dividend);
  DivMod(nullptr, x, quotient, level, table, threads);
  SCOPED_TRACE(::testing::Message() << what << " level " << level << " threads " << threads
                                    << " dividend bits " << mpz_sizeinbase(dividend, 2));
  for (BigFloat* part : {&x, &quotient}) {
    EXPECT_EQ(part->exponent, 0);
    EXPECT_EQ(part->sign, 1u);
    if (!BigFloatIsZero(*part)) {
      EXPECT_NE(part->magnitude.words[part->magnitude.length - 1], 0u);
    }
  }
  test::ToMpz(gotQ, nullptr, quotient.magnitude);
  test::ToMpz(gotR, nullptr, x.magnitude);
  EXPECT_EQ(mpz_cmp(gotQ, q), 0);
  EXPECT_EQ(mpz_cmp(gotR, r), 0);
  BigFloatRelease(x);
  BigFloatRelease(quotient);
  mpz_clears(power, q, r, gotQ, gotR, nullptr);
}

TEST_F(ConversionTest, DivModAtEveryLevelAgreesWithGmp) {
  std::mt19937_64 rng(test::TestSeed());
  ConversionTable table;
  test::BuildTableFor(nullptr, 3000, table, 0, rng);
  ASSERT_EQ(table.levelCount, 8u);
  mpz_t power, square, x;
  mpz_inits(power, square, x, nullptr);
  gmp_randstate_t state;
  gmp_randinit_mt(state);
  gmp_randseed_ui(state, static_cast<unsigned long>(test::TestSeed()));
  for (uint32_t level = 0; level < table.levelCount; ++level) {
    test::ToScaledMpz(power, nullptr, table.powers[level], 0);
    mpz_mul(square, power, power);
    const uint32_t threads = level % 2;
    // Random dividends in [P, P²), long runs of ones and zeros included.
    for (int i = 0; i < 6; ++i) {
      mpz_sub(x, square, power);
      if (i % 2 == 0) {
        mpz_urandomm(x, state, x);
      } else {
        mpz_rrandomb(x, state, mpz_sizeinbase(x, 2) - 1);
      }
      mpz_add(x, x, power);
      CheckDivision(table, level, x, threads, "random");
    }
    CheckDivision(table, level, power, threads, "x = P");
    mpz_mul_ui(x, power, 12345);
    CheckDivision(table, level, x, threads, "multiple of P");
    mpz_sub_ui(x, square, 1);
    CheckDivision(table, level, x, threads, "P² − 1");
    mpz_sub_ui(x, power, 1);
    CheckDivision(table, level, x, threads, "P − 1");
  }
  gmp_randclear(state);
  mpz_clears(power, square, x, nullptr);
  ReleaseConversionTable(table);
}

// A table whose reciprocal at level makes x·R fall just below q + offsetHalves/2, q = x div P:
// the estimate is then floor(q + offsetHalves/2 − tiny).
void SkewReciprocal(ConversionTable& table, uint32_t level, const mpz_t x, long offsetHalves) {
  mpz_t power, target, reciprocal;
  mpz_inits(power, target, reciprocal, nullptr);
  test::ToScaledMpz(power, nullptr, table.powers[level], 0);
  mpz_fdiv_q(target, x, power);
  mpz_mul_2exp(target, target, 1);
  if (offsetHalves >= 0)
    mpz_add_ui(target, target, static_cast<unsigned long>(offsetHalves));
  else
    mpz_sub_ui(target, target, static_cast<unsigned long>(-offsetHalves));
  // Eight words beyond P's top position, as many as the real reciprocal carries.
  const int64_t scaleWords = 2 * BigFloatTop(table.powers[level]) + 8;
  mpz_mul_2exp(target, target, static_cast<mp_bitcnt_t>(32 * scaleWords));
  mpz_mul_2exp(reciprocal, x, 1);
  mpz_fdiv_q(reciprocal, target, reciprocal);
  BigFloatRelease(table.reciprocals[level]);
  SetInteger(nullptr, table.reciprocals[level], reciprocal);
  table.reciprocals[level].exponent = -scaleWords;
  mpz_clears(power, target, reciprocal, nullptr);
}

// A dividend of the level with a quotient of at least 3, so that every skew stays non-negative.
void DividendFor(ConversionTable& table, uint32_t level, std::mt19937_64& rng, mpz_t x) {
  mpz_t power;
  mpz_init(power);
  test::ToScaledMpz(power, nullptr, table.powers[level], 0);
  const std::vector<uint32_t> words = test::RandomWords(rng, table.powers[level].magnitude.length);
  test::ToMpz(x, words.data(), words.size());
  mpz_mul(x, x, power);
  mpz_add_ui(x, x, static_cast<unsigned long>(rng()));
  mpz_addmul_ui(x, power, 3);
  mpz_clear(power);
}

TEST_F(ConversionTest, DivModCorrectsEstimatesOffByUpToTheAllowance) {
  std::mt19937_64 rng(test::TestSeed());
  mpz_t x;
  mpz_init(x);
  // +3: one too large (one add-back); −1 and −3: one and two too small (upward corrections).
  for (long offsetHalves : {3, 1, -1, -3}) {
    for (uint32_t level = 0; level < 4; ++level) {
      ConversionTable table;
      test::BuildTableFor(nullptr, 200, table, 0, rng);
      DividendFor(table, level, rng, x);
      SkewReciprocal(table, level, x, offsetHalves);
      SCOPED_TRACE(::testing::Message() << "offset halves " << offsetHalves);
      CheckDivision(table, level, x, level % 2, "skewed");
      ReleaseConversionTable(table);
    }
  }
  mpz_clear(x);
}

// Death tests fork; the program prints on standard output, which the test reads from standard
// error, and every pause returns at once at the end of input.
class DivModDeathTest : public ConversionTest {
 protected:
  void SetUp() override {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    test::FeedStdin("");
  }

  static void DivideSkewed(long offsetHalves) {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    std::mt19937_64 rng(test::TestSeed());
    ConversionTable table;
    test::BuildTableFor(nullptr, 100, table, 0, rng);
    mpz_t dividend;
    mpz_init(dividend);
    DividendFor(table, 2, rng, dividend);
    SkewReciprocal(table, 2, dividend, offsetHalves);
    BigFloat x, q;
    SetInteger(nullptr, x, dividend);
    ConsoleWrite("@@");
    DivMod(nullptr, x, q, 2, table, 0);
  }
};

TEST_F(DivModDeathTest, ThirdCorrectionIsFatal) {
  EXPECT_DEATH(DivideSkewed(-5),
               "@@\n\nFATAL ERROR: Assertion Failure\n\nCritical Algorithmic Failure: Divide and "
               "Modulus\n\nMore than 2 corrections are needed.\n\n\nIf this error shows up");
}

TEST_F(DivModDeathTest, SecondAddBackIsFatal) {
  EXPECT_DEATH(DivideSkewed(5),
               "@@\n\nFATAL ERROR: Assertion Failure\n\nCritical Algorithmic Failure: Divide and "
               "Modulus\n\nMore than 1 add-back is needed.\n\n\nIf this error shows up");
}

}  // namespace
}  // namespace zx
