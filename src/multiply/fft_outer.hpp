// The outer pass of a product transform: the first radix-4 level of an N-point complex FFT, done
// across the four lanes of each vector, together with the weights that turn the cyclic transform
// into a negacyclic one and the conversion between points and doubles.
//
// L = 2N real points x_j make the complex sequence z_n = x_n + i·x_(n+N) weighted by ζ^n, ζ^N = i:
// this maps the ring R[x]/(x^L + 1) onto C[u]/(u^N − 1), so one N-point cyclic convolution gives
// the negacyclic convolution of length L, and the plain product when it fits in L points (no
// real-to-complex post-processing is needed). Lane l of vector v holds z_(l·N/4 + v), so the
// quarters of the sequence are the lanes and the inverse pass carries in eight interleaved chains.
#pragma once

#include <cstdint>

namespace zx::fft {

// x (N/4 vectors) ← the weighted first transform level of the signed points[0..L); with halfZero
// the points from N on are zero and not read.
void OuterForward(double* x, const int32_t* points, uint64_t n, bool halfZero);

// points[0..L) ← the negacyclic convolution held in x after LaneInverse: the last inverse level,
// the weights removed, each value scaled by 1/N, rounded half up and carried in base 2^b (eight
// chains over the eighths of the points, joined at the end). Every point ends below 2^b; returns
// the signed carry out of the top point.
int64_t OuterInverseCarry(const double* x, uint32_t* points, uint64_t n, uint32_t pointBits);

// Folds a carry out of the top point back in, 2^(L·b) ≡ −1: afterwards the points hold the value
// reduced modulo 2^(L·b) + 1, except that 2^(L·b) itself comes back as zero points and 1.
uint32_t ReduceNegacyclic(uint32_t* points, uint64_t count, uint32_t pointBits, int64_t topCarry);

}  // namespace zx::fft
