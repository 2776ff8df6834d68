// Worker threads: recursive fork/join with no pool and no queue. A task with budget k starts one
// thread for one half (budget k − 1), does the other half itself and joins; a heap in use is split
// first so that each half draws from its own child. A thread that cannot be started runs its half
// inline after a warning, so the result never depends on how many threads were had.
#pragma once

#include <cstdint>
#include <functional>
#include <utility>

#include "runtime/allocation_heap.hpp"

namespace zx {

// One started thread; its body returns an exit code, 0 meaning success.
struct WorkerThread {
  void* handle = nullptr;  // owned by the runtime until JoinThread
};

// Starts body on a new thread. False when the thread could not be started (the caller then runs
// body itself). Does not print.
bool StartThread(WorkerThread& thread, std::function<uint32_t()> body);
// Waits; a non-zero exit code ends the process with that code after
// "Thread Error: Thread ended with a non-zero return value: %d" and a pause.
void JoinThread(WorkerThread& thread);

// Raises the calling thread's priority above normal, best effort; the warning
// "Warning: Unable to set thread priority.\n" is printed once per run at most.
void RaiseThreadPriority();

// Runs first(child 0) on a new thread and second(child 1) on this one, then joins. With a heap the
// heap is split for threads and joined afterwards; with a null heap both halves get null. If the
// thread cannot be started, "Warning: Unable to create thread.\n" is printed and first runs here,
// before second. firstShare is the part of the free space that first's heap gets.
void ForkJoin(AllocationHeap* heap, uint32_t splitThreads,
              const std::function<uint32_t(AllocationHeap*)>& first,
              const std::function<uint32_t(AllocationHeap*)>& second, double firstShare = 0.5);

// How many ForkJoin levels the calling thread runs below: 0 on the main thread, one more in each
// half of a ForkJoin.
uint32_t ForkLevels();
// Whether a fork here stays within the threads the run was given (2^k, its multiply-thread cap):
// a recursion that fans out deeper runs its lower halves one after the other instead of
// time-slicing them on one core.
bool ForkWithinRun();

// Runs parts 0..count−1, one thread each but the last, which runs on the calling thread; started
// threads get raised priority and are joined in order.
void ForkFlat(uint32_t count, const std::function<uint32_t(uint32_t part)>& body);

// Work shared with one partner thread when it is free: the caller runs steps one after another,
// each cut into chunks that the caller and the partner, if it comes, claim one at a time. The
// caller never waits for the partner to arrive, only for chunks it has claimed to finish, so a
// slow wake-up costs nothing and the result never depends on who ran what. The partner is started
// on first use and kept; when it cannot be started, or another caller has it, every chunk runs on
// the calling thread. Bodies must not fail.
struct SharedSteps {
  void* partner = nullptr;  // null: the caller runs everything
  uint32_t step = 0;
};
SharedSteps BeginSharedSteps();
void RunSharedStep(SharedSteps& steps, uint32_t chunks,
                   const std::function<void(uint32_t chunk)>& body);
void EndSharedSteps(SharedSteps& steps);

// Test hooks: make the next failCount thread starts fail, and count threads started so far.
void FailNextThreadStarts(uint32_t failCount);
uint64_t ThreadsStarted();

}  // namespace zx
