// Disk-swapping runs: the same digit files as in memory, whatever the number of disks, no swap
// file left behind, and a clean stop when a swap disk fails under the run.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "drivers/pi_menu.hpp"
#include "drivers/run_driver.hpp"
#include "multiply/swap_memory.hpp"
#include "runtime/swap_file.hpp"
#include "constants/pi.hpp"
#include "reference_digits.hpp"
#include "shell/dialogues.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

namespace fs = std::filesystem;

RunSettings SettingsFor(uint64_t digits, uint32_t threads, uint32_t mode, const DiskList* disks) {
  RunSettings settings;
  settings.decimalDigits = digits;
  settings.hexDigits = HexDigitsFor(digits);
  settings.precisionWords = WordsFor(settings.hexDigits);
  settings.threadExponent = threads;
  settings.mode = mode;
  settings.disks = disks;
  settings.memoryBytes = mode == kModeDiskSwapping
                             ? SwapModeMemoryBytes(digits, threads) + 0x100000
                             : PiMemoryChudnovsky(settings.precisionWords, threads);
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
  // Runs Chudnovsky's Pi and returns the hashes of its two files.
  std::pair<std::string, std::string> Run(const RunSettings& settings) {
    test::ConsoleCapture quiet;
    RunCompute(kPiRun, 0, settings);
    return {test::Sha256OfFile(work_ + "/Pi - Hex - Chudnovsky.txt"),
            test::Sha256OfFile(work_ + "/Pi - Dec - Chudnovsky.txt")};
  }
  std::string work_;
  char previous_[4096] = {};
};

TEST_F(SwapRunTest, OneTwoAndThreeDisksWriteTheFilesOfTheMemoryRun) {
  const uint64_t digits = 300000;
  const auto memory = Run(SettingsFor(digits, 1, kModeRamOnly, nullptr));
  for (int diskCount = 1; diskCount <= 3; ++diskCount) {
    DiskList disks;
    std::vector<std::string> dirs;
    for (int i = 0; i < diskCount; ++i) {
      dirs.push_back(test::MakeTempDir("disk"));
      AddDiskPath(disks, dirs.back());
    }
    const uint64_t before = RaidFilesCreated();
    const auto swapped = Run(SettingsFor(digits, 1, kModeDiskSwapping, &disks));
    EXPECT_GT(RaidFilesCreated(), before) << diskCount << " disks: nothing went to disk";
    EXPECT_EQ(swapped, memory) << diskCount << " disks";
    for (const auto& dir : dirs) {
      EXPECT_EQ(SwapFilesIn(dir), 0u) << "swap files left in " << dir;
      test::RemoveTree(dir);
    }
  }
}

// Files may grow to sizeBytes only: the first larger swap file finds the disk full.
void LimitFileSize(rlim_t sizeBytes) {
  signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  limit.rlim_cur = sizeBytes;
  limit.rlim_max = sizeBytes;
  setrlimit(RLIMIT_FSIZE, &limit);
}

// A swap disk that cannot take the run's files ends the run with the swap file error and exit
// code 1 before any digit is written.
class SwapFailureTest : public SwapRunTest {
 protected:
  void SetUp() override {
    SwapRunTest::SetUp();
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    test::FeedStdin("");  // every retry pause meets the end of input
  }
};

TEST_F(SwapFailureTest, AFullDiskStopsTheRun) {
  const std::string disk = test::MakeTempDir("fulldisk");
  DiskList disks;
  AddDiskPath(disks, disk);
  const RunSettings settings = SettingsFor(300000, 0, kModeDiskSwapping, &disks);
  EXPECT_EXIT(
      {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        LimitFileSize(65536);
        RunCompute(kPiRun, 0, settings);
      },
      ::testing::ExitedWithCode(1), "Swap File Error");
  EXPECT_FALSE(fs::exists(work_ + "/Pi - Dec - Chudnovsky.txt"));
  test::RemoveTree(disk);
}

TEST_F(SwapFailureTest, AVanishingDiskStopsTheRun) {
  const std::string disk = test::MakeTempDir("vanishing");
  DiskList disks;
  AddDiskPath(disks, disk);
  const RunSettings settings = SettingsFor(1000000, 0, kModeDiskSwapping, &disks);
  EXPECT_EXIT(
      {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        std::thread remover([disk] {
          std::this_thread::sleep_for(std::chrono::milliseconds(150));
          std::error_code ignored;
          fs::remove_all(disk, ignored);
        });
        remover.detach();
        RunCompute(kPiRun, 0, settings);
      },
      ::testing::ExitedWithCode(1), "Swap File Error: Unable to (create|delete) swap ?file");
  EXPECT_FALSE(fs::exists(work_ + "/Pi - Dec - Chudnovsky.txt"));
  test::RemoveTree(disk);
}

}  // namespace
}  // namespace zx
