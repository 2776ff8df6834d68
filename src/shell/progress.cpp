#include "shell/progress.hpp"

#include <string>

#include "shell/console.hpp"
#include "shell/number_print.hpp"

namespace zx {
namespace {
ProgressLine gProgress;
bool gShown = true;
}  // namespace

ProgressLine& Progress() { return gProgress; }

void ProgressTimerStart() {
  gProgress.startMillis = ClockMillis();
  gProgress.startSeconds = ClockSeconds();
  gProgress.lastPrintMillis = gProgress.startMillis;
  gProgress.labelLength = 0;
  gProgress.label[0] = 0;
  gProgress.printed = false;
}

void LabelPush(char c) {
  if (gProgress.labelLength < kLabelCapacity) {
    gProgress.label[gProgress.labelLength] = c;
    gProgress.label[gProgress.labelLength + 1] = 0;
  }
  ++gProgress.labelLength;
}

void LabelPushNumber(uint64_t value) {
  for (char c : std::to_string(value)) LabelPush(c);
}

void LabelPushCounter(uint64_t value) {
  LabelPush('(');
  LabelPush(' ');
  LabelPushNumber(value);
  LabelPush(' ');
  LabelPush(')');
  LabelPush(' ');
}

void LabelPushPercent(uint64_t part, uint64_t whole) {
  LabelPushNumber(whole == 0 ? 0 : part * 100 / whole);
  // The label is shown through a printf format, where "%%" prints one "%".
  LabelPush('%');
  LabelPush('%');
}

char LabelPop() {
  if (gProgress.labelLength == 0) return 0;
  const uint32_t old = gProgress.labelLength--;
  if (old > kLabelCapacity) return 0;
  const char c = gProgress.label[gProgress.labelLength];
  gProgress.label[gProgress.labelLength] = 0;
  return c;
}

void LabelPopTo(uint32_t lengthChars) {
  while (gProgress.labelLength > lengthChars) LabelPop();
}

void ProgressSetShown(bool shown) { gShown = shown; }

void ProgressClear() {
  if (!gShown) return;
  ConsoleWrite("\r");
  ConsoleWrite(std::string(kProgressColumns, ' '));
  ConsoleWrite("\r");
}

void ProgressPrint(const char* prefix, uint64_t count) {
  if (!gShown) return;
  ConsoleWrite("\r");
  const std::string_view prefixText(prefix);
  ConsoleWriteFormatted(prefixText);
  ConsoleWriteFormatted(gProgress.label);
  int column = static_cast<int>(prefixText.size()) +
               static_cast<int>(gProgress.labelLength < kLabelCapacity ? gProgress.labelLength
                                                                       : kLabelCapacity);
  if (count != 0) {
    ConsoleWrite("    ( ");
    column += PrintCommas(count, 0) + 8;
    ConsoleWrite(" )");
  }
  if (column < kProgressColumns) ConsoleWrite(std::string(kProgressColumns - column, ' '));
  ConsoleFlush();
}

bool ProgressDue() {
  return !gProgress.printed ||
         ClockMillis() - gProgress.lastPrintMillis >= kProgressIntervalMillis;
}

void ProgressPrintThrottled(const char* prefix, uint64_t count) {
  if (!ProgressDue()) return;
  gProgress.printed = true;
  gProgress.lastPrintMillis = ClockMillis();
  ProgressPrint(prefix, count);
}

double ElapsedSeconds(int64_t startMillis, int64_t startSeconds) {
  double seconds = static_cast<double>(ClockSeconds() - startSeconds);
  if (seconds < 3600 && seconds > -3600) {
    seconds = static_cast<double>(ClockMillis() - startMillis) * 0.001;
  }
  return seconds;
}

void PrintSeconds(double seconds) {
  const double hours = seconds * 0.0002777777777777778;
  if (seconds >= 3600) {
    ConsolePrintf("%0.0f seconds  ( %0.3f hours )\n", seconds, hours);
  } else {
    ConsolePrintf("%0.3f seconds  ( %0.3f hours )\n", seconds, hours);
  }
}

void PrintElapsed() {
  ProgressClear();
  ConsoleWrite("Time:    ");
  PrintSeconds(ElapsedSeconds(gProgress.startMillis, gProgress.startSeconds));
}

}  // namespace zx
