#include "test_support.hpp"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "shell/console.hpp"
#include "shell/console_input.hpp"

extern char** environ;

namespace zx::test {

ConsoleCapture::ConsoleCapture() { ConsoleCaptureTo(&text_); }
ConsoleCapture::~ConsoleCapture() { ConsoleCaptureTo(nullptr); }

std::string ConsoleCapture::Take() {
  std::string taken;
  taken.swap(text_);
  return taken;
}

void FeedStdin(const std::string& text) {
  static int counter = 0;
  const std::string path = MakeTempDir("stdin") + "/input" + std::to_string(counter++);
  WriteFile(path, text);
  if (std::freopen(path.c_str(), "r", stdin) == nullptr) std::abort();
  ConsoleInputRestart();
}

std::string MakeTempDir(const std::string& tag) {
  std::string pattern = (std::filesystem::temp_directory_path() / ("zx-" + tag + "-XXXXXX")).string();
  if (mkdtemp(pattern.data()) == nullptr) std::abort();
  return pattern;
}

void RemoveTree(const std::string& path) {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
}

namespace {

ProgramRun Spawn(const std::string& input, const std::string& workingDir,
                 const std::string& program, const std::vector<std::string>& args,
                 bool mergeErrors, int timeoutSeconds) {
  const std::string dir = MakeTempDir("run");
  const std::string inPath = dir + "/stdin";
  const std::string outPath = dir + "/stdout";
  const std::string errPath = dir + "/stderr";
  WriteFile(inPath, input);
  const std::string binary = std::string(ZX_BINARY_DIR) + "/" + program;

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, inPath.c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outPath.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (mergeErrors) {
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  } else {
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errPath.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
  }
  if (!workingDir.empty()) posix_spawn_file_actions_addchdir_np(&actions, workingDir.c_str());

  std::vector<char*> argv = {const_cast<char*>(binary.c_str())};
  for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);
  pid_t pid = 0;
  ProgramRun run;
  if (posix_spawn(&pid, binary.c_str(), &actions, nullptr, argv.data(), environ) != 0) {
    posix_spawn_file_actions_destroy(&actions);
    run.output = "cannot start " + binary;
    return run;
  }
  posix_spawn_file_actions_destroy(&actions);

  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
  int status = 0;
  for (;;) {
    const pid_t done = waitpid(pid, &status, WNOHANG);
    if (done == pid) break;
    if (std::chrono::steady_clock::now() > deadline) {
      kill(pid, SIGKILL);
      waitpid(pid, &status, 0);
      run.timedOut = true;
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  if (WIFEXITED(status)) run.exitCode = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) run.signal = WTERMSIG(status);
  run.output = ReadFile(outPath);
  if (!mergeErrors) run.errors = ReadFile(errPath);
  RemoveTree(dir);
  return run;
}

}  // namespace

ProgramRun RunProgram(const std::string& input, const std::string& workingDir,
                      const std::string& program, int timeoutSeconds) {
  return Spawn(input, workingDir, program, {}, true, timeoutSeconds);
}

ProgramRun RunProgramWithArgs(const std::vector<std::string>& args, const std::string& workingDir,
                              int timeoutSeconds) {
  return Spawn("", workingDir, "zentrix", args, false, timeoutSeconds);
}

uint64_t TestMultiplier() {
  const char* text = std::getenv("ZX_TEST_MULTIPLIER");
  if (text == nullptr) return 1;
  const uint64_t value = std::strtoull(text, nullptr, 10);
  return value == 0 ? 1 : value;
}

uint64_t TestSeed() {
  const char* text = std::getenv("ZX_TEST_SEED");
  return text == nullptr ? 20261121 : std::strtoull(text, nullptr, 10);
}

}  // namespace zx::test
