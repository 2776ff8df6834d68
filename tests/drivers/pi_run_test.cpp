// Whole Pi runs through the program's standard input, checked against independent reference
// digits.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "reference_digits.hpp"
#include "test_support.hpp"

namespace zx {
namespace test {

std::string PiReferenceHash(const std::string& radix, uint64_t digits) {
  std::ifstream in(std::string(ZX_SOURCE_DIR) + "/tests/data/pi_reference.txt");
  std::string r, hash;
  uint64_t d = 0;
  while (in >> r >> d >> hash) {
    if (r == radix && d == digits) return hash;
  }
  return "";
}

std::string Sha256OfFile(const std::string& path) {
  const std::string command = "sha256sum '" + path + "'";
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return "";
  char buffer[65] = {};
  const size_t read = std::fread(buffer, 1, 64, pipe);
  pclose(pipe);
  return std::string(buffer, read);
}

}  // namespace test

namespace {

// Checks that the pieces appear in the output in this order.
void ExpectInOrder(const std::string& output, std::initializer_list<std::string> pieces) {
  size_t at = 0;
  for (const std::string& piece : pieces) {
    const size_t found = output.find(piece, at);
    ASSERT_NE(found, std::string::npos) << "missing after offset " << at << ": " << piece;
    at = found + piece.size();
  }
}

class PiRunTest : public ::testing::Test {
 protected:
  void SetUp() override { dir_ = test::MakeTempDir("pirun"); }
  void TearDown() override { test::RemoveTree(dir_); }
  std::string dir_;
};

TEST_F(PiRunTest, ChudnovskyMillionDigitsWritesEveryDigitRight) {
  const test::ProgramRun run = test::RunProgram("3\n1\n1000000\n1\n1\n", dir_);
  ASSERT_EQ(run.exitCode, 0) << run.output;
  ExpectInOrder(run.output,
                {"option = \n\n\nPi\n\nOption 1\n    Algorithm 1: Chudnovsky Formula (fastest)\n\n",
                 "Enter your choice:\noption = \n",
                 "Decimal Digits    : 1,000,000\nHexadecimal Digits: 830,483\n\n",
                 " 1      Ram Only                    ",
                 "\noption = \n\n\n\nCompute: Pi\n\nDecimal Digits    :   1,000,000\n"
                 "Hexadecimal Digits:   830,483\n\nMode: Ram Only\n\n"
                 "Allocating and Reserving Memory...  \t",
                 "\nConstructing FFT lookup tables...\n\nBegin Computation:\n\n"
                 "Computing: Pi\n\nAlgorithm: Chudnovsky Formula\n\nSumming Series:\n",
                 "Finalizing...", "Multiplying...  \t( 1,000,037 )", "InvSqrt...\n",
                 "Final Multiply...\n", "\nCompute Pi Time: ", " seconds  ( ",
                 "Writing Hexadecimal Digits:   830,484  digits written\n",
                 "\nConstructing Base Conversion Table:\n",
                 "Base Converting (Primary Cutting Parameters):\n",
                 "Writing Decimal Digits:   1,000,001  digits written\n",
                 "\n\nTotal Computation Time:  ", " hours )\n\nTotal Time (including writing digits):  ",
                 " hours )\n\n\n\n\n\nPress any key to continue . . . \n"});
  EXPECT_EQ(test::Sha256OfFile(dir_ + "/Pi - Hex - Chudnovsky.txt"),
            test::PiReferenceHash("hex", 1000000));
  EXPECT_EQ(test::Sha256OfFile(dir_ + "/Pi - Dec - Chudnovsky.txt"),
            test::PiReferenceHash("dec", 1000000));
}

TEST_F(PiRunTest, RamanujanThousandDigitsAndTheMenuReprompt) {
  const test::ProgramRun run = test::RunProgram("3\n0\n4\n2\n1000\n0\n1\n", dir_);
  ASSERT_EQ(run.exitCode, 0) << run.output;
  // An answer outside 1..3 asks again without the menu.
  ExpectInOrder(run.output, {"Enter your choice:\noption = option = option = \n",
                             "Algorithm: Ramanujan's Formula\n\n"});
  EXPECT_EQ(run.output.find("Option 1", run.output.find("option = option")), std::string::npos);
  EXPECT_EQ(test::Sha256OfFile(dir_ + "/Pi - Hex - Ramanujan.txt"),
            test::PiReferenceHash("hex", 1000));
  EXPECT_EQ(test::Sha256OfFile(dir_ + "/Pi - Dec - Ramanujan.txt"),
            test::PiReferenceHash("dec", 1000));
}

TEST_F(PiRunTest, ComputeAndVerifySucceedsAndLeavesFourFiles) {
  const test::ProgramRun run = test::RunProgram("3\n3\n1000000\n1\n1\n", dir_);
  ASSERT_EQ(run.exitCode, 0) << run.output;
  ExpectInOrder(run.output,
                {"Compute and Verify: Pi\n\n", "Computing...\n\nComputing: Pi\n\n",
                 "Algorithm: Chudnovsky Formula", "Base Converting (Primary Cutting Parameters):",
                 "Verifying...\n\nComputing: Pi\n\nAlgorithm: Ramanujan's Formula",
                 "Base Converting (Secondary Cutting Parameters):",
                 "Comparing Hexadecimal Digits...\n", "Matching Digits:   830,483\n",
                 "Comparing Decimal Digits...\n", "Matching Digits:   1,000,000\n",
                 "\nComputation Successful\n\n\nTotal Time (including writing digits):  "});
  EXPECT_EQ(test::Sha256OfFile(dir_ + "/Pi - Dec - Computation.txt"),
            test::PiReferenceHash("dec", 1000000));
  EXPECT_EQ(test::Sha256OfFile(dir_ + "/Pi - Dec - Verification.txt"),
            test::PiReferenceHash("dec", 1000000));
  EXPECT_EQ(test::Sha256OfFile(dir_ + "/Pi - Hex - Verification.txt"),
            test::PiReferenceHash("hex", 1000000));
}

}  // namespace
}  // namespace zx
