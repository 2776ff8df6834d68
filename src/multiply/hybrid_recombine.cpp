// Scaling, check and recombination of the coefficients. The inverse transform leaves K·c_j; a
// shift by 2^−k = √2^(128n − 2k) gives c_j. A true coefficient is a sum of at most K products
// of two s-word pieces, below 2^(64s + 32) with n = 2s + 2, so word n − 1 of its residue is 0, or
// all ones when the residue stands for a small negative number. Anything else means a fault
// somewhere in the product. The coefficients overlap (n > 2s), so they are summed in a window
// of n + 2 words that moves up by s words after each one, emitting s final words each time.
#include "multiply/hybrid_recombine.hpp"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "multiply/hybrid_limbs.hpp"
#include "multiply/hybrid_mul.hpp"
#include "multiply/hybrid_ring.hpp"
#include "multiply/hybrid_roots.hpp"
#include "shell/fatal.hpp"

namespace zx {
namespace {

std::atomic<uint32_t> gFaultsLeft{0};

bool TakeFault() {
  uint32_t left = gFaultsLeft.load();
  while (left > 0 && !gFaultsLeft.compare_exchange_weak(left, left - 1)) {
  }
  return left > 0;
}

enum class Coefficient { kPositive, kNegative, kCorrupt };

bool LowWordsZero(const uint32_t* c, uint64_t count) {
  return std::all_of(c, c + count, [](uint32_t w) { return w == 0; });
}

// Classifies the residue c and leaves it as n words of two's complement, sign apart: a residue r
// read as negative stands for r − 2^(32n) − 1, whose low n words are those of r − 1.
Coefficient Classify(uint32_t* c, uint64_t n) {
  const uint32_t high = c[n - 1];
  const uint64_t top = RingTop(c, n);
  if (top == 0 && high == 0) return Coefficient::kPositive;
  if (top == 0 && high != 0xFFFFFFFFu) return Coefficient::kCorrupt;
  if (top > 1 || (top == 1 && !LowWordsZero(c, n))) {
    FatalAssertion(kImpossibleResult, "Hybrid Number-Theoretic Transform", "Positive Overflow");
  }
  RingSubAt(c, n, 0, 1);
  return Coefficient::kNegative;
}

// window (M + 1 limbs, two's complement) += the n-word coefficient extended by its sign.
void AddToWindow(uint32_t* window, const uint32_t* c, uint64_t n, uint64_t signLimb) {
  const uint64_t limbs = n / 2;
  unsigned char carry = 0;
  for (uint64_t i = 0; i < limbs; ++i) {
    StoreLimb(window, i, AddWithCarry(LoadLimb(window, i), LoadLimb(c, i), carry));
  }
  StoreLimb(window, limbs, AddWithCarry(LoadLimb(window, limbs), signLimb, carry));
}

// Copies the window words that are product words in [t, productWords) to out, and reports
// whether the words at productWords and beyond are zero, as they must be.
bool Emit(const uint32_t* window, uint64_t count, uint64_t firstWord, uint64_t productWords,
          uint64_t t, uint32_t* out) {
  const uint64_t begin = std::max(firstWord, t);
  const uint64_t end = std::min(firstWord + count, productWords);
  if (begin < end) {
    std::memcpy(out + (begin - t), window + (begin - firstWord), (end - begin) * 4);
  }
  if (firstWord + count > productWords) {
    const uint64_t from = productWords > firstWord ? productWords - firstWord : 0;
    return LowWordsZero(window + from, count - from);
  }
  return true;
}

}  // namespace

#if defined(ZX_TEST_HOOKS)
void HybridSetFaults(uint32_t products) {
  gFaultsLeft.store(products);
}
#endif

uint64_t HybridRecombine(const HybridBuffer& buffer, uint64_t pieceWords, uint64_t productWords,
                         uint64_t truncationWords, uint32_t* out, uint32_t* scratch) {
  const uint64_t n = buffer.ringWords;
  const uint64_t s = pieceWords;
  const uint64_t windowWords = n + 2;
  const uint64_t points = uint64_t{1} << buffer.k;
  const uint64_t unscale = RingRootOrder(n) - 2 * buffer.k;
  uint32_t* c = scratch;
  uint32_t* window = scratch + buffer.strideWords;
  std::fill(window, window + windowWords, 0u);
  const bool corrupt = TakeFault();
  for (uint64_t j = 0; j < points; ++j) {
    RingMulRoot(HybridElement(buffer, j), c, n, unscale);
    if (corrupt && j == 0) c[n - 1] ^= 0x00010000u;
    const Coefficient kind = Classify(c, n);
    if (kind == Coefficient::kCorrupt) return kProductCheckFailed;
    const uint64_t firstWord = j * s;
    if (firstWord >= productWords) {
      if (kind != Coefficient::kPositive || !LowWordsZero(c, n)) return kProductCheckFailed;
      continue;
    }
    AddToWindow(window, c, n, kind == Coefficient::kNegative ? ~uint64_t{0} : 0);
    if (!Emit(window, s, firstWord, productWords, truncationWords, out)) return kProductCheckFailed;
    const uint32_t sign = (window[windowWords - 1] & 0x80000000u) != 0 ? 0xFFFFFFFFu : 0;
    std::memmove(window, window + s, (windowWords - s) * 4);
    std::fill(window + windowWords - s, window + windowWords, sign);
  }
  // Everything from the last emitted word on must be zero.
  return LowWordsZero(window, windowWords) ? 0 : kProductCheckFailed;
}

}  // namespace zx
