// Runs stopped from outside, by a signal at a chosen point of their files or by a full disk, leave
// no swap file and no unfinished digit file, and every digit file under its final name is whole;
// runs started together in one directory both finish with the right files.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <filesystem>
#include <string>
#include <thread>

#include "reference_digits.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t kDigits = 100000;

struct Stop {
  const char* name;
  const char* stage;       // where run_probe sends the signal
  int signalNumber;        // 0: none
  rlim_t fileLimitBytes;   // 0: no limit; else a disk that fills up at this file size
};

void PrintTo(const Stop& stop, std::ostream* os) { *os << stop.name; }

class StoppedRun : public ::testing::TestWithParam<Stop> {
 protected:
  void SetUp() override { dir_ = test::MakeTempDir("stopped"); }
  void TearDown() override { test::RemoveTree(dir_); }

  test::ProgramRun Probe(const std::string& stage, int signalNumber) {
    return test::RunProgram(std::to_string(kDigits) + " " + stage + " " +
                                std::to_string(signalNumber) + "\n",
                            dir_, "run_probe", 120);
  }
  // Files left that a finished run does not leave: swap files and temporary digit files.
  int Leftovers() const {
    int count = 0;
    for (const auto& entry : fs::directory_iterator(dir_)) {
      count += entry.path().extension() == ".sf" || entry.path().extension() == ".part";
    }
    return count;
  }
  // A digit file under its final name must be the whole file.
  void ExpectWholeIfPresent(const char* radix) const {
    const std::string path =
        dir_ + "/Pi - " + (std::string(radix) == "hex" ? "Hex" : "Dec") + " - Chudnovsky.txt";
    if (!fs::exists(path)) return;
    EXPECT_EQ(test::Sha256OfFile(path), test::ReferenceHash("pi", radix, kDigits)) << path;
  }
  std::string dir_;
};

TEST_P(StoppedRun, LeavesNoSwapFileAndNoUnfinishedDigitFile) {
  const Stop& stop = GetParam();
  rlimit saved{};
  getrlimit(RLIMIT_FSIZE, &saved);
  if (stop.fileLimitBytes != 0) {
    signal(SIGXFSZ, SIG_IGN);  // a write past the limit then fails with EFBIG, as on a full disk
    rlimit limit = saved;
    limit.rlim_cur = stop.fileLimitBytes;
    setrlimit(RLIMIT_FSIZE, &limit);  // the program started now inherits it
  }
  const test::ProgramRun run = Probe(stop.stage, stop.signalNumber);
  setrlimit(RLIMIT_FSIZE, &saved);
  ASSERT_FALSE(run.timedOut);
  if (stop.signalNumber != 0) {
    EXPECT_EQ(run.signal, stop.signalNumber) << run.output;
  } else {
    EXPECT_EQ(run.exitCode, 1) << run.output;
  }
  EXPECT_EQ(Leftovers(), 0);
  ExpectWholeIfPresent("hex");
  ExpectWholeIfPresent("dec");
  // The stop came where it was meant to: the hexadecimal file is done only after the series.
  EXPECT_EQ(fs::exists(dir_ + "/Pi - Hex - Chudnovsky.txt"),
            std::string(stop.stage) == "conversion" || std::string(stop.stage) == "write");
  EXPECT_FALSE(fs::exists(dir_ + "/Pi - Dec - Chudnovsky.txt"));
}

INSTANTIATE_TEST_SUITE_P(
    Stops, StoppedRun,
    ::testing::Values(Stop{"SigIntMidSeries", "series", SIGINT, 0},
                      Stop{"SigTermMidSeries", "series", SIGTERM, 0},
                      Stop{"SigHupMidSeries", "series", SIGHUP, 0},
                      Stop{"SigIntMidConversion", "conversion", SIGINT, 0},
                      Stop{"SigTermMidConversion", "conversion", SIGTERM, 0},
                      Stop{"SigIntMidWrite", "write", SIGINT, 0},
                      Stop{"SigTermMidWrite", "write", SIGTERM, 0},
                      Stop{"FullDisk", "none", 0, 65536}),
    [](const ::testing::TestParamInfo<Stop>& info) { return std::string(info.param.name); });

// Swap file names do not come from addresses, so two runs laid out alike do not meet.
TEST_F(StoppedRun, TwoRunsAtOnceInOneDirectoryBothFinish) {
  test::ProgramRun runs[2];
  std::thread other([&] { runs[1] = Probe("none", 0); });
  runs[0] = Probe("none", 0);
  other.join();
  for (const test::ProgramRun& run : runs) EXPECT_EQ(run.exitCode, 0) << run.output;
  EXPECT_EQ(Leftovers(), 0);
  EXPECT_EQ(test::Sha256OfFile(dir_ + "/Pi - Hex - Chudnovsky.txt"),
            test::ReferenceHash("pi", "hex", kDigits));
  EXPECT_EQ(test::Sha256OfFile(dir_ + "/Pi - Dec - Chudnovsky.txt"),
            test::ReferenceHash("pi", "dec", kDigits));
}

}  // namespace
}  // namespace zx
