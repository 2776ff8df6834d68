// A disk-swapping run of Pi in a process of its own, for the tests that stop runs from outside.
// Standard input holds "<digits> <stage> <signal>". stage: "none" runs to the end; "series" sends
// the signal at the third write to a swap file before any digit file, "conversion" at the first
// swap write after the hexadecimal file, "write" when the decimal digits have gone to their
// temporary file. The swap disk is the current directory, and address randomisation is off, so
// that runs started together lay out their memory alike.
#include <signal.h>
#include <sys/personality.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>

#include "drivers/constant_runs.hpp"
#include "drivers/run_driver.hpp"
#include "menus/dialogues.hpp"
#include "multiply/out_of_core/swap_memory.hpp"
#include "runtime/live_files.hpp"

namespace {

std::string gStage;
int gSignal = 0;
std::atomic<int> gSwapWrites{0};
std::atomic<int> gDigitFiles{0};
std::atomic<bool> gStopped{false};

bool EndsWith(const char* text, const char* tail) {
  const size_t length = std::strlen(text);
  const size_t tailLength = std::strlen(tail);
  return length >= tailLength && std::strcmp(text + length - tailLength, tail) == 0;
}

void OnFileEvent(const char* path, bool written) {
  bool stop = false;
  if (EndsWith(path, ".part")) {
    if (!written) ++gDigitFiles;
    stop = written && gStage == "write" && gDigitFiles == 2;
  } else if (EndsWith(path, ".sf") && written) {
    const int swapWrites = ++gSwapWrites;
    stop = (gStage == "series" && gDigitFiles == 0 && swapWrites == 3) ||
           (gStage == "conversion" && gDigitFiles == 1);
  }
  // One signal only: a second one would cut the removal short.
  if (stop && !gStopped.exchange(true)) kill(getpid(), gSignal);
}

}  // namespace

int main(int, char** argv) {
  if ((personality(0xffffffff) & ADDR_NO_RANDOMIZE) == 0 &&
      personality(ADDR_NO_RANDOMIZE) != -1) {
    execv("/proc/self/exe", argv);
  }
  char stage[16] = {};
  unsigned long long digits = 0;
  if (std::scanf("%llu %15s %d", &digits, stage, &gSignal) != 3) return 2;
  gStage = stage;
  zx::LiveFilesSetTestHook(OnFileEvent);

  zx::RunSettings settings;
  settings.decimalDigits = digits;
  settings.hexDigits = zx::HexDigitsFor(settings.decimalDigits);
  settings.precisionWords = zx::WordsFor(settings.hexDigits);
  settings.mode = zx::kModeDiskSwapping;
  settings.memoryBytes = zx::SwapModeMemoryBytes(settings.decimalDigits, 0) + 0x100000;
  zx::DiskList disks;
  zx::AddDiskPath(disks, "");
  settings.disks = &disks;
  zx::RunCompute(zx::kPiRun, 0, settings);
  return 0;
}
