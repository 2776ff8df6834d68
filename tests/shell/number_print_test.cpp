#include <gtest/gtest.h>

#include "shell/number_print.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

TEST(PrintCommas, GroupsThousandsAndPads) {
  struct Case {
    uint64_t value;
    int width;
    const char* text;
  };
  const Case cases[] = {
      {0, 0, "0"},
      {12, 5, "   12"},
      {999, 0, "999"},
      {1000, 0, "1,000"},
      {1234567, 0, "1,234,567"},
      {100000, 0, "100,000"},
      {1234567, 3, "1,234,567"},
      {18446744073709551615ull, 0, "18,446,744,073,709,551,615"},
  };
  for (const Case& c : cases) {
    test::ConsoleCapture capture;
    const int printed = PrintCommas(c.value, c.width);
    EXPECT_EQ(capture.text(), c.text) << c.value;
    EXPECT_EQ(printed, static_cast<int>(capture.text().size())) << c.value;
  }
}

TEST(PrintU64, PrintsPlainDecimalAndCountsIt) {
  test::ConsoleCapture capture;
  EXPECT_EQ(PrintU32(0), 1);
  EXPECT_EQ(PrintU64(4294967296ull), 10);
  EXPECT_EQ(capture.text(), "04294967296");
}

TEST(PrintBytes, TruncatesAtEveryUnitBoundary) {
  struct Case {
    uint64_t bytes;
    const char* text;
  };
  const Case cases[] = {
      {0, "0 bytes"},
      {999, "999 bytes"},
      {1000, "0.97 KB"},
      {1023, "0.99 KB"},
      {1024, "1.00 KB"},
      {1536, "1.50 KB"},
      {1034, "1.00 KB"},
      {1035, "1.01 KB"},
      {10239, "9.99 KB"},
      {10240, "10.0 KB"},
      {102399, "99.9 KB"},
      {102400, " 100 KB"},
      {1023999, " 999 KB"},
      {1024000, "0.97 MB"},
      {1048575, "0.99 MB"},
      {1048576, "1.00 MB"},
      {512ull << 20, " 512 MB"},
      {1076ull << 20, "1.05 GB"},
      {1075ull << 20, "1.04 GB"},
      {1ull << 40, "1.00 TB"},
      {1ull << 60, "1.00 EB"},
      {18446744073709551615ull, "15.9 EB"},
  };
  for (const Case& c : cases) {
    test::ConsoleCapture capture;
    PrintBytes(c.bytes);
    EXPECT_EQ(capture.text(), c.text) << c.bytes;
    EXPECT_EQ(FormatBytes(c.bytes), c.text);
  }
}

}  // namespace
}  // namespace zx
