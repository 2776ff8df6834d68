// The two digit writers of a finished constant: hexadecimal straight from the 32-bit words, and
// decimal after the base conversion. Both write the layout of DigitLeadIn and exactly the requested
// number of digits through an OutputFile, show their progress and return the seconds they took.
#pragma once

#include <cstdint>
#include <string>

#include "bignum/bigfloat.hpp"
#include "radix/conversion_table.hpp"

namespace zx {

// Writes digitCount hexadecimal digits of x (read only; a swapped-out x is read back for the
// write and left swapped out) to path.
double WriteHexDigits(AllocationHeap* heap, BigFloat& x, uint64_t digitCount,
                      const std::string& path);

// Converts x with the table and writes digitCount decimal digits to path. x is consumed (left
// zero). The secondary conversion normalises at one more word, so that the two conversions of a
// compute-and-verify run cut the number differently. threadLevel is the run's k.
double WriteDecimalDigits(AllocationHeap* heap, BigFloat& x, uint64_t digitCount,
                          const std::string& path, ConversionTable& table, bool secondary,
                          uint32_t threadLevel);
// The same file from a disk-swapping run: x may be swapped out and the table on disk (as
// BuildConversionTableSwap leaves it); the top three levels of the split divide on disk.
double WriteDecimalDigitsSwap(AllocationHeap* heap, BigFloat& x, uint64_t digitCount,
                              const std::string& path, ConversionTable& table, bool secondary,
                              uint32_t threadLevel);

// h = (h·2^32 + w) mod (2^61 − 1) over the words from the most significant down, from h = 0.
uint64_t HashWords61(const uint32_t* words, uint64_t lengthWords);
// The binary hash of the last decimal conversion's integer (kept for the run's own checks).
uint64_t LastBinaryHash();

}  // namespace zx
