// The lines a computation prints between its stages ("Computing: ...", "Finalizing...",
// "Multiplying...  \t( N )", the closing time). A computation that runs inside another one is
// quiet: each helper prints only when told to, so the stages are written once, with the switch.
#pragma once

#include <cstdint>

namespace zx {

struct StageClock {
  int64_t startMillis = 0;
  int64_t startSeconds = 0;
};

// "Computing: <constant>\n\n", the algorithm line, "Summing Series:\n"; restarts the progress
// clock. The returned clock times the whole computation.
StageClock StageBegin(bool show, const char* computingLine, const char* algorithmLine);
// Clears the progress line and prints text; restartTimer also restarts the progress clock (a new
// phase that prints progress of its own).
void StageLine(bool show, const char* text, bool restartTimer = false);
// "Multiplying...  \t( " and the decimal digits of a words-long product, " )".
void StageMultiplying(bool show, uint64_t words);
// label and the time since clock by the run-time rule.
void StageTime(bool show, const char* label, const StageClock& clock);

}  // namespace zx
