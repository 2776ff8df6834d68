// File Truncate: copies the first bytes of a file into a new one, block by block, so a prefix of
// a file of billions of digits can be cut out with one 10 MiB buffer. The copy is made under a
// temporary name beside the target and renamed when complete, so a failed or interrupted copy
// leaves nothing under the target's name.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "runtime/live_files.hpp"
#include "runtime/platform.hpp"
#include "shell/console.hpp"
#include "shell/console_input.hpp"
#include "shell/fatal.hpp"
#include "shell/number_print.hpp"
#include "shell/progress.hpp"
#include "tools/digit_files.hpp"
#include "tools/digit_tools.hpp"

namespace zx {
namespace {

// Opening the target for writing empties it, so a target that is the source itself (under any
// name) would destroy the digits it was meant to copy.
bool SameFile(const std::string& sourcePath, const std::string& targetPath) {
  struct stat source {};
  struct stat target {};
  return stat(sourcePath.c_str(), &source) == 0 && stat(targetPath.c_str(), &target) == 0 &&
         source.st_dev == target.st_dev && source.st_ino == target.st_ino;
}

void CopyPrefix(FILE* source, FILE* target, uint64_t keepBytes) {
  char* block = static_cast<char*>(std::malloc(kDigitBlockBytes));
  if (block == nullptr) FatalExit("Unable to allocate buffer\n");
  ProgressTimerStart();
  uint64_t copiedBytes = 0;
  while (copiedBytes < keepBytes) {
    const size_t blockBytes =
        static_cast<size_t>(std::min<uint64_t>(keepBytes - copiedBytes, kDigitBlockBytes));
    if (std::fread(block, 1, blockBytes, source) != blockBytes) FatalExit("Unable to read file\n");
    if (std::fwrite(block, 1, blockBytes, target) != blockBytes) {
      FatalExit("Unable to write to file\n");
    }
    copiedBytes += blockBytes;
    ProgressPrintThrottled("Bytes Copied: ", copiedBytes);
  }
  std::free(block);
}

}  // namespace

TruncateTarget TruncateTargetOpen(const std::string& sourcePath, const std::string& targetPath) {
  TruncateTarget target;
  target.path = targetPath;
  target.partPath = TemporaryNameFor(targetPath);
  target.liveSlot = LiveFileAdd(target.partPath.c_str());
  target.file = SameFile(sourcePath, targetPath) ? nullptr : OpenDigitFile(target.partPath, "wb");
  if (target.file == nullptr) FatalExit("Unable to create file\n");
  return target;
}

void TruncateCopy(FILE* source, TruncateTarget target, uint64_t keepBytes) {
  CopyPrefix(source, target.file, keepBytes);
  // The last block may still sit in the stream's buffer; a full disk shows only when it is flushed.
  if (std::fflush(target.file) != 0 || fsync(fileno(target.file)) != 0 ||
      std::fclose(target.file) != 0) {
    FatalExit("Unable to write to file\n");
  }
  if (!FileRename(target.partPath.c_str(), target.path.c_str())) {
    FatalExit("Unable to create file\n");
  }
  LiveFileForget(target.liveSlot);
  std::fclose(source);
  ProgressClear();
  ConsoleWrite("Bytes Copied:\n");
  PrintCommas(keepBytes, 0);
  ConsoleWrite("\n");
}

void FileTruncate() {
  ConsoleWrite(
      "File Truncate:\n\n"
      "Enter the path of the file (including the .txt extension):\n"
      "Path: ");
  const std::string sourcePath = ReadPath();
  ConsoleWrite("Enter the path to place the truncated file (including the .txt extension):\n");
  ConsoleWrite("Path: ");
  const std::string targetPath = ReadPath();
  FILE* source = OpenDigitFile(sourcePath, "rb");
  if (source == nullptr) FatalExit("Unable to open file\n");
  TruncateTarget target = TruncateTargetOpen(sourcePath, targetPath);

  const uint64_t sizeBytes = FileSizeOf(sourcePath);
  ConsoleWrite("\nFile Size: ");
  PrintCommas(sizeBytes, 0);
  ConsoleWrite(" bytes\n\n");
  // No count could be accepted below, so the prompt would repeat for ever.
  if (sizeBytes == 0) FatalExit("The file is empty: there is nothing to keep.\n");
  ConsoleWrite("How many bytes (from the beginning) do you wish to keep?\n");
  const uint64_t keepBytes = PromptNumber("bytes : ", 1, sizeBytes, 64);
  ConsoleWrite("\n");
  TruncateCopy(source, target, keepBytes);
}

}  // namespace zx
