// Opening, sizing and comparing digit files. A verify run compares files of billions of digits,
// so the comparison must run at the speed of the disk: whole blocks go through memcmp and only the
// one block that differs is searched further.
#include "tools/digit_files.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "shell/console.hpp"
#include "shell/fatal.hpp"
#include "shell/number_print.hpp"
#include "shell/progress.hpp"

namespace zx {
namespace {

// memcmp stops early only to report a sign, not a position; comparing chunks of this size keeps
// the byte walk that finds the position within one chunk while memcmp still does the bulk.
constexpr size_t kSearchChunkBytes = 4096;

size_t MatchingPrefixBytes(const char* first, const char* second, size_t lengthBytes) {
  size_t offset = 0;
  while (offset < lengthBytes) {
    const size_t chunkBytes = std::min(kSearchChunkBytes, lengthBytes - offset);
    if (std::memcmp(first + offset, second + offset, chunkBytes) != 0) break;
    offset += chunkBytes;
  }
  while (offset < lengthBytes && first[offset] == second[offset]) ++offset;
  return offset;
}

// The files are read once from front to back; telling the kernel so doubles its read-ahead.
void ExpectSequentialReads(FILE* file) {
  posix_fadvise(fileno(file), 0, 0, POSIX_FADV_SEQUENTIAL);
}

size_t ReadBlock(FILE* file, char* buffer) {
  return std::fread(buffer, 1, kDigitBlockBytes, file);
}

}  // namespace

FILE* OpenDigitFile(const std::string& path, const char* mode) {
  FILE* file = std::fopen(path.c_str(), mode);
  if (file == nullptr || mode[0] != 'r') return file;
  struct stat info {};
  if (fstat(fileno(file), &info) != 0 || S_ISDIR(info.st_mode)) {
    std::fclose(file);
    return nullptr;
  }
  ExpectSequentialReads(file);
  return file;
}

uint64_t FileSizeOf(const std::string& path) {
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) FatalExit("Path does not exist.\n");
  return static_cast<uint64_t>(info.st_size);
}

uint64_t CountMatchingBytes(FILE* first, FILE* second) {
  char* firstBlock = static_cast<char*>(std::malloc(kDigitBlockBytes));
  char* secondBlock = static_cast<char*>(std::malloc(kDigitBlockBytes));
  if (firstBlock == nullptr || secondBlock == nullptr) {
    std::free(firstBlock);
    std::free(secondBlock);
    FatalExit("Unable to allocate buffers\n");
  }
  ProgressTimerStart();
  uint64_t matchedBytes = 0;
  size_t firstBytes = ReadBlock(first, firstBlock);
  size_t secondBytes = ReadBlock(second, secondBlock);
  // A block comes back short only where its file ends, so both files stay aligned block by block.
  while (firstBytes > 0 && secondBytes > 0) {
    const size_t commonBytes = std::min(firstBytes, secondBytes);
    const size_t sameBytes = MatchingPrefixBytes(firstBlock, secondBlock, commonBytes);
    matchedBytes += sameBytes;
    if (sameBytes < commonBytes) break;
    ProgressPrintThrottled("Bytes Matched: ", matchedBytes);
    firstBytes = ReadBlock(first, firstBlock);
    secondBytes = ReadBlock(second, secondBlock);
  }
  std::free(firstBlock);
  std::free(secondBlock);
  return matchedBytes;
}

uint64_t CompareDigitFiles(const std::string& firstPath, const std::string& secondPath,
                           uint32_t /*reservedCount*/) {
  FILE* first = OpenDigitFile(firstPath, "rb");
  FILE* second = OpenDigitFile(secondPath, "rb");
  if (first == nullptr || second == nullptr) FatalExit("Unable to open file\n");
  const uint64_t matchedBytes = CountMatchingBytes(first, second);
  std::fclose(first);
  std::fclose(second);
  ProgressClear();
  // The leading digit and the point match in any two files of one constant; they are not digits.
  const uint64_t matchedDigits = matchedBytes < 2 ? 0 : matchedBytes - 2;
  ConsoleWrite("Matching Digits:   ");
  PrintCommas(matchedDigits, 0);
  ConsoleWrite("\n");
  return matchedDigits;
}

}  // namespace zx
