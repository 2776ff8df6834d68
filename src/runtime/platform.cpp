// POSIX files for the swap and output layers. Transfers loop because the kernel moves at most
// about 2 GiB per call and may stop short on signals; only a call that moves nothing is an error.
#include "runtime/platform.hpp"

#include <fcntl.h>
#include <sys/file.h>
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

int FileOpenExclusive(const char* path) {
  const int descriptor = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (descriptor < 0) return -1;
  // A second disk naming the same directory would otherwise stripe two parts into one file.
  if (flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    close(descriptor);
    errno = EWOULDBLOCK;
    return -1;
  }
  return descriptor;
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
