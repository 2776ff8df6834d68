#include "constants/memory_estimate.hpp"

#include <algorithm>

#include "multiply/multiply.hpp"

namespace zx {

uint64_t BaseMemoryBytes(uint64_t lengthWords, uint32_t threadExponent, uint32_t extraLevels) {
  if (threadExponent == 0) return MultiplyMemoryBytes(lengthWords, 0);
  uint64_t bytes = MultiplyMemoryBytes(lengthWords, threadExponent);
  uint64_t s = lengthWords / 4 + 10;
  const uint32_t levels = threadExponent + extraLevels;
  for (uint32_t j = 1; j <= levels; ++j) {
    s = s / 2 + 10;
    bytes = std::max(bytes, MultiplyMemoryBytes(s, levels - j) << j);
  }
  return bytes;
}

}  // namespace zx
