// Every way the runtime stops the program, one row each: what goes wrong, the exit code (or an
// abort), and the message the console shows. Input is at its end, so every pause returns at once
// and every "Re-attempting" ends with the input; "@@" anchors the first line printed.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "runtime/allocation_heap.hpp"
#include "runtime/output_file.hpp"
#include "runtime/swap_file.hpp"
#include "runtime/threads.hpp"
#include "runtime_test_util.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

const std::string kPause = "Press any key to continue . . . \n";
const std::string kBadDescriptor = "Error Code: 9    Bad file descriptor\n" + kPause + "$";
const std::string kAllocationFailure = "Allocation Failure\n" + kPause + "$";
const std::string kCreateSwap = "\nSwap File Error: Unable to create swap file.\n\nError Code: ";

struct Stop {
  const char* name;
  void (*fault)(const std::string& dir);
  int exitCode;  // -1: an abort
  std::string message;
};

void PrintTo(const Stop& stop, std::ostream* os) {
  *os << stop.name;
}

AllocationHeap* NewHeap(uint64_t sizeBytes) {
  auto* heap = new AllocationHeap;
  HeapCreate(nullptr, heap, sizeBytes);
  return heap;
}

// Writes the byte behind a piece of ten bytes, then releases it.
void OverwriteSentinel(AllocationHeap* heap) {
  char* piece = static_cast<char*>(AllocBytes(heap, 10));
  piece[10] = 'x';
  Release(piece);
}

void CreateRaid(const std::string& first, const std::string& second) {
  DiskList disks;
  AddDiskPath(disks, first);
  if (!second.empty()) AddDiskPath(disks, second);
  RaidFile raid;
  RaidFileCreate(NewHeap(1 << 16), raid, &disks, 10);
}

// A one-word swap file broken by `breakIt` before `use`.
template <class Use>
void BrokenSwapFile(const std::string& dir, bool closeIt, uint64_t chunkBytes, Use use) {
  SwapFile file;
  SwapFileCreate(nullptr, file, dir + "/broken.sf", 1);
  if (closeIt) close(file.descriptor);
  if (chunkBytes != 0) gSwapChunkBytes = chunkBytes;
  use(file);
}

void WriteTwoWords(SwapFile& file) {
  uint32_t words[2] = {};
  SwapFileWrite(file, 0, words, 2);
}

void ReadTwoWords(SwapFile& file, uint64_t offset) {
  uint32_t words[2];
  SwapFileRead(file, offset, words, 2);
}

void OutputThenFail(const std::string& dir, bool atClose) {
  OutputFile file;
  OutputFileOpen(NewHeap(4096), file, dir + "/d.txt");
  OutputFileAppend(file, "123", 3);
  close(file.descriptor);
  atClose ? OutputFileClose(file) : OutputFileFlush(file);
}

// A fork whose halves return these results.
void ForkReturning(AllocationHeap* heap, uint32_t budget, uint32_t first, uint32_t second) {
  ForkJoin(
      heap, budget, [first](AllocationHeap*) { return first; },
      [second](AllocationHeap*) { return second; });
}

class RuntimeStopTest : public test::DeathTestBase, public ::testing::WithParamInterface<Stop> {};

TEST_P(RuntimeStopTest, PrintsItsMessage) {
  const Stop& stop = GetParam();
  const std::string dir = test::MakeTempDir("stops");
  const auto run = [&] {
    test::ShowStdoutOnStderr();
    stop.fault(dir);
    std::exit(0);
  };
  if (stop.exitCode < 0) {
    EXPECT_DEATH(run(), stop.message);
  } else {
    EXPECT_EXIT(run(), ::testing::ExitedWithCode(stop.exitCode), stop.message);
  }
  test::RemoveTree(dir);
}

INSTANTIATE_TEST_SUITE_P(
    Stops, RuntimeStopTest,
    ::testing::Values(
        Stop{"HeapSentinel", [](const std::string&) { OverwriteSentinel(NewHeap(1024)); }, -1,
             "FATAL ERROR: Assertion Failure\n\nImpossible Functional Result: Allocation Heap\n\n"
             "The guard byte behind a piece was overwritten."},
        Stop{"GeneralSentinel", [](const std::string&) { OverwriteSentinel(nullptr); }, -1,
             "The guard byte behind a piece was overwritten."},
        Stop{"HeapTableOutOfStep",
             [](const std::string&) {
               AllocationHeap* heap = NewHeap(1024);
               AllocBytes(heap, 10);
               reinterpret_cast<HeapEntry*>(heap->tableLimit)->sizeBytes += 8;
               HeapFreeSpace(heap);
             },
             -1,
             "Heap Table Dump:\n(.|\n)*FATAL ERROR: Assertion Failure\n\nImpossible Functional "
             "Result: Allocation Heap\n\nOut of sync..."},
        Stop{"NoHeap", [](const std::string&) { HeapFreeSpace(nullptr); }, 1,
             "@@\nAllocation Heap required for this function.\n" + kPause + "$"},
        Stop{"SplitOfATinyHeap", [](const std::string&) { HeapSplit(NewHeap(256), 1); }, 1,
             "@@" + kAllocationFailure},
        Stop{"ChildHeapTooLarge",
             [](const std::string&) {
               AllocationHeap child;
               HeapCreate(NewHeap(1024), &child, 1024);
             },
             1, "@@\n" + kAllocationFailure},
        // The parent keeps a small reserve for the children's rows; a child with many live pieces
        // while its sibling fills its own area overflows it.
        Stop{"MergeIntoAFullParentTable",
             [](const std::string&) {
               AllocationHeap* heap = NewHeap(64 * 1024);
               HeapSplit(heap, 1);
               for (int i = 0; i < 10; ++i) AllocBytes(HeapChild(heap, 0), 8);
               AllocationHeap* right = HeapChild(heap, 1);
               AllocBytes(right, HeapFreeSpace(right) - 16 - 56);
               HeapJoin(heap);
             },
             1, "@@Allocation Heap: Merging Failed\n" + kPause + "$"},
        Stop{"SwapDiskIsAFile",
             [](const std::string& dir) {
               test::WriteFile(dir + "/plain", "x");
               test::FeedStdin("ab");
               CreateRaid(dir + "/plain", "");
             },
             1,
             "@@(" + kCreateSwap + "20    Not a directory\n\nRe-attempting...\n" + kPause +
                 "){3}\n\nInput has ended.\n$"},
        // Two disks naming one directory would stripe two regions into one file.
        Stop{"TwoDisksOneDirectory", [](const std::string& dir) { CreateRaid(dir, dir + "/"); }, 1,
             "@@" + kCreateSwap + "17    File exists\n\nRe-attempting...\n"},
        Stop{"SwapRead",
             [](const std::string& dir) {
               BrokenSwapFile(dir, true, 0, [](SwapFile& f) { ReadTwoWords(f, 0); });
             },
             1, "@@Swap File Error: Error reading from swap file.\n\n" + kBadDescriptor},
        Stop{"SwapWrite",
             [](const std::string& dir) { BrokenSwapFile(dir, true, 0, WriteTwoWords); }, 1,
             "@@Swap File Error: Error writing to swap file.\n\n" + kBadDescriptor},
        // One chunk is one call, so the failure is the last piece's.
        Stop{"SwapWriteOfOneChunk",
             [](const std::string& dir) { BrokenSwapFile(dir, true, 8, WriteTwoWords); }, 1,
             "@@Swap File Error: Error writing to swap file.\n\n" + kBadDescriptor},
        Stop{"SwapReadPastTheEnd",
             [](const std::string& dir) {
               BrokenSwapFile(dir, false, 0, [](SwapFile& f) { ReadTwoWords(f, 4); });
             },
             1,
             "@@Swap File Error: Error reading from swap file.\n\nError Code: 5    Read Fault\n" +
                 kPause + "$"},
        Stop{"SwapClose",
             [](const std::string& dir) { BrokenSwapFile(dir, true, 0, SwapFileClose); }, 1,
             "@@Swap File Error: Unable to close swapfile.\n" + kPause + "$"},
        Stop{"SwapDelete",
             [](const std::string& dir) {
               BrokenSwapFile(dir, false, 0, [](SwapFile& f) {
                 unlink(f.path);
                 SwapFileClose(f);
               });
             },
             1, "@@Swap File Error: Unable to delete swapfile.\n" + kPause + "$"},
        // The name fits; half of the 64 bytes left cannot hold a piece.
        Stop{"OutputBufferTooSmall",
             [](const std::string& dir) {
               const std::string path = dir + "/b.txt";
               OutputFile file;
               OutputFileOpen(NewHeap((path.size() + 1 + 49 + 7) / 8 * 8 + 16 + 64), file, path);
             },
             1, "@@Unable to allocate output buffer.\n" + kPause + "$"},
        // A device has no length to set.
        Stop{"OutputToADevice",
             [](const std::string&) {
               OutputFile file;
               OutputFileOpen(NewHeap(4096), file, "/dev/null");
             },
             1,
             "@@\nOutput File Error: Unable to set file size.\n\nError Code: 22    Invalid "
             "argument\n" +
                 kPause + "$"},
        Stop{"OutputWrite", [](const std::string& dir) { OutputThenFail(dir, false); }, 1,
             "@@Output File Error: Error writing to output file.\n\n" + kBadDescriptor},
        Stop{"OutputClose", [](const std::string& dir) { OutputThenFail(dir, true); }, 1,
             "@@" + kBadDescriptor},
        Stop{"FirstHalfFails", [](const std::string&) { ForkReturning(nullptr, 0, 5, 0); }, 5,
             "@@Thread Error: Thread ended with a non-zero return value: 5Press any key to "
             "continue . . . \n$"},
        Stop{"SecondHalfFailsOnAThread",
             [](const std::string&) { ForkReturning(NewHeap(1 << 16), 1, 0, 6); }, 6,
             "@@Thread Error: Thread ended with a non-zero return value: 6Press"},
        Stop{"HalfFailsAfterAFailedStart",
             [](const std::string&) {
               FailNextThreadStarts(1);
               ForkReturning(nullptr, 0, 7, 0);
             },
             7,
             "@@Warning: Unable to create thread.\nThread Error: Thread ended with a non-zero "
             "return value: 7"},
        Stop{"FlatPartFails",
             [](const std::
                    string&) { ForkFlat(3, [](uint32_t part) { return part == 1 ? 9u : 0u; }); },
             9,
             "@@(Warning: Unable to set thread priority.\n)?Thread Error: Thread ended with a "
             "non-zero return value: 9Press"}),
    [](const ::testing::TestParamInfo<Stop>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace zx
