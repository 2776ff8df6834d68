// The digit hash modulo the Mersenne prime 2^61 − 1: two shifts, an add and one conditional
// subtraction a word, so hashing never costs more than reading the words.
#include "radix/digit_writers.hpp"

namespace zx {
namespace {

constexpr uint64_t kHashModulus = (uint64_t{1} << 61) - 1;

}  // namespace

uint64_t HashWords61(const uint32_t* words, uint64_t lengthWords) {
  // h·2^32 + w as high·2^64 + low, folded with 2^64 ≡ 2^3 and 2^61 ≡ 1: the sum stays below
  // 2^32 + 2^61, so one subtraction reduces it.
  uint64_t h = 0;
  for (uint64_t i = lengthWords; i-- > 0;) {
    const uint64_t high = h >> 32;
    const uint64_t low = (h << 32) + words[i];
    h = ((high << 3) | (low >> 61)) + (low & kHashModulus);
    if (h >= kHashModulus) h -= kHashModulus;
  }
  return h;
}

}  // namespace zx
