// Threads behind the fork helpers. A half's non-zero result ends the process with that code
// whether the half ran on a thread or inline, so a failed thread start never changes the outcome.
// Raising priority needs privileges on most Linux systems; its warning is printed once per run
// and only by the forking thread, after the joins.
#include "runtime/threads.hpp"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

#include "runtime/run_record.hpp"
#include "shell/console.hpp"
#include "shell/fatal.hpp"

namespace zx {
namespace {

struct ThreadRecord {
  std::thread thread;
  uint32_t exitCode = 0;
};

std::atomic<uint32_t> gFailingStarts{0};
std::atomic<uint64_t> gStartedThreads{0};
// ForkJoin levels above the calling thread: how many times the work it runs has been halved
// between threads.
thread_local uint32_t tForkLevels = 0;
std::atomic<bool> gPriorityWarned{false};
// Nested forks may warn from worker threads at the same moment.
std::mutex gWarningMutex;

void Warn(const char* text) {
  std::lock_guard<std::mutex> lock(gWarningMutex);
  ConsoleWrite(text);
}

bool TakeInjectedFailure() {
  uint32_t remaining = gFailingStarts.load();
  while (remaining != 0 && !gFailingStarts.compare_exchange_weak(remaining, remaining - 1)) {
  }
  return remaining != 0;
}

// One step above normal, like the disk threads' priority on other systems. Linux keeps a nice
// value per thread, and a thread raises itself once, so repeated calls do not keep climbing.
bool TryRaisePriority() {
#if defined(__linux__)
  thread_local bool raised = false;
  if (raised) return true;
  const auto threadId = static_cast<id_t>(syscall(SYS_gettid));
  errno = 0;
  const int nice = getpriority(PRIO_PROCESS, threadId);
  if (nice == -1 && errno != 0) return false;
  raised = setpriority(PRIO_PROCESS, threadId, nice - 1) == 0;
  return raised;
#else
  return false;
#endif
}

void WarnPriorityOnce() {
  if (!gPriorityWarned.exchange(true)) Warn("Warning: Unable to set thread priority.\n");
}

void CheckExitCode(uint32_t exitCode) {
  if (exitCode == 0) return;
  char message[96];
  std::snprintf(message, sizeof message,
                "Thread Error: Thread ended with a non-zero return value: %d",
                static_cast<int>(exitCode));
  FatalExit(message, static_cast<int>(exitCode));
}

// Ends the partner's spin between shared steps, if it has one going (defined with the partner).
void StopPartnerSpin();

template <typename Body>
void RunInline(const Body& body) {
  Warn("Warning: Unable to create thread.\n");
  CheckExitCode(body());
}

}  // namespace

uint32_t ForkLevels() {
  return tForkLevels;
}

bool ForkWithinRun() {
  return tForkLevels < CurrentRun().multiplyThreadCap;
}

bool StartThread(WorkerThread& thread, std::function<uint32_t()> body) {
  thread.handle = nullptr;
  if (TakeInjectedFailure()) return false;
  auto* record = new (std::nothrow) ThreadRecord;
  if (record == nullptr) return false;
  try {
    record->thread = std::thread([record, work = std::move(body)] { record->exitCode = work(); });
  } catch (const std::exception&) {
    delete record;
    return false;
  }
  thread.handle = record;
  gStartedThreads.fetch_add(1);
  return true;
}

void JoinThread(WorkerThread& thread) {
  auto* record = static_cast<ThreadRecord*>(thread.handle);
  ZX_ASSERT(record != nullptr && record->thread.joinable());
  record->thread.join();
  const uint32_t exitCode = record->exitCode;
  delete record;
  thread.handle = nullptr;
  CheckExitCode(exitCode);
}

void RaiseThreadPriority() {
  if (!TryRaisePriority()) WarnPriorityOnce();
}

void ForkJoin(AllocationHeap* heap, uint32_t splitThreads,
              const std::function<uint32_t(AllocationHeap*)>& first,
              const std::function<uint32_t(AllocationHeap*)>& second, double firstShare) {
  AllocationHeap* firstHeap = nullptr;
  AllocationHeap* secondHeap = nullptr;
  if (heap != nullptr) {
    HeapSplitShare(heap, splitThreads, firstShare);
    firstHeap = HeapChild(heap, 0);
    secondHeap = HeapChild(heap, 1);
  }
  const uint32_t levels = tForkLevels;
  const auto firstHalf = [&first, firstHeap, levels] {
    tForkLevels = levels + 1;
    return first(firstHeap);
  };
  // A spinning partner would hold the core the new thread is about to be placed on for up to
  // 0.1 ms (Pi at 10^6 digits on two threads: halves started 0.15 to 0.5 ms late, 0.03 without).
  StopPartnerSpin();
  WorkerThread worker;
  const bool started = StartThread(worker, firstHalf);
  if (!started) RunInline(firstHalf);
  tForkLevels = levels + 1;
  const uint32_t secondCode = second(secondHeap);
  tForkLevels = levels;
  if (started) JoinThread(worker);
  CheckExitCode(secondCode);
  if (heap != nullptr) HeapJoin(heap);
}

void ForkFlat(uint32_t count, const std::function<uint32_t(uint32_t part)>& body) {
  if (count == 0) return;
  std::vector<WorkerThread> workers(count - 1);
  std::atomic<bool> priorityFailed{false};
  for (uint32_t part = 0; part + 1 < count; ++part) {
    const auto raised = [&body, &priorityFailed, part] {
      if (!TryRaisePriority()) priorityFailed.store(true);
      return body(part);
    };
    if (!StartThread(workers[part], raised)) RunInline([&body, part] { return body(part); });
  }
  const uint32_t lastCode = body(count - 1);
  for (WorkerThread& worker : workers) {
    if (worker.handle != nullptr) JoinThread(worker);
  }
  if (priorityFailed.load()) WarnPriorityOnce();
  CheckExitCode(lastCode);
}

namespace {

// The partner of shared steps: one thread kept for the life of the process, so that a product
// shared by two threads pays no thread start. It is never stopped; the process ends around it.
// The claim word holds the step's number (16 bits), its chunk count (16 bits) and the next chunk
// to hand out (32 bits), so one atomic add both claims a chunk and says which step it belongs to.
struct Partner {
  std::atomic<uint64_t> claim{0};
  std::atomic<uint32_t> finished{0};  // chunks of the current step completed
  std::atomic<uint32_t> posted{0};    // bumped for every piece of shared work, to wake the partner
  const std::function<void(uint32_t chunk)>* body = nullptr;
  std::mutex busy;                 // one caller at a time
  std::atomic<uint32_t> forks{0};  // bumped by every ForkJoin: stop spinning, a thread is coming
};

std::atomic<Partner*> gPartner{nullptr};
std::mutex gPartnerStart;

constexpr uint32_t ClaimIndex(uint64_t claim) {
  return static_cast<uint32_t>(claim);
}
constexpr uint32_t ClaimChunks(uint64_t claim) {
  return static_cast<uint32_t>(claim >> 32) & 0xFFFF;
}

// Claims and runs one chunk of whatever step is current; false when none was left.
bool RunOneChunk(Partner& partner) {
  const uint64_t claim = partner.claim.fetch_add(1, std::memory_order_acq_rel);
  if (ClaimIndex(claim) >= ClaimChunks(claim)) return false;
  (*partner.body)(ClaimIndex(claim));
  partner.finished.fetch_add(1, std::memory_order_acq_rel);
  return true;
}

void SpinPause() {
#if defined(__x86_64__)
  __builtin_ia32_pause();
#endif
}

// Takes chunks while there are any; between pieces of work it spins for a while (the next step
// or product usually follows within microseconds), then sleeps until new work is posted.
void PartnerLoop(Partner* partner) {
  for (;;) {
    const uint32_t posted = partner->posted.load(std::memory_order_acquire);
    const uint32_t forks = partner->forks.load(std::memory_order_relaxed);
    for (uint32_t idle = 0; idle < 1u << 12; ++idle) {
      const uint64_t claim = partner->claim.load(std::memory_order_acquire);
      if (ClaimIndex(claim) < ClaimChunks(claim) && RunOneChunk(*partner)) {
        idle = 0;
      } else if (partner->forks.load(std::memory_order_relaxed) != forks) {
        break;
      } else {
        SpinPause();
      }
    }
    partner->posted.wait(posted, std::memory_order_acquire);
  }
}

// Only while no caller holds the partner: a caller between two of its steps would otherwise find
// it asleep, since only the start of a caller's shared work wakes it.
void StopPartnerSpin() {
  Partner* partner = gPartner.load(std::memory_order_acquire);
  if (partner == nullptr || !partner->busy.try_lock()) return;
  partner->forks.fetch_add(1, std::memory_order_relaxed);
  partner->busy.unlock();
}

// The partner, started on first use; null when no thread can be had (test hooks that make starts
// fail count here too).
Partner* PartnerOrNull() {
  std::lock_guard<std::mutex> lock(gPartnerStart);
  if (gPartner != nullptr) return gPartner;
  if (TakeInjectedFailure()) return nullptr;
  auto* partner = new (std::nothrow) Partner;
  if (partner == nullptr) return nullptr;
  try {
    std::thread(PartnerLoop, partner).detach();
  } catch (const std::exception&) {
    delete partner;
    return nullptr;
  }
  gStartedThreads.fetch_add(1);
  gPartner = partner;
  return partner;
}

}  // namespace

SharedSteps BeginSharedSteps() {
  SharedSteps steps;
  Partner* partner = PartnerOrNull();
  if (partner == nullptr) {
    Warn("Warning: Unable to create thread.\n");
    return steps;
  }
  if (!partner->busy.try_lock()) return steps;
  steps.partner = partner;
  partner->posted.fetch_add(1, std::memory_order_release);
  partner->posted.notify_one();
  return steps;
}

void RunSharedStep(SharedSteps& steps, uint32_t chunks,
                   const std::function<void(uint32_t chunk)>& body) {
  auto* partner = static_cast<Partner*>(steps.partner);
  if (partner == nullptr) {
    for (uint32_t chunk = 0; chunk < chunks; ++chunk) body(chunk);
    return;
  }
  ZX_ASSERT(chunks <= 0xFFFF);
  steps.step = (steps.step + 1) & 0xFFFF;
  partner->body = &body;
  partner->finished.store(0, std::memory_order_relaxed);
  partner->claim.store((uint64_t{steps.step} << 48) | (uint64_t{chunks} << 32),
                       std::memory_order_release);
  while (RunOneChunk(*partner)) {
  }
  // Only chunks the partner has already claimed are waited for, never its arrival.
  while (partner->finished.load(std::memory_order_acquire) != chunks) SpinPause();
}

void EndSharedSteps(SharedSteps& steps) {
  auto* partner = static_cast<Partner*>(steps.partner);
  if (partner == nullptr) return;
  partner->claim.store(0, std::memory_order_release);
  partner->busy.unlock();
  steps.partner = nullptr;
}

void FailNextThreadStarts(uint32_t failCount) {
  gFailingStarts.store(failCount);
}

uint64_t ThreadsStarted() {
  return gStartedThreads.load();
}

}  // namespace zx
