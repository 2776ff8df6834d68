#include <gtest/gtest.h>

#include <filesystem>

#include "bignum_oracle.hpp"
#include "mpfr_oracle.hpp"
#include "multiply/fft/fft_mul.hpp"
#include "newton/inv_sqrt.hpp"
#include "runtime/run_record.hpp"
#include "runtime/swap_file.hpp"
#include "shell/progress.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

class InvSqrtTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { PrepareFftTables(20000); }
  static void TearDownTestSuite() { ReleaseFftTables(); }
};

struct Shape {
  uint64_t words;
  uint32_t threads;
};

class InvSqrtAgainstMpfr : public InvSqrtTest, public ::testing::WithParamInterface<Shape> {};

TEST_P(InvSqrtAgainstMpfr, RandomValuesAndTheChudnovskyRadicand) {
  const Shape shape = GetParam();
  std::mt19937_64 rng(test::TestSeed() + shape.words);
  const auto bits = static_cast<mpfr_prec_t>(32 * (shape.words + 8));
  mpfr_t x, reference;
  mpfr_inits2(bits, x, reference, nullptr);
  for (int i = 0; i < 3; ++i) {
    BigFloat value, root;
    test::RandomBigFloat(nullptr, rng, value, shape.words, 50);
    value.sign = 1;
    if (i == 0) value.exponent |= 1;  // an odd word exponent takes the 2^-16 path of the seed
    test::ToMpfr(x, nullptr, value);
    mpfr_prec_round(reference, bits, MPFR_RNDN);
    mpfr_rec_sqrt(reference, x, MPFR_RNDN);
    InvSqrt(nullptr, value, root, shape.words, false, shape.threads);
    EXPECT_GE(test::AgreeingWords(nullptr, root, reference), static_cast<double>(shape.words))
        << "words " << shape.words << " threads " << shape.threads << " case " << i;
    BigFloatRelease(value);
    BigFloatRelease(root);
  }
  BigFloat root;
  InvSqrtInt(nullptr, 10005, root, shape.words, false, shape.threads);
  mpfr_set_ui(x, 10005, MPFR_RNDN);
  mpfr_rec_sqrt(reference, x, MPFR_RNDN);
  EXPECT_GE(test::AgreeingWords(nullptr, root, reference), static_cast<double>(shape.words));
  BigFloatRelease(root);
  mpfr_clears(x, reference, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Sizes, InvSqrtAgainstMpfr,
                         ::testing::Values(Shape{1, 0}, Shape{2, 0}, Shape{3, 0}, Shape{9, 0},
                                           Shape{100, 0}, Shape{700, 1}, Shape{6000, 0},
                                           Shape{25000, 1}, Shape{200000, 0}));

TEST_F(InvSqrtTest, SeedHandlesAnOddWordExponent) {
  // x = 2^32: d = 1 with word exponent 1, so the seed is 2^-16 exactly.
  BigFloat x, root;
  BigFloatSetWord(nullptr, x, 1);
  x.exponent = 1;
  InvSqrt(nullptr, x, root, 1, false, 0);
  BigFloatNormalize(nullptr, root);
  ASSERT_EQ(root.magnitude.length, 1u);
  EXPECT_EQ(root.magnitude.words[0], 0x10000u);
  EXPECT_EQ(root.exponent, -1);
  BigFloatRelease(x);
  BigFloatRelease(root);
}

// Progress when asked for, silence otherwise (a computation inside another), and the label unwound.
TEST_F(InvSqrtTest, StagedIntegerFormShowsProgressOnRequestAndUnwinds) {
  for (const bool progress : {true, false}) {
    test::ConsoleCapture capture;
    ProgressTimerStart();
    BigFloat root;
    InvSqrtIntStaged(nullptr, 8, root, 40, progress, 0);
    EXPECT_EQ(capture.text().find("Iterating: ") != std::string::npos, progress);
    EXPECT_EQ(Progress().labelLength, 0u);
    BigFloatRelease(root);
  }
}

TEST_F(InvSqrtTest, StagedFormsGiveTheSameWordsThroughTheDisks) {
  const std::string dir = test::MakeTempDir("staged-sqrt");
  DiskList disks;
  AddDiskPath(disks, dir);
  InstallRun(RunRecord{.swapDisks = &disks});
  std::mt19937_64 rng(test::TestSeed());
  for (const uint64_t n : {1000u, 3100u}) {
    BigFloat x, plain, staged, intPlain, intStaged;
    test::RandomBigFloat(nullptr, rng, x, n, 3);
    x.sign = 1;
    InvSqrt(nullptr, x, plain, n, false, 0);
    const uint64_t filesBefore = RaidFilesCreated();
    InvSqrtStaged(nullptr, x, staged, n, 1, false, 0);
    InvSqrtInt(nullptr, 10005, intPlain, n, false, 0);
    {
      test::ConsoleCapture quiet;
      InvSqrtIntStaged(nullptr, 10005, intStaged, n, false, 0);
    }
    EXPECT_GT(RaidFilesCreated(), filesBefore);
    for (auto [p, s] : {std::pair{&plain, &staged}, std::pair{&intPlain, &intStaged}}) {
      BigIntMakeResident(nullptr, s->magnitude);
      ASSERT_EQ(p->magnitude.length, s->magnitude.length) << n;
      EXPECT_EQ(p->exponent, s->exponent);
      EXPECT_TRUE(std::equal(p->magnitude.words, p->magnitude.words + p->magnitude.length,
                             s->magnitude.words))
          << n;
    }
    for (BigFloat* v : {&x, &plain, &staged, &intPlain, &intStaged}) BigFloatRelease(*v);
  }
  InstallRun(RunRecord{});
  EXPECT_TRUE(std::filesystem::is_empty(dir)) << "swap files left behind";
  test::RemoveTree(dir);
}

}  // namespace
}  // namespace zx
