#include "multiply/swap_memory.hpp"

#include <algorithm>

#include "multiply/multiply.hpp"

namespace zx {
namespace {

constexpr double kHexDigitsPerDigit = 0.8304820237218407;

}  // namespace

uint64_t SwapModeMemoryBytes(uint64_t decimalDigits, uint32_t threadExponent) {
  const auto hexDigits = static_cast<uint64_t>(static_cast<double>(decimalDigits) * kHexDigitsPerDigit) + 1;
  const uint64_t words = hexDigits / 8 + 2;
  // Staged Newton steps and the disk levels of the series keep numbers of about a quarter of the
  // precision in memory; sixteen such numbers and one product of that size bound what lives there.
  const uint64_t quarter = words / 4 + 16;
  return MultiplyMemoryBytes(quarter, threadExponent) + 16 * quarter * sizeof(uint32_t) * 4;
}

}  // namespace zx
