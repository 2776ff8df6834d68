#include <gtest/gtest.h>

#include <string>

#include "menus/dialogues.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

uint64_t FakeSwapBytes(uint64_t decimalDigits, uint32_t threadExponent) {
  return decimalDigits * 4 + threadExponent;
}

TEST(DigitsDialogue, DerivedCountsAndBounds) {
  EXPECT_EQ(MinDecimalDigits(), 20u);
  EXPECT_EQ(MaxDecimalDigits(), 31025009034u);
  EXPECT_EQ(HexDigitsFor(20), 17u);
  EXPECT_EQ(WordsFor(17), 4u);
  EXPECT_EQ(HexDigitsFor(1000000), 830483u);
  EXPECT_EQ(WordsFor(830483), 103812u);
}

TEST(DigitsDialogue, RefusesOutOfRangeAndNonNumbers) {
  // 19 is too small, letters and a 21-digit number are no numbers, -5 wraps far out of range.
  test::FeedStdin("19\nabc\n123456789012345678901\n-5\n31025009035\n20\n0\n");
  test::ConsoleCapture capture;
  const DigitSettings settings = ReadDigits();
  EXPECT_EQ(settings.decimalDigits, 20u);
  EXPECT_EQ(settings.hexDigits, 17u);
  EXPECT_EQ(settings.words, 4u);
  EXPECT_EQ(settings.threadExponent, 0u);
  const std::string& text = capture.text();
  size_t prompts = 0;
  for (size_t at = text.find("Decimal Digits = "); at != std::string::npos;
       at = text.find("Decimal Digits = ", at + 1)) {
    ++prompts;
  }
  EXPECT_EQ(prompts, 6u);
  EXPECT_NE(text.find("\nDecimal Digits    : 20\nHexadecimal Digits: 17\n\nSelect a threading mode: \n"),
            std::string::npos);
}

TEST(DigitsDialogue, AcceptsTheLargestCount) {
  test::FeedStdin("31025009034\n6\n");
  test::ConsoleCapture capture;
  const DigitSettings settings = ReadDigits();
  EXPECT_EQ(settings.decimalDigits, 31025009034u);
  EXPECT_EQ(settings.threadExponent, 6u);
  EXPECT_NE(capture.text().find("Decimal Digits    : 31,025,009,034\n"), std::string::npos);
}

TEST(ThreadingDialogue, RefusesSevenAndAcceptsSix) {
  test::FeedStdin("7\n-1\n6\n");
  test::ConsoleCapture capture;
  EXPECT_EQ(ReadThreadingMode(), 6u);
  const std::string& text = capture.text();
  EXPECT_EQ(text.substr(0, 26), "Select a threading mode: \n");
  const std::string tail = "here.\n\nk = \nk = \nk = \n";
  ASSERT_GE(text.size(), tail.size());
  EXPECT_EQ(text.substr(text.size() - tail.size()), tail);
}

TEST(ModeDialogue, OnlyRamBelowFiveMillionDigits) {
  test::FeedStdin("2\n1\n");
  test::ConsoleCapture capture;
  uint64_t memory = 123456789;
  EXPECT_EQ(ReadMode(4999999, 1, &memory, FakeSwapBytes), 1u);
  EXPECT_EQ(memory, 123456789u);
  EXPECT_EQ(capture.text(),
            "Select a Mode:\n\n"
            "Option      Mode                Approx. Memory Needed\n\n"
            " 1      Ram Only                     117 MB\n"
            "\noption = option = \n\n");
}

TEST(ModeDialogue, SwapModeFromFiveMillionDigitsReplacesTheEstimate) {
  test::FeedStdin("3\n2\n");
  test::ConsoleCapture capture;
  uint64_t memory = 123456789;
  EXPECT_EQ(ReadMode(5000000, 2, &memory, FakeSwapBytes), 2u);
  EXPECT_EQ(memory, 5000000u * 4 + 2 + 0x100000);
  EXPECT_EQ(capture.text(),
            "Select a Mode:\n\n"
            "Option      Mode                Approx. Memory Needed\n\n"
            " 1      Ram Only                     117 MB\n"
            " 2      Basic Disk Swapping         20.0 MB\n"
            "\noption = option = \n\n");
}

TEST(DiskDialogue, ZeroDisksMeansTheDefaultPath) {
  test::FeedStdin("0\n");
  test::ConsoleCapture capture;
  DiskList disks;
  ReadDisks(disks);
  ASSERT_EQ(disks.paths.size(), 1u);
  EXPECT_EQ(disks.paths[0], "");
  EXPECT_EQ(capture.text(),
            "Please Enter the # of disks you wish to use:\n\n"
            "Disks (zero will use one disk at the default path): \n");
}

TEST(DiskDialogue, PathRulesSkipLeadingLineEndsKeepBlanksAndStopAt1023Bytes) {
  const std::string longPath(1030, 'x');
  test::FeedStdin("4\nD:/swap\n\n\n  with blanks  \n" + longPath + "\n");
  test::ConsoleCapture capture;
  DiskList disks;
  ReadDisks(disks);
  ASSERT_EQ(disks.paths.size(), 4u);
  EXPECT_EQ(disks.paths[0], "D:/swap");
  EXPECT_EQ(disks.paths[1], "  with blanks  ");
  EXPECT_EQ(disks.paths[2], std::string(1023, 'x'));
  // What did not fit begins the next path.
  EXPECT_EQ(disks.paths[3], std::string(7, 'x'));
  EXPECT_NE(capture.text().find("        3 - Ideally, (though not required), the disks should be empty.\n\n"
                                "Path: Path: Path: Path: "),
            std::string::npos);
}

TEST(DiskDialogue, MultibyteCharactersAreKeptByteForByte) {
  test::FeedStdin("1\n/tmp/d\xC3\xA9j\xC3\xA0\n");
  test::ConsoleCapture capture;
  DiskList disks;
  ReadDisks(disks);
  ASSERT_EQ(disks.paths.size(), 1u);
  EXPECT_EQ(disks.paths[0], "/tmp/d\xC3\xA9j\xC3\xA0");
}

}  // namespace
}  // namespace zx
