// POSIX files for the swap and output layers. Transfers loop because the kernel moves at most
// about 2 GiB per call and may stop short on signals; only a call that moves nothing is an error.
#include "runtime/platform.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "shell/console.hpp"
#include "shell/console_input.hpp"
#include "shell/fatal.hpp"

namespace zx {
namespace {

// The kernel's own cap on one read or write; asking for more only returns less.
constexpr uint64_t kMaxCallBytes = 0x7ffff000;

template <typename Call>
bool TransferLoop(uint64_t sizeBytes, Call call) {
  uint64_t doneBytes = 0;
  while (doneBytes < sizeBytes) {
    const ssize_t moved = call(doneBytes, std::min(sizeBytes - doneBytes, kMaxCallBytes));
    if (moved < 0 && errno == EINTR) continue;
    if (moved <= 0) {
      if (moved == 0) errno = EIO;
      return false;
    }
    doneBytes += static_cast<uint64_t>(moved);
  }
  return true;
}

}  // namespace

int FileCreateNew(const char* path) {
  return open(path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
}

int FileOpenForWriting(const char* path) {
  return open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
}

bool FileReadAt(int descriptor, uint64_t offsetBytes, void* buffer, uint64_t sizeBytes) {
  char* bytes = static_cast<char*>(buffer);
  return TransferLoop(sizeBytes, [&](uint64_t done, uint64_t count) {
    return pread(descriptor, bytes + done, count, static_cast<off_t>(offsetBytes + done));
  });
}

bool FileWriteAt(int descriptor, uint64_t offsetBytes, const void* buffer, uint64_t sizeBytes) {
  const char* bytes = static_cast<const char*>(buffer);
  return TransferLoop(sizeBytes, [&](uint64_t done, uint64_t count) {
    return pwrite(descriptor, bytes + done, count, static_cast<off_t>(offsetBytes + done));
  });
}

bool FileWriteAll(int descriptor, const void* buffer, uint64_t sizeBytes) {
  const char* bytes = static_cast<const char*>(buffer);
  return TransferLoop(sizeBytes, [&](uint64_t done, uint64_t count) {
    return write(descriptor, bytes + done, count);
  });
}

bool FileCurrentOffset(int descriptor, uint64_t* offsetBytes) {
  const off_t offset = lseek(descriptor, 0, SEEK_CUR);
  if (offset < 0) return false;
  *offsetBytes = static_cast<uint64_t>(offset);
  return true;
}

bool FileSetLength(int descriptor, uint64_t sizeBytes) {
  int result = 0;
  do {
    result = ftruncate(descriptor, static_cast<off_t>(sizeBytes));
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

bool FileSetSize(int descriptor, uint64_t sizeBytes) {
  if (!FileSetLength(descriptor, sizeBytes)) return false;
#if defined(__linux__)
  if (sizeBytes == 0) return true;
  int result = 0;
  do {
    result = fallocate(descriptor, 0, 0, static_cast<off_t>(sizeBytes));
  } while (result != 0 && errno == EINTR);
  // File systems without reservation simply keep the sparse length.
  if (result != 0 && errno != EOPNOTSUPP && errno != ENOSYS && errno != EINVAL) return false;
#endif
  return true;
}

bool FileSync(int descriptor) {
  int result = 0;
  do {
    result = fsync(descriptor);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

bool FileClose(int descriptor) {
  return close(descriptor) == 0;
}

bool FileRemove(const char* path) {
  return unlink(path) == 0;
}

bool FileRename(const char* source, const char* target) {
  return rename(source, target) == 0;
}

bool IsSpecialFile(const char* path) {
  struct stat info {};
  return stat(path, &info) == 0 && !S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode);
}

bool FileIdentity(const char* path, uint64_t* device, uint64_t* inode) {
  struct stat info {};
  if (stat(path, &info) != 0) return false;
  *device = static_cast<uint64_t>(info.st_dev);
  *inode = static_cast<uint64_t>(info.st_ino);
  return true;
}

const char* DirectoryProblem(const std::string& path) {
  const char* directory = path.empty() ? "." : path.c_str();
  struct stat info {};
  if (stat(directory, &info) != 0) return "does not exist";
  if (!S_ISDIR(info.st_mode)) return "is not a directory";
  // access() answers yes to root everywhere and knows nothing of read-only mounts or special file
  // systems; creating a file is the only test that cannot be wrong.
  const std::string probe =
      (path.empty() ? std::string() : path + "/") + TemporaryNameFor(".ztx-probe");
  const int descriptor = open(probe.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (descriptor < 0) {
    return errno == EEXIST ? nullptr : "cannot be written to";
  }
  close(descriptor);
  unlink(probe.c_str());
  return nullptr;
}

uint64_t DirectoryFreeBytes(const std::string& path) {
  struct statvfs info {};
  if (statvfs(path.empty() ? "." : path.c_str(), &info) != 0) return UINT64_MAX;
  return static_cast<uint64_t>(info.f_bavail) * static_cast<uint64_t>(info.f_frsize);
}

uint64_t PhysicalMemoryBytes() {
  const long pages = sysconf(_SC_PHYS_PAGES);
  const long pageBytes = sysconf(_SC_PAGE_SIZE);
  if (pages <= 0 || pageBytes <= 0) return 0;
  return static_cast<uint64_t>(pages) * static_cast<uint64_t>(pageBytes);
}

std::string TemporaryNameFor(const std::string& path) {
  return path + "." + std::to_string(getpid()) + ".part";
}

std::string SystemErrorText(int errorCode, FileTransfer transfer) {
  switch (errorCode) {
    case EACCES:
    case EPERM:
      return "Access Denied";
    case ENOMEM:
      return "Not Enough Memory";
    case EIO:
      if (transfer == FileTransfer::kWrite) return "Write Fault";
      if (transfer == FileTransfer::kRead) return "Read Fault";
      break;
    default:
      break;
  }
  return std::strerror(errorCode);
}

void PrintSystemError(int errorCode, FileTransfer transfer) {
  ConsolePrintf("Error Code: %d    %s\n", errorCode, SystemErrorText(errorCode, transfer).c_str());
}

void ReportAndAwaitRetry(const char* lead, int errorCode, const char* tail) {
  ConsoleWrite(lead);
  PrintSystemError(errorCode, FileTransfer::kOther);
  ConsoleWrite(tail);
  AwaitRetry();
}

void AwaitRetry() {
  if (!PauseWaits()) {
    Pause();
    ExitProcess(1);
  }
  ConsoleWrite("\nRe-attempting...\n");
  Pause();
  if (ConsoleInputEnded()) EndOfInput();
}

void FatalFileError(const char* lead, int errorCode, FileTransfer transfer) {
  ConsoleWrite(lead);
  PrintSystemError(errorCode, transfer);
  Pause();
  ExitProcess(1);
}

}  // namespace zx
