// Word ↔ point packers: one accumulator loop, instantiated for every width the size table uses, so
// that the compiler unrolls a whole group into shifts and masks.
#include "multiply/fft/fft_points.hpp"

#include <cstring>
#include <numeric>

namespace zx::fft {
namespace {

// Words per group: the fewest that hold a whole number of points, b / gcd(b, 32).
constexpr uint64_t GroupWords(uint32_t bits) {
  return bits / std::gcd(bits, 32u);
}

// Packs whole groups; returns the points written.
template <uint32_t kBits>
uint64_t PackGroups(const uint32_t* words, uint64_t count, uint32_t* points) {
  constexpr uint64_t kGroup = GroupWords(kBits);
  constexpr uint64_t kPoints = kGroup * 32 / kBits;
  constexpr uint64_t kMask = (uint64_t{1} << kBits) - 1;
  const uint64_t groups = count / kGroup;
  for (uint64_t g = 0; g < groups; g++) {
    const uint32_t* in = words + g * kGroup;
    uint32_t* out = points + g * kPoints;
    uint64_t accumulator = 0;
    uint32_t held = 0;
    uint64_t k = 0;
#pragma GCC unroll 32
    for (uint64_t w = 0; w < kGroup; w++) {
      accumulator |= static_cast<uint64_t>(in[w]) << held;
      held += 32;
#pragma GCC unroll 32
      while (held >= kBits) {
        out[k++] = static_cast<uint32_t>(accumulator & kMask);
        accumulator >>= kBits;
        held -= kBits;
      }
    }
  }
  return groups * kPoints;
}

// General bit walker from word `start` (a point boundary) to the end of the operand.
uint64_t PackRest(const uint32_t* words, uint64_t start, uint64_t count, uint32_t bits,
                  uint32_t* points) {
  const uint64_t mask = (uint64_t{1} << bits) - 1;
  uint64_t accumulator = 0;
  uint32_t held = 0;
  uint64_t k = 0;
  for (uint64_t w = start; w < count; w++) {
    accumulator |= static_cast<uint64_t>(words[w]) << held;
    held += 32;
    while (held >= bits) {
      points[k++] = static_cast<uint32_t>(accumulator & mask);
      accumulator >>= bits;
      held -= bits;
    }
  }
  if (held > 0) points[k++] = static_cast<uint32_t>(accumulator);
  return k;
}

// Unpacks whole groups of points starting at a group boundary; returns the words written.
template <uint32_t kBits>
uint64_t UnpackGroups(const uint32_t* points, uint64_t pointCount, uint32_t* words,
                      uint64_t count) {
  constexpr uint64_t kGroup = GroupWords(kBits);
  constexpr uint64_t kPoints = kGroup * 32 / kBits;
  uint64_t groups = count / kGroup;
  if (groups > pointCount / kPoints) groups = pointCount / kPoints;
  for (uint64_t g = 0; g < groups; g++) {
    const uint32_t* in = points + g * kPoints;
    uint32_t* out = words + g * kGroup;
    uint64_t accumulator = 0;
    uint32_t held = 0;
    uint64_t k = 0;
#pragma GCC unroll 32
    for (uint64_t p = 0; p < kPoints; p++) {
      accumulator |= static_cast<uint64_t>(in[p]) << held;
      held += kBits;
      if (held >= 32) {
        out[k++] = static_cast<uint32_t>(accumulator);
        accumulator >>= 32;
        held -= 32;
      }
    }
  }
  return groups * kGroup;
}

// General walker: words from bit 32·firstWord on.
void UnpackRest(const uint32_t* points, uint64_t pointCount, uint32_t bits, uint64_t firstWord,
                uint32_t* words, uint64_t count) {
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

template <uint32_t kBits>
void Unpack(const uint32_t* points, uint64_t pointCount, uint64_t firstWord, uint32_t* words,
            uint64_t count) {
  constexpr uint64_t kGroup = GroupWords(kBits);
  constexpr uint64_t kPoints = kGroup * 32 / kBits;
  // The walker runs up to a group boundary, the groups follow, the walker takes the rest.
  uint64_t lead = (kGroup - firstWord % kGroup) % kGroup;
  if (lead > count) lead = count;
  UnpackRest(points, pointCount, kBits, firstWord, words, lead);
  const uint64_t start = firstWord + lead;
  const uint64_t firstPoint = start / kGroup * kPoints;
  const uint64_t done = firstPoint < pointCount
                            ? UnpackGroups<kBits>(points + firstPoint, pointCount - firstPoint,
                                                  words + lead, count - lead)
                            : 0;
  UnpackRest(points, pointCount, kBits, start + done, words + lead + done, count - lead - done);
}

// Widths 8 to 22 run with the width known to the compiler.
template <template <uint32_t> class Fn, uint32_t kBits = 8>
auto ForWidth(uint32_t bits, auto&&... args) {
  if constexpr (kBits < 22) {
    if (bits != kBits) return ForWidth<Fn, kBits + 1>(bits, args...);
  }
  return Fn<kBits>::Run(args...);
}

template <uint32_t kBits>
struct PackWith {
  static uint64_t Run(const uint32_t* words, uint64_t count, uint32_t* points) {
    return PackGroups<kBits>(words, count, points);
  }
};

template <uint32_t kBits>
struct UnpackWith {
  static int Run(const uint32_t* points, uint64_t pointCount, uint64_t firstWord, uint32_t* words,
                 uint64_t count) {
    Unpack<kBits>(points, pointCount, firstWord, words, count);
    return 0;
  }
};

}  // namespace

uint64_t PointsPerGroup(uint32_t pointBits) {
  return 32 / std::gcd(pointBits, 32u);
}

uint64_t FieldCount(uint64_t count, uint32_t pointBits) {
  return (32 * count + pointBits - 1) / pointBits;
}

void PackPoints(const uint32_t* words, uint64_t count, uint32_t pointBits, uint32_t* points,
                uint64_t pointCount) {
  const uint64_t done =
      pointBits >= 8 && pointBits <= 22 ? ForWidth<PackWith>(pointBits, words, count, points) : 0;
  // Whole groups end on a point boundary, so the walker resumes exactly there.
  const uint64_t startWord = done * pointBits / 32;
  const uint64_t rest = PackRest(words, startWord, count, pointBits, points + done);
  if (pointCount > done + rest) {
    std::memset(points + done + rest, 0, (pointCount - done - rest) * sizeof(uint32_t));
  }
}

void UnpackPoints(const uint32_t* points, uint64_t pointCount, uint32_t pointBits,
                  uint64_t firstWord, uint32_t* words, uint64_t count) {
  if (pointBits >= 8 && pointBits <= 22) {
    ForWidth<UnpackWith>(pointBits, points, pointCount, firstWord, words, count);
  } else {
    UnpackRest(points, pointCount, pointBits, firstWord, words, count);
  }
}

}  // namespace zx::fft
