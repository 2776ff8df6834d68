// What the digit file tools share: opening a digit file, its size, and the block comparison that
// File Compare and the verify runs use. Files are read in 10 MiB blocks; a comparison checks a
// whole block with memcmp and walks bytes only inside the stretch that holds the first difference.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace zx {

// Large enough that the per-call cost of a read vanishes, small enough to stay out of the way of
// a finished run's heap.
inline constexpr size_t kDigitBlockBytes = 10485760;

// Opens a file with a C stdio mode; nullptr on failure. Directories are refused for reading: stdio
// opens them, but every read then fails, which would pass for an empty file.
FILE* OpenDigitFile(const std::string& path, const char* mode);

// Size of the file at path in bytes; "Path does not exist.\n", pause and exit code 1 when there is
// no such file.
uint64_t FileSizeOf(const std::string& path);

// Counts the bytes two open files share from their current positions, showing "Bytes Matched: "
// on the progress line (cleared by the caller). Stops at the first difference or when either file
// ends. Two 10 MiB buffers; "Unable to allocate buffers\n" and exit code 1 without them.
uint64_t CountMatchingBytes(FILE* first, FILE* second);

// The verify runs' comparison: prints "Matching Digits:   " and the digits after the point that
// both files share, and returns them: the matching bytes less the leading digit and the point
// (0 when fewer than 2 bytes match). reservedCount is accepted for the callers' sake and unused;
// they pass 2.
uint64_t CompareDigitFiles(const std::string& firstPath, const std::string& secondPath,
                           uint32_t reservedCount);

}  // namespace zx
