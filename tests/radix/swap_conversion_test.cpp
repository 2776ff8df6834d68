// The disk-swapping conversion against the memory one and GMP: the table on disk, SplitSwap's
// progress lines, and decimal files written both ways, over two swap directories, with values
// really going through swap files and none left afterwards. DivModSwap and SplitSwap are also
// tested beside their memory forms (divmod_test.cpp, split_test.cpp).
#include "conversion_test_util.hpp"
#include "radix/digit_writers.hpp"
#include "runtime/swap_file.hpp"
#include "shell/console.hpp"
#include "shell/progress.hpp"

namespace zx {
namespace {

using test::SetInteger;

class SwapConversionTest : public test::ConversionTest {
 protected:
  void TearDown() override { EXPECT_EQ(disks_.FilesLeft(), 0u) << "swap files left behind"; }

  test::TempSwapDisks disks_;
};

TEST_F(SwapConversionTest, TableOnDiskHoldsTheMemoryTableAndNoHeap) {
  std::mt19937_64 rng(test::TestSeed());
  AllocationHeap heap;
  HeapCreate(nullptr, &heap, uint64_t{64} << 20);
  mpz_t inMemory, onDisk;
  mpz_inits(inMemory, onDisk, nullptr);
  for (uint64_t lengthWords : {28, 600, 5000}) {
    SCOPED_TRACE(::testing::Message() << "words " << lengthWords << " seed " << test::TestSeed());
    BigFloat x;
    SetInteger(&heap, x, test::RandomWords(rng, lengthWords));
    const uint32_t piecesBefore = heap.activeCount;
    const uint64_t filesBefore = RaidFilesCreated();
    ConversionTable memoryTable, swapTable;
    {
      test::ConsoleCapture capture;
      BuildConversionTable(nullptr, x, memoryTable, 0);
      BuildConversionTableSwap(&heap, x, swapTable, 1);
      EXPECT_EQ(capture.text().rfind("Constructing Base Conversion Table:\n", 0), 0u);
    }
    EXPECT_EQ(heap.activeCount, piecesBefore) << "the table on disk keeps pieces in the heap";
    EXPECT_TRUE(test::AllLevelsOnDisk(swapTable));
    EXPECT_GE(RaidFilesCreated() - filesBefore, 2 * uint64_t{swapTable.levelCount});
    ASSERT_EQ(swapTable.levelCount, memoryTable.levelCount);
    EXPECT_EQ(swapTable.baseExponent, memoryTable.baseExponent);
    for (uint32_t i = 0; i < swapTable.levelCount; ++i) {
      const BigFloat* memoryLevels[] = {&memoryTable.powers[i], &memoryTable.reciprocals[i]};
      BigFloat* swapLevels[] = {&swapTable.powers[i], &swapTable.reciprocals[i]};
      for (int r = 0; r < 2; ++r) {
        EXPECT_EQ(swapLevels[r]->exponent, memoryLevels[r]->exponent) << "level " << i;
        test::ToMpz(inMemory, memoryLevels[r]->magnitude.words, memoryLevels[r]->magnitude.length);
        test::ToMpz(onDisk, nullptr, swapLevels[r]->magnitude);
        EXPECT_EQ(mpz_cmp(inMemory, onDisk), 0)
            << "level " << i << (r == 0 ? " power" : " inverse");
      }
    }
    ReleaseConversionTable(memoryTable);
    ReleaseConversionTable(swapTable);
    BigFloatRelease(x);
  }
  EXPECT_EQ(heap.activeCount, 0u);
  HeapDestroy(&heap);
  mpz_clears(inMemory, onDisk, nullptr);
}

// The first "Splitting" line comes from the disk levels ("-"); after three of them the memory
// top takes over behind ":" and prints its own, unthrottled.
TEST_F(SwapConversionTest, SplitSwapProgressLines) {
  std::mt19937_64 rng(test::TestSeed());
  std::vector<uint32_t> words = test::RandomWords(rng, 20000);
  words.back() |= 1;
  BigFloat x;
  SetInteger(nullptr, x, words);
  ConversionTable table;
  {
    test::ConsoleCapture capture;
    BuildConversionTableSwap(nullptr, x, table, 0);
  }
  const uint64_t countWords = BillionWordsFor(20000);
  std::vector<uint32_t> out(countWords);
  test::ConsoleCapture capture;
  ProgressTimerStart();
  SplitSwap(nullptr, x, out.data(), countWords, table, table.levelCount - 1, kSwapSplitLevels, true,
            0, 0);
  const std::string& text = capture.text();
  EXPECT_EQ(text.rfind("\rSplitting        : -    ( 192,660 )", 0), 0u) << text;
  EXPECT_NE(text.find("\rSplitting        : 111:-    ( "), std::string::npos) << text;
  EXPECT_NE(text.find("\rSplitting        : 000:-    ( "), std::string::npos) << text;
  EXPECT_EQ(Progress().labelLength, 0u);
  ReleaseConversionTable(table);
}

struct SwapFileCase {
  uint64_t lengthWords;
  int64_t topWords;  // the top position of x in words
  uint32_t threadLevel;
  bool secondary;
};

TEST_F(SwapConversionTest, SwapDecimalFilesEqualMemoryFiles) {
  const std::string dir = test::MakeTempDir("radix_swap_files");
  std::mt19937_64 rng(test::TestSeed());
  AllocationHeap heap;
  HeapCreate(nullptr, &heap, uint64_t{96} << 20);
  mpz_t value;
  mpz_init(value);
  const SwapFileCase cases[] = {
      {100, 1, 0, false}, {5000, 1, 1, false}, {5000, -2, 0, true}, {50000, 1, 1, true}};
  for (const SwapFileCase& c : cases) {
    std::vector<uint32_t> words = test::RandomWords(rng, c.lengthWords);
    if (c.topWords == 1) words.back() = 3;
    test::ToMpz(value, words.data(), words.size());
    const int64_t exponentWords = c.topWords - static_cast<int64_t>(c.lengthWords);
    const uint64_t digitCount = FloorTimes(c.lengthWords - 2, kDigitsPerWord);
    SCOPED_TRACE(::testing::Message()
                 << "words " << c.lengthWords << " top " << c.topWords << " k " << c.threadLevel
                 << " secondary " << c.secondary << " seed " << test::TestSeed());
    std::string written[2];
    for (int swapping = 0; swapping < 2; ++swapping) {
      BigFloat x;
      SetInteger(&heap, x, words);
      x.exponent = exponentWords;
      const std::string path = dir + (swapping ? "/swap.txt" : "/memory.txt");
      ConversionTable table;
      const uint64_t filesBefore = RaidFilesCreated();
      test::ConsoleCapture capture;
      if (swapping) {
        BigIntSwapOut(&heap, x.magnitude);
        BuildConversionTableSwap(&heap, x, table, c.threadLevel);
        WriteDecimalDigitsSwap(&heap, x, digitCount, path, table, c.secondary, c.threadLevel);
        EXPECT_GT(RaidFilesCreated(), filesBefore + 2 * uint64_t{table.levelCount});
        EXPECT_TRUE(test::AllLevelsOnDisk(table));
      } else {
        BuildConversionTable(&heap, x, table, c.threadLevel);
        WriteDecimalDigits(&heap, x, digitCount, path, table, c.secondary, c.threadLevel);
      }
      EXPECT_TRUE(BigFloatIsZero(x));
      ReleaseConversionTable(table);
      ASSERT_EQ(heap.activeCount, 0u);
      written[swapping] = test::ReadFile(path);
    }
    EXPECT_TRUE(written[1] == written[0]) << "the swapping writer differs from the memory writer";
    EXPECT_TRUE(written[1] ==
                test::ExpectedTextOfBinary(value, exponentWords, DigitRadix::kDecimal, digitCount));
  }
  HeapDestroy(&heap);
  mpz_clear(value);
  test::RemoveTree(dir);
}

}  // namespace
}  // namespace zx
