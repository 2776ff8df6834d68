#include <gtest/gtest.h>

#include "bignum_oracle.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

// Every shift and scalar product against GMP on random values, carries at the top included.
TEST(BigIntLinear, ShiftsAndScalarProductsAgreeWithGmp) {
  std::mt19937_64 rng(test::TestSeed());
  mpz_t model, got;
  mpz_inits(model, got, nullptr);
  const int iterations = 3000 * static_cast<int>(test::TestMultiplier());
  for (int i = 0; i < iterations; ++i) {
    const uint64_t length = 1 + rng() % (i % 10 == 0 ? 2000 : 12);
    const std::vector<uint32_t> words = test::RandomWords(rng, length);
    BigInt a;
    test::SetWords(nullptr, a, words);
    if (rng() % 2) BigIntShrink(a);  // exercise the full-capacity paths
    test::ToMpz(model, words.data(), words.size());
    const int operation = static_cast<int>(rng() % 6);
    const uint32_t bits = 1 + static_cast<uint32_t>(rng() % 31);
    const uint64_t count = rng() % (length + 2);
    const uint32_t w = rng() % 4 == 0 ? static_cast<uint32_t>(rng() % 3) : static_cast<uint32_t>(rng());
    SCOPED_TRACE(::testing::Message() << "case " << i << " op " << operation << " length " << length
                                      << " bits " << bits << " count " << count << " w " << w);
    BigInt out;
    BigInt* result = &a;
    switch (operation) {
      case 0:
        BigIntShiftRightWords(nullptr, a, count);
        mpz_fdiv_q_2exp(model, model, 32 * count);
        break;
      case 1:
        BigIntShiftLeftWords(nullptr, a, count);
        mpz_mul_2exp(model, model, 32 * count);
        break;
      case 2:
        BigIntShiftRightBits(nullptr, a, bits);
        mpz_fdiv_q_2exp(model, model, bits);
        break;
      case 3:
        BigIntShiftLeftBits(nullptr, a, bits);
        mpz_mul_2exp(model, model, bits);
        break;
      case 4:
        BigIntMulWordDrop(nullptr, a, w, count);
        if (w != 1) mpz_fdiv_q_2exp(model, model, 32 * count);
        mpz_mul_ui(model, model, w);
        break;
      default: {
        const uint64_t start = rng() % 3;
        std::vector<uint32_t> padded(words);
        padded.resize(length + start + 2, 0);
        BigInt source;
        test::SetWords(nullptr, source, padded);
        source.length = length;  // read length words from start on, past the top when start > 0
        BigIntMulWordInto(nullptr, source, w, out, start);
        test::ToMpz(model, padded.data() + start, length);
        mpz_mul_ui(model, model, w);
        BigIntRelease(source);
        result = &out;
        break;
      }
    }
    test::ToMpz(got, nullptr, *result);
    EXPECT_EQ(mpz_cmp(got, model), 0);
    if (result->length != 0) {
      EXPECT_NE(result->words[result->length - 1], 0u);
    }
    EXPECT_LE(result->length, result->capacity);
    BigIntRelease(a);
    if (result == &out) BigIntRelease(out);
  }
  mpz_clears(model, got, nullptr);
}

}  // namespace
}  // namespace zx
