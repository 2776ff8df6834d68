// The program's ways of stopping. Fatal reports describe broken invariants and end the process
// abnormally after two pauses; plain stops print their line, pause once and exit with a code.
// Every way out runs the exit cleanup first (the runtime's removal of swap files and unfinished
// digit files), since a record-size run can leave hundreds of gigabytes nobody would clean up.
#pragma once

namespace zx {

inline constexpr const char* kImpossibleResult = "Impossible Functional Result: ";
inline constexpr const char* kAlgorithmicFailure = "Critical Algorithmic Failure: ";
inline constexpr const char* kArchitecturalLimit = "Architectural Limit Exceeded: ";
inline constexpr const char* kInvalidAlignment = "Invalid Data Alignment: ";

// Runs before every stop below; cleanup must be safe from any thread and in a signal handler.
using ExitCleanupFn = void (*)();
void SetExitCleanup(ExitCleanupFn cleanup);

// The console pause: "Press any key to continue . . . " and one key (or one character of piped
// input); returns at once when input has ended.
void Pause();
// A scripted run has nobody at the keyboard: its pauses show what the console held and return at
// once, and a retry that waits for the user to fix a disk ends the run instead.
void PauseSetWaiting(bool waits);
bool PauseWaits();

[[noreturn]] void FatalLimit(const char* subject, const char* detail);
[[noreturn]] void FatalAssertion(const char* category, const char* subject, const char* detail);
// "Allocation Failure\n", one pause, exit code 1.
[[noreturn]] void FatalAllocation();
// Prints message, pauses once and exits with code.
[[noreturn]] void FatalExit(const char* message, int code = 1);
// Ends the process with code after flushing the console, from any thread.
[[noreturn]] void ExitProcess(int code);
// Standard input has ended while the program waited for an answer.
[[noreturn]] void EndOfInput();

}  // namespace zx

// Internal invariants, checked in debug and test builds only; checks that guard digits stay on.
#if defined(ZX_DEBUG_ASSERTS)
#define ZX_ASSERT(condition)                                                                   \
  do {                                                                                         \
    if (!(condition)) ::zx::FatalAssertion(::zx::kImpossibleResult, __func__, #condition);     \
  } while (0)
#else
#define ZX_ASSERT(condition) \
  do {                       \
  } while (0)
#endif
