// The buffered writer of digit files. Its buffer takes half the heap's free space (at most 2 GiB)
// when the file is opened and goes back at close, so the disk sees few large sequential writes.
// Writers store bytes at buffer[fill] themselves and call OutputFileFlush when the buffer is full.
#pragma once

#include <cstdint>
#include <string>

#include "runtime/allocation_heap.hpp"

namespace zx {

struct OutputFile {
  char* name = nullptr;  // a piece of the heap
  int descriptor = -1;
  char* buffer = nullptr;
  uint64_t capacityBytes = 0;
  uint64_t fillBytes = 0;
};

// Creates or empties the file (retrying after a pause while it cannot be created).
void OutputFileOpen(AllocationHeap* heap, OutputFile& file, const std::string& path);
// Writes the buffered bytes and empties the buffer.
void OutputFileFlush(OutputFile& file);
// Appends bytes through the buffer (for short texts such as a lead-in).
void OutputFileAppend(OutputFile& file, const char* bytes, uint64_t count);
void OutputFileClose(OutputFile& file);

}  // namespace zx
