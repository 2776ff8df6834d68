// Striped scratch storage of disk-swapping mode. A RaidFile is one flat array of 32-bit words
// striped over the disks of a DiskList, one SwapFile per disk: word w lives in file w / S at
// offset w mod S, with S = ceil(words / disks). Transfers touching several disks run one thread
// per disk. Creation and sizing never give up (report, pause, retry); seek, read, write, close and
// delete failures are fatal. The files exist only while their RaidFile lives.
#pragma once

#include <cstdint>
#include <string>

#include "runtime/allocation_heap.hpp"
#include "shell/disk_list.hpp"

namespace zx {

struct SwapFile {
  char* path = nullptr;  // a piece of the heap
  int descriptor = -1;
  int liveSlot = -1;  // its entry in the list of files to remove on any way out
};

struct RaidFile {
  // "ztx_" + 16 lowercase hex digits + ".sf", a 24-byte piece: the process id and a counter, each
  // in 8 digits, so runs sharing a directory never meet.
  char* baseName = nullptr;
  uint64_t totalWords = 0;
  uint64_t wordsPerFile = 0;
  uint64_t diskCount = 0;
  SwapFile* files = nullptr;
};

inline constexpr const char* kSwapCreateFailed =
    "\nSwap File Error: Unable to create swap file.\n\n";

// Transfers larger than this many bytes go in chunks of this size, with a flush after each.
extern uint64_t gSwapChunkBytes;

// Creates and sizes a new file; a path that exists already is retried after a pause.
void SwapFileCreate(AllocationHeap* heap, SwapFile& file, const std::string& path, uint64_t words);
// The same, but false (nothing created, nothing held) when the path exists already.
bool SwapFileCreateNew(AllocationHeap* heap, SwapFile& file, const std::string& path,
                       uint64_t words);
void SwapFileWrite(SwapFile& file, uint64_t wordOffset, const uint32_t* buffer, uint64_t words);
void SwapFileRead(SwapFile& file, uint64_t wordOffset, uint32_t* buffer, uint64_t words);
void SwapFileClose(SwapFile& file);

// The disk path, "/" unless it is empty or already ends in "/" or "\\", then the base name.
std::string SwapFilePath(const std::string& diskPath, const char* baseName);

// A null or empty disk list means one disk at the current directory. A name taken on any disk
// (by another run, or by a file left from one) is never reused: the next name is tried.
void RaidFileCreate(AllocationHeap* heap, RaidFile& raid, const DiskList* disks,
                    uint64_t totalWords);
void RaidFileCreateFrom(AllocationHeap* heap, RaidFile& raid, const DiskList* disks,
                        const uint32_t* buffer, uint64_t totalWords);
void RaidFileReadAll(RaidFile& raid, uint32_t* buffer, uint64_t words);
void RaidFileWritePrefix(RaidFile& raid, const uint32_t* buffer, uint64_t words);
void RaidFileReadRange(RaidFile& raid, uint64_t firstWord, uint32_t* buffer, uint64_t words);
void RaidFileWriteRange(RaidFile& raid, uint64_t firstWord, const uint32_t* buffer, uint64_t words);
void RaidFileDestroy(RaidFile& raid);
// RaidFiles created since the program started (tests check that staged work really went to disk).
uint64_t RaidFilesCreated();

// "Error Code: " errno, four blanks, the text for the error, "\n".
void PrintSystemError(int errorCode);

}  // namespace zx
