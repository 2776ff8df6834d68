// The verify runs' comparison and the size of a file, called in process.
#include "tools/digit_files.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "test_support.hpp"
#include "tool_run.hpp"

namespace zx {
namespace {

// Standard input is at its end so that the pause of a stop returns at once.
struct DigitFilesTest : test::ToolDirTest {
  void SetUp() override {
    ToolDirTest::SetUp();
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    test::FeedStdin("");
  }
};

// The program prints on standard output; death tests read standard error.
const std::string kPauseRegex = "Press any key to continue \\. \\. \\. \n$";
void ShowStdoutOnStderr() {
  dup2(STDERR_FILENO, STDOUT_FILENO);
}

TEST_F(DigitFilesTest, CompareDigitFilesCountsTheDigitsAfterThePointBothFilesShare) {
  const std::string file = test::RandomDigitFile(21 * 1048576, test::TestSeed());
  struct Case {
    const char* name;
    std::string first, second;
    uint64_t matchedDigits;
    const char* shown;
  };
  const Case cases[] = {
      {"identical", "3.14159", "3.14159", 5, "5"},
      {"third byte differs", "3.14159", "3.24159", 0, "0"},
      {"second byte differs", "3.14159", "3,14159", 0, "0"},
      {"only the point matches", "3.", "3.", 0, "0"},
      {"empty", "", "3.14159", 0, "0"},
      {"identical, three blocks", file, file, file.size() - 2, "22,020,096"},
      {"differs in the last block", file, file.substr(0, 20971522) + "x", 20971520, "20,971,520"},
  };
  for (const Case& c : cases) {
    test::WriteFile(dir + "/Computation.txt", c.first);
    test::WriteFile(dir + "/Verification.txt", c.second);
    test::ConsoleCapture capture;
    const uint64_t matchedDigits =
        CompareDigitFiles(dir + "/Computation.txt", dir + "/Verification.txt", 2);
    EXPECT_EQ(matchedDigits, c.matchedDigits) << c.name;
    EXPECT_TRUE(
        capture.text().ends_with(test::ProgressCleared() + "Matching Digits:   " + c.shown + "\n"))
        << c.name << ": " << capture.text();
  }
}

TEST_F(DigitFilesTest, CompareDigitFilesStopsWhenAFileIsMissing) {
  test::WriteFile(dir + "/present.txt", "3.14159");
  EXPECT_EXIT(
      {
        ShowStdoutOnStderr();
        CompareDigitFiles(dir + "/present.txt", dir + "/missing.txt", 2);
      },
      ::testing::ExitedWithCode(1), "\nUnable to open file\n" + kPauseRegex);
}

}  // namespace
}  // namespace zx
