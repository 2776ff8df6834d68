// One scratch file: created and sized with retries, read and written at word offsets, deleted on
// close. Transfers above the chunk size go in chunks with a flush after each full one, so a
// multi-GiB write never leaves more than one chunk in the page cache unaccounted for.
#include "runtime/swap_file.hpp"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <type_traits>

#include "runtime/live_files.hpp"
#include "runtime/platform.hpp"
#include "shell/fatal.hpp"

namespace zx {

uint64_t gSwapChunkBytes = 0x80000000;

namespace {

// Moves words between buffer and file; a const buffer is a write.
template <typename Byte>
void SwapTransfer(SwapFile& file, uint64_t wordOffset, Byte* bytes, uint64_t words) {
  constexpr bool kWriting = std::is_const_v<Byte>;
  constexpr FileTransfer kTransfer = kWriting ? FileTransfer::kWrite : FileTransfer::kRead;
  const char* lead = kWriting ? "Swap File Error: Error writing to swap file.\n\n"
                              : "Swap File Error: Error reading from swap file.\n\n";
  const auto move = [&file](uint64_t offsetBytes, Byte* at, uint64_t sizeBytes) {
    if constexpr (kWriting) {
      return FileWriteAt(file.descriptor, offsetBytes, at, sizeBytes);
    } else {
      return FileReadAt(file.descriptor, offsetBytes, at, sizeBytes);
    }
  };
  // Chunks stay whole words so that file offsets and buffer positions advance together.
  const uint64_t chunkBytes = std::max<uint64_t>(gSwapChunkBytes & ~uint64_t{3}, 4);
  uint64_t offsetBytes = 4 * wordOffset;
  uint64_t leftBytes = 4 * words;
  while (leftBytes > chunkBytes) {
    if (!move(offsetBytes, bytes, chunkBytes)) {
      FatalFileError(kWriting ? "" : lead, errno, kTransfer);
    }
    if (kWriting && !FileSync(file.descriptor)) FatalFileError("", errno, kTransfer);
    offsetBytes += chunkBytes;
    bytes += chunkBytes;
    leftBytes -= chunkBytes;
  }
  if (leftBytes != 0 && !move(offsetBytes, bytes, leftBytes)) {
    FatalFileError(lead, errno, kTransfer);
  }
  if (kWriting) LiveFileWritten(file.liveSlot);
}

}  // namespace

void PrintSystemError(int errorCode) {
  PrintSystemError(errorCode, FileTransfer::kOther);
}

void SwapFileCreate(AllocationHeap* heap, SwapFile& file, const std::string& path, uint64_t words) {
  while (!SwapFileCreateNew(heap, file, path, words)) {
    ReportAndAwaitRetry(kSwapCreateFailed, EEXIST, "");
  }
}

bool SwapFileCreateNew(AllocationHeap* heap, SwapFile& file, const std::string& path,
                       uint64_t words) {
  file.path = DuplicateString(heap, path);
  if (file.path == nullptr) FatalAllocation();
  // Listed before it exists, so there is no moment at which a signal could miss it.
  file.liveSlot = LiveFileAdd(file.path);
  while ((file.descriptor = FileCreateNew(file.path)) < 0) {
    if (errno == EEXIST) {
      LiveFileForget(file.liveSlot);
      Release(file.path);
      file = SwapFile{};
      return false;
    }
    ReportAndAwaitRetry(kSwapCreateFailed, errno, "");
  }
  // Each retry asks for four times the size of the last attempt, as the program always has.
  uint64_t sizeBytes = words;
  for (;;) {
    constexpr uint64_t kLargest = std::numeric_limits<uint64_t>::max() / 4;
    sizeBytes = sizeBytes > kLargest ? std::numeric_limits<uint64_t>::max() : 4 * sizeBytes;
    if (FileSetSize(file.descriptor, sizeBytes)) break;
    ReportAndAwaitRetry("\nSwap File Error: Unable to allocate swap file.\n\n", errno, "\n");
  }
  return true;
}

void SwapFileWrite(SwapFile& file, uint64_t wordOffset, const uint32_t* buffer, uint64_t words) {
  SwapTransfer(file, wordOffset, reinterpret_cast<const char*>(buffer), words);
}

void SwapFileRead(SwapFile& file, uint64_t wordOffset, uint32_t* buffer, uint64_t words) {
  SwapTransfer(file, wordOffset, reinterpret_cast<char*>(buffer), words);
}

void SwapFileClose(SwapFile& file) {
  if (!FileClose(file.descriptor)) FatalExit("Swap File Error: Unable to close swapfile.\n");
  if (!FileRemove(file.path)) FatalExit("Swap File Error: Unable to delete swapfile.\n");
  LiveFileForget(file.liveSlot);
  Release(file.path);
  file = SwapFile{};
}

std::string SwapFilePath(const std::string& diskPath, const char* baseName) {
  std::string path = diskPath;
  if (!path.empty() && path.back() != '/' && path.back() != '\\') path += '/';
  return path + baseName;
}

}  // namespace zx
