// The run-settings dialogues every constant's menu goes through, in this order: digits (with the
// thread exponent), memory mode, and for disk swapping the disks.
#pragma once

#include <cstdint>
#include <string>

#include "shell/disk_list.hpp"

namespace zx {

inline constexpr uint64_t kMinWords = 2;
inline constexpr uint64_t kMaxWords = 3220714036;  // 0xBFF83234
inline constexpr uint32_t kMaxThreadExponent = 6;
inline constexpr uint64_t kSwapModeMinDigits = 5000000;
inline constexpr uint64_t kRamModeMaxDigits = 3220714136;  // 0xBFF83298

inline constexpr uint32_t kModeRamOnly = 1;
inline constexpr uint32_t kModeDiskSwapping = 2;

// Bytes of memory that disk-swapping mode needs for (decimal digits, thread exponent).
using SwapMemoryFn = uint64_t (*)(uint64_t decimalDigits, uint32_t threadExponent);

struct DigitSettings {
  uint64_t decimalDigits = 0;
  uint64_t hexDigits = 0;
  uint64_t words = 0;
  uint32_t threadExponent = 0;
};

// The accepted range of decimal digits: [20, 31,025,009,034].
uint64_t MinDecimalDigits();
uint64_t MaxDecimalDigits();
uint64_t HexDigitsFor(uint64_t decimalDigits);
uint64_t WordsFor(uint64_t hexDigits);

DigitSettings ReadDigits();
uint32_t ReadThreadingMode();
// Shows the modes that suit decimalDigits with their memory; *memoryBytes becomes the swap
// estimate when mode 2 is chosen. Says so when Ram Only needs more than the physical memory, and
// ends the program (exit code 1) when no mode suits.
uint32_t ReadMode(uint64_t decimalDigits, uint32_t threadExponent, uint64_t* memoryBytes,
                  SwapMemoryFn swapBytes);
// Asks for each path until it names a usable directory that is not already in the list.
void ReadDisks(DiskList& disks);
// Why path cannot be one more disk of disks, or nullptr when it can: DirectoryProblem's texts, or
// "is already in the list" when it is the directory of an earlier disk.
const char* DiskPathProblem(const DiskList& disks, const std::string& path);

}  // namespace zx
