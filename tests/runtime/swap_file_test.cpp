// Swap files: names and paths, the striping rule checked against the files' own bytes, random
// ranges over several disks against an in-memory copy, removal at destroy, and the messages of
// every failure, the endless creation retry included.
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

uint64_t FileBytes(const std::string& path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0 ? static_cast<uint64_t>(info.st_size) : ~uint64_t{0};
}

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

TEST(SwapFilePath, SeparatorOnlyWhereTheDiskPathNeedsOne) {
  const char* base = "ztx_0000000000000001.sf";
  EXPECT_EQ(SwapFilePath("", base), "ztx_0000000000000001.sf");
  EXPECT_EQ(SwapFilePath("D:", base), "D:/ztx_0000000000000001.sf");
  EXPECT_EQ(SwapFilePath("D:/", base), "D:/ztx_0000000000000001.sf");
  EXPECT_EQ(SwapFilePath("D:\\", base), "D:\\ztx_0000000000000001.sf");
  EXPECT_EQ(SwapFilePath("/scratch/a b", base), "/scratch/a b/ztx_0000000000000001.sf");
}

TEST(PrintSystemError, NamesTheCommonFaultsAndFallsBackToTheSystemText) {
  test::ConsoleCapture capture;
  PrintSystemError(EACCES);
  PrintSystemError(EPERM);
  PrintSystemError(ENOMEM);
  PrintSystemError(EIO, FileTransfer::kWrite);
  PrintSystemError(EIO, FileTransfer::kRead);
  PrintSystemError(ENOENT);
  EXPECT_EQ(capture.text(),
            "Error Code: 13    Access Denied\nError Code: 1    Access Denied\n"
            "Error Code: 12    Not Enough Memory\nError Code: 5    Write Fault\n"
            "Error Code: 5    Read Fault\nError Code: 2    " +
                std::string(std::strerror(ENOENT)) + "\n");
}

using RaidFileTest = SwapFixture;

TEST_F(RaidFileTest, DefaultDiskIsTheCurrentDirectory) {
  const std::string saved = std::filesystem::current_path().string();
  const std::string here = test::MakeTempDir("cwd");
  ASSERT_EQ(chdir(here.c_str()), 0);
  const DiskList none;
  for (const DiskList* list : {static_cast<const DiskList*>(nullptr), &none}) {
    RaidFile raid;
    RaidFileCreate(&heap, raid, list, 10);
    const std::string name = raid.baseName;
    char pid[16];
    std::snprintf(pid, sizeof pid, "ztx_%08x", static_cast<unsigned>(getpid()));
    EXPECT_EQ(name.rfind(pid, 0), 0u) << name;
    EXPECT_EQ(name.size(), 23u);
    EXPECT_EQ(raid.diskCount, 1u);
    EXPECT_EQ(raid.wordsPerFile, 10u);
    EXPECT_EQ(std::string(raid.files[0].path), name);
    EXPECT_EQ(FileBytes(here + "/" + name), 40u);
    RaidFileDestroy(raid);
    EXPECT_TRUE(DirectoryEmpty(here));
  }
  ASSERT_EQ(chdir(saved.c_str()), 0);
  test::RemoveTree(here);
}

TEST_F(RaidFileTest, TenWordsOverThreeDisksStripeFourFourTwo) {
  std::vector<uint32_t> words(10);
  for (uint32_t i = 0; i < 10; ++i) words[i] = 0x1000 + i;
  RaidFile raid;
  RaidFileCreateFrom(&heap, raid, &disks, words.data(), 10);
  EXPECT_EQ(raid.wordsPerFile, 4u);
  std::vector<std::string> paths;
  for (int j = 0; j < 3; ++j) {
    paths.push_back(disks.paths[j] + "/" + raid.baseName);
    EXPECT_EQ(std::string(raid.files[j].path), paths[j]);
    EXPECT_EQ(FileBytes(paths[j]), 16u) << j;
  }
  EXPECT_EQ(FileWords(paths[0]), std::vector<uint32_t>({0x1000, 0x1001, 0x1002, 0x1003}));
  EXPECT_EQ(FileWords(paths[1]), std::vector<uint32_t>({0x1004, 0x1005, 0x1006, 0x1007}));
  EXPECT_EQ(FileWords(paths[2]), std::vector<uint32_t>({0x1008, 0x1009, 0, 0}));

  // Words 10 and 11 are the last file's slack: addressable, and they mark file 2's offsets.
  const uint32_t slack[2] = {0xAAAA, 0xBBBB};
  RaidFileWriteRange(raid, 10, slack, 2);
  EXPECT_EQ(FileWords(paths[2]), std::vector<uint32_t>({0x1008, 0x1009, 0xAAAA, 0xBBBB}));
  // 3 words of file 1 from offset 1, then 3 words of file 2 from offset 0.
  std::vector<uint32_t> range(6);
  RaidFileReadRange(raid, 5, range.data(), 6);
  EXPECT_EQ(range, std::vector<uint32_t>({0x1005, 0x1006, 0x1007, 0x1008, 0x1009, 0xAAAA}));

  std::vector<uint32_t> all(10);
  RaidFileReadAll(raid, all.data(), 10);
  EXPECT_EQ(all, words);
  const uint32_t prefix[5] = {1, 2, 3, 4, 5};
  RaidFileWritePrefix(raid, prefix, 5);
  EXPECT_EQ(FileWords(paths[0]), std::vector<uint32_t>({1, 2, 3, 4}));
  EXPECT_EQ(FileWords(paths[1]), std::vector<uint32_t>({5, 0x1005, 0x1006, 0x1007}));

  RaidFileDestroy(raid);
  for (const std::string& path : disks.paths) EXPECT_TRUE(DirectoryEmpty(path)) << path;
  EXPECT_EQ(raid.files, nullptr);
}

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

TEST_F(RaidFileTest, ZeroWordTransfersTouchNothing) {
  RaidFile raid;
  RaidFileCreate(&heap, raid, &disks, 0);
  EXPECT_EQ(raid.wordsPerFile, 0u);
  RaidFileReadAll(raid, nullptr, 0);
  RaidFileWritePrefix(raid, nullptr, 0);
  SwapFileWrite(raid.files[0], 0, nullptr, 0);
  for (int j = 0; j < 3; ++j) EXPECT_EQ(FileBytes(raid.files[j].path), 0u);
  RaidFileDestroy(raid);
}

using SwapDeathTest = test::DeathTestBase;

const char* const kPause = "Press any key to continue . . . \n";

TEST_F(SwapDeathTest, CreationRetriesAfterEachPauseAndEndsWithTheInput) {
  const std::string file = test::MakeTempDir("notdir") + "/plain";
  test::WriteFile(file, "x");
  const std::string report =
      std::string("\nSwap File Error: Unable to create swap file.\n\nError Code: ") +
      "20    Not a directory\n\nRe-attempting...\n" + kPause;
  EXPECT_EXIT(
      {
        test::ShowStdoutOnStderr();
        test::FeedStdin("ab");
        AllocationHeap heap;
        HeapCreate(nullptr, &heap, 1 << 16);
        DiskList disks;
        AddDiskPath(disks, file);
        RaidFile raid;
        RaidFileCreate(&heap, raid, &disks, 10);
      },
      ::testing::ExitedWithCode(1), "@@(" + report + "){3}\n\nInput has ended.\n$");
  EXPECT_EXIT(
      {
        test::ShowStdoutOnStderr();
        AllocationHeap heap;
        HeapCreate(nullptr, &heap, 1 << 16);
        DiskList disks;
        AddDiskPath(disks, file + "-missing/");
        RaidFile raid;
        RaidFileCreate(&heap, raid, &disks, 10);
      },
      ::testing::ExitedWithCode(1),
      "@@\nSwap File Error: Unable to create swap file.\n\nError Code: 2    No such file or "
      "directory\n\nRe-attempting...\n" +
          std::string(kPause) + "\n\nInput has ended.\n$");
  // Two disks naming one directory would stripe two regions into one file.
  EXPECT_EXIT(
      {
        test::ShowStdoutOnStderr();
        AllocationHeap heap;
        HeapCreate(nullptr, &heap, 1 << 16);
        const std::string dir = test::MakeTempDir("twice");
        DiskList disks;
        AddDiskPath(disks, dir);
        AddDiskPath(disks, dir + "/");
        RaidFile raid;
        RaidFileCreate(&heap, raid, &disks, 10);
      },
      ::testing::ExitedWithCode(1),
      "@@\nSwap File Error: Unable to create swap file.\n\nError Code: 17    File exists\n\n"
      "Re-attempting...\n");
}

TEST_F(SwapDeathTest, SizingFailureRetriesWithTheBlankLine) {
  EXPECT_EXIT(
      {
        test::ShowStdoutOnStderr();
        AllocationHeap heap;
        HeapCreate(nullptr, &heap, 1 << 16);
        SwapFile file;
        SwapFileCreate(&heap, file, test::MakeTempDir("size") + "/huge.sf", uint64_t{1} << 61);
      },
      ::testing::ExitedWithCode(1),
      "@@\nSwap File Error: Unable to allocate swap file.\n\nError Code: 22    Invalid "
      "argument\n\n\n"
      "Re-attempting...\n" +
          std::string(kPause) + "\n\nInput has ended.\n$");
}

// Each case opens a one-word-sized file and then breaks it the way the message names.
TEST_F(SwapDeathTest, TransferCloseAndDeleteFailuresStopWithCodeOne) {
  const std::string dir = test::MakeTempDir("fail");
  struct Case {
    const char* name;
    void (*breakAndUse)(SwapFile&);
    std::string pattern;
  };
  const std::string badDescriptor =
      "Error Code: 9    Bad file descriptor\n" + std::string(kPause) + "$";
  const Case cases[] = {
      {"read",
       [](SwapFile& f) {
         close(f.descriptor);
         uint32_t w[2];
         SwapFileRead(f, 0, w, 2);
       },
       "@@Swap File Error: Error reading from swap file.\n\n" + badDescriptor},
      {"write",
       [](SwapFile& f) {
         close(f.descriptor);
         uint32_t w[2] = {};
         SwapFileWrite(f, 0, w, 2);
       },
       "@@Swap File Error: Error writing to swap file.\n\n" + badDescriptor},
      {"write chunk",
       [](SwapFile& f) {
         close(f.descriptor);
         gSwapChunkBytes = 4;
         uint32_t w[2] = {};
         SwapFileWrite(f, 0, w, 2);
       },
       "@@" + badDescriptor},
      {"write of exactly one chunk",  // one call, so the failure is the last piece's
       [](SwapFile& f) {
         close(f.descriptor);
         gSwapChunkBytes = 8;
         uint32_t w[2] = {};
         SwapFileWrite(f, 0, w, 2);
       },
       "@@Swap File Error: Error writing to swap file.\n\n" + badDescriptor},
      {"read past the end",
       [](SwapFile& f) {
         uint32_t w[2];
         SwapFileRead(f, 4, w, 2);
       },
       "@@Swap File Error: Error reading from swap file.\n\nError Code: 5    Read Fault\n" +
           std::string(kPause) + "$"},
      {"close",
       [](SwapFile& f) {
         close(f.descriptor);
         SwapFileClose(f);
       },
       "@@Swap File Error: Unable to close swapfile.\n" + std::string(kPause) + "$"},
      {"delete",
       [](SwapFile& f) {
         unlink(f.path);
         SwapFileClose(f);
       },
       "@@Swap File Error: Unable to delete swapfile.\n" + std::string(kPause) + "$"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EXIT(
        {
          test::ShowStdoutOnStderr();
          SwapFile file;
          SwapFileCreate(nullptr, file, dir + "/" + c.name + ".sf", 1);
          c.breakAndUse(file);
        },
        ::testing::ExitedWithCode(1), c.pattern);
  }
  test::RemoveTree(dir);
}

// A name in use, by another run or a file left from one, is skipped on every disk and the file
// that holds it is left alone.
TEST_F(RaidFileTest, ANameInUseIsNeverReused) {
  RaidFile raid;
  RaidFileCreate(&heap, raid, &disks, 10);
  const std::string used = raid.baseName;
  RaidFileDestroy(raid);
  // The names that follow are taken: the next on the last disk only, the one after on all three.
  const unsigned counter = static_cast<unsigned>(std::stoul(used.substr(12, 8), nullptr, 16));
  char next[2][32];
  for (unsigned i = 0; i < 2; ++i) {
    std::snprintf(next[i], sizeof next[i], "%s%08x.sf", used.substr(0, 12).c_str(),
                  counter + 1 + i);
  }
  test::WriteFile(disks.paths[2] + "/" + next[0], "theirs");
  for (const std::string& path : disks.paths) test::WriteFile(path + "/" + next[1], "theirs");
  const int listedBefore = LiveFileCount();
  RaidFileCreate(&heap, raid, &disks, 10);
  EXPECT_NE(std::string(raid.baseName), next[0]);
  EXPECT_NE(std::string(raid.baseName), next[1]);
  EXPECT_EQ(LiveFileCount(), listedBefore + 3);
  RaidFileDestroy(raid);
  EXPECT_EQ(LiveFileCount(), listedBefore);
  for (const std::string& path : disks.paths) {
    EXPECT_EQ(test::ReadFile(path + "/" + next[1]), "theirs");
    std::filesystem::remove(path + "/" + next[0]);
    std::filesystem::remove(path + "/" + next[1]);
    EXPECT_TRUE(DirectoryEmpty(path)) << path;
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
