// The text of a digit file: a lead-in that places the point, then exactly the requested number of
// digits, most significant first, "0" once the words run out. The same writer serves both radices:
// a hexadecimal file is the 32-bit words themselves, a decimal file the base-10^9 words of the
// conversion.
#pragma once

#include <cstdint>
#include <string>

#include "radix/radix_constants.hpp"
#include "runtime/output_file.hpp"

namespace zx {

// A number as digit words: value = 0.(words from the top) · radix^pointWords, where radix is 2^32
// or 10^9. The top word is non-zero; no words means the value zero.
struct DigitWords {
  const uint32_t* words = nullptr;
  uint64_t lengthWords = 0;
  int64_t pointWords = 0;  // W, the words before the point; negative below radix^−1
  DigitRadix radix = DigitRadix::kDecimal;
};

// Writes the lead-in and digitCount digits in all into file. The lead-in is "0" for zero (and no
// digits), "0." for W = 0, the top word's digits and "." for W = 1 (those digits count towards
// digitCount), otherwise "<radix>^<W> * 0.". Every 2^20 passes of 16 digits it
// looks at the clock and, more than a second after the last one, rewrites the progress line
// "<label><digits so far>  digits written".
void WriteDigitText(OutputFile& file, const DigitWords& number, uint64_t digitCount,
                    const char* label);

// Opens path, writes the text, closes the file, prints "<label><digitCount>  digits written" and
// returns the seconds since startMillis/startSeconds by the run-time rule.
double WriteDigitFile(AllocationHeap* heap, const std::string& path, const DigitWords& number,
                      uint64_t digitCount, const char* label, int64_t startMillis,
                      int64_t startSeconds);

}  // namespace zx
