// The three digit file tools of the main menu. Each asks its own questions, works on files of any
// size in 10 MiB blocks, and stops with its one-line message, a pause and exit code 1 on failure.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace zx {

// Shows any stretch of digits after the point, fifty to a line in groups of ten.
void DigitViewer();
// Counts the bytes two files share from the start.
void FileCompare();
// Copies the first bytes of a file into a new one.
void FileTruncate();


// The cores the menu tools and the command line share, after the questions have been answered.

inline constexpr uint64_t kMostViewedDigits = 10000;

// A digit file opened for viewing: its size and the bytes before the first digit after the point.
struct DigitView {
  FILE* file;
  uint64_t sizeBytes;
  uint64_t pointBytes;
};
// Opens path and prints its size, its head and the digits after the point; the Digit Viewer's
// messages and stops for a file that cannot be opened, is too small or has no point.
DigitView DigitViewOpen(const std::string& path);
// Prints the whole lines around viewDigits digits from startDigit (counted from 1 after the
// point) and closes the file.
void DigitViewShow(DigitView& view, uint64_t startDigit, uint64_t viewDigits);
// The bytes up to and including the point in the head of the file at path; 0 when the file
// cannot be read or has no point there.
uint64_t DigitFilePointBytes(const std::string& path);

// Opens both files (stopping with "Unable to open file\n"), prints lead, counts and prints the
// matching bytes as File Compare does; returns them.
uint64_t FileCompareReport(const std::string& firstPath, const std::string& secondPath,
                           const char* lead);

// The copy of File Truncate: written under a temporary name beside the target's (listed for
// removal on every way out) and renamed when complete.
struct TruncateTarget {
  FILE* file = nullptr;
  std::string path;
  std::string partPath;
  int liveSlot = -1;
};
// Opens the target of File Truncate for writing; refuses the source itself under any name
// ("Unable to create file\n").
TruncateTarget TruncateTargetOpen(const std::string& sourcePath, const std::string& targetPath);
// Copies the first keepBytes bytes, closes both files, gives the copy its name and prints the
// closing count.
void TruncateCopy(FILE* source, TruncateTarget target, uint64_t keepBytes);

}  // namespace zx
