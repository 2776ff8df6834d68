// The command line refused and the tools run from it, on the built program: every bad command
// line exits with code 2, says what is wrong on standard error and leaves nothing behind.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <vector>

#include "test_support.hpp"

namespace zx {
namespace {

namespace fs = std::filesystem;

const char* kHint = "Try 'zentrix --help' for more information.\n";

std::vector<std::string> Listing(const std::string& dir) {
  std::vector<std::string> names;
  for (const auto& entry : fs::recursive_directory_iterator(dir)) names.push_back(entry.path());
  std::sort(names.begin(), names.end());
  return names;
}

struct BadLine {
  std::vector<std::string> args;
  const char* problem;  // must appear in "zentrix: <problem>"
};

// Runs in a directory holding "disk/" and a regular file "plain".
const BadLine kBadLines[] = {
    {{"pi"}, "pi needs --digits N"},
    {{"pi", "-d"}, "option '-d' needs a value"},
    {{"pi", "-d", "1000", "-t"}, "option '-t' needs a value"},
    {{"pi", "-d", "0"}, "digits must lie between 20 and 31,025,009,034: 0"},
    {{"pi", "-d", "1.5"}, "'1.5' is not a whole number"},
    {{"pi", "-d", "1e40"}, "'1e40' is too large"},
    {{"pi", "-d", "4G"}, "more than 3,220,714,136 digits need --swap DIR"},
    {{"pi", "-d", "1000", "-t", "12"}, "thread count must be a power of two: 12 (nearest: 8 or 16)"},
    {{"pi", "-d", "1000", "-t", "128"}, "thread count must be at most 64: 128"},
    {{"pi", "-d", "1000", "--swap", "missing"}, "swap directory 'missing' does not exist"},
    {{"pi", "-d", "1000", "--swap", "plain"}, "swap directory 'plain' is not a directory"},
    {{"pi", "-d", "1000", "--swap", "disk", "--swap", "./disk/"}, "'./disk/' is already in the list"},
    {{"pi", "-d", "1000", "-o", "missing"}, "output directory 'missing' does not exist"},
    // Not even root can create files in /proc.
    {{"pi", "-d", "1000", "--swap", "/proc"}, "swap directory '/proc' cannot be written to"},
    {{"pi", "-d", "1000", "-o", "/proc"}, "output directory '/proc' cannot be written to"},
    {{"pi", "-d", "1000", "--bogus"}, "unknown option '--bogus'"},
    {{"pi", "-d", "1000", "stray"}, "unexpected argument 'stray'"},
    {{"pi", "-d", "1000", "-a", "3"}, "unknown algorithm '3' for pi (1, 2, chudnovsky or ramanujan)"},
    {{"zeta3", "-d", "1000", "-a", "chudnovsky"}, "unknown algorithm 'chudnovsky' for zeta3"},
    {{"pi", "-d", "1000", "--verify", "-a", "1"}, "--verify runs both algorithms"},
    {{"pi", "-d", "1000", "--euler-size", "12"}, "--euler-size applies to euler only"},
    {{"euler", "--euler-size", "9"}, "--euler-size must lie between 10 and 33: 9"},
    {{"euler", "--euler-size", "12", "-d", "1000"}, "give either --digits or --euler-size"},
    {{"euler", "-d", "3e10"}, "digits must lie between 1 and 29,844,489,537 for euler"},
    {{"sqrt2", "-d", "1000"}, "unknown constant or command 'sqrt2'"},
    {{"-d", "1000", "pi"}, "a constant or command must come before '-d'"},
    {{"view"}, "view needs 1 file name(s)"},
    {{"view", "missing.txt"}, "cannot read 'missing.txt'"},
    {{"view", "plain", "--count", "10001"}, "--count must lie between 1 and 10,000: 10001"},
    {{"view", "plain", "--swap", "disk"}, "option '--swap' does not apply to view"},
    {{"compare", "plain"}, "compare needs 2 file name(s)"},
    {{"compare", "plain", "plain", "-d", "5"}, "option '-d' does not apply to compare"},
    {{"truncate", "plain", "cut.txt"}, "truncate needs --digits N"},
    {{"truncate", "plain", "cut.txt", "-d", "200"}, "--digits 200 is more than 'plain' holds (150)"},
};

class BadCommandLine : public ::testing::TestWithParam<BadLine> {};

TEST_P(BadCommandLine, IsRefusedWithCodeTwoAndLeavesNothing) {
  const std::string dir = test::MakeTempDir("clibad");
  fs::create_directory(dir + "/disk");
  test::WriteFile(dir + "/plain", "3." + std::string(150, '7'));
  const std::vector<std::string> before = Listing(dir);
  const test::ProgramRun run = test::RunProgramWithArgs(GetParam().args, dir);
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(run.errors.rfind("zentrix: ", 0), 0u) << run.errors;
  EXPECT_NE(run.errors.find(GetParam().problem), std::string::npos) << run.errors;
  EXPECT_EQ(run.errors.substr(run.errors.find('\n') + 1), kHint);
  EXPECT_EQ(Listing(dir), before);
  test::RemoveTree(dir);
}

INSTANTIATE_TEST_SUITE_P(Table, BadCommandLine, ::testing::ValuesIn(kBadLines));

TEST(CommandLine, HelpListsEveryOptionAndVersionNamesTheBuild) {
  const test::ProgramRun help = test::RunProgramWithArgs({"--help"}, "");
  EXPECT_EQ(help.exitCode, 0);
  for (const char* option : {"-d, --digits N", "-a, --algorithm NAME", "--verify", "-t, --threads N",
                             "--swap DIR", "-o, --output DIR", "--euler-size K", "-q, --quiet",
                             "--json", "--from N", "--count N", "-h, --help", "-V, --version"}) {
    EXPECT_NE(help.output.find(option), std::string::npos) << option;
  }
  const test::ProgramRun version = test::RunProgramWithArgs({"pi", "-V"}, "");
  EXPECT_EQ(version.exitCode, 0);
  EXPECT_EQ(version.output, "zentrix 0.2.1 Alpha Build 6841\n");
}

// The tools on a file of "3." and 150 digits, 0123456789 repeated; "other" differs from the
// 101st digit on.
struct ToolLine {
  std::vector<std::string> args;
  int exitCode;
  std::vector<std::string> shown;  // in this order on standard output
  const char* cut;                 // the content of cut.txt afterwards; null: no such file
};

std::string Digits(size_t count) {
  std::string digits;
  for (size_t i = 0; i < count; ++i) digits += static_cast<char>('0' + i % 10);
  return digits;
}

const ToolLine kToolLines[] = {
    {{"view", "digits.txt"}, 0,
     {"\nFile Size: 152 bytes\n", "\nFirst few digits:\n3.01234567890123456789",
      "Digits after decimal place: 150\n\n",
      "0123456789 0123456789 0123456789 0123456789 0123456789  :  50\n"},
     nullptr},
    {{"view", "digits.txt", "--from", "51", "--count=50"}, 0,
     {"0123456789 0123456789 0123456789 0123456789 0123456789  :  100\n"
      "0123456789 0123456789 0123456789 0123456789 0123456789  :  150\n"},
     nullptr},
    {{"view", "digits.txt", "--from", "151"}, 2, {}, nullptr},
    {{"compare", "digits.txt", "digits.txt"}, 0,
     {"Matching Bytes (from the start of files):\n152\n"}, nullptr},
    {{"compare", "digits.txt", "other.txt"}, 1,
     {"Matching Bytes (from the start of files):\n102\n"}, nullptr},
    {{"truncate", "digits.txt", "cut.txt", "-d", "12"}, 0, {"Bytes Copied:\n14\n"}, "3.012345678901"},
    {{"truncate", "digits.txt", "cut.txt", "--digits=150"}, 0, {"Bytes Copied:\n152\n"}, nullptr},
    {{"truncate", "digits.txt", "digits.txt", "-d", "5"}, 1, {"Unable to create file\n"}, nullptr},
};

class ToolCommand : public ::testing::TestWithParam<ToolLine> {};

TEST_P(ToolCommand, RunsTheMenuToolWithoutAsking) {
  const ToolLine& line = GetParam();
  const std::string dir = test::MakeTempDir("clitool");
  const std::string digits = "3." + Digits(150);
  test::WriteFile(dir + "/digits.txt", digits);
  test::WriteFile(dir + "/other.txt", digits.substr(0, 102) + "x" + digits.substr(103));
  const test::ProgramRun run = test::RunProgramWithArgs(line.args, dir);
  EXPECT_EQ(run.exitCode, line.exitCode) << run.output << run.errors;
  size_t at = 0;
  for (const std::string& piece : line.shown) {
    at = run.output.find(piece, at);
    ASSERT_NE(at, std::string::npos) << piece << "\nin\n" << run.output;
  }
  EXPECT_EQ(run.output.find("Press any key"), std::string::npos);
  EXPECT_EQ(run.output.find('\r'), std::string::npos);
  if (line.cut != nullptr) {
    EXPECT_EQ(test::ReadFile(dir + "/cut.txt"), line.cut);
  }
  if (line.args[0] == "truncate" && line.exitCode == 0 && line.cut == nullptr) {
    EXPECT_EQ(test::ReadFile(dir + "/cut.txt"), digits);
  }
  EXPECT_EQ(test::ReadFile(dir + "/digits.txt"), digits);
  test::RemoveTree(dir);
}

INSTANTIATE_TEST_SUITE_P(Table, ToolCommand, ::testing::ValuesIn(kToolLines));

}  // namespace
}  // namespace zx
