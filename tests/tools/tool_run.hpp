// Helpers for driving the digit file tools: runs of the built program reduced to what follows the
// main menu, the progress line as the console shows it, and digit files made from a fixed seed.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace zx::test {

// The tools read and copy in blocks of this size; the tests straddle its boundaries.
inline constexpr uint64_t kBlockBytes = 10485760;
inline constexpr const char* kPauseLine = "Press any key to continue . . . \n";
// What the program prints after a tool that finished: three blank lines and the pause.
inline const std::string kToolEnding = std::string("\n\n\n") + kPauseLine;

struct ToolRun {
  std::string transcript;  // everything after "Enter your choice:\n"
  int exitCode = -1;
};

// A test with a fresh working directory of its own, removed afterwards.
struct ToolDirTest : ::testing::Test {
  void SetUp() override;
  void TearDown() override;
  std::string dir;
};

// Runs the program in dir with input on its standard input (the menu choice first).
ToolRun RunTool(const std::string& input, const std::string& dir);

// One progress line as printed: "\r", prefix, count in parentheses, blanks up to column 63.
std::string ProgressShown(const std::string& prefix, const std::string& countWithCommas);
// The blanking of the progress line.
std::string ProgressCleared();
// The transcript with every progress line and its blanking taken out, for runs long enough that
// the throttle decides how many lines appear.
std::string WithoutProgress(const std::string& transcript);

// "3." followed by digitCount random decimal digits.
std::string RandomDigitFile(uint64_t digitCount, uint64_t seed);

}  // namespace zx::test
