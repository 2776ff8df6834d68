#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>

#include "shell/console_input.hpp"
#include "shell/fatal.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

// Death tests fork; standard input is at its end so that every pause returns at once.
// The program prints on standard output; death tests read standard error.
void ShowStdoutOnStderr() { dup2(STDERR_FILENO, STDOUT_FILENO); }

class FatalTest : public ::testing::Test {
 protected:
  void SetUp() override {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    test::FeedStdin("");
  }
};

TEST_F(FatalTest, AssertionReportEndsAbnormally) {
  EXPECT_DEATH(
      {
        ShowStdoutOnStderr();
        FatalAssertion(kImpossibleResult, "Toom-3 Multiplication",
                       "Division by 6 produced a non-zero remainder.");
      },
      "FATAL ERROR: Assertion Failure\n\nImpossible Functional Result: Toom-3 Multiplication\n\n"
      "Division by 6 produced a non-zero remainder.\n\n\nIf this error shows up consistantly.*"
      "Terminating Program...\nPress any key to continue . . . \nPress any key to continue . . . \n$");
}

TEST_F(FatalTest, PauseConsumesOneCharacterOfPipedInput) {
  test::FeedStdin("ab");
  test::ConsoleCapture capture;
  Pause();
  EXPECT_EQ(ConsoleReadChar(), 'b');
}

}  // namespace
}  // namespace zx
