// Divisions by the table's powers against GMP: random dividends at every level, the edges (x equal
// to P[j], multiples of it, one below P[j]²), estimates pushed off by a skewed reciprocal so that
// the corrections run, and the fatal reports of both forms once the allowance of corrections is
// exceeded.
#include <unistd.h>

#include <optional>

#include "conversion_test_util.hpp"
#include "shell/console.hpp"

namespace zx {
namespace {

using test::ConversionTest;
using test::SetInteger;

// The memory division runs from memory; the disk-swapping one from a dividend and a table on disk,
// and must leave its results and the table there.
void CheckDivision(ConversionTable& table, uint32_t level, const mpz_t dividend, uint32_t threads,
                   const char* what, bool swapping) {
  mpz_t power, q, r, gotQ, gotR;
  mpz_inits(power, q, r, gotQ, gotR, nullptr);
  test::ToScaledMpz(power, nullptr, table.powers[level], 0);
  mpz_fdiv_qr(q, r, dividend, power);
  BigFloat x, quotient;
  SetInteger(nullptr, x, dividend);
  if (swapping) {
    test::TableToDisk(table);
    BigIntSwapOut(nullptr, x.magnitude);
  }
  (swapping ? DivModSwap : DivMod)(nullptr, x, quotient, level, table, threads);
  SCOPED_TRACE(::testing::Message() << what << " level " << level << " threads " << threads
                                    << " dividend bits " << mpz_sizeinbase(dividend, 2));
  for (BigFloat* part : {&x, &quotient}) {
    EXPECT_EQ(part->exponent, 0);
    EXPECT_EQ(part->sign, 1u);
    if (swapping) {
      EXPECT_TRUE(BigFloatIsZero(*part) || part->magnitude.words == nullptr) << "left in memory";
    }
    if (!BigFloatIsZero(*part)) {
      BigIntMakeResident(nullptr, part->magnitude);
      EXPECT_NE(part->magnitude.words[part->magnitude.length - 1], 0u);
    }
  }
  if (swapping) {
    EXPECT_TRUE(test::AllLevelsOnDisk(table));
  }
  test::ToMpz(gotQ, nullptr, quotient.magnitude);
  test::ToMpz(gotR, nullptr, x.magnitude);
  EXPECT_EQ(mpz_cmp(gotQ, q), 0);
  EXPECT_EQ(mpz_cmp(gotR, r), 0);
  BigFloatRelease(x);
  BigFloatRelease(quotient);
  mpz_clears(power, q, r, gotQ, gotR, nullptr);
}

// DivMod (false) and DivModSwap (true), the latter over two temporary swap directories.
class DivModForms : public ConversionTest, public ::testing::WithParamInterface<bool> {
 protected:
  void SetUp() override {
    if (GetParam()) disks_.emplace();
  }
  void TearDown() override {
    if (disks_) {
      EXPECT_EQ(disks_->FilesLeft(), 0u) << "swap files left behind";
    }
  }
  void BuildTable(uint64_t lengthWords, ConversionTable& table, std::mt19937_64& rng) {
    if (GetParam()) {
      test::BuildSwapTableFor(nullptr, lengthWords, table, rng);
    } else {
      test::BuildTableFor(nullptr, lengthWords, table, 0, rng);
    }
  }

  std::optional<test::TempSwapDisks> disks_;
};

TEST_P(DivModForms, AtEveryLevelAgreesWithGmp) {
  std::mt19937_64 rng(test::TestSeed());
  ConversionTable table;
  BuildTable(3000, table, rng);
  ASSERT_EQ(table.levelCount, 8u);
  const uint64_t filesBefore = RaidFilesCreated();
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
      CheckDivision(table, level, x, threads, "random", GetParam());
    }
    CheckDivision(table, level, power, threads, "x = P", GetParam());
    mpz_mul_ui(x, power, 12345);
    CheckDivision(table, level, x, threads, "multiple of P", GetParam());
    mpz_sub_ui(x, square, 1);
    CheckDivision(table, level, x, threads, "P² − 1", GetParam());
    mpz_sub_ui(x, power, 1);
    CheckDivision(table, level, x, threads, "P − 1", GetParam());
  }
  if (GetParam()) {
    // Every dividend went to disk, and every quotient but that of P − 1.
    EXPECT_GE(RaidFilesCreated() - filesBefore, 19 * uint64_t{table.levelCount});
  }
  gmp_randclear(state);
  mpz_clears(power, square, x, nullptr);
  ReleaseConversionTable(table);
}

// Only the disk-swapping form reports its corrections, one line each.
TEST_P(DivModForms, CorrectsEstimatesOffByUpToTheAllowance) {
  std::mt19937_64 rng(test::TestSeed());
  mpz_t x;
  mpz_init(x);
  struct Skew {
    long offsetHalves;
    const char* lines;
  };
  // +3: one too large (one add-back); −1 and −3: one and two too small (upward corrections).
  const Skew skews[] = {{3, "Quotient overshoot\n"},
                        {1, ""},
                        {-1, "Quotient undershoot\n"},
                        {-3, "Quotient undershoot\nQuotient undershoot x 2\n"}};
  for (const Skew& skew : skews) {
    for (uint32_t level = 0; level < 4; ++level) {
      ConversionTable table;
      BuildTable(200, table, rng);
      test::DividendFor(table, level, rng, x);
      test::SkewReciprocal(table, level, x, skew.offsetHalves);
      SCOPED_TRACE(::testing::Message() << "offset halves " << skew.offsetHalves);
      test::ConsoleCapture capture;
      CheckDivision(table, level, x, level % 2, "skewed", GetParam());
      EXPECT_EQ(capture.text(), GetParam() ? skew.lines : "");
      ReleaseConversionTable(table);
    }
  }
  mpz_clear(x);
}

std::string FormName(const ::testing::TestParamInfo<bool>& info) {
  return info.param ? "DivModSwap" : "DivMod";
}

INSTANTIATE_TEST_SUITE_P(Forms, DivModForms, ::testing::Bool(), FormName);

// Death tests fork; the program prints on standard output, which the test reads from standard
// error, and every pause returns at once at the end of input. The disk-swapping division prints its
// corrections before the same reports; its child inherits the swap directories (the fast style
// forks without exec), so its swap files go with them when the parent removes them.
class DivModDeathTest : public ConversionTest, public ::testing::WithParamInterface<bool> {
 protected:
  void SetUp() override {
    if (GetParam()) {
      disks_.emplace();
      GTEST_FLAG_SET(death_test_style, "fast");
    } else {
      GTEST_FLAG_SET(death_test_style, "threadsafe");
    }
    test::FeedStdin("");
  }

  static void DivideSkewed(long offsetHalves, bool swapping) {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    std::mt19937_64 rng(test::TestSeed());
    ConversionTable table;
    if (swapping) {
      test::BuildSwapTableFor(nullptr, 100, table, rng);
    } else {
      test::BuildTableFor(nullptr, 100, table, 0, rng);
    }
    mpz_t dividend;
    mpz_init(dividend);
    test::DividendFor(table, 2, rng, dividend);
    test::SkewReciprocal(table, 2, dividend, offsetHalves);
    if (swapping) test::TableToDisk(table);
    BigFloat x, q;
    SetInteger(nullptr, x, dividend);
    ConsoleWrite("@@");
    (swapping ? DivModSwap : DivMod)(nullptr, x, q, 2, table, 0);
  }

  std::optional<test::TempSwapDisks> disks_;
};

TEST_P(DivModDeathTest, ThirdCorrectionIsFatal) {
  const std::string lines = GetParam() ? "Quotient undershoot\nQuotient undershoot x 2\n" : "";
  EXPECT_DEATH(
      DivideSkewed(-5, GetParam()),
      "@@" + lines +
          "\n\nFATAL ERROR: Assertion Failure\n\nCritical Algorithmic Failure: Divide "
          "and Modulus\n\nMore than 2 corrections are needed.\n\n\nIf this error shows up");
}

TEST_P(DivModDeathTest, SecondAddBackIsFatal) {
  const std::string lines = GetParam() ? "Quotient overshoot\n" : "";
  EXPECT_DEATH(DivideSkewed(5, GetParam()),
               "@@" + lines +
                   "\n\nFATAL ERROR: Assertion Failure\n\nCritical Algorithmic Failure: Divide "
                   "and Modulus\n\nMore than 1 add-back is needed.\n\n\nIf this error shows up");
}

INSTANTIATE_TEST_SUITE_P(Forms, DivModDeathTest, ::testing::Bool(), FormName);

}  // namespace
}  // namespace zx
