// Console output and clocks. Output goes to stdout unbuffered by the C library's line rules, so a
// progress line ending in "\r" must be flushed explicitly before the program waits for anything.
#include "shell/console.hpp"

#include <chrono>
#include <cstdio>
#include <vector>

namespace zx {
namespace {

std::string* gCapture = nullptr;
ConsoleSink gSink = ConsoleSink::kStdout;
std::string gHeld;

int64_t RealMillis() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

int64_t RealSeconds() {
  using namespace std::chrono;
  return duration_cast<seconds>(system_clock::now().time_since_epoch()).count();
}

ConsoleClock gClock{RealMillis, RealSeconds};

}  // namespace

void ConsoleWrite(std::string_view text) {
  if (gCapture != nullptr) {
    gCapture->append(text);
    return;
  }
  if (gSink == ConsoleSink::kHeld) {
    gHeld.append(text);
    return;
  }
  std::fwrite(text.data(), 1, text.size(), gSink == ConsoleSink::kStderr ? stderr : stdout);
}

void ConsolePrintf(const char* format, ...) {
  char small[512];
  va_list args;
  va_start(args, format);
  va_list again;
  va_copy(again, args);
  const int length = std::vsnprintf(small, sizeof small, format, args);
  va_end(args);
  if (length < 0) {
    va_end(again);
    return;
  }
  if (static_cast<size_t>(length) < sizeof small) {
    ConsoleWrite(std::string_view(small, static_cast<size_t>(length)));
  } else {
    std::vector<char> large(static_cast<size_t>(length) + 1);
    std::vsnprintf(large.data(), large.size(), format, again);
    ConsoleWrite(std::string_view(large.data(), static_cast<size_t>(length)));
  }
  va_end(again);
}

void ConsoleWriteFormatted(std::string_view text) {
  std::string shown;
  shown.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    shown.push_back(text[i]);
    if (text[i] == '%' && i + 1 < text.size() && text[i + 1] == '%') ++i;
  }
  ConsoleWrite(shown);
}

void ConsoleFlush() {
  if (gCapture == nullptr) std::fflush(gSink == ConsoleSink::kStderr ? stderr : stdout);
}

void ConsoleCaptureTo(std::string* sink) { gCapture = sink; }

void ConsoleSetSink(ConsoleSink sink) {
  std::fflush(stdout);
  gSink = sink;
}

void ConsoleReleaseHeld() {
  ConsoleWriteError(gHeld);
  gHeld.clear();
}

void ConsoleWriteError(std::string_view text) {
  std::fflush(stdout);
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
}

int64_t ClockMillis() { return gClock.millis(); }
int64_t ClockSeconds() { return gClock.seconds(); }

void ConsoleSetClock(ConsoleClock clock) {
  gClock.millis = clock.millis != nullptr ? clock.millis : RealMillis;
  gClock.seconds = clock.seconds != nullptr ? clock.seconds : RealSeconds;
}

}  // namespace zx
