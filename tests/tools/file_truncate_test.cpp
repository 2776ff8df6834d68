// File Truncate driven through the program's standard input; the copy must equal the source's
// prefix byte for byte, and a copy that cannot finish leaves no file.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <filesystem>

#include "shell/number_print.hpp"
#include "test_support.hpp"
#include "tool_run.hpp"

namespace zx {
namespace {

const std::string kTruncateHead =
    "option = \n\n\nFile Truncate:\n\n"
    "Enter the path of the file (including the .txt extension):\nPath: "
    "Enter the path to place the truncated file (including the .txt extension):\nPath: ";
using test::kBlockBytes;

int FilesIn(const std::string& dir) {
  return static_cast<int>(std::distance(std::filesystem::directory_iterator(dir), {}));
}

struct FileTruncateTest : test::ToolDirTest {
  test::ToolRun Truncate(const std::string& source, const std::string& answers) {
    test::WriteFile(dir + "/source.txt", source);
    return test::RunTool("13\nsource.txt\ncut.txt\n" + answers, dir);
  }
  std::string Cut() const { return test::ReadFile(dir + "/cut.txt"); }
};

TEST_F(FileTruncateTest, KeepsTheBytesAskedForAndRefusesNoneOrMoreThanTheFile) {
  const std::string file = test::RandomDigitFile(126, test::TestSeed());
  // An older, longer file under the target's name is replaced.
  test::WriteFile(dir + "/cut.txt", std::string(500, 'x'));
  const test::ToolRun run = Truncate(file, "0\n129\n-1\n128\n");
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.transcript, kTruncateHead +
                                "\nFile Size: 128 bytes\n\n"
                                "How many bytes (from the beginning) do you wish to keep?\n"
                                "bytes : bytes : bytes : bytes : \n" +
                                test::ProgressShown("Bytes Copied: ", "128") +
                                test::ProgressCleared() + "Bytes Copied:\n128\n" +
                                test::kToolEnding);
  EXPECT_EQ(Cut(), file) << "seed " << test::TestSeed();

  for (const uint64_t keepBytes : {1, 2, 127}) {
    EXPECT_EQ(Truncate(file, std::to_string(keepBytes) + "\n").exitCode, 0);
    EXPECT_EQ(Cut(), file.substr(0, keepBytes)) << "seed " << test::TestSeed();
  }
}

// A copy that cannot finish leaves no file: not under the target's name, not under another.
TEST_F(FileTruncateTest, LeavesNoFileWhenTheCopyCannotFinish) {
  const std::string tail = "\nFile Size: 0 bytes\n\nThe file is empty: there is nothing to keep.\n";
  EXPECT_EQ(Truncate("", "1\n").transcript, kTruncateHead + tail + test::kPauseLine);
  EXPECT_EQ(FilesIn(dir), 1);
  // End of input at the count, and a disk that fills up in the middle of the copy.
  EXPECT_EQ(Truncate("3.14159", "").exitCode, 1);
  EXPECT_EQ(FilesIn(dir), 1);
  const std::string file = test::RandomDigitFile(3 * 1048576, test::TestSeed());
  test::WriteFile(dir + "/source.txt", file);
  signal(SIGXFSZ, SIG_IGN);
  rlimit saved{};
  getrlimit(RLIMIT_FSIZE, &saved);
  rlimit limit = saved;
  limit.rlim_cur = 1048576;
  setrlimit(RLIMIT_FSIZE, &limit);  // the program started now inherits it
  const test::ToolRun run =
      test::RunTool("13\nsource.txt\ncut.txt\n" + std::to_string(file.size()) + "\n", dir);
  setrlimit(RLIMIT_FSIZE, &saved);
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_TRUE(test::WithoutProgress(run.transcript)
                  .ends_with("Unable to write to file\n" + std::string(test::kPauseLine)))
      << run.transcript;
  EXPECT_EQ(FilesIn(dir), 1);
}

}  // namespace
}  // namespace zx
