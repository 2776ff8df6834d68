// Helpers shared by the runtime tests: death-test setup and the fill patterns that let a test
// see whether a piece's bytes survived a move, a merge or a disk round trip.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "shell/console.hpp"
#include "test_support.hpp"

namespace zx::test {

// Death tests read standard error and the program prints on standard output; input is at its
// end so that every pause returns at once. The mark "@@" lets a pattern anchor the first line
// the program prints.
inline void ShowStdoutOnStderr() {
  dup2(STDERR_FILENO, STDOUT_FILENO);
  ConsoleWrite("@@");
}

class DeathTestBase : public ::testing::Test {
 protected:
  void SetUp() override {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    FeedStdin("");
  }
};

inline uint8_t PatternByte(uint64_t seed, uint64_t index) {
  uint64_t x = seed * 0x9E3779B97F4A7C15ull + index * 0xBF58476D1CE4E5B9ull;
  x ^= x >> 29;
  return static_cast<uint8_t>(x * 0x94D049BB133111EBull >> 56);
}

inline void FillPattern(void* bytes, uint64_t sizeBytes, uint64_t seed) {
  auto* at = static_cast<uint8_t*>(bytes);
  for (uint64_t i = 0; i < sizeBytes; ++i) at[i] = PatternByte(seed, i);
}

// Index of the first byte that differs from the pattern, or sizeBytes when all match.
inline uint64_t FirstPatternMismatch(const void* bytes, uint64_t sizeBytes, uint64_t seed) {
  const auto* at = static_cast<const uint8_t*>(bytes);
  for (uint64_t i = 0; i < sizeBytes; ++i) {
    if (at[i] != PatternByte(seed, i)) return i;
  }
  return sizeBytes;
}

inline int CountOccurrences(const std::string& text, const std::string& what) {
  int count = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++count;
  return count;
}

}  // namespace zx::test
