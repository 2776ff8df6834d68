// A compute-and-verify run in process whose second computation is wrong in one known word: the
// comparison must stop at that digit and the run report failure.
#include <gtest/gtest.h>
#include <unistd.h>

#include "constants/pi.hpp"
#include "drivers/constant_runs.hpp"
#include "drivers/run_driver.hpp"
#include "reference_digits.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

// Words after the point in which the faulty computation flips one bit.
constexpr uint64_t kFaultyWordAfterPoint = 300;

// Ramanujan's Pi with the lowest bit of one word flipped: hexadecimal digit 8·w + 7 after the
// point changes, and every digit before it stays right.
void FaultyPi(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords, uint32_t flag,
              uint32_t threadExponent) {
  ComputePiRamanujan(heap, result, precisionWords, flag, threadExponent);
  BigIntMakeResident(heap, result.magnitude);
  const uint64_t top = result.magnitude.length - 1;  // the word holding the 3
  result.magnitude.words[top - 1 - kFaultyWordAfterPoint] ^= 1;
}

class VerifyRunTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = test::MakeTempDir("verify");
    ASSERT_EQ(getcwd(previous_, sizeof previous_), previous_);
    ASSERT_EQ(chdir(dir_.c_str()), 0);
  }
  void TearDown() override {
    ASSERT_EQ(chdir(previous_), 0);
    test::RemoveTree(dir_);
  }
  std::string dir_;
  char previous_[4096] = {};
};

TEST_F(VerifyRunTest, AlteredDigitStopsTheCompareAndFailsTheRun) {
  ConstantRun faulty = kPiRun;
  faulty.algorithms[1].memory = FaultyPi;
  RunSettings settings;
  settings.decimalDigits = 50000;
  settings.hexDigits = 41525;
  settings.precisionWords = 41525 / 8 + 2;
  settings.memoryBytes = PiMemoryRamanujan(settings.precisionWords, 1) + 8 * settings.precisionWords;
  settings.threadExponent = 1;
  test::ConsoleCapture capture;
  EXPECT_FALSE(RunComputeAndVerify(faulty, settings));
  const std::string& output = capture.text();
  const size_t hex = output.find("Comparing Hexadecimal Digits...\n");
  const size_t decimal = output.find("Comparing Decimal Digits...\n");
  ASSERT_NE(hex, std::string::npos);
  ASSERT_NE(decimal, std::string::npos);
  EXPECT_NE(output.substr(hex, decimal - hex).find("Matching Digits:   2,407\n"), std::string::npos)
      << output.substr(hex);
  // The decimal files part near the same place: 2,407 hexadecimal digits hold about 2,898
  // decimal ones.
  EXPECT_NE(output.find("Matching Digits:   2,8", decimal), std::string::npos) << output.substr(hex);
  EXPECT_NE(output.find("Computation Failed\n\n"), std::string::npos);
}

}  // namespace
}  // namespace zx
