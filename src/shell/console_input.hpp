// Reading answers from standard input. Numbers are read the way a formatted stream extracts an
// unsigned integer (a leading "-" wraps, so negative answers land far out of range), but input
// that is not a number discards the rest of its line and reports failure instead of leaving the
// stream stuck. End of input at any prompt ends the program: it must never loop on prompts.
#pragma once

#include <cstdint>
#include <string>

namespace zx {

// Next byte of input, or -1 at the end.
int ConsoleReadChar();
bool ConsoleInputEnded();
// Forgets that input ended, after standard input has been reopened (tests).
void ConsoleInputRestart();

// Reads one unsigned number of widthBits (32 or 64) bits. False when the input is not a number
// or has more digits than the field holds; the rest of that line is discarded.
bool ConsoleReadUnsigned(int widthBits, uint64_t* value);

// Prints prompt and reads until a number in [low, high] arrives; anything else asks again.
uint64_t PromptNumber(const char* prompt, uint64_t low, uint64_t high, int widthBits);

inline constexpr size_t kPathCapacityChars = 1023;

// Reads a path byte by byte: line ends (and NUL) before the first stored byte are skipped, a
// line end after it ends the path, and the path ends at once after kPathCapacityChars bytes, the
// rest staying unread for the next path. Blanks are kept; nothing is trimmed.
std::string ReadPath();

}  // namespace zx
