// The basecase of the conversion: Horner's rule in base 10^9, one 32-bit word at a time from the
// top. Cost: quadratic, but it only ever sees numbers below P[0] (at most 15 base-10^9 words), so
// the inner loop is a multiply-high by the compiler's reciprocal of 10^9 and nothing else.
#include "radix/base_conversion.hpp"

namespace zx {

uint64_t ConvertWords(const uint32_t* words, uint64_t lengthWords, uint32_t* out) {
  while (lengthWords != 0 && words[lengthWords - 1] == 0) --lengthWords;
  if (lengthWords == 0) return 0;
  const uint32_t top = words[lengthWords - 1];
  out[0] = top % kBillion;
  uint64_t produced = 1;
  if (top >= kBillion) out[produced++] = top / kBillion;
  for (uint64_t i = lengthWords - 1; i-- > 0;) {
    // out[k]·2^32 + carry stays below 2^63: out[k] < 10^9 < 2^30 and carry < 2^32 + 10.
    uint64_t carry = words[i];
    for (uint64_t k = 0; k < produced; ++k) {
      const uint64_t acc = (static_cast<uint64_t>(out[k]) << 32) + carry;
      carry = acc / kBillion;
      out[k] = static_cast<uint32_t>(acc - carry * kBillion);
    }
    while (carry != 0) {
      out[produced++] = static_cast<uint32_t>(carry % kBillion);
      carry /= kBillion;
    }
  }
  return produced;
}

}  // namespace zx
