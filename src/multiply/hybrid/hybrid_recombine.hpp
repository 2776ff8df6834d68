// The last step of a hybrid product: undo the transform's factor K, check every coefficient and
// add coefficient j at word offset j·s of the product.
#pragma once

#include <atomic>
#include <cstdint>

#include "multiply/hybrid/hybrid_transform.hpp"

namespace zx {

// What the last inverse pass does to each coefficient it completes.
struct HybridFinish {
  bool corruptFirst = false;             // test hook: spoil coefficient 0 before its check
  std::atomic<bool>* failed = nullptr;   // set when a coefficient fails its check
};

// Undoes the factor K (a shift by 2^−k = √2^(128n − 2k)) and checks the coefficient: its word
// n − 1 must be 0 (a value below 2^(32(n−1))) or all ones (the ring's form of a small negative
// value). The element is left as n words of two's complement and a top limb of 0 or all ones.
// Returns false when the check fails. spare holds one element.
[[nodiscard]] bool HybridFinishCoefficient(uint32_t* element, uint32_t* spare,
                                           const HybridBuffer& buffer, bool corrupt);

// Whether a product is to be spoilt (test builds; each call uses up one of the faults asked for).
bool HybridTakeFault();

struct HybridRecombineJob {
  const HybridBuffer* buffer = nullptr;  // the finished coefficients
  uint64_t pieceWords = 0;               // s: coefficient j sits at word j·s
  uint64_t productWords = 0;
  uint64_t truncationWords = 0;
  uint32_t* out = nullptr;               // words [t, productWords)
  uint8_t* scratch = nullptr;            // 2^threadExponent thread blocks, a window each
  uint64_t scratchBlockBytes = 0;
  uint32_t threadExponent = 0;
};

// Sums the finished coefficients into out, with up to 2^threadExponent threads. Returns 0, or
// kProductCheckFailed when they do not add up to a number of productWords words (out is then
// undefined).
[[nodiscard]] uint64_t HybridRecombine(const HybridRecombineJob& job);

#if defined(ZX_TEST_HOOKS)
void HybridSetFaults(uint32_t products);
#endif

}  // namespace zx
