#include <gtest/gtest.h>

#include <string>

#include "shell/console.hpp"
#include "shell/progress.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

int64_t gFakeMillis = 0;
int64_t gFakeSeconds = 0;

class ProgressTest : public ::testing::Test {
 protected:
  void SetUp() override {
    gFakeMillis = 5000;
    gFakeSeconds = 1000000;
    ConsoleSetClock({[] { return gFakeMillis; }, [] { return gFakeSeconds; }});
    ProgressTimerStart();
  }
  void TearDown() override { ConsoleSetClock({nullptr, nullptr}); }
  void Advance(int64_t millis) {
    gFakeMillis += millis;
    gFakeSeconds = 1000000 + (gFakeMillis - 5000) / 1000;
  }
};

const std::string kClear = "\r" + std::string(63, ' ') + "\r";

TEST_F(ProgressTest, ThrottlePrintsAtMostOnceASecond) {
  test::ConsoleCapture capture;
  ProgressPrintThrottled("A", 0);  // the first call after the timer start always prints
  Advance(400);
  ProgressPrintThrottled("B", 0);
  Advance(599);
  ProgressPrintThrottled("C", 0);
  EXPECT_EQ(capture.text(), "\rA" + std::string(62, ' '));
  Advance(1);
  ProgressPrintThrottled("D", 0);
  EXPECT_EQ(capture.text(), "\rA" + std::string(62, ' ') + "\rD" + std::string(62, ' '));
}

TEST_F(ProgressTest, ElapsedUsesMillisecondsBelowAnHourAndSecondsAbove) {
  test::ConsoleCapture capture;
  Advance(59 * 60 * 1000 + 1234);
  PrintElapsed();
  EXPECT_EQ(capture.Take(), kClear + "Time:    3541.234 seconds  ( 0.984 hours )\n");
  ProgressTimerStart();
  Advance(61 * 60 * 1000 + 700);
  PrintElapsed();
  EXPECT_EQ(capture.Take(), kClear + "Time:    3660 seconds  ( 1.017 hours )\n");
}

}  // namespace
}  // namespace zx
