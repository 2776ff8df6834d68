#include "constants/stage_lines.hpp"

#include "shell/console.hpp"
#include "shell/number_print.hpp"
#include "shell/progress.hpp"

namespace zx {

StageClock StageBegin(bool show, const char* computingLine, const char* algorithmLine) {
  if (show) {
    ConsoleWrite(computingLine);
    ConsoleWrite(algorithmLine);
    ConsoleWrite("Summing Series:\n");
    ProgressTimerStart();
  }
  return {ClockMillis(), ClockSeconds()};
}

void StageLine(bool show, const char* text, bool restartTimer) {
  if (!show) return;
  if (restartTimer) ProgressTimerStart();
  ProgressClear();
  ConsoleWrite(text);
  ConsoleFlush();
}

void StageMultiplying(bool show, uint64_t words) {
  if (!show) return;
  ProgressClear();
  ConsoleWrite("Multiplying...  \t( ");
  PrintCommas(static_cast<uint64_t>(static_cast<double>(words) * kDigitsPerWord) + 1, 0);
  ConsoleWrite(" )");
  ConsoleFlush();
}

void StageTime(bool show, const char* label, const StageClock& clock) {
  if (!show) return;
  ConsoleWrite(label);
  PrintSeconds(ElapsedSeconds(clock.startMillis, clock.startSeconds));
}

}  // namespace zx
