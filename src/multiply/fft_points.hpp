// Packers between words and the b-bit points of a transform. Points are consecutive b-bit fields
// of the number, least significant first. Widths 8, 10, 12, 14 and 16 take whole groups of 1, 5, 3,
// 7 and 1 words at a time with the width known to the compiler; other widths use the general
// bit walker. Both directions run one 64-bit accumulator, which never holds more than b + 31 bits.
//
// Operand points are balanced: field f_j plus the carry from below becomes a signed point in
// [−2^(b−1), 2^(b−1)) and passes a carry of 1 upward when it was reduced. The value is unchanged,
// but the operand's mean leaves the transform: an all-ones operand becomes −1, 0, ..., 0, 1
// instead of a constant whose coherent zero-frequency term would dominate the rounding error.
// Unsigned fields fail the size table's widths on all-ones operands; balanced ones keep a margin
// of four or more.
#pragma once

#include <cstdint>

namespace zx::fft {

// points[0..pointCount) = the balanced b-bit points of words[0..count), zero beyond the operand,
// with pointCount ≥ ⌈32·count / b⌉. The final carry becomes one more point when pointCount has
// room for it; otherwise it is returned (0 or 1) for the caller to place.
[[nodiscard]] uint32_t PackPoints(const uint32_t* words, uint64_t count, uint32_t pointBits,
                                  int32_t* points, uint64_t pointCount);
// Points an operand of count words can occupy, its final carry included.
uint64_t PackedPointCount(uint64_t count, uint32_t pointBits);

// words[0..count) = words firstWord .. firstWord + count − 1 of Σ points[j]·2^(j·b), each point
// below 2^b, points beyond pointCount taken as zero.
void UnpackPoints(const uint32_t* points, uint64_t pointCount, uint32_t pointBits,
                  uint64_t firstWord, uint32_t* words, uint64_t count);

}  // namespace zx::fft
