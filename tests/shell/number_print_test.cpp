#include <gtest/gtest.h>

#include "shell/number_print.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

TEST(PrintBytes, TruncatesAtEveryUnitBoundary) {
  struct Case {
    uint64_t bytes;
    const char* text;
  };
  const Case cases[] = {
      {0, "0 bytes"},
      {999, "999 bytes"},
      {1000, "0.97 KB"},
      {1024, "1.00 KB"},
      {1035, "1.01 KB"},
      {10239, "9.99 KB"},
      {10240, "10.0 KB"},
      {102399, "99.9 KB"},
      {102400, " 100 KB"},
      {1024000, "0.97 MB"},
      {512ull << 20, " 512 MB"},
      {1076ull << 20, "1.05 GB"},
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
