// The last step of a hybrid product: undo the transform's factor K, check every coefficient and
// add coefficient j at word offset j·s of the product.
#pragma once

#include <cstdint>

#include "multiply/hybrid_transform.hpp"

namespace zx {

// Words [t, productWords) of Σ_j coefficient_j·2^(32·s·j) go to out. scratch holds two elements.
// Returns 0, or kProductCheckFailed when a coefficient fails its check (out is then undefined).
[[nodiscard]] uint64_t HybridRecombine(const HybridBuffer& buffer, uint64_t pieceWords,
                                       uint64_t productWords, uint64_t truncationWords,
                                       uint32_t* out, uint32_t* scratch);

#if defined(ZX_TEST_HOOKS)
void HybridSetFaults(uint32_t products);
#endif

}  // namespace zx
