// The Digit Viewer: finds the point in the head of a digit file, asks for a stretch of digits after
// it and prints whole lines of fifty around that stretch, each ending in the count of digits up to
// its end, so a digit's position can be read off the screen.
#include <string>
#include <string_view>

#include "shell/console.hpp"
#include "shell/console_input.hpp"
#include "shell/fatal.hpp"
#include "shell/number_print.hpp"
#include "tools/digit_files.hpp"
#include "tools/digit_tools.hpp"

namespace zx {
namespace {

// Below this a file holds too few digits to be worth a viewer.
constexpr uint64_t kSmallestViewableBytes = 128;
// The point must lie within the head shown to the user.
constexpr size_t kHeadBytes = 64;
constexpr uint64_t kGroupDigits = 10;
constexpr uint64_t kGroupsPerLine = 5;
constexpr uint64_t kLineDigits = kGroupDigits * kGroupsPerLine;

// The head is shown as text, so it ends at a NUL byte; the point is looked for in what is shown.
std::string ReadHead(FILE* file) {
  char head[kHeadBytes + 1] = {};
  const size_t headBytes = std::fread(head, 1, kHeadBytes, file);
  head[headBytes] = 0;
  return head;
}

// Returns the bytes before the first digit after the point, read from the file's head.
uint64_t ShowHeadAndFindPoint(FILE* file) {
  const std::string shown = ReadHead(file);
  ConsoleWrite("\nFirst few digits:\n");
  ConsoleWriteFormatted(shown);
  ConsoleWrite("\n\n");
  const size_t point = shown.find('.');
  if (point == std::string::npos) {
    FatalExit(
        "A decimal place was not found within the first 64 bytes of the file.\n"
        "Is this even a text file of digits?\n");
  }
  return point + 1;
}

// Prints lines from firstDigit (a multiple of 50 after the point) until lastDigit or the end of
// the file; a group cut short by the end is printed and ends the view.
void PrintDigitLines(FILE* file, uint64_t firstDigit, uint64_t lastDigit) {
  char group[kGroupDigits];
  while (firstDigit < lastDigit) {
    for (uint64_t g = 0; g < kGroupsPerLine; ++g) {
      if (g != 0) ConsoleWrite(" ");
      const size_t groupBytes = std::fread(group, 1, kGroupDigits, file);
      ConsoleWrite(std::string_view(group, groupBytes));
      if (groupBytes < kGroupDigits) return;
    }
    ConsoleWrite("  :  ");
    firstDigit += kLineDigits;
    PrintCommas(firstDigit, 0);
    ConsoleWrite("\n");
  }
}

}  // namespace

DigitView DigitViewOpen(const std::string& path) {
  FILE* file = OpenDigitFile(path, "rb");
  if (file == nullptr) FatalExit("Unable to open file\n");
  const uint64_t sizeBytes = FileSizeOf(path);
  ConsoleWrite("\nFile Size: ");
  PrintCommas(sizeBytes, 0);
  ConsoleWrite(" bytes\n");
  if (sizeBytes < kSmallestViewableBytes)
    FatalExit("\nThis is a very small file! Just open it!!!\n");

  const uint64_t pointBytes = ShowHeadAndFindPoint(file);
  ConsoleWrite("Digits after decimal place: ");
  PrintCommas(sizeBytes - pointBytes, 0);
  ConsoleWrite("\n\n");
  return {file, sizeBytes, pointBytes};
}

void DigitViewShow(DigitView& view, uint64_t startDigit, uint64_t viewDigits) {
  // Whole lines, from the one holding the first digit asked for through the one holding the digit
  // just past the stretch: a stretch ending on a line's end shows one more line.
  const uint64_t firstDigit = (startDigit - 1) / kLineDigits * kLineDigits;
  const uint64_t lastDigit = ((startDigit - 1 + viewDigits) / kLineDigits + 1) * kLineDigits;
  if (fseeko(view.file, static_cast<off_t>(view.pointBytes + firstDigit), SEEK_SET) != 0) {
    FatalExit("Unable to move file pointer.\n");
  }
  PrintDigitLines(view.file, firstDigit, lastDigit);
  std::fclose(view.file);
}

uint64_t DigitFilePointBytes(const std::string& path) {
  FILE* file = OpenDigitFile(path, "rb");
  if (file == nullptr) return 0;
  const size_t point = ReadHead(file).find('.');
  std::fclose(file);
  return point == std::string::npos ? 0 : point + 1;
}

void DigitViewer() {
  ConsoleWrite(
      "Digit Viewer:\n\n"
      "Enter the path of the file (including the .txt extension):\n"
      "Path: ");
  DigitView view = DigitViewOpen(ReadPath());
  ConsoleWrite("Starting from which digit would you like to view?\n");
  const uint64_t startDigit =
      PromptNumber("Digit (after decimal place) : ", 1, view.sizeBytes - view.pointBytes, 64);
  ConsoleWrite("\n");
  ConsoleWrite("How many digits would you like to view?\n");
  const uint64_t viewDigits = PromptNumber("Digits : ", 1, kMostViewedDigits, 64);
  ConsoleWrite("\n");
  DigitViewShow(view, startDigit, viewDigits);
}

}  // namespace zx
