// Root multiplications and the add/subtract butterfly step against a GMP model of the ring
// Z/(2^(32n) + 1), with √2 = 2^(3N/4) − 2^(N/4).
#include "multiply/hybrid/hybrid_roots.hpp"

#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "hybrid_test_support.hpp"
#include "multiply/hybrid/hybrid_butterfly.hpp"
#include "multiply/hybrid/hybrid_ring.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

struct Ring {
  mpz_t modulus;
  mpz_t sqrt2;
  uint64_t n;
  explicit Ring(uint64_t ringWords) : n(ringWords) {
    mpz_init(modulus);
    mpz_init(sqrt2);
    test::RingModulus(modulus, n);
    mpz_t low;
    mpz_init_set_ui(low, 1);
    mpz_mul_2exp(low, low, 8 * n);
    mpz_set_ui(sqrt2, 1);
    mpz_mul_2exp(sqrt2, sqrt2, 24 * n);
    mpz_sub(sqrt2, sqrt2, low);
    mpz_clear(low);
  }
  ~Ring() {
    mpz_clear(modulus);
    mpz_clear(sqrt2);
  }
  Ring(const Ring&) = delete;
  Ring& operator=(const Ring&) = delete;
};

// A random reduced element, with the special values 0, 1, 2^N − 1 and 2^N mixed in.
std::vector<uint32_t> RandomElement(std::mt19937_64& rng, uint64_t n) {
  std::vector<uint32_t> x(n + 2, 0);
  switch (rng() % 8) {
    case 0:
      break;
    case 1:
      x[0] = 1;
      break;
    case 2:
      for (uint64_t i = 0; i < n; ++i) x[i] = 0xFFFFFFFFu;
      break;
    case 3:
      x[n] = 1;
      break;
    default: {
      const auto words = rng() % 2 ? test::SparseWords(rng, n) : test::RandomWords(rng, n);
      std::copy(words.begin(), words.end(), x.begin());
    }
  }
  return x;
}

TEST(HybridRingRoots, EveryVariantMatchesGmpModel) {
  std::mt19937_64 rng(test::TestSeed());
  std::set<RingRootVariant> seen;
  mpz_t value, expected, got, power;
  mpz_inits(value, expected, got, power, nullptr);
  // n ≡ 0 (mod 4) makes N/4 whole words, which the word-aligned odd variants need.
  for (uint64_t n : {2, 4, 6, 8, 12, 14, 28, 32, 36, 64, 100}) {
    Ring ring(n);
    const uint64_t order = RingRootOrder(n);
    std::vector<uint64_t> exponents = {0,
                                       1,
                                       order - 1,
                                       order / 2,
                                       order / 2 - 1,
                                       order / 2 + 1,
                                       order / 4,
                                       order / 4 + 1,
                                       3 * order / 4 + 3,
                                       64,
                                       128,
                                       65};
    for (uint64_t i = 0; i < 40 * test::TestMultiplier(); ++i) exponents.push_back(rng() % order);
    // Exponents whose shifts are whole words in each quarter, for the word-aligned odd variants.
    for (uint64_t quarter = 0; quarter < 4; ++quarter) {
      const uint64_t u = quarter * 16 * n + 32 * (rng() % (n / 2 + 1));
      exponents.push_back((2 * ((u + 2 * 32 * n - 8 * n) % (64 * n)) + 1) % order);
    }
    for (uint64_t e : exponents) {
      e %= order;
      const auto x = RandomElement(rng, n);
      std::vector<uint32_t> out(n + 2, 0xA5A5A5A5u);
      out[n + 1] = 0;
      RingMulRoot(x.data(), out.data(), n, e);
      seen.insert(RingRootVariantOf(n, e));
      test::ElementToMpz(value, x.data(), n);
      mpz_powm_ui(power, ring.sqrt2, e, ring.modulus);
      mpz_mul(expected, value, power);
      mpz_mod(expected, expected, ring.modulus);
      test::ElementToMpz(got, out.data(), n);
      ASSERT_TRUE(test::ElementReduced(out.data(), n)) << "n=" << n << " e=" << e;
      ASSERT_EQ(mpz_cmp(got, expected), 0)
          << "n=" << n << " e=" << e << " variant=" << static_cast<int>(RingRootVariantOf(n, e))
          << " seed=" << test::TestSeed();
    }
  }
  EXPECT_EQ(seen.size(), 12u);
  mpz_clears(value, expected, got, power, nullptr);
}

TEST(HybridRingRoots, AddSubMatchesGmpModelInPlaceAndApart) {
  std::mt19937_64 rng(test::TestSeed() + 1);
  mpz_t x, y, sum, diff, got;
  mpz_inits(x, y, sum, diff, got, nullptr);
  for (uint64_t n : {2, 4, 10, 30, 64}) {
    Ring ring(n);
    for (uint64_t i = 0; i < 300 * test::TestMultiplier(); ++i) {
      auto a = RandomElement(rng, n);
      auto b = RandomElement(rng, n);
      test::ElementToMpz(x, a.data(), n);
      test::ElementToMpz(y, b.data(), n);
      mpz_add(sum, x, y);
      mpz_mod(sum, sum, ring.modulus);
      mpz_sub(diff, x, y);
      mpz_mod(diff, diff, ring.modulus);
      std::vector<uint32_t> s(n + 2), d(n + 2);
      if (i % 2 == 0) {
        RingAddSub(a.data(), b.data(), s.data(), d.data(), n);
      } else {
        RingAddSub(a.data(), b.data(), a.data(), b.data(), n);
        s = a;
        d = b;
      }
      ASSERT_TRUE(test::ElementReduced(s.data(), n) && test::ElementReduced(d.data(), n))
          << "n=" << n << " case " << i;
      test::ElementToMpz(got, s.data(), n);
      ASSERT_EQ(mpz_cmp(got, sum), 0) << "n=" << n << " case " << i;
      test::ElementToMpz(got, d.data(), n);
      ASSERT_EQ(mpz_cmp(got, diff), 0) << "n=" << n << " case " << i;
    }
  }
  mpz_clears(x, y, sum, diff, got, nullptr);
}

// Both butterflies against the model, with limb-aligned roots (the fused path), word and bit
// shifts and odd exponents, on elements that include 0, 1, 2^N − 1 and 2^N.
TEST(HybridButterflies, MatchGmpModel) {
  std::mt19937_64 rng(test::TestSeed() + 2);
  mpz_t x, y, root, u, sum, diff, got;
  mpz_inits(x, y, root, u, sum, diff, got, nullptr);
  for (uint64_t n : {4, 8, 24, 64, 130}) {
    Ring ring(n);
    const uint64_t order = RingRootOrder(n);
    for (uint64_t i = 0; i < 200 * test::TestMultiplier(); ++i) {
      // Half the exponents are multiples of 128: whole 64-bit limbs of shift.
      const uint64_t e = i % 2 == 0 ? 128 * (rng() % (order / 128)) : rng() % order;
      const bool forward = (i / 2) % 2 == 0;
      auto a = RandomElement(rng, n);
      auto b = RandomElement(rng, n);
      test::ElementToMpz(x, a.data(), n);
      test::ElementToMpz(y, b.data(), n);
      std::vector<uint32_t> spare(n + 2);
      if (forward) {
        mpz_powm_ui(root, ring.sqrt2, e, ring.modulus);
        mpz_add(sum, x, y);
        mpz_sub(diff, x, y);
        mpz_mul(diff, diff, root);
        if (HybridForwardButterfly(a.data(), b.data(), spare.data(), n, e)) b = spare;
      } else {
        mpz_powm_ui(root, ring.sqrt2, (order - e) % order, ring.modulus);
        mpz_mul(u, y, root);
        mpz_add(sum, x, u);
        mpz_sub(diff, x, u);
        if (HybridInverseButterfly(a.data(), b.data(), spare.data(), n, e)) b = spare;
      }
      mpz_mod(sum, sum, ring.modulus);
      mpz_mod(diff, diff, ring.modulus);
      const std::string where = "n=" + std::to_string(n) + " e=" + std::to_string(e) +
                                (forward ? " forward" : " inverse");
      ASSERT_TRUE(test::ElementReduced(a.data(), n) && test::ElementReduced(b.data(), n)) << where;
      test::ElementToMpz(got, a.data(), n);
      ASSERT_EQ(mpz_cmp(got, sum), 0) << where;
      test::ElementToMpz(got, b.data(), n);
      ASSERT_EQ(mpz_cmp(got, diff), 0) << where;
    }
  }
  mpz_clears(x, y, root, u, sum, diff, got, nullptr);
}

}  // namespace
}  // namespace zx
