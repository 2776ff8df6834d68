#include "shell/console_input.hpp"

#include <cstdio>

#include "shell/console.hpp"
#include "shell/fatal.hpp"

namespace zx {
namespace {

bool gEnded = false;

bool IsBlank(int c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

void DiscardLine(int c) {
  while (c != '\n' && c != EOF) c = ConsoleReadChar();
}

int ReadCharOrEnd() {
  const int c = ConsoleReadChar();
  if (c == EOF) EndOfInput();
  return c;
}

}  // namespace

int ConsoleReadChar() {
  if (gEnded) return EOF;
  const int c = std::getc(stdin);
  if (c == EOF) gEnded = true;
  return c;
}

bool ConsoleInputEnded() { return gEnded; }

void ConsoleInputRestart() {
  gEnded = false;
  std::clearerr(stdin);
}

bool ConsoleReadUnsigned(int widthBits, uint64_t* value) {
  ConsoleFlush();
  int c = ReadCharOrEnd();
  while (IsBlank(c)) c = ReadCharOrEnd();
  bool negative = false;
  if (c == '+' || c == '-') {
    negative = c == '-';
    c = ReadCharOrEnd();
  }
  if (c < '0' || c > '9') {
    DiscardLine(c);
    return false;
  }
  const uint64_t max = widthBits >= 64 ? UINT64_MAX : (uint64_t{1} << widthBits) - 1;
  uint64_t magnitude = 0;
  bool overflow = false;
  while (c >= '0' && c <= '9') {
    const uint64_t digit = static_cast<uint64_t>(c - '0');
    if (magnitude > (max - digit) / 10) overflow = true;
    if (!overflow) magnitude = magnitude * 10 + digit;
    c = ConsoleReadChar();
  }
  if (overflow) {
    DiscardLine(c);
    return false;
  }
  if (c != EOF) std::ungetc(c, stdin);
  *value = negative ? (0 - magnitude) & max : magnitude;
  return true;
}

uint64_t PromptNumber(const char* prompt, uint64_t low, uint64_t high, int widthBits) {
  for (;;) {
    ConsoleWrite(prompt);
    uint64_t value = 0;
    if (ConsoleReadUnsigned(widthBits, &value) && value >= low && value <= high) return value;
  }
}

std::string ReadPath() {
  ConsoleFlush();
  std::string path;
  while (path.size() < kPathCapacityChars) {
    const int c = ConsoleReadChar();
    if (c == EOF) {
      if (path.empty()) EndOfInput();
      break;
    }
    if (c == '\n' || c == 0) {
      if (path.empty()) continue;
      break;
    }
    path.push_back(static_cast<char>(c));
  }
  return path;
}

}  // namespace zx
