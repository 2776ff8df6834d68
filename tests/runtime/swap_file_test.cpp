// Swap files: random ranges over several disks against an in-memory copy (the striping checked
// against the files' own bytes), and removal at destroy and on every way out.
#include "runtime/swap_file.hpp"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "runtime/live_files.hpp"
#include "runtime/output_file.hpp"
#include "runtime/platform.hpp"
#include "runtime_test_util.hpp"
#include "shell/fatal.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

std::vector<uint32_t> FileWords(const std::string& path) {
  const std::string bytes = test::ReadFile(path);
  std::vector<uint32_t> words(bytes.size() / 4);
  std::memcpy(words.data(), bytes.data(), words.size() * 4);
  return words;
}

bool DirectoryEmpty(const std::string& path) {
  return std::filesystem::is_empty(std::filesystem::path(path));
}

struct SwapFixture : ::testing::Test {
  AllocationHeap heap;
  DiskList disks;
  void SetUp() override {
    HeapCreate(nullptr, &heap, 1 << 20);
    for (int i = 0; i < 3; ++i) AddDiskPath(disks, test::MakeTempDir("disk" + std::to_string(i)));
  }
  void TearDown() override {
    gSwapChunkBytes = 0x80000000;
    for (const std::string& path : disks.paths) test::RemoveTree(path);
    EXPECT_EQ(heap.activeCount, 0u) << "pieces left by the swap layer";
    HeapDestroy(&heap);
  }
};

using RaidFileTest = SwapFixture;

// Small chunks make most transfers run the chunk loop; the files' bytes, read directly, are the
// oracle that the stripes sit where the rule says.
TEST_F(RaidFileTest, RandomRangesOverSeveralDisksReadBackWhatWasWritten) {
  std::mt19937_64 rng(test::TestSeed());
  for (const char* extra : {"a", "b"})
    AddDiskPath(disks, test::MakeTempDir(std::string("disk") + extra));
  const uint64_t rounds = 4 * test::TestMultiplier();
  for (uint64_t round = 0; round < rounds && !HasFailure(); ++round) {
    const uint64_t diskCount = 1 + rng() % disks.paths.size();
    DiskList used;
    for (uint64_t j = 0; j < diskCount; ++j) AddDiskPath(used, disks.paths[j]);
    const uint64_t total = 1 + rng() % 3000;
    // Every full chunk of a write is synced, so chunks stay large enough to keep the test quick.
    gSwapChunkBytes = 4 * (64 + rng() % 512) + rng() % 4;
    SCOPED_TRACE("seed " + std::to_string(test::TestSeed()) + ", round " + std::to_string(round) +
                 ", disks " + std::to_string(diskCount) + ", words " + std::to_string(total) +
                 ", chunk bytes " + std::to_string(gSwapChunkBytes));
    std::vector<uint32_t> model(total);
    for (uint32_t& word : model) word = static_cast<uint32_t>(rng());
    RaidFile raid;
    RaidFileCreateFrom(&heap, raid, &used, model.data(), total);
    for (int op = 0; op < 60; ++op) {
      const uint64_t first = rng() % total;
      const uint64_t count = 1 + rng() % (total - first);
      std::vector<uint32_t> data(count);
      if (rng() % 2 == 0) {
        for (uint32_t& word : data) word = static_cast<uint32_t>(rng());
        RaidFileWriteRange(raid, first, data.data(), count);
        std::copy(data.begin(), data.end(), model.begin() + static_cast<ptrdiff_t>(first));
      } else {
        RaidFileReadRange(raid, first, data.data(), count);
        ASSERT_TRUE(
            std::equal(data.begin(), data.end(), model.begin() + static_cast<ptrdiff_t>(first)))
            << "range [" << first << ", " << first + count << ")";
      }
    }
    std::vector<uint32_t> back(total);
    RaidFileReadAll(raid, back.data(), total);
    EXPECT_EQ(back, model);
    std::vector<uint32_t> onDisk;
    for (uint64_t j = 0; j < diskCount; ++j) {
      const std::vector<uint32_t> words = FileWords(raid.files[j].path);
      ASSERT_EQ(words.size(), raid.wordsPerFile);
      onDisk.insert(onDisk.end(), words.begin(), words.end());
    }
    onDisk.resize(total);
    EXPECT_EQ(onDisk, model);
    RaidFileDestroy(raid);
    for (const std::string& path : used.paths) EXPECT_TRUE(DirectoryEmpty(path)) << path;
  }
}

// Every way out of the process removes the swap files and the unfinished digit file alive at that
// moment; a stop signal then ends the process by that same signal.
struct WayOut {
  const char* name;
  void (*leave)();
  ::testing::ExitedWithCode (*exitCode)();  // null: killed by the signal
  int signalNumber;
};

void PrintTo(const WayOut& way, std::ostream* os) {
  *os << way.name;
}

class LeavesNothingBehind : public test::DeathTestBase,
                            public ::testing::WithParamInterface<WayOut> {};

TEST_P(LeavesNothingBehind, RemovesEveryListedFile) {
  const WayOut& way = GetParam();
  // The threadsafe death test runs this body again in the child, so the disks have fixed names.
  DiskList disks;
  for (int i = 0; i < 2; ++i) {
    const auto dir = std::filesystem::temp_directory_path() /
                     ("zx-wayout-" + std::string(way.name) + std::to_string(i));
    std::filesystem::remove_all(dir);
    std::filesystem::create_directory(dir);
    AddDiskPath(disks, dir.string());
  }
  const std::string output = disks.paths[0] + "/Pi - Dec - Chudnovsky.txt";
  const auto leaveMidRun = [&] {
    AllocationHeap heap;
    HeapCreate(nullptr, &heap, 1 << 20);
    RaidFile raids[3];
    for (RaidFile& raid : raids) RaidFileCreate(&heap, raid, &disks, 1000);
    OutputFile file;
    OutputFileOpen(&heap, file, output);
    OutputFileAppend(file, "3.14", 4);
    OutputFileFlush(file);
    way.leave();
  };
  if (way.exitCode != nullptr) {
    EXPECT_EXIT(leaveMidRun(), way.exitCode(), "");
  } else {
    EXPECT_EXIT(leaveMidRun(), ::testing::KilledBySignal(way.signalNumber), "");
  }
  for (const std::string& path : disks.paths) {
    EXPECT_TRUE(DirectoryEmpty(path)) << way.name << ": files left in " << path;
    test::RemoveTree(path);
  }
}

::testing::ExitedWithCode CodeOne() {
  return ::testing::ExitedWithCode(1);
}

INSTANTIATE_TEST_SUITE_P(
    Ways, LeavesNothingBehind,
    ::testing::Values(
        WayOut{"FatalExit", [] { FatalExit("Swap File Error: Unable to close swapfile.\n"); },
               CodeOne, 0},
        WayOut{"EndOfInput", [] { ReportAndAwaitRetry("", ENOSPC, ""); }, CodeOne, 0},
        WayOut{"FatalAssertion",
               [] { FatalAssertion(kImpossibleResult, "Allocation Heap", "Out of sync..."); },
               nullptr, SIGABRT},
        WayOut{"SigInt", [] { raise(SIGINT); }, nullptr, SIGINT},
        WayOut{"SigTerm",
               [] {
                 kill(getpid(), SIGTERM);
                 pause();
               },
               nullptr, SIGTERM},
        WayOut{"SigHup", [] { raise(SIGHUP); }, nullptr, SIGHUP}),
    [](const ::testing::TestParamInfo<WayOut>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace zx
