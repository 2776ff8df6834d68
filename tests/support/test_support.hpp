// Shared test helpers: console capture, scripted standard input, whole-program runs, seeds.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zx::test {

// Captures everything the program prints while alive.
class ConsoleCapture {
 public:
  ConsoleCapture();
  ~ConsoleCapture();
  ConsoleCapture(const ConsoleCapture&) = delete;
  ConsoleCapture& operator=(const ConsoleCapture&) = delete;
  const std::string& text() const { return text_; }
  std::string Take();

 private:
  std::string text_;
};

// Makes standard input read text (then end of input) for the in-process dialogues.
void FeedStdin(const std::string& text);

struct ProgramRun {
  std::string output;
  std::string errors;     // standard error, when kept apart from the output
  int exitCode = -1;      // valid when the program exited
  int signal = 0;         // non-zero when the program was killed by a signal
  bool timedOut = false;
};

// Runs build/zentrix (or another program of the build tree) in workingDir with input on its
// standard input, collecting standard output and standard error together.
ProgramRun RunProgram(const std::string& input, const std::string& workingDir = "",
                      const std::string& program = "zentrix", int timeoutSeconds = 120);

// Runs build/zentrix in workingDir with arguments and empty input, keeping standard output and
// standard error apart.
ProgramRun RunProgramWithArgs(const std::vector<std::string>& args, const std::string& workingDir,
                              int timeoutSeconds = 120);

// A fresh empty directory below the system's temporary directory.
std::string MakeTempDir(const std::string& tag);
void RemoveTree(const std::string& path);
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);

// Scales randomized iteration counts: ZX_TEST_MULTIPLIER=10 runs ten times as many cases.
uint64_t TestMultiplier();
// The seed of a randomized test: ZX_TEST_SEED if set, else a fixed default.
uint64_t TestSeed();

}  // namespace zx::test
