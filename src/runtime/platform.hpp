// The operating-system side of the runtime's files: descriptors, positioned transfers, sizing,
// removal, and the texts of system errors. Every call reports failure by returning false with
// errno set, so the swap and output layers decide alone between retrying and stopping.
#pragma once

#include <cstdint>
#include <string>

namespace zx {

// Which kind of transfer failed, so that an I/O error reads as a read or a write fault.
enum class FileTransfer { kOther, kRead, kWrite };

// Open for reading and writing (created 0644 if missing, contents kept) and locked against a
// second opener, as scratch files must never be shared; -1 on failure.
int FileOpenExclusive(const char* path);
// Open for writing (created if missing, contents kept); -1 on failure.
int FileOpenForWriting(const char* path);

// Whole transfers at a byte offset; short transfers are continued, a transfer that moves nothing
// fails (with EIO when the system gave no error).
bool FileReadAt(int descriptor, uint64_t offsetBytes, void* buffer, uint64_t sizeBytes);
bool FileWriteAt(int descriptor, uint64_t offsetBytes, const void* buffer, uint64_t sizeBytes);
// Appends at the current position.
bool FileWriteAll(int descriptor, const void* buffer, uint64_t sizeBytes);
bool FileCurrentOffset(int descriptor, uint64_t* offsetBytes);

// Sets the length and reserves its blocks where the file system can, so a full disk shows at
// sizing time (where it can be retried) rather than in the middle of a computation.
bool FileSetSize(int descriptor, uint64_t sizeBytes);
bool FileSetLength(int descriptor, uint64_t sizeBytes);  // length only, no reservation
bool FileSync(int descriptor);
bool FileClose(int descriptor);
bool FileRemove(const char* path);

// "Access Denied", "Not Enough Memory", "Write Fault", "Read Fault", else the system's own text.
std::string SystemErrorText(int errorCode, FileTransfer transfer);
// "Error Code: " code, four blanks, the text, "\n".
void PrintSystemError(int errorCode, FileTransfer transfer);

// The creation retry: lead, the error line, tail, "\nRe-attempting...\n", a pause. When input has
// ended the pause cannot wait for the user, so the program ends instead of retrying forever.
void ReportAndAwaitRetry(const char* lead, int errorCode, const char* tail);
// lead, the error line, a pause, exit code 1.
[[noreturn]] void FatalFileError(const char* lead, int errorCode, FileTransfer transfer);

}  // namespace zx
