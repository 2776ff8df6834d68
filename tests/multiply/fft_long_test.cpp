// Long FFT and ring-product checks (CTest label long): worst-case operands at the full capacity
// of the rows beyond the front-end's range, random shapes up to 40,000 words, and large rings.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "multiply/fft/negacyclic.hpp"
#include "product_oracle.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

using test::Words;

TEST(FftLongTest, CoherentPointsAtFullLargeRowsAreExact) {
  test::CheckFullFftRows(32, 65);
}

TEST(FftLongTest, AgreesWithGmpOnRandomShapes) {
  std::mt19937_64 rng(test::TestSeed() + 5);
  for (uint64_t round = 0; round < 60 * test::TestMultiplier(); round++) {
    const uint64_t la = 58 + rng() % 40000;
    const uint64_t lb = rng() % 2 == 0 ? la : 58 + rng() % 40000;
    const Words a = rng() % 4 == 0 ? test::SparseWords(rng, la) : test::RandomWords(rng, la);
    const Words b = test::RandomWords(rng, lb);
    const uint64_t t = rng() % 3 == 0 ? rng() % (la + lb + 2) : 0;
    const std::string what = test::Shape(la, lb, t) + " round " + std::to_string(round) +
                             " seed=" + std::to_string(test::TestSeed() + 5);
    test::CheckProduct(test::ProductPath::kFft, a, &b, t, 0, what);
    if (la == lb) test::CheckProduct(test::ProductPath::kFft, a, nullptr, t, 0, "square " + what);
  }
}

// Ring elements whose points are all 2^(b−1) − 1, and random ones, at large rings.
TEST(NegacyclicLongTest, LargeRingsAgreeWithGmp) {
  std::mt19937_64 rng(test::TestSeed() + 6);
  for (uint64_t n : {uint64_t{30720}, uint64_t{98304}, uint64_t{196608}}) {
    NegacyclicPlan plan;
    ASSERT_TRUE(NegacyclicPlanFor(n, &plan)) << n;
    PrepareNegacyclic(plan);
    std::vector<double> scratch(NegacyclicScratchDoubles(plan));
    Words coherent =
        test::FieldPattern(n, plan.pointBits, (uint64_t{1} << (plan.pointBits - 1)) - 1);
    coherent.push_back(0);
    Words random = test::RandomWords(rng, n);
    random.push_back(0);
    for (const Words* b : {&coherent, &random}) {
      Words out(n + 1);
      NegacyclicMultiply(plan, coherent.data(), b->data(), out.data(), scratch.data());
      ASSERT_EQ(out, test::GmpProduct(coherent, *b, n)) << "n=" << n;
      NegacyclicSquare(plan, b->data(), out.data(), scratch.data());
      ASSERT_EQ(out, test::GmpProduct(*b, *b, n)) << "square n=" << n;
    }
  }
}

}  // namespace
}  // namespace zx
