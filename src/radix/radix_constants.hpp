// The numbers that size the decimal conversion and the digit files, in one place. Every count of
// decimal digits or base-10^9 words is derived from a count of 32-bit words through them, so the
// table, the normalisation and the output array agree on how many words a value needs.
#pragma once

#include <cstdint>

#include "shell/number_print.hpp"

namespace zx {

// 32-bit words per decimal digit, 1 / kDigitsPerWord.
inline constexpr double kWordsPerDigit = 0.1038102529652301;
// Base-10^9 words one 32-bit word is worth, kDigitsPerWord / 9.
inline constexpr double kBillionWordsPerWord = 1.070328873471933;

inline constexpr uint32_t kBillion = 1000000000;
inline constexpr uint32_t kDecimalDigitsPerWord = 9;
inline constexpr uint32_t kHexDigitsPerWord = 8;

// Below this many base-10^9 words no table is built: the quadratic basecase is cheaper than one
// division by reciprocal. It also bounds the smallest power, (10^9)^b with b in 8..15.
inline constexpr uint64_t kTableMinBillionWords = 16;
// Numbers shorter than this (in 32-bit words) are never divided, only converted by the basecase
// or handed to the serial split: a fork or a level of progress costs more than they do.
inline constexpr uint64_t kSplitMinWords = 16;
// Levels at the top of the split tree run one at a time with every thread inside the products.
inline constexpr uint32_t kSerialSplitLevels = 2;
// The disk-swapping conversion divides its top three levels with the operands on disk, down to
// numbers of 64 words; below that the pieces are cheaper to hold than to move.
inline constexpr uint32_t kSwapSplitLevels = 3;
inline constexpr uint64_t kSwapSplitMinWords = 64;
// The table holds at most one level per bit of a 64-bit word count.
inline constexpr uint32_t kMaxTableLevels = 64;
// The level index below level 0: the basecase takes over.
inline constexpr uint32_t kNoLevel = 0xFFFFFFFF;

// The radix of a digit file.
enum class DigitRadix { kHex, kDecimal };

// Whole counts derived from word counts truncate, as the sizing rules assume.
inline uint64_t FloorTimes(uint64_t count, double factor) {
  return static_cast<uint64_t>(static_cast<double>(count) * factor);
}

}  // namespace zx
