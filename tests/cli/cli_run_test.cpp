// Scripted runs against the reference digits: every constant, both algorithms and Compute and
// Verify, in memory and with --swap, write the menu's files with the right digits, and the summary
// names each of them with its true SHA-256.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <vector>

#include "menus/run_settings.hpp"
#include "reference_digits.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

namespace fs = std::filesystem;

struct ConstantCase {
  const char* name;        // on the command line, and in the references
  const char* secondAlgorithm;
  const char* sizeOption;  // how the size is asked for
  const char* size;
  uint64_t digits;         // the reference's digit count
};

const ConstantCase kConstants[] = {
    {"pi", "ramanujan", "-d", "1e4", 10000},
    {"log2", "machin2", "--digits", "10k", 10000},
    {"log10", "machin2", "-d", "1000", 1000},
    {"zeta3", "formula1", "--digits", "0.01M", 10000},
    {"catalan", "logseries", "-d", "1e3", 1000},
    {"euler", "plain", "--euler-size", "11", 7106},
    {"euler", "plain", "-d", "7000", 7106},
};

// One scripted run: a constant, menu option 0, 1 or kVerifyOption, memory or disks, and the
// ways of asking for it that must not change the files.
struct CliCase {
  const ConstantCase* constant;
  int option;  // 0, 1 or kVerifyOption
  int swapDisks;  // 0: Ram Only
  int threads;
  bool quiet;
  bool json;
};

void PrintTo(const CliCase& c, std::ostream* os) {
  *os << c.constant->name << " option " << c.option << " disks " << c.swapDisks;
}

std::vector<CliCase> AllCases() {
  std::vector<CliCase> cases;
  int index = 0;
  for (const ConstantCase& constant : kConstants) {
    for (int option = 0; option <= kVerifyOption; ++option) {
      for (int swapDisks : {0, 1 + index % 2}) {
        cases.push_back({&constant, option, swapDisks, 1 << (index % 3), index % 2 == 0,
                         index % 3 != 1});
        ++index;
      }
    }
  }
  return cases;
}

std::vector<std::string> Arguments(const CliCase& c, const std::string& dir) {
  const ConstantCase& constant = *c.constant;
  std::vector<std::string> args = {constant.name, constant.sizeOption, constant.size};
  if (c.option == kVerifyOption) args.push_back("--verify");
  // The second algorithm by name in some runs, by number in others.
  if (c.option == 1) args.insert(args.end(), {"-a", c.quiet ? constant.secondAlgorithm : "2"});
  args.insert(args.end(), {"-t", std::to_string(c.threads), "--output=" + dir + "/out"});
  for (int disk = 0; disk < c.swapDisks; ++disk) {
    args.insert(args.end(), {"--swap", dir + "/disk" + std::to_string(disk)});
  }
  if (c.quiet) args.push_back("-q");
  if (c.json) args.push_back("--json");
  return args;
}

// (path, hash) of every "file: HASH  PATH" line, or every {"path": ..., "sha256": ...} object.
std::vector<std::pair<std::string, std::string>> SummaryFiles(const std::string& summary,
                                                              bool json) {
  std::vector<std::pair<std::string, std::string>> files;
  const std::string mark = json ? "{\"path\": \"" : "file: ";
  for (size_t at = summary.find(mark); at != std::string::npos; at = summary.find(mark, at + 1)) {
    const size_t start = at + mark.size();
    if (json) {
      const std::string between = "\", \"sha256\": \"";
      const size_t end = summary.find(between, start);
      files.emplace_back(summary.substr(start, end - start), summary.substr(end + between.size(), 64));
    } else {
      const size_t end = summary.find('\n', start);
      files.emplace_back(summary.substr(start + 66, end - start - 66), summary.substr(start, 64));
    }
  }
  return files;
}

std::string ReferenceFor(const ConstantCase& constant, const std::string& fileName) {
  if (fileName.find("Euler Run") != std::string::npos) {
    return test::ReferenceHash("log2-euler", "hex", constant.digits);
  }
  return test::ReferenceHash(constant.name,
                             fileName.find(" - Hex - ") != std::string::npos ? "hex" : "dec",
                             constant.digits);
}

bool JsonToolAccepts(const std::string& text) {
  FILE* pipe = popen("python3 -m json.tool > /dev/null 2>&1", "w");
  if (pipe == nullptr) return false;
  std::fwrite(text.data(), 1, text.size(), pipe);
  return pclose(pipe) == 0;
}

class CliRunTest : public ::testing::TestWithParam<CliCase> {
 protected:
  void SetUp() override {
    dir_ = test::MakeTempDir("clirun");
    for (const char* sub : {"/out", "/disk0", "/disk1"}) fs::create_directory(dir_ + sub);
  }
  void TearDown() override { test::RemoveTree(dir_); }
  std::string dir_;
};

TEST_P(CliRunTest, WritesTheMenusFilesAndReportsThem) {
  const CliCase& c = GetParam();
  const test::ProgramRun cli = test::RunProgramWithArgs(Arguments(c, dir_), dir_);
  ASSERT_EQ(cli.exitCode, 0) << cli.output << cli.errors;
  // The menu's files: two per computation, and a verify run's Euler-Mascheroni keeps its Log(2).
  const bool verifying = c.option == kVerifyOption;
  const size_t fileCount = verifying ? 4 + (std::string(c.constant->name) == "euler") : 2;
  size_t cliFileCount = 0;
  for (const auto& entry : fs::directory_iterator(dir_ + "/out")) {
    ++cliFileCount;
    const std::string name = entry.path().filename().string();
    EXPECT_EQ(test::Sha256OfFile(entry.path().string()), ReferenceFor(*c.constant, name)) << name;
  }
  EXPECT_EQ(cliFileCount, fileCount);

  // The summary lists exactly those files with their true hashes; nothing else is left behind.
  const auto listed = SummaryFiles(cli.output, c.json);
  EXPECT_EQ(listed.size(), fileCount) << cli.output;
  for (const auto& [path, hash] : listed) EXPECT_EQ(test::Sha256OfFile(path), hash) << path;
  for (const char* disk : {"/disk0", "/disk1"}) EXPECT_TRUE(fs::is_empty(dir_ + disk));
  EXPECT_EQ(std::distance(fs::directory_iterator(dir_), fs::directory_iterator()), 3);

  const std::string verdict = verifying ? "passed" : "not run";
  EXPECT_NE(cli.output.find(c.json ? "\"verify\": \"" + verdict + "\"" : "verify: " + verdict),
            std::string::npos)
      << cli.output;
  // Not a terminal: no progress lines; quiet: nothing but the summary.
  EXPECT_EQ(cli.output.find('\r'), std::string::npos);
  EXPECT_EQ(cli.errors.find('\r'), std::string::npos);
  if (c.quiet) {
    EXPECT_EQ(cli.errors, "");
    EXPECT_EQ(cli.output.rfind(c.json ? "{" : "constant: ", 0), 0u) << cli.output;
  }
  if (c.json) {
    EXPECT_TRUE(JsonToolAccepts(cli.output)) << cli.output;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Grid, CliRunTest, ::testing::ValuesIn(AllCases()),
    [](const ::testing::TestParamInfo<CliCase>& info) {
      const CliCase& c = info.param;
      return std::string(c.constant->name) + "_" +
             (c.option == kVerifyOption ? "verify" : "algorithm" + std::to_string(c.option + 1)) +
             (c.swapDisks != 0 ? "_swap" : "_ram") + std::to_string(info.index);
    });

}  // namespace
}  // namespace zx
