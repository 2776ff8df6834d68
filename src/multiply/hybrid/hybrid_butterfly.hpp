// The butterflies of the outer transform with their root multiplication folded in. A root whose
// shift is a whole number of 64-bit limbs (the rows are chosen so that nearly all are) costs no
// pass of its own: the shifted difference is formed straight from the two operands, taking the
// limbs that wrap round in the same borrow chain. Other roots go through RingMulRoot.
#pragma once

#include <cstdint>

namespace zx {

// x ← x + y, y ← (x − y)·√2^exponent. spare holds one element. Returns true when the new y is
// in spare instead (the caller trades the two), which saves copying it.
[[nodiscard]] bool HybridForwardButterfly(uint32_t* x, uint32_t* y, uint32_t* spare,
                                          uint64_t ringWords, uint64_t exponent);
// u = y·√2^(−exponent); x ← x + u, y ← x − u; the new y may be left in spare likewise.
[[nodiscard]] bool HybridInverseButterfly(uint32_t* x, uint32_t* y, uint32_t* spare,
                                          uint64_t ringWords, uint64_t exponent);

}  // namespace zx
