// The split tree and the decimal writer against GMP's decimal text: random integers from one word
// to twenty thousand at one and two threads, with and without a heap to split, in memory and with
// the top levels on disk, and the decimal files of values in every shape of the layout.
#include <optional>

#include "conversion_test_util.hpp"
#include "radix/digit_writers.hpp"
#include "runtime/threads.hpp"
#include "shell/console.hpp"

namespace zx {
namespace {

using test::ConversionTest;
using test::SetInteger;

struct SplitShape {
  uint32_t threadLevel;  // the run's k: 0 is single-threaded, 1 forks the tree three levels deep
  bool withHeap;         // the forks split a heap, or everything comes from the general allocator
  bool swapping;         // SplitSwap from a table and a value on disk, or SplitTop in memory
};

void PrintTo(const SplitShape& shape, std::ostream* os) {
  *os << "k " << shape.threadLevel << (shape.withHeap ? " with a heap" : " general allocator")
      << (shape.swapping ? " on disk" : " in memory");
}

class SplitAgainstGmp : public ConversionTest, public ::testing::WithParamInterface<SplitShape> {};

TEST_P(SplitAgainstGmp, WordsAreTheDecimalDigits) {
  const SplitShape shape = GetParam();
  std::mt19937_64 rng(test::TestSeed() + shape.threadLevel);
  std::optional<test::TempSwapDisks> disks;
  if (shape.swapping) disks.emplace();
  AllocationHeap heapRecord;
  AllocationHeap* heap = nullptr;
  if (shape.withHeap) {
    HeapCreate(nullptr, &heapRecord, uint64_t{256} << 20);
    heap = &heapRecord;
  }
  const uint64_t threadsBefore = ThreadsStarted();
  mpz_t value;
  mpz_init(value);
  // From 64 words on the swapping split divides on disk, three levels deep from about 512.
  const std::vector<uint64_t> lengths = {1,  2,  13, 14, 15,  16,   17,   27,
                                         28, 29, 63, 64, 100, 1000, 4321, 20000};
  for (uint64_t lengthWords : lengths) {
    for (int i = 0; i < (lengthWords > 1000 ? 1 : 4); ++i) {
      std::vector<uint32_t> words = test::RandomWords(rng, lengthWords);
      if (i == 3) words.assign(lengthWords, 0xFFFFFFFFu);
      test::ToMpz(value, words.data(), words.size());
      BigFloat x;
      SetInteger(heap, x, words);
      ConversionTable table;
      {
        test::ConsoleCapture capture;
        if (shape.swapping) {
          BuildConversionTableSwap(heap, x, table, shape.threadLevel);
          BigIntSwapOut(heap, x.magnitude);
        } else {
          BuildConversionTable(heap, x, table, shape.threadLevel);
        }
      }
      const uint64_t filesBefore = RaidFilesCreated();
      const uint64_t countWords = BillionWordsFor(lengthWords);
      std::vector<uint32_t> out(countWords + 1, 0xDEADBEEF);
      const uint32_t depth = shape.threadLevel >= 1 ? shape.threadLevel + 2 : 0;
      const uint32_t top = table.levelCount == 0 ? kNoLevel : table.levelCount - 1;
      SCOPED_TRACE(::testing::Message()
                   << "words " << lengthWords << " case " << i << " seed " << test::TestSeed()
                   << " k " << shape.threadLevel << " heap " << shape.withHeap << " swapping "
                   << shape.swapping);
      {
        test::ConsoleCapture capture;
        if (shape.swapping) {
          SplitSwap(heap, x, out.data(), countWords, table, top, kSwapSplitLevels, i == 0, depth,
                    shape.threadLevel);
        } else {
          SplitTop(heap, x, out.data(), countWords, table, top, kSerialSplitLevels, i == 0, depth,
                   shape.threadLevel);
        }
      }
      EXPECT_EQ(out[countWords], 0xDEADBEEF);
      EXPECT_EQ(test::BillionWordsText(out.data(), countWords),
                test::PaddedDecimal(value, 9 * countWords));
      if (shape.swapping) {
        EXPECT_TRUE(test::AllLevelsOnDisk(table)) << "table levels left in memory";
        if (lengthWords >= kSwapSplitMinWords) {
          EXPECT_GT(RaidFilesCreated(), filesBefore) << "nothing went to disk";
        }
      }
      ReleaseConversionTable(table);
    }
  }
  if (shape.threadLevel >= 1) {
    EXPECT_GT(ThreadsStarted(), threadsBefore);
  }
  if (heap != nullptr) {
    EXPECT_EQ(heap->activeCount, 0u) << "the conversion left pieces behind";
    HeapDestroy(heap);
  }
  if (disks) {
    EXPECT_EQ(disks->FilesLeft(), 0u) << "swap files left behind";
  }
  mpz_clear(value);
}

std::string ShapeName(const ::testing::TestParamInfo<SplitShape>& info) {
  static const char* const kNames[] = {"k0", "k1", "k0Heap", "k1Heap", "k0Swap", "k2HeapSwap"};
  return kNames[info.index];
}

INSTANTIATE_TEST_SUITE_P(Threads, SplitAgainstGmp,
                         ::testing::Values(SplitShape{0, false, false}, SplitShape{1, false, false},
                                           SplitShape{0, true, false}, SplitShape{1, true, false},
                                           SplitShape{0, false, true}, SplitShape{2, true, true}),
                         ShapeName);

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
  for (uint32_t threadLevel : {0u, 1u}) {
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
                     << c.shape << " words " << lengthWords << " k " << threadLevel << " digits "
                     << digitCount << " seed " << test::TestSeed());
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
