#include <gtest/gtest.h>

#include <filesystem>

#include "bignum_oracle.hpp"
#include "mpfr_oracle.hpp"
#include "multiply/fft/fft_mul.hpp"
#include "newton/reciprocal.hpp"
#include "runtime/run_record.hpp"
#include "runtime/swap_file.hpp"
#include "shell/progress.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

class NewtonTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { PrepareFftTables(20000); }
  static void TearDownTestSuite() { ReleaseFftTables(); }
};

struct Shape {
  uint64_t words;
  uint32_t threads;
};

class ReciprocalAgainstMpfr : public NewtonTest, public ::testing::WithParamInterface<Shape> {};

// The result carries n words plus guard words; all n must be right.
TEST_P(ReciprocalAgainstMpfr, AgreesToTheRequestedWords) {
  const Shape shape = GetParam();
  std::mt19937_64 rng(test::TestSeed() + shape.words);
  mpfr_t x, reference;
  mpfr_inits2(static_cast<mpfr_prec_t>(32 * (shape.words + 8)), x, reference, nullptr);
  for (int i = 0; i < 3; ++i) {
    BigFloat value, inverse;
    test::RandomBigFloat(nullptr, rng, value, shape.words, 50);
    BigIntShrink(value.magnitude);
    test::ToMpfr(x, nullptr, value);
    mpfr_prec_round(reference, static_cast<mpfr_prec_t>(32 * (shape.words + 8)), MPFR_RNDN);
    mpfr_ui_div(reference, 1, x, MPFR_RNDN);
    Reciprocal(nullptr, value, inverse, shape.words, false, shape.threads);
    EXPECT_GE(test::AgreeingWords(nullptr, inverse, reference), static_cast<double>(shape.words))
        << "words " << shape.words << " threads " << shape.threads << " case " << i;
    EXPECT_LE(inverse.magnitude.length, shape.words + 7);  // the sum at n + 3 words keeps 3 more
    BigFloat copy;
    BigFloatCopy(nullptr, value, copy);
    InvertInPlace(nullptr, copy, shape.words, false, shape.threads);
    EXPECT_GE(test::AgreeingWords(nullptr, copy, reference), static_cast<double>(shape.words));
    BigFloatRelease(value);
    BigFloatRelease(inverse);
    BigFloatRelease(copy);
  }
  mpfr_clears(x, reference, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Sizes, ReciprocalAgainstMpfr,
                         ::testing::Values(Shape{1, 0}, Shape{2, 0}, Shape{3, 0}, Shape{4, 0},
                                           Shape{7, 0}, Shape{57, 0}, Shape{600, 1},
                                           Shape{5000, 0}, Shape{30000, 1}, Shape{200000, 1}));

TEST_F(NewtonTest, ProgressCountsDigitsAndTheLabelUnwinds) {
  BigFloat x, r;
  BigFloatSetWord(nullptr, x, 7);
  ProgressTimerStart();
  // 61 characters already on the label push the Newton markers past the 62-character limit.
  for (int i = 0; i < 61; ++i) LabelPush('x');
  const std::string before = Progress().label;
  {
    test::ConsoleCapture capture;
    Reciprocal(nullptr, x, r, 202, true, 0);
    // 202 → 102 → 52 → 27 → 14 → 8 → 5 → 3 → 2 → 1: the first line shows m = 1, the last m = 102.
    EXPECT_NE(capture.text().find("( 10 )"), std::string::npos);
    EXPECT_NE(capture.text().find("( 983 )"), std::string::npos);
  }
  EXPECT_EQ(Progress().labelLength, 61u);
  EXPECT_EQ(std::string(Progress().label), before);
  LabelPopTo(0);
  EXPECT_EQ(Progress().labelLength, 0u);
  {
    test::ConsoleCapture capture;
    InvertInPlace(nullptr, x, 2, true, 0);  // below three words nothing is printed
    EXPECT_EQ(capture.text(), "");
  }
  BigFloatRelease(x);
  BigFloatRelease(r);
}

class StagedTest : public NewtonTest {
 protected:
  void SetUp() override {
    dir_ = test::MakeTempDir("staged");
    AddDiskPath(disks_, dir_);
    InstallRun(RunRecord{.swapDisks = &disks_});
  }
  void TearDown() override {
    InstallRun(RunRecord{});
    EXPECT_TRUE(std::filesystem::is_empty(dir_)) << "swap files left behind";
    test::RemoveTree(dir_);
  }
  std::string dir_;
  DiskList disks_;
};

TEST_F(StagedTest, StagedFormsGiveTheSameWordsThroughTheDisks) {
  std::mt19937_64 rng(test::TestSeed());
  for (const uint64_t n : {999u, 1000u, 4500u}) {
    BigFloat x, plain, staged;
    test::RandomBigFloat(nullptr, rng, x, n, 3);
    Reciprocal(nullptr, x, plain, n, false, 0);
    const uint64_t filesBefore = RaidFilesCreated();
    ReciprocalStaged(nullptr, x, staged, n, 1, false, 0);
    EXPECT_EQ(RaidFilesCreated() > filesBefore, n >= 1000) << n;
    BigIntMakeResident(nullptr, staged.magnitude);
    BigIntMakeResident(nullptr, plain.magnitude);
    ASSERT_EQ(staged.magnitude.length, plain.magnitude.length) << n;
    EXPECT_EQ(staged.exponent, plain.exponent);
    EXPECT_TRUE(std::equal(plain.magnitude.words, plain.magnitude.words + plain.magnitude.length,
                           staged.magnitude.words))
        << n;

    for (BigFloat* v : {&plain, &staged}) BigFloatRelease(*v);
    if (n < 1000) {
      BigFloatRelease(x);
      continue;
    }
    BigFloat a, b;
    BigFloatCopy(nullptr, x, a);
    BigFloatCopy(nullptr, x, b);
    InvertInPlace(nullptr, a, n, false, 0);
    InvertInPlaceStaged(nullptr, b, n, false, 0);
    BigIntMakeResident(nullptr, b.magnitude);
    ASSERT_EQ(a.magnitude.length, b.magnitude.length) << n;
    EXPECT_TRUE(std::equal(a.magnitude.words, a.magnitude.words + a.magnitude.length,
                           b.magnitude.words))
        << n;
    for (BigFloat* v : {&x, &a, &b}) BigFloatRelease(*v);
  }
}

}  // namespace
}  // namespace zx
