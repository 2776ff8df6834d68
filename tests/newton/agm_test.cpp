#include <gtest/gtest.h>

#include "bignum_oracle.hpp"
#include "mpfr_oracle.hpp"
#include "multiply/fft/fft_mul.hpp"
#include "newton/agm.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

TEST(Agm, AgreesWithMpfrAndStopsAtHalfThePrecision) {
  PrepareFftTables(2000);
  const struct {
    uint32_t a;
    uint32_t b;
    int64_t bExponent;
    uint64_t words;
  } pairs[] = {{1, 2, 0, 10}, {1, 1, -3, 50}, {3, 7, 1, 300}, {1, 5, -40, 900}};
  for (const auto& pair : pairs) {
    BigFloat a, b;
    BigFloatSetWord(nullptr, a, pair.a);
    BigFloatSetWord(nullptr, b, pair.b);
    b.exponent = pair.bExponent;
    mpfr_t x, y, reference;
    mpfr_inits2(static_cast<mpfr_prec_t>(32 * (pair.words + 12)), x, y, reference, nullptr);
    test::ToMpfr(x, nullptr, a);
    test::ToMpfr(y, nullptr, b);
    mpfr_prec_round(x, static_cast<mpfr_prec_t>(32 * (pair.words + 12)), MPFR_RNDN);
    mpfr_prec_round(y, static_cast<mpfr_prec_t>(32 * (pair.words + 12)), MPFR_RNDN);
    mpfr_agm(reference, x, y, MPFR_RNDN);
    test::ConsoleCapture capture;
    Agm(nullptr, a, b, pair.words, 0);
    // Quadratic convergence: the pair agrees to about half the working precision when the loop
    // stops, so the next arithmetic mean is right to the full precision.
    BigFloat mean;
    BigFloatAdd(nullptr, a, b, mean, pair.words + 8);
    BigFloatShiftBits(nullptr, mean, -1);
    EXPECT_GE(test::AgreeingWords(nullptr, mean, reference), static_cast<double>(pair.words))
        << pair.a << " " << pair.b;
    EXPECT_GE(test::AgreeingWords(nullptr, a, reference), static_cast<double>(pair.words) / 2);
    EXPECT_NE(capture.text().find("AGM Iteration:  0  ( "), std::string::npos);
    mpfr_clears(x, y, reference, nullptr);
    for (BigFloat* v : {&a, &b, &mean}) BigFloatRelease(*v);
  }
  ReleaseFftTables();
}

}  // namespace
}  // namespace zx
