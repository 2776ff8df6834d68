// The buffered writer of digit files. Its buffer takes half the heap's free space (at most 2 GiB)
// when the file is opened and goes back at close, so the disk sees few large sequential writes.
// Writers store bytes at buffer[fill] themselves and call OutputFileFlush when the buffer is full.
// The digits go to a temporary name beside the file and take the file's name only when complete,
// so a file under its final name is always whole, whatever stopped the run.
#pragma once

#include <cstdint>
#include <string>

#include "runtime/allocation_heap.hpp"

namespace zx {

struct OutputFile {
  char* name = nullptr;           // the final name, a piece of the heap
  char* temporaryName = nullptr;  // where the digits are written until close, a piece
  int descriptor = -1;
  int liveSlot = -1;              // the temporary file's entry in the list of files to remove
  char* buffer = nullptr;
  uint64_t capacityBytes = 0;
  uint64_t fillBytes = 0;
};

// Creates or empties the temporary file (retrying after a pause while it cannot be created).
void OutputFileOpen(AllocationHeap* heap, OutputFile& file, const std::string& path);
// Writes the buffered bytes and empties the buffer.
void OutputFileFlush(OutputFile& file);
// Appends bytes through the buffer (for short texts such as a lead-in).
void OutputFileAppend(OutputFile& file, const char* bytes, uint64_t count);
// Writes the rest, syncs, and renames the temporary file to the final name.
void OutputFileClose(OutputFile& file);

}  // namespace zx
