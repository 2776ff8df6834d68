// Disk-swapping runs: the same digit files as in memory, whatever the number of disks, no swap
// file left behind (a swap disk failing under the run is among the stopped runs), and the checks
// before a run.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <vector>

#include "constants/euler.hpp"
#include "drivers/constant_runs.hpp"
#include "drivers/run_checks.hpp"
#include "drivers/run_driver.hpp"
#include "menus/dialogues.hpp"
#include "menus/run_settings.hpp"
#include "reference_digits.hpp"
#include "runtime/swap_file.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

namespace fs = std::filesystem;

// The settings the menu makes for digits (a size-table constant: its row).
RunSettings SettingsFor(uint64_t digits, uint32_t threads, uint32_t mode, const DiskList* disks,
                        const ConstantRun& run = kPiRun, int algorithm = 0) {
  const auto row = static_cast<uint32_t>(run.sizeTableMenu ? digits : 0);
  DigitSettings digitSettings = row != 0 ? DigitSettingsForRow(row) : DigitSettingsFor(digits);
  digitSettings.threadExponent = threads;
  RunSettings settings = RunSettingsFor(run, algorithm, digitSettings, row, mode);
  settings.disks = disks;
  return settings;
}

size_t SwapFilesIn(const std::string& dir) {
  size_t count = 0;
  for (const auto& entry : fs::directory_iterator(dir)) count += entry.path().extension() == ".sf";
  return count;
}

class SwapRunTest : public ::testing::Test {
 protected:
  void SetUp() override {
    work_ = test::MakeTempDir("swaprun");
    ASSERT_EQ(getcwd(previous_, sizeof previous_), previous_);
    ASSERT_EQ(chdir(work_.c_str()), 0);
  }
  void TearDown() override {
    ASSERT_EQ(chdir(previous_), 0);
    test::RemoveTree(work_);
  }
  // Runs one algorithm of a constant and returns the hashes of its two files.
  std::pair<std::string, std::string> Run(const ConstantRun& run, int algorithm,
                                          const RunSettings& settings) {
    test::ConsoleCapture quiet;
    RunCompute(run, algorithm, settings);
    const char* label = run.algorithms[algorithm].fileLabel;
    return {test::Sha256OfFile(work_ + "/" + DigitFileName(run.constantName, DigitRadix::kHex, label)),
            test::Sha256OfFile(work_ + "/" + DigitFileName(run.constantName, DigitRadix::kDecimal,
                                                           label))};
  }
  std::string work_;
  char previous_[4096] = {};
};

struct SwapCase {
  const char* name;
  const ConstantRun* run;
  int algorithm;
  const char* reference;  // the reference's name, for sizes it lists; null: the memory run's files
  uint64_t digits;  // a size-table constant: its row
  uint32_t threads;
  int fewestDisks;
  int mostDisks;
};

void PrintTo(const SwapCase& c, std::ostream* os) { *os << c.name; }

class SwapRunMatches : public SwapRunTest, public ::testing::WithParamInterface<SwapCase> {};

// Over each disk count from fewestDisks to mostDisks a disk-swapping run writes the memory run's files (or the reference
// files), really goes to disk, and leaves no swap file behind.
TEST_P(SwapRunMatches, TheFilesOfTheMemoryRunOverEveryDiskCount) {
  const SwapCase& c = GetParam();
  std::pair<std::string, std::string> expected;
  if (c.reference != nullptr) {
    const uint64_t digits =
        c.run->sizeTableMenu ? EulerSizeOfRow(static_cast<uint32_t>(c.digits)).decimalDigits
                             : c.digits;
    expected = {test::ReferenceHash(c.reference, "hex", digits),
                test::ReferenceHash(c.reference, "dec", digits)};
  } else {
    expected = Run(*c.run, c.algorithm,
                   SettingsFor(c.digits, c.threads, kModeRamOnly, nullptr, *c.run, c.algorithm));
  }
  for (int diskCount = c.fewestDisks; diskCount <= c.mostDisks; ++diskCount) {
    DiskList disks;
    std::vector<std::string> dirs;
    for (int i = 0; i < diskCount; ++i) {
      dirs.push_back(test::MakeTempDir("disk"));
      AddDiskPath(disks, dirs.back());
    }
    const uint64_t before = RaidFilesCreated();
    const auto swapped =
        Run(*c.run, c.algorithm,
            SettingsFor(c.digits, c.threads, kModeDiskSwapping, &disks, *c.run, c.algorithm));
    EXPECT_GT(RaidFilesCreated(), before) << diskCount << " disks: nothing went to disk";
    EXPECT_EQ(swapped, expected) << diskCount << " disks";
    for (const auto& dir : dirs) {
      EXPECT_EQ(SwapFilesIn(dir), 0u) << "swap files left in " << dir;
      test::RemoveTree(dir);
    }
  }
}

std::string SwapCaseName(const ::testing::TestParamInfo<SwapCase>& info) {
  return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(
    Runs, SwapRunMatches,
    ::testing::Values(SwapCase{"PiChudnovsky", &kPiRun, 0, nullptr, 300000, 1, 1, 3},
                      SwapCase{"Zeta3Formula2", &kZeta3Run, 0, nullptr, 300000, 1, 1, 3},
                      SwapCase{"Zeta3Formula1", &kZeta3Run, 1, "zeta3", 100000, 0, 1, 1},
                      SwapCase{"Log2Machin1", &kLog2Run, 0, nullptr, 200000, 1, 2, 2},
                      SwapCase{"Log10Machin2", &kLog10Run, 1, "log10", 100000, 2, 1, 1},
                      SwapCase{"CatalanLogSeries", &kCatalanRun, 1, "catalan", 100000, 1, 1, 1},
                      SwapCase{"EulerRefinedRow15", &kEulerRun, 0, nullptr, 15, 1, 1, 2}),
    SwapCaseName);

// From five million digits on the dialogue offers disk swapping; over two disks.
INSTANTIATE_TEST_SUITE_P(
    Long, SwapRunMatches,
    ::testing::Values(SwapCase{"PiChudnovsky", &kPiRun, 0, "pi", 10000000, 1, 2, 2},
                      SwapCase{"Zeta3Formula2", &kZeta3Run, 0, "zeta3", 5000000, 1, 2, 2},
                      SwapCase{"Zeta3Formula1", &kZeta3Run, 1, "zeta3", 5000000, 1, 2, 2},
                      SwapCase{"Log2Machin1", &kLog2Run, 0, "log2", 5000000, 1, 2, 2},
                      SwapCase{"Log2Machin2", &kLog2Run, 1, "log2", 5000000, 1, 2, 2},
                      SwapCase{"Log10Machin1", &kLog10Run, 0, "log10", 5000000, 1, 2, 2},
                      SwapCase{"Log10Machin2", &kLog10Run, 1, "log10", 5000000, 1, 2, 2},
                      SwapCase{"CatalanLupas", &kCatalanRun, 0, "catalan", 5000000, 1, 2, 2},
                      SwapCase{"CatalanLogSeries", &kCatalanRun, 1, "catalan", 5000000, 1, 2, 2},
                      SwapCase{"EulerRefinedRow21", &kEulerRun, 0, "euler", 21, 1, 2, 2},
                      SwapCase{"EulerPlainRow21", &kEulerRun, 1, "euler", 21, 1, 2, 2}),
    SwapCaseName);

// What a run checks before it starts: each row one shortfall and its line, or none.
TEST_F(SwapRunTest, RoomIsCheckedBeforeTheRun) {
  test::WriteFile(work_ + "/plain", "x");
  DiskList good;
  AddDiskPath(good, work_);
  AddDiskPath(good, "");
  DiskList missing = good;
  AddDiskPath(missing, work_ + "/plain");
  const uint64_t huge = uint64_t{1} << 62;
  struct Row {
    const char* name;
    RunRoom room;
    std::string line;  // "": the run may start
  };
  const auto room = [](std::string dir, uint64_t outputBytes, const DiskList* disks,
                       uint64_t swapBytes) { return RunRoom{dir, outputBytes, disks, swapBytes}; };
  const std::vector<Row> rows = {
      {"fits", room("", 1000, &good, 1000), ""},
      {"no disks is the current directory", room("", 1000, nullptr, 0), ""},
      {"output not writable", room("/proc", 10, nullptr, 0),
       "\nOutput Directory Error: \"/proc\" cannot be written to.\n"},
      {"output missing", room(work_ + "/gone", 10, nullptr, 0), "\nOutput Directory Error: \""},
      {"swap disk a file", room("", 10, &missing, 10),
       "\nSwap Disk Error: \"" + work_ + "/plain\" is not a directory.\n"},
      {"digit files too large", room("", huge, nullptr, 0),
       "\nDisk Space Error: The current directory needs 4.00 EB for this run, but has only "},
      // Both disks and the output lie in one file system, which must hold both halves.
      {"swap files too large", room("", 0, &good, huge),
       "\nDisk Space Error: The current directory needs 4.00 EB for this run"},
  };
  for (const auto& row : rows) {
    const std::string problem = RunRoomProblem(row.room);
    if (row.line.empty()) {
      EXPECT_EQ(problem, "") << row.name;
    } else {
      EXPECT_EQ(problem.rfind(row.line, 0), 0u) << row.name << ": " << problem;
      EXPECT_EQ(std::count(problem.begin(), problem.end(), '\n'), 2) << row.name;
    }
  }
}

}  // namespace
}  // namespace zx
