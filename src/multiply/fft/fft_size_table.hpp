// The transform sizes of the floating-point FFT: 94 rows of a length L = m·2^k real points (m = 1,
// 3, 5 or 7) and a point width b, in ascending order of capacity L·b bits. Each row's b keeps the
// rounding error of a product of two full operands safely below one half; the residue check of
// every product is the second line of defence.
#pragma once

#include <cstdint>

namespace zx {

struct FftSize {
  uint64_t points;      // L
  uint32_t pointBits;   // b
  uint32_t lengthCode;  // FftCodeFromLength(L)
};

inline constexpr int kFftSizeRows = 94;

// L from a length code: c AND 3 selects 2^(c/4), 3·2^(c/4 − 1), 5·2^(c/4 − 2) or 7·2^(c/4 − 2).
uint64_t FftLengthFromCode(uint32_t code);
uint32_t FftCodeFromLength(uint64_t points);  // L = 2^k, 3·2^k, 5·2^k or 7·2^k

// Row r of the table, 0 ≤ r < kFftSizeRows (b as in the table, before the even-width rule).
FftSize FftSizeRow(int row);
uint64_t FftCapacityBits(int row);

// The first row whose capacity reaches productBits (a capacity equal to it fits); an odd b is
// lowered by one when L·(b − 1) still covers the product, so that an even-width packer serves.
// False when no row is large enough.
bool ChooseFftSize(uint64_t productBits, FftSize* size);

// "Maximum FFT size Exceeded.\n\n", pause, exit 1.
[[noreturn]] void FftSizeExceeded();

}  // namespace zx
