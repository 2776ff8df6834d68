// Packers between words and the b-bit points of a transform. Points are consecutive b-bit fields
// of the number, least significant first. Widths 8 to 22 take whole groups of b / gcd(b, 32) words
// at a time with the width known to the compiler, so a group compiles to straight shifts and
// masks; other widths, and the ends of an operand, use the general bit walker. Both directions
// run one 64-bit accumulator, which never holds more than b + 31 bits. (The outer pass balances
// the fields.)
#pragma once

#include <cstdint>

namespace zx::fft {

// points[0..pointCount) = the b-bit fields of words[0..count), zero beyond the operand;
// pointCount is at least FieldCount(count, b).
void PackPoints(const uint32_t* words, uint64_t count, uint32_t pointBits, uint32_t* points,
                uint64_t pointCount);
// 32 / gcd(b, 32): the points of a whole group of words, so a multiple of it is also a word
// boundary, where packing may be cut.
uint64_t PointsPerGroup(uint32_t pointBits);
// ⌈32·count / b⌉: the fields of an operand of count words.
uint64_t FieldCount(uint64_t count, uint32_t pointBits);

// words[0..count) = words firstWord .. firstWord + count − 1 of Σ points[j]·2^(j·b), each point
// below 2^b, points beyond pointCount taken as zero.
void UnpackPoints(const uint32_t* points, uint64_t pointCount, uint32_t pointBits,
                  uint64_t firstWord, uint32_t* words, uint64_t count);

}  // namespace zx::fft
