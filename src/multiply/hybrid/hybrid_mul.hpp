// Products of 12000 words and more: the hybrid number-theoretic transform. Operands are cut into
// K pieces, transformed modulo 2^(32n) + 1 with shifts for roots, multiplied pointwise by the
// negacyclic FFT, transformed back and recombined. It is the one product that checks itself:
// every coefficient must leave the ring's upper word empty, and a product that does not is
// reported to the front-end, which retries it.
#pragma once

#include <cstdint>

#include "multiply/product_check.hpp"
#include "runtime/allocation_heap.hpp"

namespace zx {

// out gets la + lb − t words (truncation as for the FFT: low operand words that only feed
// dropped words are skipped). Returns 0, kProductCheckFailed (a coefficient failed its check),
// or the bytes that could not be obtained (all buffers freed). Up to 2^threadExponent threads.
[[nodiscard]] uint64_t HybridMultiply(AllocationHeap* heap, const uint32_t* a, uint64_t la,
                                      const uint32_t* b, uint64_t lb, uint32_t* out, uint64_t t,
                                      uint32_t threadExponent);
[[nodiscard]] uint64_t HybridSquare(AllocationHeap* heap, const uint32_t* a, uint64_t n,
                                    uint32_t* out, uint64_t t, uint32_t threadExponent);

// Bytes one call takes from the heap at most, allocation overhead included.
uint64_t HybridMultiplyMemoryBytes(uint64_t la, uint64_t lb, uint64_t t, uint32_t threadExponent);
uint64_t HybridSquareMemoryBytes(uint64_t n, uint64_t t, uint32_t threadExponent);
// The most any product or square of at most productWords words takes. The rows are tuned for
// speed, not memory: a shorter product may take a row with fewer, larger pieces whose per-thread
// scratch outweighs the smaller transform, so the bound must cover every row up to the size.
uint64_t HybridMemoryEnvelopeBytes(uint64_t productWords, uint32_t threadExponent);

#if defined(ZX_TEST_HOOKS)
// The next `products` hybrid products each corrupt one coefficient before the check.
void HybridInjectFaults(uint32_t products);
// The same product with the row (k, c) in place of the tables' choice; a == b with la == lb
// squares. The row's capacity must hold la + lb words.
[[nodiscard]] uint64_t HybridMultiplyWithRow(AllocationHeap* heap, const uint32_t* a, uint64_t la,
                                             const uint32_t* b, uint64_t lb, uint32_t* out,
                                             uint64_t t, uint32_t threadExponent, uint32_t k,
                                             uint32_t c);
#endif

}  // namespace zx
