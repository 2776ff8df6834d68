// The list is a fixed array of path buffers, each guarded by an atomic state, so that adding,
// forgetting and the handler's sweep never take a lock or allocate: a handler may interrupt a
// thread at any point, also in the middle of LiveFileAdd. A slot is claimed (kWriting), filled,
// then published (kLive); the sweep takes only published slots, claiming each (kRemoving) so that
// a concurrent LiveFileForget cannot hand the buffer to a new path while it is being unlinked.
#include "runtime/live_files.hpp"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <mutex>

#include "shell/fatal.hpp"

namespace zx {
namespace {

// A disk path holds at most 1023 characters; the swap name or the temporary suffix follows it.
constexpr size_t kPathBytes = 1280;
// Far above the files of any run: each live RaidFile holds one file per disk.
constexpr int kSlots = 1024;

enum SlotState : int { kFree, kWriting, kLive, kRemoving };

std::atomic<int> gStates[kSlots];
char gPaths[kSlots][kPathBytes];
std::atomic<bool> gStopping{false};
std::once_flag gInstalled;
#if defined(ZX_TEST_HOOKS)
std::atomic<LiveFileHook> gTestHook{nullptr};

void CallTestHook(int slot, bool written) {
  if (const LiveFileHook hook = gTestHook.load()) hook(gPaths[slot], written);
}
#else
void CallTestHook(int, bool) {}
#endif

// Removes the files, then ends the process by the same signal so the caller sees what stopped it.
// The handler runs with its own signal unblocked and reset to the default action (SA_NODEFER,
// SA_RESETHAND), so a second Ctrl-C while files are being removed ends the process at once; any
// other stop signal meanwhile does the same through the flag.
void OnStopSignal(int signalNumber) {
  if (!gStopping.exchange(true)) LiveFilesRemoveAll();
  signal(signalNumber, SIG_DFL);
  raise(signalNumber);
  _exit(128 + signalNumber);
}

void Install() {
  static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free,
                "the signal handler needs lock-free atomics");
  struct sigaction action {};
  action.sa_handler = OnStopSignal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_NODEFER | SA_RESETHAND;
  for (const int signalNumber : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction previous {};
    sigaction(signalNumber, nullptr, &previous);
    // A program started with a signal ignored (nohup) keeps it ignored.
    if (previous.sa_handler != SIG_IGN) sigaction(signalNumber, &action, nullptr);
  }
  SetExitCleanup(LiveFilesRemoveAll);
}

}  // namespace

int LiveFileAdd(const char* path) {
  std::call_once(gInstalled, Install);
  const size_t lengthBytes = std::strlen(path);
  if (lengthBytes >= kPathBytes) FatalExit("File Error: Path is too long.\n");
  for (int slot = 0; slot < kSlots; ++slot) {
    int expected = kFree;
    if (!gStates[slot].compare_exchange_strong(expected, kWriting)) continue;
    std::memcpy(gPaths[slot], path, lengthBytes + 1);
    gStates[slot].store(kLive);
    CallTestHook(slot, false);
    return slot;
  }
  FatalExit("File Error: Too many files open at once.\n");
}

void LiveFileForget(int slot) {
  if (slot < 0 || slot >= kSlots) return;
  int expected = kLive;
  gStates[slot].compare_exchange_strong(expected, kFree);
}

void LiveFilesRemoveAll() {
  for (int slot = 0; slot < kSlots; ++slot) {
    int expected = kLive;
    if (gStates[slot].compare_exchange_strong(expected, kRemoving)) unlink(gPaths[slot]);
  }
}

void LiveFileWritten(int slot) {
  if (slot >= 0 && slot < kSlots) CallTestHook(slot, true);
}

#if defined(ZX_TEST_HOOKS)
void LiveFilesSetTestHook(LiveFileHook hook) { gTestHook.store(hook); }
#endif

int LiveFileCount() {
  int count = 0;
  for (const auto& state : gStates) count += state.load() == kLive;
  return count;
}

}  // namespace zx
