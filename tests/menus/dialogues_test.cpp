#include "menus/dialogues.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "../runtime/runtime_test_util.hpp"
#include "runtime/platform.hpp"
#include "shell/number_print.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

uint64_t FakeSwapBytes(uint64_t decimalDigits, uint32_t threadExponent) {
  return decimalDigits * 4 + threadExponent;
}

TEST(DigitsDialogue, RefusesOutOfRangeAndNonNumbers) {
  // 19 is too small, letters and a 21-digit number are no numbers, -5 wraps far out of range.
  test::FeedStdin("19\nabc\n123456789012345678901\n-5\n31025009035\n20\n0\n");
  test::ConsoleCapture capture;
  const DigitSettings settings = ReadDigits();
  EXPECT_EQ(settings.decimalDigits, 20u);
  EXPECT_EQ(settings.hexDigits, 17u);
  EXPECT_EQ(settings.words, 4u);
  EXPECT_EQ(settings.threadExponent, 0u);
  const std::string& text = capture.text();
  size_t prompts = 0;
  for (size_t at = text.find("Decimal Digits = "); at != std::string::npos;
       at = text.find("Decimal Digits = ", at + 1)) {
    ++prompts;
  }
  EXPECT_EQ(prompts, 6u);
  EXPECT_NE(text.find("\nDecimal Digits    : 20\nHexadecimal Digits: 17\n\nSelect a threading mode: \n"),
            std::string::npos);
}

// Only the lines that depend on the machine's memory are added; the rest stays as it was.
TEST(ModeDialogue, SaysWhenRamOnlyNeedsMoreThanPhysicalMemory) {
  const uint64_t physical = PhysicalMemoryBytes();
  ASSERT_GT(physical, 0u);
  const std::string warning =
      "Ram Only needs more memory than this machine has (" + FormatBytesInText(physical) + ").\n\n";
  for (const uint64_t memory : {physical, physical + 1}) {
    test::FeedStdin("1\n");
    test::ConsoleCapture capture;
    uint64_t estimate = memory;
    EXPECT_EQ(ReadMode(5000000, 0, &estimate, FakeSwapBytes), 1u);
    EXPECT_EQ(capture.text().find(warning) != std::string::npos, memory > physical)
        << capture.text();
    EXPECT_NE(capture.text().find(" 2      Basic Disk Swapping "), std::string::npos);
  }
}

using ModeDeathTest = test::DeathTestBase;

// Above the largest Ram Only size nothing can be offered: one line and exit code 1, not a prompt
// that repeats for ever.
TEST_F(ModeDeathTest, NoModeForTheDigitCountEndsTheProgram) {
  EXPECT_EXIT(
      {
        test::ShowStdoutOnStderr();
        test::FeedStdin("1\n2\n3\n");
        uint64_t memory = 1;
        ReadMode(kRamModeMaxDigits + 1, 0, &memory, FakeSwapBytes);
      },
      ::testing::ExitedWithCode(1),
      "@@Select a Mode:\n\nOption      Mode                Approx. Memory Needed\n\n\n"
      "No mode can compute more than 3,220,714,136 digits.\nPress any key to continue . . . \n$");
}

// Paths are read relative to a fresh working directory in which every accepted path exists.
class DiskDialogue : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_ = std::filesystem::current_path();
    dir_ = test::MakeTempDir("disks");
    std::filesystem::current_path(dir_);
  }
  void TearDown() override {
    std::filesystem::current_path(saved_);
    test::RemoveTree(dir_);
  }
  // Reads the disk dialogue from input and returns what it printed after the notes.
  std::string Read(const std::string& input, DiskList& disks) {
    test::FeedStdin(input);
    test::ConsoleCapture capture;
    ReadDisks(disks);
    const std::string& text = capture.text();
    const std::string notes = "the disks should be empty.\n\n";
    const size_t at = text.find(notes);
    return at == std::string::npos ? text : text.substr(at + notes.size());
  }
  std::filesystem::path saved_;
  std::string dir_;
};

// Each bad path is refused at its prompt with its reason and asked for again; the good path
// after it is taken. /proc takes no new files, whoever asks.
TEST_F(DiskDialogue, RefusesPathsThatCannotHoldSwapFiles) {
  std::filesystem::create_directory("disk");
  test::WriteFile("plain", "x");
  const struct {
    const char* bad;
    const char* reason;
  } rows[] = {
      {"missing", "That path does not exist.\n"},
      {"plain", "That path is not a directory.\n"},
      {"plain/below", "That path does not exist.\n"},
      {"/proc", "That path cannot be written to.\n"},
      {"disk", "That path is already in the list.\n"},
      {"./disk/", "That path is already in the list.\n"},
  };
  for (const auto& row : rows) {
    DiskList disks;
    const std::string input = std::string("2\ndisk\n") + row.bad + "\n" + dir_ + "\n";
    EXPECT_EQ(Read(input, disks), std::string("Path: Path: ") + row.reason + "Path: ") << row.bad;
    EXPECT_EQ(disks.paths, (std::vector<std::string>{"disk", dir_})) << row.bad;
  }
}

}  // namespace
}  // namespace zx
