// The one door to the console: every byte the program prints passes through ConsoleWrite, so
// tests can capture a whole transcript and the progress line can flush before any prompt.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>
#include <string_view>

namespace zx {

void ConsoleWrite(std::string_view text);
void ConsolePrintf(const char* format, ...) __attribute__((format(printf, 1, 2)));
// Prints text that was built to be shown through a printf format: "%%" shows as "%".
void ConsoleWriteFormatted(std::string_view text);
void ConsoleFlush();

// Redirects all console output into *sink (nullptr restores standard output).
void ConsoleCaptureTo(std::string* sink);

// Where the console's output goes when nothing captures it. The menu writes to standard output; a
// scripted run keeps standard output for its summary, so its lines go to standard error or are
// held (quiet) until a fatal report needs them shown.
enum class ConsoleSink { kStdout, kStderr, kHeld };
void ConsoleSetSink(ConsoleSink sink);
// Writes what was held to standard error and forgets it.
void ConsoleReleaseHeld();
// Writes to standard error whatever the sink: usage errors of the command line.
void ConsoleWriteError(std::string_view text);

// The program's two clocks: a wall-clock millisecond counter and calendar seconds.
struct ConsoleClock {
  int64_t (*millis)();
  int64_t (*seconds)();
};
int64_t ClockMillis();
int64_t ClockSeconds();
// Replaces the clocks (tests); nullptr members restore the real ones.
void ConsoleSetClock(ConsoleClock clock);

}  // namespace zx
