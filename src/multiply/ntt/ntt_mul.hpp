// Products by number-theoretic transforms modulo three primes below 2^51, joined by the Chinese
// remainder theorem: each 64-bit limb of an operand is one coefficient, so a product of M limbs
// takes transforms of M to 1.33M points, and its coefficients (below 2^151) are exact.
// Memory: four arrays of 8 bytes per point (three for a square) and the short convolution's three,
// taken from the heap in one piece: 32 to 44 bytes per product limb.
#pragma once

#include <cstdint>

#include "runtime/allocation_heap.hpp"

namespace zx {

// This build has the vector arithmetic the transforms need.
bool NttAvailable();
// The product la × lb words (after truncation) fits the transforms, and its memory in bytes.
bool NttReaches(uint64_t la, uint64_t lb);
uint64_t NttMultiplyMemoryBytes(uint64_t la, uint64_t lb, uint64_t t);
uint64_t NttSquareMemoryBytes(uint64_t n, uint64_t t);

// out gets words t .. la + lb − 1 of a·b, the operands truncated as every product engine does
// (TruncateOperands). Returns 0, the bytes the heap could not give, or kProductCheckFailed when
// the product disagrees with its operands' residues modulo 2^61 − 1.
// With a thread exponent above 0, transforms from 2^15 points are shared with the partner thread.
[[nodiscard]] uint64_t NttMultiply(AllocationHeap* heap, const uint32_t* a, uint64_t la,
                                   const uint32_t* b, uint64_t lb, uint32_t* out, uint64_t t,
                                   uint32_t threadExponent);
[[nodiscard]] uint64_t NttSquare(AllocationHeap* heap, const uint32_t* a, uint64_t n, uint32_t* out,
                                 uint64_t t, uint32_t threadExponent);

#if defined(ZX_TEST_HOOKS)
// The next `products` products spoil one coefficient each, so that their checks fail.
void NttInjectFaults(uint32_t products);
#endif

}  // namespace zx
