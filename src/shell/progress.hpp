// The single progress line every computation shares: a label stack of at most 62 characters that
// nested phases push onto and pop from, rewritten in place with "\r" and throttled to one line a
// second. Only the coordinating thread touches it, so it carries no lock.
#pragma once

#include <cstdint>

namespace zx {

inline constexpr uint32_t kLabelCapacity = 62;
inline constexpr int kProgressColumns = 63;
inline constexpr int64_t kProgressIntervalMillis = 1000;

struct ProgressLine {
  int64_t startMillis = 0;
  int64_t startSeconds = 0;
  int64_t lastPrintMillis = 0;
  // Counts every push, also those that no longer fit, so that pops stay balanced past 62 levels.
  uint32_t labelLength = 0;
  char label[kLabelCapacity + 1] = {};
  bool printed = false;
};

ProgressLine& Progress();

void ProgressTimerStart();
void LabelPush(char c);
void LabelPushNumber(uint64_t value);
void LabelPushCounter(uint64_t value);
void LabelPushPercent(uint64_t part, uint64_t whole);
char LabelPop();
// Pops until the label is no longer than lengthChars (for phases that unwind to a saved mark).
void LabelPopTo(uint32_t lengthChars);

// A hidden line prints nothing at all, so output that is not a terminal carries no "\r" lines;
// the line is shown unless a caller hides it.
void ProgressSetShown(bool shown);
void ProgressClear();
void ProgressPrint(const char* prefix, uint64_t count);
void ProgressPrintThrottled(const char* prefix, uint64_t count);
// True when a throttled print would print now.
bool ProgressDue();

// Elapsed time by the run-time rule: calendar seconds from an hour up, the millisecond clock below.
double ElapsedSeconds(int64_t startMillis, int64_t startSeconds);
// "%0.3f seconds  ( %0.3f hours )\n" below an hour, "%0.0f ..." from an hour up.
void PrintSeconds(double seconds);
// The "Time:" report of a phase started with ProgressTimerStart.
void PrintElapsed();

}  // namespace zx
