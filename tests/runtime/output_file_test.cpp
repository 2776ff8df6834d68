// The digit-file writer: what ends up in the file (existing files are cut to what was written),
// the buffer taken from the heap, and the messages of its failures.
#include "runtime/output_file.hpp"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "runtime_test_util.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

constexpr uint64_t kMiB = uint64_t{1} << 20;
const char* const kPause = "Press any key to continue . . . \n";

struct OutputFixture : ::testing::Test {
  std::string dir;
  void SetUp() override { dir = test::MakeTempDir("output"); }
  void TearDown() override { test::RemoveTree(dir); }
};

using OutputFileTest = OutputFixture;

TEST_F(OutputFileTest, ExistingLongerFileIsCutToTheBytesWritten) {
  AllocationHeap heap;
  HeapCreate(nullptr, &heap, 64 * 1024);
  const std::string path = dir + "/Pi - Dec - Chudnovsky.txt";
  test::WriteFile(path, std::string(5000, '7'));
  OutputFile file;
  OutputFileOpen(&heap, file, path);
  EXPECT_EQ(std::string(file.name), path);
  EXPECT_EQ(file.fillBytes, 0u);
  OutputFileAppend(file, "3.", 2);
  OutputFileAppend(file, "14159", 5);
  OutputFileFlush(file);
  // Until the close the final name keeps the earlier whole file; the digits are beside it.
  EXPECT_EQ(test::ReadFile(path), std::string(5000, '7'));
  EXPECT_EQ(test::ReadFile(file.temporaryName), "3.14159");
  OutputFileClose(file);
  EXPECT_EQ(test::ReadFile(path), "3.14159");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir), {}), 1);
  EXPECT_EQ(heap.activeCount, 0u);

  // Closing with nothing buffered still empties what was there.
  OutputFileOpen(&heap, file, path);
  OutputFileClose(file);
  EXPECT_EQ(test::ReadFile(path), "");
  HeapDestroy(&heap);
}

// A small heap gives a small buffer, so appends and the writers' own stores both cross many
// buffer boundaries.
TEST_F(OutputFileTest, FullBuffersAreWrittenInOrder) {
  AllocationHeap heap;
  HeapCreate(nullptr, &heap, 4096);
  const std::string path = dir + "/digits.txt";
  std::string expected;
  for (uint64_t i = 0; i < 3 * 4096 + 17; ++i)
    expected.push_back(static_cast<char>('0' + i * 7 % 10));
  OutputFile file;
  OutputFileOpen(&heap, file, path);
  ASSERT_GT(file.capacityBytes, 1000u);
  ASSERT_LT(file.capacityBytes, 2048u);
  const uint64_t half = expected.size() / 2;
  OutputFileAppend(file, expected.data(), half);
  for (uint64_t i = half; i < expected.size(); ++i) {
    file.buffer[file.fillBytes++] = expected[i];
    if (file.fillBytes == file.capacityBytes) OutputFileFlush(file);
  }
  OutputFileClose(file);
  EXPECT_EQ(test::ReadFile(path), expected);
  HeapDestroy(&heap);
}

using OutputDeathTest = test::DeathTestBase;

TEST_F(OutputDeathTest, OpeningFailuresStopWithTheirMessages) {
  const std::string dir = test::MakeTempDir("open");
  EXPECT_EXIT(
      {
        test::ShowStdoutOnStderr();
        OutputFile file;
        OutputFileOpen(nullptr, file, dir + "/a.txt");
      },
      ::testing::ExitedWithCode(1),
      "@@\nAllocation Heap required for this function.\n" + std::string(kPause) + "$");
  EXPECT_EXIT(
      {
        test::ShowStdoutOnStderr();
        // The name fits; half of the 64 bytes left cannot hold a piece.
        const std::string path = dir + "/b.txt";
        AllocationHeap heap;
        HeapCreate(nullptr, &heap, (path.size() + 1 + 49 + 7) / 8 * 8 + 16 + 64);
        OutputFile file;
        OutputFileOpen(&heap, file, path);
      },
      ::testing::ExitedWithCode(1),
      "@@Unable to allocate output buffer.\n" + std::string(kPause) + "$");
  EXPECT_EXIT(
      {
        test::ShowStdoutOnStderr();
        AllocationHeap heap;
        HeapCreate(nullptr, &heap, 16);
        OutputFile file;
        OutputFileOpen(&heap, file, dir + "/c.txt");
      },
      ::testing::ExitedWithCode(1), "@@Allocation Failure\n" + std::string(kPause) + "$");
  // A device has no length to set.
  EXPECT_EXIT(
      {
        test::ShowStdoutOnStderr();
        AllocationHeap heap;
        HeapCreate(nullptr, &heap, 4096);
        OutputFile file;
        OutputFileOpen(&heap, file, "/dev/null");
      },
      ::testing::ExitedWithCode(1),
      "@@\nOutput File Error: Unable to set file size.\n\nError Code: 22    Invalid argument\n" +
          std::string(kPause) + "$");
  test::RemoveTree(dir);
}

TEST_F(OutputDeathTest, WriteFailuresStopWithCodeOne) {
  const std::string dir = test::MakeTempDir("write");
  const std::string badDescriptor =
      "Error Code: 9    Bad file descriptor\n" + std::string(kPause) + "$";
  for (bool atClose : {false, true}) {
    EXPECT_EXIT(
        {
          test::ShowStdoutOnStderr();
          AllocationHeap heap;
          HeapCreate(nullptr, &heap, 4096);
          OutputFile file;
          OutputFileOpen(&heap, file, dir + "/d.txt");
          OutputFileAppend(file, "123", 3);
          close(file.descriptor);
          if (atClose) {
            OutputFileClose(file);
          } else {
            OutputFileFlush(file);
          }
        },
        ::testing::ExitedWithCode(1),
        (atClose ? "@@" : "@@Output File Error: Error writing to output file.\n\n") +
            badDescriptor);
  }
  test::RemoveTree(dir);
}

}  // namespace
}  // namespace zx
