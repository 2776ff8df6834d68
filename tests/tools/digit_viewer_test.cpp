// The Digit Viewer driven through the program's standard input; expected lines are cut from the
// digit file itself.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <vector>

#include "shell/number_print.hpp"
#include "test_support.hpp"
#include "tool_run.hpp"

namespace zx {
namespace {

const std::string kViewerHead =
    "option = \n\n\nDigit Viewer:\n\n"
    "Enter the path of the file (including the .txt extension):\nPath: ";

// The view's line that ends with digit lineEnd (a multiple of 50) of file, whose first digit
// after the point is at byte pointBytes.
std::string ViewLine(const std::string& file, uint64_t pointBytes, uint64_t lineEnd) {
  std::string line;
  for (uint64_t group = 0; group < 5; ++group) {
    if (group != 0) line += " ";
    line += file.substr(pointBytes + lineEnd - 50 + group * 10, 10);
  }
  return line + "  :  " + FormatCommas(lineEnd) + "\n";
}

// What follows the last prompt of a view that ended normally.
std::string ViewOf(const test::ToolRun& run) {
  const std::string lastPrompt = "Digits : \n";
  const size_t at = run.transcript.rfind(lastPrompt);
  return at == std::string::npos ? run.transcript : run.transcript.substr(at + lastPrompt.size());
}

struct DigitViewerTest : test::ToolDirTest {
  test::ToolRun View(const std::string& file, const std::string& answers) {
    test::WriteFile(dir + "/digits.txt", file);
    return test::RunTool("11\ndigits.txt\n" + answers, dir);
  }
};

TEST_F(DigitViewerTest, ShowsWholeLinesFromTheFirstDigitAskedForThroughTheOnePastTheStretch) {
  // 1,226 digits: the last line is cut short after 26 of them, inside the third group.
  const std::string file = test::RandomDigitFile(1226, test::TestSeed());
  const std::string cutLine =
      file.substr(1202, 10) + " " + file.substr(1212, 10) + " " + file.substr(1222, 6);
  struct Case {
    const char* answers;  // start digit, digit count
    uint64_t firstLineEnd, lastLineEnd;
    bool reachesTheEnd;
  };
  const Case cases[] = {
      {"1\n1\n", 50, 50, false},       {"51\n50\n", 100, 150, false},
      {"50\n1\n", 50, 100, false},     {"1\n49\n", 50, 50, false},
      {"1\n50\n", 50, 100, false},     {"1000\n100\n", 1000, 1100, false},
      {"1200\n1\n", 1200, 1200, true}, {"1226\n10000\n", 1250, 0, true},
      {"1\n10000\n", 50, 1200, true},  {"1151\n49\n", 1200, 1200, false},
  };
  for (const Case& c : cases) {
    std::string expected;
    for (uint64_t end = c.firstLineEnd; end <= c.lastLineEnd; end += 50) {
      expected += ViewLine(file, 2, end);
    }
    if (c.reachesTheEnd) expected += cutLine;
    const test::ToolRun run = View(file, c.answers);
    EXPECT_EQ(run.exitCode, 0) << c.answers;
    EXPECT_EQ(ViewOf(run), expected + test::kToolEnding)
        << "answers " << c.answers << " seed " << test::TestSeed();
  }
}

TEST_F(DigitViewerTest, RefusesWhatIsNotAViewableDigitFile) {
  const std::string notFound =
      "A decimal place was not found within the first 64 bytes of the file.\n"
      "Is this even a text file of digits?\n";
  const std::string digits = test::RandomDigitFile(300, test::TestSeed()).substr(2);
  struct Case {
    std::string name, file, expectedEnd;
  };
  const Case cases[] = {
      {"127 bytes", "3." + digits.substr(0, 125),
       "File Size: 127 bytes\n\nThis is a very small file! Just open it!!!\n"},
      {"point at byte 65", digits.substr(0, 64) + "." + digits,
       "First few digits:\n" + digits.substr(0, 64) + "\n\n" + notFound},
      {"NUL before the point", std::string("3\0.", 3) + digits,
       "First few digits:\n3\n\n" + notFound},
  };
  for (const Case& c : cases) {
    const test::ToolRun run = View(c.file, "1\n1\n");
    EXPECT_EQ(run.exitCode, 1) << c.name;
    const std::string expected = c.expectedEnd + test::kPauseLine;
    ASSERT_GE(run.transcript.size(), expected.size()) << c.name;
    EXPECT_EQ(run.transcript.substr(run.transcript.size() - expected.size()), expected) << c.name;
  }
  for (const char* path : {"missing.txt", "."}) {
    const test::ToolRun run = test::RunTool(std::string("11\n") + path + "\n", dir);
    EXPECT_EQ(run.exitCode, 1) << path;
    EXPECT_EQ(run.transcript, kViewerHead + "Unable to open file\n" + test::kPauseLine) << path;
  }
}

TEST_F(DigitViewerTest, ReachesDigitsBeyondFourGibibytes) {
  // A sparse file: "3.", holes, and the last 100 digits written at the end.
  constexpr uint64_t kDigitCount = (uint64_t{5} << 30) + 30;  // a multiple of 50
  const std::string path = dir + "/digits.txt";
  const std::string tail = test::RandomDigitFile(100, test::TestSeed()).substr(2);
  test::WriteFile(path, "3.");
  std::filesystem::resize_file(path, kDigitCount + 2 - tail.size());
  {
    FILE* file = std::fopen(path.c_str(), "ab");
    ASSERT_NE(file, nullptr);
    std::fwrite(tail.data(), 1, tail.size(), file);
    std::fclose(file);
  }
  struct stat info {};
  ASSERT_EQ(stat(path.c_str(), &info), 0);
  if (info.st_blocks * 512 > (64 << 20)) GTEST_SKIP() << "the file system stores holes";

  const test::ToolRun run =
      test::RunTool("11\ndigits.txt\n" + std::to_string(kDigitCount - 49) + "\n1\n", dir);
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_NE(run.transcript.find("File Size: 5,368,709,152 bytes\n"), std::string::npos);
  EXPECT_NE(run.transcript.find("Digits after decimal place: 5,368,709,150\n"), std::string::npos);
  const std::string lastDigits = tail.substr(tail.size() - 50);
  EXPECT_EQ(ViewOf(run), lastDigits.substr(0, 10) + " " + lastDigits.substr(10, 10) + " " +
                             lastDigits.substr(20, 10) + " " + lastDigits.substr(30, 10) + " " +
                             lastDigits.substr(40, 10) + "  :  5,368,709,150\n" +
                             test::kToolEnding);
}

}  // namespace
}  // namespace zx
