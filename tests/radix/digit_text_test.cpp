// The digit files' layout and digits, checked against GMP's text of the exact value: lead-ins of
// every shape, tails of zeros, and buffer sizes that split passes.
#include "radix/digit_text.hpp"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "bignum_oracle.hpp"
#include "radix/digit_writers.hpp"
#include "radix_oracle.hpp"
#include "shell/console.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

class DigitTextTest : public ::testing::Test {
 protected:
  void SetUp() override { dir_ = test::MakeTempDir("radix_text"); }
  void TearDown() override { test::RemoveTree(dir_); }

  // Writes number through an OutputFile whose buffer is about bufferBytes long (the file's name
  // takes its share of the heap first) and returns the file.
  std::string WriteText(const DigitWords& number, uint64_t digitCount, uint64_t bufferBytes) {
    AllocationHeap heap;
    HeapCreate(nullptr, &heap, 2 * bufferBytes + 256);
    const std::string path = dir_ + "/digits.txt";
    OutputFile file;
    OutputFileOpen(&heap, file, path);
    SCOPED_TRACE(::testing::Message() << "buffer bytes " << file.capacityBytes);
    WriteDigitText(file, number, digitCount, "label");
    OutputFileClose(file);
    HeapDestroy(&heap);
    return test::ReadFile(path);
  }

  std::string dir_;
};

DigitWords Words(const std::vector<uint32_t>& words, int64_t pointWords, DigitRadix radix) {
  DigitWords number;
  number.words = words.data();
  number.lengthWords = words.size();
  number.pointWords = pointWords;
  number.radix = radix;
  return number;
}

// Random words in every shape, digit counts around the 16-digit passes and the staging blocks,
// and buffers that are not a multiple of a pass, against the exact value's text.
TEST_F(DigitTextTest, RandomWordsAgreeWithGmp) {
  std::mt19937_64 rng(test::TestSeed());
  mpz_t value;
  mpz_init(value);
  const int iterations = 200 * static_cast<int>(test::TestMultiplier());
  for (int i = 0; i < iterations; ++i) {
    const DigitRadix radix = i % 2 == 0 ? DigitRadix::kHex : DigitRadix::kDecimal;
    const uint64_t length = 1 + rng() % (i % 20 == 0 ? 3000 : 40);
    std::vector<uint32_t> words = test::RandomWords(rng, length);
    if (radix == DigitRadix::kDecimal) {
      for (uint32_t& w : words) w %= kBillion;
      if (words.back() == 0) words.back() = 1;
    }
    const int64_t w = static_cast<int64_t>(rng() % 9) - 4;
    const uint64_t wordDigits = radix == DigitRadix::kHex ? 8 : 9;
    // Up to twice the digits the words hold, so that many cases end in zeros.
    const uint64_t digitCount = rng() % (2 * wordDigits * length + 40);
    const uint64_t bufferBytes = 16 * (1 + rng() % 64) + (rng() % 2 ? 8 : 0);
    SCOPED_TRACE(::testing::Message()
                 << "case " << i << " seed " << test::TestSeed() << " words " << length << " W "
                 << w << " digits " << digitCount << " buffer " << bufferBytes);
    std::string expected;
    if (radix == DigitRadix::kHex) {
      test::ToMpz(value, words.data(), words.size());
      expected =
          test::ExpectedTextOfBinary(value, w - static_cast<int64_t>(length), radix, digitCount);
    } else {
      mpz_set_ui(value, 0);
      for (size_t k = words.size(); k-- > 0;) {
        mpz_mul_ui(value, value, kBillion);
        mpz_add_ui(value, value, words[k]);
      }
      expected = test::ExpectedTextOfBillions(value, w - static_cast<int64_t>(length), digitCount);
    }
    ASSERT_EQ(WriteText(Words(words, w, radix), digitCount, bufferBytes), expected);
  }
  mpz_clear(value);
}

}  // namespace
}  // namespace zx
