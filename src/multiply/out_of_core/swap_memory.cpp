// The heap of a disk-swapping run, modelled on what such a run holds in memory at its peak. The
// series' disk levels, the staged Newton steps and the out-of-core products adapt to the heap they
// find (fewer disk levels, larger product blocks when there is more); what does not adapt are the
// products whose operands are in memory when they meet, and the linear steps on full-precision
// numbers. The larger of the two peaks below is the estimate.
#include "multiply/out_of_core/swap_memory.hpp"

#include <algorithm>

#include "multiply/hybrid/hybrid_mul.hpp"
#include "multiply/multiply.hpp"

namespace zx {
namespace {

constexpr double kHexDigitsPerDigit = 0.8304820237218407;
// Words a full-precision number carries beyond p: the guard words and the conversion's extra word.
constexpr uint64_t kGuardWords = 8;
// Records, swap-file names, the small numbers beside the large ones and the heap's table. With it
// and the dialogue's extra megabyte, Pi runs of 5,000,000 and 20,000,000 digits at k = 0 to 2
// had 3.7 to 7 MB more than the least heap they completed in.
constexpr uint64_t kSlackBytes = 1 << 20;

}  // namespace

uint64_t SwapModeMemoryBytes(uint64_t decimalDigits, uint32_t threadExponent) {
  const auto hexDigits =
      static_cast<uint64_t>(static_cast<double>(decimalDigits) * kHexDigitsPerDigit) + 1;
  const uint64_t p = hexDigits / 8 + 2;
  const uint64_t full = p + kGuardWords;
  // Three full-precision numbers: the operands of a product that meet in memory and its kept
  // words, or the two terms and the sum of an addition.
  const uint64_t threeNumbers = 3 * (full + 2) * sizeof(uint32_t);
  // A product of two full-precision numbers in memory, as the constant's last products and the
  // conversion's normalisation do when their operands are resident. The steps before them leave
  // holes below their operands that the transform cannot use: a fourth number's worth was
  // measured at 20,000,000 digits.
  const uint64_t fullProduct = threeNumbers + (full + 2) * sizeof(uint32_t) +
                               HybridMultiplyMemoryBytes(full, full, full, threadExponent);
  // Everything else: three full-precision numbers beside the in-memory levels, which work at a
  // quarter of the precision (the staged Newton steps hand over there, the series' disk levels
  // leave at most that much to one subtree).
  const uint64_t staged = threeNumbers + MultiplyMemoryBytes(p / 4 + kGuardWords, threadExponent);
  return std::max(fullProduct, staged) + kSlackBytes;
}

uint64_t SwapModeMemoryBytesHalfAgain(uint64_t decimalDigits, uint32_t threadExponent) {
  const uint64_t bytes = SwapModeMemoryBytes(decimalDigits, threadExponent);
  return bytes + bytes / 2;
}

}  // namespace zx
