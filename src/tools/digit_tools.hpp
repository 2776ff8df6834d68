// The three digit file tools of the main menu. Each asks its own questions, works on files of any
// size in 10 MiB blocks, and stops with its one-line message, a pause and exit code 1 on failure.
#pragma once

namespace zx {

// Shows any stretch of digits after the point, fifty to a line in groups of ten.
void DigitViewer();
// Counts the bytes two files share from the start.
void FileCompare();
// Copies the first bytes of a file into a new one.
void FileTruncate();

}  // namespace zx
