// The operating-system side of the runtime's files: descriptors, positioned transfers, sizing,
// removal, and the texts of system errors. Every call reports failure by returning false with
// errno set, so the swap and output layers decide alone between retrying and stopping.
#pragma once

#include <cstdint>
#include <string>

namespace zx {

// Which kind of transfer failed, so that an I/O error reads as a read or a write fault.
enum class FileTransfer { kOther, kRead, kWrite };

// Creates a new file for reading and writing (0644); -1 with EEXIST when the name is taken, so a
// scratch file is never shared with another run or another disk of this one.
int FileCreateNew(const char* path);
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
// Replaces target by source in one step (same file system); a reader sees the old or the new file.
bool FileRename(const char* source, const char* target);
// True when path names something that exists and is neither a regular file nor a directory.
bool IsSpecialFile(const char* path);
// Identity of the file at path (device and inode), false when it cannot be reached.
bool FileIdentity(const char* path, uint64_t* device, uint64_t* inode);

// Why a directory cannot take the program's files, or nullptr when it can: "does not exist", "is
// not a directory" or "cannot be written to" (a file cannot be created in it), to follow the
// caller's name for it. The empty path is the current directory.
const char* DirectoryProblem(const std::string& path);
// Bytes an unprivileged writer may still store under path; UINT64_MAX when the system cannot say.
uint64_t DirectoryFreeBytes(const std::string& path);
// The machine's physical memory in bytes; 0 when the system cannot say.
uint64_t PhysicalMemoryBytes();
// A name no other process of this machine is using now: "<path>.<pid>.part".
std::string TemporaryNameFor(const std::string& path);

// "Access Denied", "Not Enough Memory", "Write Fault", "Read Fault", else the system's own text.
std::string SystemErrorText(int errorCode, FileTransfer transfer);
// "Error Code: " code, four blanks, the text, "\n".
void PrintSystemError(int errorCode, FileTransfer transfer);

// The creation retry: lead, the error line, tail, then AwaitRetry.
void ReportAndAwaitRetry(const char* lead, int errorCode, const char* tail);
// "\nRe-attempting...\n" and a pause. When input has ended the pause cannot wait for the user, so
// the program ends instead of retrying forever; a scripted run (pauses that do not wait) ends with
// exit code 1 right after the error line.
void AwaitRetry();
// lead, the error line, a pause, exit code 1.
[[noreturn]] void FatalFileError(const char* lead, int errorCode, FileTransfer transfer);

}  // namespace zx
