// The decimal writer (normalisation, the split tree, the text) against GMP's decimal text: values
// in every shape of the layout, at one and two threads, in memory and with the top levels on disk.
#include <optional>
#include <utility>

#include "conversion_test_util.hpp"
#include "radix/digit_writers.hpp"
#include "runtime/run_record.hpp"
#include "shell/console.hpp"

namespace zx {
namespace {

using test::ConversionTest;
using test::SetInteger;

// Values made to land in each shape of the layout: below 10^−9 (negative W), below 1 (W = 0),
// one word before the point, several (from a negative and from a positive word exponent).
struct DecimalCase {
  int64_t topWords;     // the top position of x in 32-bit words
  uint32_t topWordMax;  // the top word is drawn from [1, topWordMax]
  const char* shape;
};

// Decimal files of values in every shape of the layout, written in memory and with the table and
// the value on the swap disks (which must end up holding nothing).
class DecimalFileTest : public ConversionTest, public ::testing::WithParamInterface<bool> {};

TEST_P(DecimalFileTest, EveryShapeAgreesWithGmp) {
  const bool swapping = GetParam();
  std::optional<test::TempSwapDisks> disks;
  if (swapping) disks.emplace();
  const std::string dir = test::MakeTempDir("radix_decimal");
  const std::string path = dir + "/dec.txt";
  std::mt19937_64 rng(test::TestSeed());
  mpz_t value;
  mpz_init(value);
  AllocationHeap heap;
  HeapCreate(nullptr, &heap, uint64_t{128} << 20);
  const DecimalCase cases[] = {
      {-3, 0xFFFFFFFFu, "W < 0"}, {0, 0xFFFFFFFFu, "W = 0"},          {1, 999999999, "W = 1"},
      {3, 0xFFFFFFFFu, "W > 1"},  {900, 0xFFFFFFFFu, "W > 1, E > 0"}, {-40, 4, "W < 0, small top"}};
  // k = 1 both under a run capped at its two threads (the fork tree stops there) and uncapped.
  for (const auto& [threadLevel, cap] :
       {std::pair{0u, kNoThreadCap}, std::pair{1u, kNoThreadCap}, std::pair{1u, 1u}}) {
    const ScopedRun run(RunRecord{.multiplyThreadCap = cap});
    for (const DecimalCase& c : cases) {
      for (uint64_t lengthWords : {1, 2, 30, 700, 5000}) {
        std::vector<uint32_t> words = test::RandomWords(rng, lengthWords);
        words.back() = 1 + static_cast<uint32_t>(rng() % c.topWordMax);
        BigFloat x;
        SetInteger(&heap, x, words);
        x.exponent = c.topWords - static_cast<int64_t>(lengthWords);
        test::ToMpz(value, words.data(), words.size());
        // The digits x's precision carries, as a run asks for them.
        const uint64_t digitCount =
            lengthWords < 3 ? 5 : FloorTimes(lengthWords - 2, kDigitsPerWord);
        SCOPED_TRACE(::testing::Message()
                     << c.shape << " words " << lengthWords << " k " << threadLevel << " cap "
                     << cap << " digits " << digitCount << " seed " << test::TestSeed());
        const std::string expected =
            test::ExpectedTextOfBinary(value, x.exponent, DigitRadix::kDecimal, digitCount);
        ConversionTable table;
        test::ConsoleCapture capture;
        if (swapping) {
          BigIntSwapOut(&heap, x.magnitude);
          BuildConversionTableSwap(&heap, x, table, threadLevel);
          WriteDecimalDigitsSwap(&heap, x, digitCount, path, table, threadLevel == 1, threadLevel);
          EXPECT_TRUE(test::AllLevelsOnDisk(table));
        } else {
          BuildConversionTable(&heap, x, table, threadLevel);
          WriteDecimalDigits(&heap, x, digitCount, path, table, threadLevel == 1, threadLevel);
        }
        EXPECT_TRUE(BigFloatIsZero(x));
        EXPECT_EQ(test::ReadFile(path), expected);
        ReleaseConversionTable(table);
        ASSERT_EQ(heap.activeCount, 0u);
      }
    }
  }
  HeapDestroy(&heap);
  mpz_clear(value);
  test::RemoveTree(dir);
  if (swapping) {
    EXPECT_EQ(disks->FilesLeft(), 0u) << "swap files left behind";
  }
}

INSTANTIATE_TEST_SUITE_P(Storage, DecimalFileTest, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "Swap" : "Memory"; });

}  // namespace
}  // namespace zx
