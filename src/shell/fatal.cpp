#include "shell/fatal.hpp"

#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "shell/console.hpp"
#include "shell/console_input.hpp"

namespace zx {
namespace {

bool gPauseWaits = true;

// On a terminal one key press is enough, so the terminal leaves line mode for the wait.
void WaitForKeyOnTerminal() {
  termios saved{};
  if (tcgetattr(STDIN_FILENO, &saved) != 0) {
    ConsoleReadChar();
    return;
  }
  termios raw = saved;
  raw.c_lflag &= static_cast<tcflag_t>(~(ICANON | ECHO));
  raw.c_cc[VMIN] = 1;
  raw.c_cc[VTIME] = 0;
  tcsetattr(STDIN_FILENO, TCSANOW, &raw);
  ConsoleReadChar();
  tcsetattr(STDIN_FILENO, TCSANOW, &saved);
}

std::atomic<ExitCleanupFn> gExitCleanup{nullptr};

void RunExitCleanup() {
  if (const ExitCleanupFn cleanup = gExitCleanup.load()) cleanup();
}

// abort runs no exit handlers, so the cleanup is called here, after the reports' pauses.
[[noreturn]] void EndAbnormally() {
  ConsoleFlush();
  RunExitCleanup();
  std::abort();
}

}  // namespace

void SetExitCleanup(ExitCleanupFn cleanup) {
  gExitCleanup.store(cleanup);
}

void PauseSetWaiting(bool waits) { gPauseWaits = waits; }
bool PauseWaits() { return gPauseWaits; }

void Pause() {
  if (!gPauseWaits) {
    ConsoleReleaseHeld();
    ConsoleFlush();
    return;
  }
  ConsoleWrite("Press any key to continue . . . ");
  ConsoleFlush();
  if (!ConsoleInputEnded()) {
    if (isatty(STDIN_FILENO)) {
      WaitForKeyOnTerminal();
    } else {
      ConsoleReadChar();
    }
  }
  ConsoleWrite("\n");
  ConsoleFlush();
}

void ExitProcess(int code) {
  ConsoleFlush();
  std::fflush(nullptr);
  RunExitCleanup();
  std::_Exit(code);
}

void FatalLimit(const char* subject, const char* detail) {
  ConsolePrintf("\n\nFATAL ERROR: Limit Exceeded\n\n%s%s\n\n%s\n", kArchitecturalLimit, subject,
                detail);
  Pause();
  Pause();
  EndAbnormally();
}

void FatalAssertion(const char* category, const char* subject, const char* detail) {
  ConsolePrintf("\n\nFATAL ERROR: Assertion Failure\n\n%s%s\n\n%s", category, subject, detail);
  ConsoleWrite(
      "\n\n\nIf this error shows up consistantly with the current options,\n"
      "please report it as a bug.\n\n"
      "If this error comes and goes with the current options,\n"
      "please check your hardware for reliability issues.\n"
      "Are you overclocking?\n\n"
      "Terminating Program...\n");
  Pause();
  Pause();
  EndAbnormally();
}

void FatalAllocation() { FatalExit("Allocation Failure\n"); }

void FatalExit(const char* message, int code) {
  ConsoleWrite(message);
  Pause();
  ExitProcess(code);
}

void EndOfInput() {
  ConsoleWrite("\n\nInput has ended.\n");
  ExitProcess(1);
}

}  // namespace zx
