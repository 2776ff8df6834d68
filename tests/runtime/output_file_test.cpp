// The digit-file writer: what ends up in the file (existing files are cut to what was written) and
// the buffer taken from the heap.
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

}  // namespace
}  // namespace zx
