// File Compare driven through the program's standard input, on small files (whole transcripts)
// and on files it cannot open.
#include <gtest/gtest.h>

#include "shell/number_print.hpp"
#include "test_support.hpp"
#include "tool_run.hpp"

namespace zx {
namespace {

const std::string kCompareHead =
    "option = \n\n\nFile Compare:\n\n"
    "Enter the paths of the two files (including extension):\nPath 1: Path 2: ";
using test::kBlockBytes;

struct FileCompareTest : test::ToolDirTest {
  test::ToolRun Compare(const std::string& first, const std::string& second) {
    test::WriteFile(dir + "/first.txt", first);
    test::WriteFile(dir + "/second.txt", second);
    return test::RunTool("12\nfirst.txt\nsecond.txt\n", dir);
  }
};

std::string Report(uint64_t matchedBytes) {
  return "Matching Bytes (from the start of files):\n" + FormatCommas(matchedBytes) + "\n" +
         test::kToolEnding;
}

TEST_F(FileCompareTest, SmallFilesCountTheBytesTheyShareFromTheStart) {
  const std::string file = test::RandomDigitFile(125, test::TestSeed());
  std::string thirdByteDiffers = file;
  thirdByteDiffers[2] = static_cast<char>(thirdByteDiffers[2] == '9' ? '8' : '9');
  std::string lastByteDiffers = file;
  lastByteDiffers.back() = 'x';
  std::string firstByteDiffers = file;
  firstByteDiffers[0] = '4';
  struct Case {
    const char* name;
    std::string first, second;
    uint64_t matchedBytes;
  };
  const Case cases[] = {
      {"identical", file, file, 127},
      {"third byte differs", file, thirdByteDiffers, 2},
      {"last byte differs", file, lastByteDiffers, 126},
      {"first byte differs", file, firstByteDiffers, 0},
      {"second is a prefix", file, file.substr(0, 100), 100},
      {"first is a prefix", file.substr(0, 100), file, 100},
  };
  for (const Case& c : cases) {
    const test::ToolRun run = Compare(c.first, c.second);
    EXPECT_EQ(run.exitCode, 0) << c.name;
    // The progress line shows once a whole stretch of the block has matched.
    const std::string progress =
        c.matchedBytes == std::min(c.first.size(), c.second.size())
            ? test::ProgressShown("Bytes Matched: ", FormatCommas(c.matchedBytes))
            : "";
    EXPECT_EQ(run.transcript,
              kCompareHead + "\n" + progress + test::ProgressCleared() + Report(c.matchedBytes))
        << c.name << " seed " << test::TestSeed();
  }
  const test::ToolRun empty = Compare("", file);
  EXPECT_EQ(empty.transcript, kCompareHead + "\n" + test::ProgressCleared() + Report(0));
}

TEST_F(FileCompareTest, MissingOrUnreadableFilesStopTheCompare) {
  test::WriteFile(dir + "/present.txt", "3.14159");
  for (const char* paths :
       {"missing.txt\npresent.txt\n", "present.txt\nmissing.txt\n", "present.txt\n.\n"}) {
    const test::ToolRun run = test::RunTool(std::string("12\n") + paths, dir);
    EXPECT_EQ(run.exitCode, 1) << paths;
    EXPECT_EQ(run.transcript, kCompareHead + "Unable to open file\n" + test::kPauseLine) << paths;
  }
}

}  // namespace
}  // namespace zx
