// Word ↔ point packers: one accumulator loop, instantiated for the fast widths with the width and
// the group length as constants so that the compiler unrolls a whole group into shifts and masks.
#include "multiply/fft_points.hpp"

#include <cstring>

namespace zx::fft {
namespace {

// Words per group for the fast widths (0: no fast path).
constexpr uint64_t GroupWords(uint32_t bits) {
  return bits == 8 || bits == 16 ? 1 : bits == 12 ? 3 : bits == 10 ? 5 : bits == 14 ? 7 : 0;
}

// The balanced point of a field plus the incoming carry; carry becomes the outgoing one.
inline int32_t Balance(uint64_t field, uint32_t bits, uint32_t& carry) {
  const int64_t value = static_cast<int64_t>(field) + carry;
  carry = static_cast<uint32_t>((value + (int64_t{1} << (bits - 1))) >> bits);
  return static_cast<int32_t>(value - (static_cast<int64_t>(carry) << bits));
}

// Packs whole groups, then hands the rest to the general loop; returns points written.
template <uint32_t kBits>
uint64_t PackGroups(const uint32_t* words, uint64_t count, int32_t* points, uint32_t& carry) {
  constexpr uint64_t kGroup = GroupWords(kBits);
  constexpr uint64_t kPoints = kGroup * 32 / kBits;
  constexpr uint64_t kMask = (uint64_t{1} << kBits) - 1;
  const uint64_t groups = count / kGroup;
  for (uint64_t g = 0; g < groups; g++) {
    const uint32_t* in = words + g * kGroup;
    int32_t* out = points + g * kPoints;
    uint64_t accumulator = 0;
    uint32_t held = 0;
    uint64_t k = 0;
#pragma GCC unroll 8
    for (uint64_t w = 0; w < kGroup; w++) {
      accumulator |= static_cast<uint64_t>(in[w]) << held;
      held += 32;
      while (held >= kBits) {
        out[k++] = Balance(accumulator & kMask, kBits, carry);
        accumulator >>= kBits;
        held -= kBits;
      }
    }
  }
  return groups * kPoints;
}

// General bit walker from word `start` (a point boundary) to the end of the operand.
uint64_t PackRest(const uint32_t* words, uint64_t start, uint64_t count, uint32_t bits,
                  int32_t* points, uint32_t& carry) {
  const uint64_t mask = (uint64_t{1} << bits) - 1;
  uint64_t accumulator = 0;
  uint32_t held = 0;
  uint64_t k = 0;
  for (uint64_t w = start; w < count; w++) {
    accumulator |= static_cast<uint64_t>(words[w]) << held;
    held += 32;
    while (held >= bits) {
      points[k++] = Balance(accumulator & mask, bits, carry);
      accumulator >>= bits;
      held -= bits;
    }
  }
  if (held > 0) points[k++] = Balance(accumulator, bits, carry);
  return k;
}

template <uint32_t kBits>
void UnpackFixed(const uint32_t* points, uint64_t pointCount, uint32_t runtimeBits,
                 uint64_t firstWord, uint32_t* words, uint64_t count) {
  const uint32_t bits = kBits != 0 ? kBits : runtimeBits;
  const uint64_t firstBit = 32 * firstWord;
  uint64_t j = firstBit / bits;
  const uint32_t skip = static_cast<uint32_t>(firstBit - j * bits);
  uint64_t accumulator = j < pointCount ? points[j] >> skip : 0;
  uint32_t held = bits - skip;
  j++;
  for (uint64_t k = 0; k < count; k++) {
    while (held < 32) {
      const uint64_t point = j < pointCount ? points[j] : 0;
      accumulator |= point << held;
      held += bits;
      j++;
    }
    words[k] = static_cast<uint32_t>(accumulator);
    accumulator >>= 32;
    held -= 32;
  }
}

}  // namespace

uint64_t PackedPointCount(uint64_t count, uint32_t pointBits) {
  return (32 * count + pointBits - 1) / pointBits + 1;
}

uint32_t PackPoints(const uint32_t* words, uint64_t count, uint32_t pointBits, int32_t* points,
                    uint64_t pointCount) {
  uint64_t done = 0;
  uint32_t carry = 0;
  switch (pointBits) {
    case 8:
      done = PackGroups<8>(words, count, points, carry);
      break;
    case 10:
      done = PackGroups<10>(words, count, points, carry);
      break;
    case 12:
      done = PackGroups<12>(words, count, points, carry);
      break;
    case 14:
      done = PackGroups<14>(words, count, points, carry);
      break;
    case 16:
      done = PackGroups<16>(words, count, points, carry);
      break;
    default:
      break;
  }
  // Whole groups end on a point boundary, so the walker resumes exactly there.
  const uint64_t startWord = done * pointBits / 32;
  done += PackRest(words, startWord, count, pointBits, points + done, carry);
  if (carry != 0 && done < pointCount) {
    points[done++] = static_cast<int32_t>(carry);
    carry = 0;
  }
  if (pointCount > done) std::memset(points + done, 0, (pointCount - done) * sizeof(int32_t));
  return carry;
}

void UnpackPoints(const uint32_t* points, uint64_t pointCount, uint32_t pointBits,
                  uint64_t firstWord, uint32_t* words, uint64_t count) {
  switch (pointBits) {
    case 8:
      return UnpackFixed<8>(points, pointCount, 8, firstWord, words, count);
    case 10:
      return UnpackFixed<10>(points, pointCount, 10, firstWord, words, count);
    case 12:
      return UnpackFixed<12>(points, pointCount, 12, firstWord, words, count);
    case 14:
      return UnpackFixed<14>(points, pointCount, 14, firstWord, words, count);
    case 16:
      return UnpackFixed<16>(points, pointCount, 16, firstWord, words, count);
    default:
      return UnpackFixed<0>(points, pointCount, pointBits, firstWord, words, count);
  }
}

}  // namespace zx::fft
