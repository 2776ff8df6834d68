// The K pointwise products of the hybrid transform, each modulo 2^(32n) + 1. Ring elements below
// 28 words use the negacyclic basecase (the schoolbook product with its upper half subtracted from
// its lower half); larger ones the negacyclic floating-point FFT, whose table holds every ring
// size the parameter tables produce, so no product is padded.
#pragma once

#include <cstdint>

#include "multiply/fft/negacyclic.hpp"

namespace zx {

struct HybridPointwise {
  uint64_t ringWords = 0;
  bool direct = true;
  NegacyclicPlan plan{};
  uint64_t scratchDoubles = 0;  // per thread, 16-byte aligned
};

// The context for products (or squares) of ring elements of ringWords words. FFT mode needs the
// ring size in the negacyclic table; a size missing from it is a broken table invariant and stops
// the program.
HybridPointwise HybridPointwiseFor(uint64_t ringWords, bool square);

// Builds the negacyclic FFT's tables for the context's length; before any thread starts.
void HybridPointwisePrepare(const HybridPointwise& context);

// a = a·b (or a = a²) modulo 2^(32n) + 1, reduced elements in and out.
void HybridPointwiseMultiply(const HybridPointwise& context, uint32_t* a, const uint32_t* b,
                             double* scratch);
void HybridPointwiseSquare(const HybridPointwise& context, uint32_t* a, double* scratch);

// The negacyclic basecase on its own (any n ≥ 2, even), for direct mode and as a test oracle.
void HybridNegacyclicBasecase(const uint32_t* a, const uint32_t* b, uint32_t* out,
                              uint64_t ringWords);

}  // namespace zx
