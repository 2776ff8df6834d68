// Runs of the program reduced to what follows its menu, progress texts and seeded digit files.
#include "tool_run.hpp"

#include <random>

#include "test_support.hpp"

namespace zx::test {

void ToolDirTest::SetUp() {
  dir = MakeTempDir("tools");
}
void ToolDirTest::TearDown() {
  RemoveTree(dir);
}

ToolRun RunTool(const std::string& input, const std::string& dir) {
  const ProgramRun run = RunProgram(input, dir);
  const std::string menuEnd = "Enter your choice:\n";
  const size_t at = run.output.find(menuEnd);
  ToolRun tool;
  tool.exitCode = run.exitCode;
  tool.transcript = at == std::string::npos ? run.output : run.output.substr(at + menuEnd.size());
  return tool;
}

std::string ProgressShown(const std::string& prefix, const std::string& countWithCommas) {
  std::string line = "\r" + prefix + "    ( " + countWithCommas + " )";
  line.resize(63 + 1, ' ');
  return line;
}

std::string ProgressCleared() {
  return "\r" + std::string(63, ' ') + "\r";
}

std::string WithoutProgress(const std::string& transcript) {
  const size_t first = transcript.find('\r');
  if (first == std::string::npos) return transcript;
  const size_t last = transcript.rfind('\r');
  return transcript.substr(0, first) + transcript.substr(last + 1);
}

std::string RandomDigitFile(uint64_t digitCount, uint64_t seed) {
  std::mt19937_64 random(seed);
  std::string text = "3.";
  text.reserve(digitCount + 2);
  for (uint64_t i = 0; i < digitCount; ++i) text.push_back(static_cast<char>('0' + random() % 10));
  return text;
}

}  // namespace zx::test
