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

template <typename Body>
void RunInline(const Body& body) {
  Warn("Warning: Unable to create thread.\n");
  CheckExitCode(body());
}

}  // namespace

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
  const auto firstHalf = [&first, firstHeap] { return first(firstHeap); };
  WorkerThread worker;
  const bool started = StartThread(worker, firstHalf);
  if (!started) RunInline(firstHalf);
  const uint32_t secondCode = second(secondHeap);
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

// Waits until `value` moves off `seen`: a short spin first, since the other side usually answers
// within microseconds, then a sleep in the kernel.
void AwaitChange(const std::atomic<uint32_t>& value, uint32_t seen) {
  for (uint32_t spins = 0; spins < 1u << 10; ++spins) {
    if (value.load(std::memory_order_acquire) != seen) return;
#if defined(__x86_64__)
    __builtin_ia32_pause();
#endif
  }
  while (value.load(std::memory_order_acquire) == seen) value.wait(seen, std::memory_order_acquire);
}

// The partner of RunPairTogether: one thread kept for the life of the process, so that a product
// shared by two threads pays a wake-up instead of a thread start. It is never stopped; the process
// ends around it.
struct Partner {
  std::atomic<uint32_t> posted{0};
  std::atomic<uint32_t> finished{0};
  const std::function<uint32_t(uint32_t)>* job = nullptr;
  uint32_t exitCode = 0;
};

std::mutex gPartnerMutex;
Partner* gPartner = nullptr;

void PartnerLoop(Partner* partner) {
  uint32_t seen = 0;
  for (;;) {
    AwaitChange(partner->posted, seen);
    seen = partner->posted.load(std::memory_order_acquire);
    partner->exitCode = (*partner->job)(0);
    partner->finished.store(seen, std::memory_order_release);
    partner->finished.notify_one();
  }
}

// The partner, started on first use; null when no thread can be had (or test hooks make starts
// fail, which only the per-call threads honour).
Partner* PartnerOrNull() {
  if (gPartner != nullptr) return gPartner;
  if (gFailingStarts.load() != 0) return nullptr;
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

// One half on a thread of its own, for callers that find the partner busy.
bool RunPairOnNewThread(const std::function<uint32_t(uint32_t half)>& body) {
  WorkerThread worker;
  if (!StartThread(worker, [&body] { return body(0); })) {
    Warn("Warning: Unable to create thread.\n");
    return false;
  }
  const uint32_t code = body(1);
  JoinThread(worker);
  CheckExitCode(code);
  return true;
}

}  // namespace

bool RunPairTogether(const std::function<uint32_t(uint32_t half)>& body) {
  std::unique_lock<std::mutex> lock(gPartnerMutex, std::try_to_lock);
  Partner* partner = lock.owns_lock() ? PartnerOrNull() : nullptr;
  if (partner == nullptr) return RunPairOnNewThread(body);
  partner->job = &body;
  const uint32_t ticket = partner->posted.load(std::memory_order_relaxed) + 1;
  const uint32_t before = partner->finished.load(std::memory_order_relaxed);
  partner->posted.store(ticket, std::memory_order_release);
  partner->posted.notify_one();
  const uint32_t code = body(1);
  AwaitChange(partner->finished, before);
  CheckExitCode(partner->exitCode);
  CheckExitCode(code);
  return true;
}

void ArriveAndWait(PairBarrier& barrier) {
  const uint32_t generation = barrier.generation.load(std::memory_order_acquire);
  if (barrier.arrived.fetch_add(1, std::memory_order_acq_rel) == 1) {
    barrier.arrived.store(0, std::memory_order_relaxed);
    barrier.generation.store(generation + 1, std::memory_order_release);
    return;
  }
  for (uint32_t spins = 0; barrier.generation.load(std::memory_order_acquire) == generation;
       ++spins) {
    if (spins >= 4096) {
      std::this_thread::yield();
    } else {
#if defined(__x86_64__)
      __builtin_ia32_pause();
#endif
    }
  }
}

void FailNextThreadStarts(uint32_t failCount) {
  gFailingStarts.store(failCount);
}

uint64_t ThreadsStarted() {
  return gStartedThreads.load();
}

}  // namespace zx
