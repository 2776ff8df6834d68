// The digit-file writer. The temporary file is emptied at open and cut at the written length at
// close, so a longer file of an earlier run never leaves stale digits behind; close syncs before
// the rename, since the digits are the product and a name must never point at unwritten blocks.
#include "runtime/output_file.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "runtime/live_files.hpp"
#include "runtime/platform.hpp"
#include "shell/fatal.hpp"

namespace zx {
namespace {

// Larger writes gain nothing on any disk and take memory the conversion could use.
constexpr uint64_t kOutputBufferCapBytes = 0x80000000;

constexpr const char* kWriteFailed = "Output File Error: Error writing to output file.\n\n";
constexpr const char* kSizeFailed = "\nOutput File Error: Unable to set file size.\n\n";

}  // namespace

void OutputFileOpen(AllocationHeap* heap, OutputFile& file, const std::string& path) {
  file = OutputFile{};
  file.name = DuplicateString(heap, path);
  if (file.name == nullptr) FatalAllocation();
  // A device or a pipe is written in place: a rename would replace it rather than fill it. The
  // temporary name comes from the general allocator so that the buffer still gets half the heap.
  if (!IsSpecialFile(path.c_str())) {
    file.temporaryName = DuplicateString(nullptr, TemporaryNameFor(path));
    if (file.temporaryName == nullptr) FatalAllocation();
    file.liveSlot = LiveFileAdd(file.temporaryName);
  }
  const char* writtenName = file.temporaryName != nullptr ? file.temporaryName : file.name;
  while ((file.descriptor = FileOpenForWriting(writtenName)) < 0) {
    ReportAndAwaitRetry("\nOutput File Error: Unable to create output file.\n\n", errno, "\n");
  }
  file.capacityBytes = std::min(HeapFreeSpace(heap) / 2, kOutputBufferCapBytes);
  // An empty buffer could never be filled, so it counts as a failed allocation.
  void* buffer = file.capacityBytes == 0 ? nullptr : AllocBytes(heap, file.capacityBytes);
  if (buffer == nullptr) FatalExit("Unable to allocate output buffer.\n");
  file.buffer = static_cast<char*>(buffer);
  if (!FileSetLength(file.descriptor, 0)) FatalFileError(kSizeFailed, errno, FileTransfer::kOther);
  file.fillBytes = 0;
}

void OutputFileFlush(OutputFile& file) {
  if (file.fillBytes == 0) return;
  if (!FileWriteAll(file.descriptor, file.buffer, file.fillBytes)) {
    FatalFileError(kWriteFailed, errno, FileTransfer::kWrite);
  }
  LiveFileWritten(file.liveSlot);
  file.fillBytes = 0;
}

void OutputFileAppend(OutputFile& file, const char* bytes, uint64_t count) {
  while (count != 0) {
    const uint64_t takeBytes = std::min(count, file.capacityBytes - file.fillBytes);
    std::memcpy(file.buffer + file.fillBytes, bytes, takeBytes);
    file.fillBytes += takeBytes;
    bytes += takeBytes;
    count -= takeBytes;
    if (file.fillBytes == file.capacityBytes) OutputFileFlush(file);
  }
}

void OutputFileClose(OutputFile& file) {
  if (file.fillBytes != 0 && !FileWriteAll(file.descriptor, file.buffer, file.fillBytes)) {
    FatalFileError("", errno, FileTransfer::kWrite);
  }
  LiveFileWritten(file.liveSlot);
  uint64_t lengthBytes = 0;
  if (!FileCurrentOffset(file.descriptor, &lengthBytes) ||
      !FileSetLength(file.descriptor, lengthBytes)) {
    FatalFileError(kSizeFailed, errno, FileTransfer::kOther);
  }
  if (!FileSync(file.descriptor)) FatalFileError(kWriteFailed, errno, FileTransfer::kWrite);
  if (!FileClose(file.descriptor)) FatalExit("Output FIle Error: Unable to close output file.\n");
  if (file.temporaryName != nullptr) {
    if (!FileRename(file.temporaryName, file.name)) {
      FatalFileError("\nOutput File Error: Unable to rename output file.\n\n", errno,
                     FileTransfer::kOther);
    }
    LiveFileForget(file.liveSlot);
    Release(file.temporaryName);
  }
  Release(file.name);
  Release(file.buffer);
  file = OutputFile{};
}

}  // namespace zx
