// Counts as the command line reads them: every accepted spelling and every way to be wrong.
#include <gtest/gtest.h>

#include "cli/cli_numbers.hpp"

namespace zx {
namespace {

struct CountCase {
  const char* text;
  uint64_t value;       // when problem is empty
  const char* problem;  // "" when accepted
};

TEST(ParseCount, ReadsEverySpellingExactlyAndRefusesTheRest) {
  const CountCase cases[] = {
      {"1000000", 1000000, ""},
      {"1e6", 1000000, ""},
      {"1M", 1000000, ""},
      {"2.5G", 2500000000, ""},
      {"31.025009034G", 31025009034, ""},
      {"1.5k", 1500, ""},
      {"12.000", 12, ""},
      {"0", 0, ""},
      {"18446744073709551615", UINT64_MAX, ""},
      {"18446744073709551616", 0, "too large"},
      {"1e20", 0, "too large"},
      {"20000000000G", 0, "too large"},
      {"1.5", 0, "not a whole number"},
      {"2.0001k", 0, "not a whole number"},
      {"", 0, "not a number"},
      {"-5", 0, "not a number"},
      {"1e-3", 0, "not a number"},
      {"5m", 0, "not a number"},
      {"1MB", 0, "not a number"},
      {"0x10", 0, "not a number"},
  };
  for (const CountCase& c : cases) {
    uint64_t value = 12345;
    EXPECT_EQ(ParseCount(c.text, &value), c.problem) << c.text;
    if (std::string(c.problem).empty()) {
      EXPECT_EQ(value, c.value) << c.text;
    }
  }
}

}  // namespace
}  // namespace zx
