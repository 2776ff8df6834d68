// Long checks of the large-product transforms (CTest label long): hybrid products and squares up
// to 4,000,000 words, balanced and rectangular, truncated, on one to four threads, and its table
// rows up to an 8,400,000-word product at their exact capacity; number-theoretic products up to
// their largest transform, whose all-ones coefficients come closest to the primes' product.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "multiply/hybrid/hybrid_mul.hpp"
#include "multiply/hybrid/hybrid_tables.hpp"
#include "product_oracle.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

using test::Fill;
using test::Words;

TEST(LargeProductLongTest, AgreeWithGmp) {
  using P = test::ProductPath;
  struct Case {
    P path;
    uint64_t la;
    uint64_t lb;  // 0: square
    uint64_t t;
    uint32_t threads;
    bool allOnes = false;  // both operands all ones, else a random or all-ones a beside a sparse b
  };
  const Case cases[] = {
      {P::kHybrid, 1000000, 1000000, 0, 0},       {P::kHybrid, 1000000, 0, 0, 1},
      {P::kHybrid, 2500000, 600000, 0, 2},        {P::kHybrid, 4000000, 4000000, 0, 0},
      {P::kHybrid, 4000000, 4000000, 0, 2},       {P::kHybrid, 4000000, 0, 0, 1},
      {P::kHybrid, 4000000, 1000000, 3000000, 1}, {P::kHybrid, 3999999, 0, 4000000, 2},
      {P::kNtt, 1 << 24, 1 << 24, 0, 0, true},    {P::kNtt, (1 << 24) - 1, 0, 0, 1, true},
      {P::kNtt, 5000001, 4300000, 0, 1},          {P::kNtt, 4500000, 0, 4000000, 0},
  };
  std::mt19937_64 rng(test::TestSeed() + 21);
  for (const Case& c : cases) {
    const Words a =
        test::Operand(rng, c.la, c.allOnes || c.la % 2 ? Fill::kAllOnes : Fill::kRandom);
    if (c.lb == 0) {
      test::CheckProduct(c.path, a, nullptr, c.t, c.threads, "square");
    } else {
      const Words b = test::Operand(rng, c.lb, c.allOnes ? Fill::kAllOnes : Fill::kSparse);
      test::CheckProduct(c.path, a, &b, c.t, c.threads, "product");
    }
    if (HasFatalFailure() || IsSkipped()) return;
  }
}

// The rows from 60,000 to 400,000 words that the default run leaves out, every sixth row above
// them and the last one up to 8,400,000 words, each at its exact capacity.
TEST(HybridLongTest, TableRowsAtCapacityAgreeWithGmp) {
  std::mt19937_64 rng(test::TestSeed() + 22);
  for (const bool square : {false, true}) {
    const auto table = square ? HybridSquareTable() : HybridMultiplyTable();
    for (size_t i = 0; i < table.size() && table[i].capacityWords <= 8400000; ++i) {
      const uint64_t capacity = table[i].capacityWords;
      const bool lastInRange = i + 1 == table.size() || table[i + 1].capacityWords > 8400000;
      const bool middle = capacity > 60000 && capacity <= 400000 && i % 8 != 0;
      const bool high = capacity > 400000 && (i % 6 == 0 || lastInRange);
      if (!middle && !high) continue;
      test::CheckHybridRowAtCapacity(table[i], square, rng);
      if (HasFatalFailure()) return;
    }
  }
}

}  // namespace
}  // namespace zx
