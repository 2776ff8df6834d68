// The recombination on its own: coefficients of either sign, as the check leaves them (n words of
// two's complement and a sign limb), summed at offsets j·s into a truncated product and compared
// with GMP, on one to four threads, so that the carries between the parts are joined at every
// kind of boundary; and a sum that does not fit its words is refused.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "hybrid_test_support.hpp"
#include "multiply/hybrid/hybrid_limbs.hpp"
#include "multiply/hybrid/hybrid_mul.hpp"
#include "multiply/hybrid/hybrid_recombine.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

struct Coefficients {
  uint64_t n;
  uint64_t s;
  uint32_t k;
  uint64_t stride;
  std::vector<uint32_t> words;
  std::vector<uint32_t*> slots;
  HybridBuffer buffer;
  Coefficients(uint32_t kExponent, uint64_t ringWords)
      : n(ringWords), s(ringWords / 2 - 1), k(kExponent), stride(ringWords + 2),
        words((stride << kExponent), 0), slots(uint64_t{1} << kExponent) {
    for (uint64_t g = 0; g < slots.size(); ++g) slots[g] = words.data() + g * stride;
    buffer = {slots.data(), stride, n, k, 0};
  }
  // Coefficient j = value (|value| < 2^(32(n − 1))), stored as the check leaves it.
  void Set(uint64_t j, const mpz_t value) {
    mpz_t twos;
    mpz_init(twos);
    mpz_set(twos, value);
    if (mpz_sgn(value) < 0) {
      mpz_t power;
      mpz_init_set_ui(power, 1);
      mpz_mul_2exp(power, power, 32 * n);
      mpz_add(twos, twos, power);
      mpz_clear(power);
    }
    test::MpzToElement(twos, slots[j], n);
    StoreLimb(slots[j], n / 2, mpz_sgn(value) < 0 ? ~uint64_t{0} : 0);
    mpz_clear(twos);
  }
};

uint64_t Recombine(const Coefficients& c, uint64_t productWords, uint64_t t, uint32_t threads,
                   std::vector<uint32_t>& out) {
  const uint64_t blockBytes = 2 * c.stride * 4 + 64;
  std::vector<uint8_t> scratch((blockBytes << threads) + 64);
  HybridRecombineJob job;
  job.buffer = &c.buffer;
  job.pieceWords = c.s;
  job.productWords = productWords;
  job.truncationWords = t;
  job.out = out.data();
  job.scratch = scratch.data();
  job.scratchBlockBytes = blockBytes;
  job.threadExponent = threads;
  return HybridRecombine(job);
}

TEST(HybridRecombine, SignedCoefficientsSumLikeGmp) {
  std::mt19937_64 rng(test::TestSeed() + 31);
  mpz_t value, total, term;
  mpz_inits(value, total, term, nullptr);
  for (const uint64_t n : {6u, 12u, 40u, 130u}) {
    for (int round = 0; round < 12; ++round) {
      const uint32_t k = 5 + static_cast<uint32_t>(rng() % 6);
      Coefficients c(k, n);
      const uint64_t used = (uint64_t{1} << k) - rng() % 3;  // the rest stay zero
      mpz_set_ui(total, 0);
      for (uint64_t j = 0; j < used; ++j) {
        // Below 2^(32(n − 2)) in size, the top one positive and large: the sum stays positive.
        const bool top = j + 1 == used;
        const auto w = test::SparseWords(rng, n - (top ? 1 : 2));
        test::ImportWords(value, w.data(), w.size());
        if (top) mpz_setbit(value, 32 * (n - 1) - 1);
        if (!top && rng() % 3 == 0) mpz_neg(value, value);
        c.Set(j, value);
        mpz_mul_2exp(term, value, 32 * c.s * j);
        mpz_add(total, total, term);
      }
      const uint64_t productWords = (mpz_sizeinbase(total, 2) + 31) / 32 + rng() % 3;
      const uint64_t t = rng() % 2 ? 0 : rng() % productWords;
      const test::Words exact = test::ExportWords(total, productWords);
      for (uint32_t threads = 0; threads <= 2; ++threads) {
        std::vector<uint32_t> out(productWords - t, 0xDEADBEEFu);
        const std::string what = "n=" + std::to_string(n) + " k=" + std::to_string(k) +
                                 " P=" + std::to_string(productWords) + " t=" +
                                 std::to_string(t) + " T=" + std::to_string(threads);
        ASSERT_EQ(Recombine(c, productWords, t, threads, out), 0u) << what;
        for (uint64_t i = 0; i < out.size(); ++i) {
          ASSERT_EQ(out[i], exact[t + i]) << what << " word " << t + i;
        }
      }
      // One word fewer cannot hold the sum.
      std::vector<uint32_t> out(productWords);
      const uint64_t fewer = (mpz_sizeinbase(total, 2) + 31) / 32 - 1;
      EXPECT_EQ(Recombine(c, fewer, 0, 1, out), kProductCheckFailed);
    }
  }
  mpz_clears(value, total, term, nullptr);
}

}  // namespace
}  // namespace zx
