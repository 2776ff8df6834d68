// Number and byte-size printers. Each number printer returns the characters it printed so that
// callers can pad columns; sizes truncate rather than round, so 1000 bytes read as 0.97 KB.
#pragma once

#include <cstdint>
#include <string>

namespace zx {

// Decimal digits one 32-bit word holds, 32·log10(2): every digit count shown for a word count.
inline constexpr double kDigitsPerWord = 9.632959861247397;

int PrintU32(uint32_t value);
int PrintU64(uint64_t value);
// Thousands separated by ",", right-aligned to at least widthChars (0: no padding).
int PrintCommas(uint64_t value, int widthChars);
void PrintBytes(uint64_t bytes);

// The texts the printers produce, for callers that build a line before printing it.
std::string FormatCommas(uint64_t value);
std::string FormatBytes(uint64_t bytes);
// The same without the blank that leads three-digit sizes, for a size inside a sentence.
std::string FormatBytesInText(uint64_t bytes);

inline constexpr const char* kSizeUnits[7] = {" bytes", " KB", " MB", " GB", " TB", " PB", " EB"};

}  // namespace zx
