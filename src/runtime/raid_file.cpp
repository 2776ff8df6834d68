// Striping of one word array over the swap disks. Each disk holds one contiguous region of
// S = ceil(words / disks) words, so any word range maps to a run of consecutive files, and a
// transfer moves every touched region at once, one thread per disk.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <new>
#include <type_traits>

#include "runtime/platform.hpp"
#include "runtime/swap_file.hpp"
#include "runtime/threads.hpp"
#include "shell/fatal.hpp"

namespace zx {
namespace {

constexpr uint64_t kBaseNameBytes = 24;  // "ztx_" + 16 hex digits + ".sf" + terminator

// Moves words [firstWord, firstWord + words) of the array; a const buffer is a write.
template <typename Word>
void RaidTransfer(RaidFile& raid, uint64_t firstWord, Word* buffer, uint64_t words) {
  if (words == 0) return;
  const uint64_t perFile = raid.wordsPerFile;
  // The last file is sized like the others, so words up to diskCount·S are addressable. Past
  // them a part would index beyond the file array; the check costs nothing beside disk I/O.
  if (firstWord + words > perFile * raid.diskCount) {
    FatalAssertion(kImpossibleResult, "Swap File", "Transfer beyond the end of the striped array.");
  }
  const uint64_t firstFile = firstWord / perFile;
  const uint64_t lastFile = (firstWord + words - 1) / perFile;
  ForkFlat(static_cast<uint32_t>(lastFile - firstFile + 1), [&](uint32_t part) -> uint32_t {
    const uint64_t file = firstFile + part;
    const uint64_t low = std::max(firstWord, file * perFile);
    const uint64_t high = std::min(firstWord + words, (file + 1) * perFile);
    Word* at = buffer + (low - firstWord);
    if constexpr (std::is_const_v<Word>) {
      SwapFileWrite(raid.files[file], low - file * perFile, at, high - low);
    } else {
      SwapFileRead(raid.files[file], low - file * perFile, at, high - low);
    }
    return 0;
  });
}

std::atomic<uint64_t> gRaidFilesCreated{0};
std::atomic<uint32_t> gNameCounter{0};

void NextBaseName(char* baseName) {
  std::snprintf(baseName, kBaseNameBytes, "ztx_%08x%08x.sf", static_cast<uint32_t>(getpid()),
                gNameCounter.fetch_add(1));
}

// A name taken on disk j by a file this RaidFile created on an earlier disk means that two disks
// are one directory: no name can ever succeed there.
bool SameFileAsEarlierDisk(const RaidFile& raid, uint64_t j, const std::string& path) {
  uint64_t device = 0;
  uint64_t inode = 0;
  if (!FileIdentity(path.c_str(), &device, &inode)) return false;
  for (uint64_t i = 0; i < j; ++i) {
    uint64_t earlierDevice = 0;
    uint64_t earlierInode = 0;
    if (FileIdentity(raid.files[i].path, &earlierDevice, &earlierInode) &&
        earlierDevice == device && earlierInode == inode) {
      return true;
    }
  }
  return false;
}

}  // namespace

uint64_t RaidFilesCreated() { return gRaidFilesCreated.load(); }

void RaidFileCreate(AllocationHeap* heap, RaidFile& raid, const DiskList* disks,
                    uint64_t totalWords) {
  gRaidFilesCreated.fetch_add(1);
  raid = RaidFile{};
  char* baseName = static_cast<char*>(AllocBytes(heap, kBaseNameBytes));
  if (baseName == nullptr) FatalAllocation();
  raid.baseName = baseName;

  const bool defaultDisk = disks == nullptr || disks->paths.empty();
  const uint64_t diskCount = defaultDisk ? 1 : disks->paths.size();
  raid.totalWords = totalWords;
  raid.diskCount = diskCount;
  raid.wordsPerFile = (totalWords + diskCount - 1) / diskCount;
  raid.files = static_cast<SwapFile*>(AllocBytes(heap, diskCount * sizeof(SwapFile)));
  if (raid.files == nullptr) FatalExit("Raid File Error: Unable to allocate raidfile.\n");
  for (uint64_t j = 0; j < diskCount; ++j) new (&raid.files[j]) SwapFile{};
  // All disks share one name; a name taken on any of them starts the set again with the next.
  for (;;) {
    NextBaseName(baseName);
    uint64_t made = 0;
    std::string path;
    for (; made < diskCount; ++made) {
      path = SwapFilePath(defaultDisk ? std::string() : disks->paths[made], baseName);
      if (!SwapFileCreateNew(heap, raid.files[made], path, raid.wordsPerFile)) break;
    }
    if (made == diskCount) return;
    const bool repeatedDisk = SameFileAsEarlierDisk(raid, made, path);
    for (uint64_t j = 0; j < made; ++j) SwapFileClose(raid.files[j]);
    if (repeatedDisk) {
      ReportAndAwaitRetry(kSwapCreateFailed, EEXIST, "");
    }
  }
}

void RaidFileCreateFrom(AllocationHeap* heap, RaidFile& raid, const DiskList* disks,
                        const uint32_t* buffer, uint64_t totalWords) {
  RaidFileCreate(heap, raid, disks, totalWords);
  RaidTransfer(raid, 0, buffer, totalWords);
}

void RaidFileReadAll(RaidFile& raid, uint32_t* buffer, uint64_t words) {
  RaidTransfer(raid, 0, buffer, words);
}

void RaidFileWritePrefix(RaidFile& raid, const uint32_t* buffer, uint64_t words) {
  RaidTransfer(raid, 0, buffer, words);
}

void RaidFileReadRange(RaidFile& raid, uint64_t firstWord, uint32_t* buffer, uint64_t words) {
  RaidTransfer(raid, firstWord, buffer, words);
}

void RaidFileWriteRange(RaidFile& raid, uint64_t firstWord, const uint32_t* buffer,
                        uint64_t words) {
  RaidTransfer(raid, firstWord, buffer, words);
}

void RaidFileDestroy(RaidFile& raid) {
  if (raid.files != nullptr) {
    for (uint64_t j = 0; j < raid.diskCount; ++j) SwapFileClose(raid.files[j]);
    Release(raid.files);
  }
  Release(raid.baseName);
  raid = RaidFile{};
}

}  // namespace zx
