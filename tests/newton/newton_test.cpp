// The Newton iterations against MPFR at sizes either side of the basecase and FFT switches, and
// each in the two places its numbers can live: the memory and the disk-swapping forms must give
// the same words, the latter through the swap disks, leaving no swap file behind.
#include <gtest/gtest.h>

#include <filesystem>

#include "bignum_oracle.hpp"
#include "mpfr_oracle.hpp"
#include "multiply/fft/fft_mul.hpp"
#include "newton/inv_sqrt.hpp"
#include "newton/reciprocal.hpp"
#include "runtime/run_record.hpp"
#include "runtime/swap_file.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

// One Newton operation in both forms: out = f(x) to n words, in memory and staged.
struct Operation {
  const char* name;
  void (*reference)(mpfr_t out, const mpfr_t x);
  void (*memory)(BigFloat& x, BigFloat& out, uint64_t n, uint32_t threads);
  void (*staged)(BigFloat& x, BigFloat& out, uint64_t n, uint32_t threads);
};

void Copy(BigFloat& x, BigFloat& out) {
  BigFloatCopy(nullptr, x, out);
}

const Operation kOperations[] = {
    {"Reciprocal", [](mpfr_t out, const mpfr_t x) { mpfr_ui_div(out, 1, x, MPFR_RNDN); },
     [](BigFloat& x, BigFloat& out, uint64_t n, uint32_t k) {
       Reciprocal(nullptr, x, out, n, false, k);
     },
     [](BigFloat& x, BigFloat& out, uint64_t n, uint32_t k) {
       ReciprocalStaged(nullptr, x, out, n, 1, false, k);
     }},
    {"InvertInPlace", [](mpfr_t out, const mpfr_t x) { mpfr_ui_div(out, 1, x, MPFR_RNDN); },
     [](BigFloat& x, BigFloat& out, uint64_t n, uint32_t k) {
       Copy(x, out);
       InvertInPlace(nullptr, out, n, false, k);
     },
     [](BigFloat& x, BigFloat& out, uint64_t n, uint32_t k) {
       Copy(x, out);
       InvertInPlaceStaged(nullptr, out, n, false, k);
     }},
    {"InvSqrt", [](mpfr_t out, const mpfr_t x) { mpfr_rec_sqrt(out, x, MPFR_RNDN); },
     [](BigFloat& x, BigFloat& out, uint64_t n, uint32_t k) {
       InvSqrt(nullptr, x, out, n, false, k);
     },
     [](BigFloat& x, BigFloat& out, uint64_t n, uint32_t k) {
       InvSqrtStaged(nullptr, x, out, n, 1, false, k);
     }},
    // (x² + 1)/x: a numerator twice the divisor's length whose quotient x + 1/x has random words
    // throughout. The disk-swapping form inverts and multiplies, so its guard words differ.
    {"Divide",
     [](mpfr_t out, const mpfr_t x) {
       mpfr_ui_div(out, 1, x, MPFR_RNDN);
       mpfr_add(out, out, x, MPFR_RNDN);
     },
     [](BigFloat& x, BigFloat& out, uint64_t n, uint32_t k) {
       BigFloat square, one, a;
       BigFloatMultiplyKeep(nullptr, x, x, square, kFullPrecision, k);
       BigFloatSetWord(nullptr, one, 1);
       BigFloatAdd(nullptr, square, one, a, kFullPrecision);
       Divide(nullptr, a, x, out, n, false, k);
       for (BigFloat* v : {&square, &one, &a}) BigFloatRelease(*v);
     },
     nullptr},
    {"MultiplyByInvSqrtInt",
     [](mpfr_t out, const mpfr_t x) {
       mpfr_sqrt_ui(out, 10005, MPFR_RNDN);
       mpfr_div(out, x, out, MPFR_RNDN);
     },
     [](BigFloat& x, BigFloat& out, uint64_t n, uint32_t k) {
       MultiplyByInvSqrtInt(nullptr, x, 10005, out, n, false, k);
     },
     nullptr},
    // The Chudnovsky radicand; the operand is ignored.
    {"InvSqrtInt",
     [](mpfr_t out, const mpfr_t) {
       mpfr_set_ui(out, 10005, MPFR_RNDN);
       mpfr_rec_sqrt(out, out, MPFR_RNDN);
     },
     [](BigFloat&, BigFloat& out, uint64_t n, uint32_t k) {
       InvSqrtInt(nullptr, 10005, out, n, false, k);
     },
     [](BigFloat&, BigFloat& out, uint64_t n, uint32_t k) {
       test::ConsoleCapture quiet;
       InvSqrtIntStaged(nullptr, 10005, out, n, false, k);
     }},
};

void PrintTo(const Operation& op, std::ostream* os) {
  *os << op.name;
}

class NewtonTest : public ::testing::TestWithParam<Operation> {
 protected:
  static void SetUpTestSuite() { PrepareFftTables(20000); }
  static void TearDownTestSuite() { ReleaseFftTables(); }
};

// All n requested words are right (the result carries guard words beyond them); an odd word
// exponent takes the 2^-16 path of the square root's seed.
TEST_P(NewtonTest, AgreesWithMpfrToTheRequestedWords) {
  const Operation& op = GetParam();
  const struct {
    uint64_t words;
    uint32_t threads;
  } shapes[] = {{1, 0},   {2, 0},    {3, 0},     {7, 0},     {57, 0},
                {700, 1}, {5000, 0}, {30000, 1}, {200000, 1}};
  for (const auto& shape : shapes) {
    std::mt19937_64 rng(test::TestSeed() + shape.words);
    const auto bits = static_cast<mpfr_prec_t>(32 * (shape.words + 8));
    mpfr_t x, reference;
    mpfr_inits2(bits, x, reference, nullptr);
    for (int i = 0; i < 2; ++i) {
      BigFloat value, result;
      test::RandomBigFloat(nullptr, rng, value, shape.words, 50);
      BigIntShrink(value.magnitude);
      value.sign = 1;
      if (i == 0) value.exponent |= 1;
      test::ToMpfr(x, nullptr, value);
      op.reference(reference, x);
      op.memory(value, result, shape.words, shape.threads);
      EXPECT_GE(test::AgreeingWords(nullptr, result, reference), static_cast<double>(shape.words))
          << "words " << shape.words << " threads " << shape.threads << " case " << i;
      BigFloatRelease(value);
      BigFloatRelease(result);
    }
    mpfr_clears(x, reference, nullptr);
  }
}

TEST_P(NewtonTest, StagedFormGivesTheSameWordsThroughTheDisks) {
  const Operation& op = GetParam();
  if (op.staged == nullptr) GTEST_SKIP() << "no staged form of the same words";
  const std::string dir = test::MakeTempDir("staged");
  DiskList disks;
  AddDiskPath(disks, dir);
  InstallRun(RunRecord{.swapDisks = &disks});
  std::mt19937_64 rng(test::TestSeed());
  for (const uint64_t n : {1000u, 3100u}) {
    BigFloat x, plain, staged;
    test::RandomBigFloat(nullptr, rng, x, n, 3);
    x.sign = 1;
    op.memory(x, plain, n, 0);
    const uint64_t filesBefore = RaidFilesCreated();
    op.staged(x, staged, n, 0);
    EXPECT_GT(RaidFilesCreated(), filesBefore) << n;
    BigIntMakeResident(nullptr, staged.magnitude);
    BigIntMakeResident(nullptr, plain.magnitude);
    ASSERT_EQ(staged.magnitude.length, plain.magnitude.length) << n;
    EXPECT_EQ(staged.exponent, plain.exponent) << n;
    EXPECT_TRUE(std::equal(plain.magnitude.words, plain.magnitude.words + plain.magnitude.length,
                           staged.magnitude.words))
        << n;
    for (BigFloat* v : {&x, &plain, &staged}) BigFloatRelease(*v);
  }
  InstallRun(RunRecord{});
  EXPECT_TRUE(std::filesystem::is_empty(dir)) << "swap files left behind";
  test::RemoveTree(dir);
}

INSTANTIATE_TEST_SUITE_P(Operations, NewtonTest, ::testing::ValuesIn(kOperations),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace zx
