// Lane transforms: m-point complex FFTs run on m vectors of four lanes at once, each lane an
// independent sequence, so every butterfly is vertical arithmetic on whole vectors with one
// scalar twiddle. Forward transforms decimate in frequency and leave their output in a scrambled
// order; the inverse takes that order back, so spectra are only ever multiplied point by point.
// Large lengths recurse depth-first (one radix-4 pass, then each quarter in turn) so that every
// quarter of at most kLaneLeafVectors vectors is finished while it sits in the first-level cache.
#pragma once

#include <cstdint>

namespace zx::fft {

// Vectors per block finished breadth-first in cache (16 KiB of data).
inline constexpr uint64_t kLaneLeafVectors = 256;

// m = 2^i ≥ 4 or 3·2^i ≥ 12 vectors of 8 doubles (4 real parts, 4 imaginary parts) at x.
// Cost: about 4.25·m·log2(m) vector flops per transform; no memory beyond x.
void LaneForward(double* x, uint64_t m);
// Unnormalised: LaneInverse(LaneForward(x)) = m·x.
void LaneInverse(double* x, uint64_t m);
// x ← LaneInverse(LaneForward(x) ⊙ y) with y a LaneForward result, or ⊙ itself when y is null;
// the forward and inverse passes of each leaf block run back to back while it is in cache.
void LaneConvolve(double* x, const double* y, uint64_t m);
// The halves of LaneConvolve for a sum of two products in one inverse: x ← LaneForward(x) ⊙ y, a
// product left in the transform domain, and x ← LaneInverse(LaneForward(x) ⊙ y + sign·s) with s
// such a product.
void LaneMultiply(double* x, const double* y, uint64_t m);
void LaneConvolveAdd(double* x, const double* y, const double* s, double sign, uint64_t m);

// The first radix-4 pass of an m-vector transform (m > kLaneLeafVectors) for butterflies
// [from, to) of its m/4, and its inverse: after the forward pass the four quarters of m/4
// vectors are independent transforms, so threads may share the pass by ranges and then take
// quarters each; the inverse pass joins them again.
void LaneForwardTop(double* x, uint64_t m, uint64_t from, uint64_t to);
void LaneInverseTop(double* x, uint64_t m, uint64_t from, uint64_t to);

}  // namespace zx::fft
