// Decimal files of million-word values against GMP, at one and two threads: the sizes where the
// table has a dozen levels and every product takes the hybrid transform.
#include <algorithm>

#include "conversion_test_util.hpp"
#include "radix/digit_writers.hpp"

namespace zx {
namespace {

using test::ConversionTest;
using test::SetInteger;

struct LongCase {
  uint64_t lengthWords;
  int64_t topWords;  // the top position of x in words
  uint32_t threadLevel;
};

TEST_F(ConversionTest, MillionWordDecimalFilesAgreeWithGmp) {
  const std::string dir = test::MakeTempDir("radix_long");
  const std::string path = dir + "/dec.txt";
  std::mt19937_64 rng(test::TestSeed());
  mpz_t value;
  mpz_init(value);
  AllocationHeap heap;
  HeapCreate(nullptr, &heap, uint64_t{1} << 30);
  const LongCase cases[] = {{1000000, 1, 0}, {1000000, 1, 1}, {300000, -5, 1}, {250000, 400000, 1}};
  for (const LongCase& c : cases) {
    std::vector<uint32_t> words = test::RandomWords(rng, c.lengthWords);
    if (c.topWords == 1) words.back() = 3;
    BigFloat x;
    SetInteger(&heap, x, words);
    x.exponent = c.topWords - static_cast<int64_t>(c.lengthWords);
    test::ToMpz(value, words.data(), words.size());
    const int64_t exponentWords = x.exponent;
    const uint64_t digitCount = FloorTimes(c.lengthWords - 2, kDigitsPerWord);
    SCOPED_TRACE(::testing::Message() << "words " << c.lengthWords << " top " << c.topWords << " k "
                                      << c.threadLevel << " seed " << test::TestSeed());
    ConversionTable table;
    test::ConsoleCapture capture;
    BuildConversionTable(&heap, x, table, c.threadLevel);
    WriteDecimalDigits(&heap, x, digitCount, path, table, false, c.threadLevel);
    ReleaseConversionTable(table);
    const std::string written = test::ReadFile(path);
    const std::string expected =
        test::ExpectedTextOfBinary(value, exponentWords, DigitRadix::kDecimal, digitCount);
    ASSERT_EQ(written.size(), expected.size());
    EXPECT_TRUE(written == expected)
        << "first difference at "
        << std::mismatch(written.begin(), written.end(), expected.begin()).first - written.begin();
  }
  HeapDestroy(&heap);
  mpz_clear(value);
  test::RemoveTree(dir);
}

}  // namespace
}  // namespace zx
