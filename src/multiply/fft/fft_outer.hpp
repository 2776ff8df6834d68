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

// x (N/4 vectors) ← the weighted first transform level of the points made from the b-bit fields
// fields[0..L) (each below 2^b); with halfZero the fields from N on are zero and not read.
//
// The points are balanced: field f_j plus the carry from below becomes a signed point in
// [−2^(b−1), 2^(b−1)), passing a carry of 1 upward when it was reduced; only the top point of a
// full operand keeps its carry. The value is unchanged, but the operand's mean leaves the
// transform: an all-ones operand becomes −1, 0, ..., 0, 1 instead of a constant whose coherent
// zero-frequency term dominates the rounding error (unsigned fields fail the size table's widths
// on all-ones operands; balanced ones keep a margin of three or more). The carries run as eight
// chains over the eighths of the points, each started with the carry its eighth receives.
// An operand that is not full must leave room for its final carry: at least one zero field.
void OuterForward(double* x, const uint32_t* fields, uint64_t n, uint32_t pointBits, bool halfZero);

// points[0..L) ← the negacyclic convolution held in x after LaneInverse: the last inverse level,
// the weights removed, each value scaled by 1/N, rounded half up and carried in base 2^b (eight
// chains over the eighths of the points, joined at the end). Every point ends below 2^b; returns
// the signed carry out of the top point.
int64_t OuterInverseCarry(const double* x, uint32_t* points, uint64_t n, uint32_t pointBits);

// The passes for vectors [from, to) of the N/4 (multiples of 4), so that threads can share them:
// the forward pass starts each chain with the carry its range receives, which the fields below
// decide; the inverse pass leaves the carries out of its part of each chain, which JoinChains
// then carries through the later parts in order.
void OuterForwardRange(double* x, const uint32_t* fields, uint64_t n, uint32_t pointBits,
                       bool halfZero, uint64_t from, uint64_t to);
// Where the processor cuts bytes at will (AVX-512 VBMI), the forward pass reads the operand's
// words itself: eight fields of an eighth come from one 32-byte window by a byte permutation and a
// shift per lane, and a transposition turns eight eighths into eight vectors, so the fields are
// never stored. Elsewhere the packers write them first (PackPoints) and the pass above reads them.
#if defined(__AVX512VBMI__) && defined(__AVX512F__) && defined(__AVX2__)
#define ZX_FFT_FIELDS_FROM_WORDS 1
#else
#define ZX_FFT_FIELDS_FROM_WORDS 0
#endif

// True where OuterForwardWordsRange is available (and, in test builds, not switched off).
bool OuterReadsWords();
#if defined(ZX_TEST_HOOKS)
// Test builds run the packers and the pass above instead when switched off, so that both forms
// are exercised on processors that have the first.
void OuterReadWords(bool enabled);
#endif

// OuterForwardRange on the fields of words[0..count) as PackPoints would write them.
void OuterForwardWordsRange(double* x, const uint32_t* words, uint64_t count, uint64_t n,
                            uint32_t pointBits, bool halfZero, uint64_t from, uint64_t to);

struct ChainCarries {
  uint64_t from = 0;
  uint64_t to = 0;
  int64_t out[8] = {};
};
void OuterInverseRange(const double* x, uint32_t* points, uint64_t n, uint32_t pointBits,
                       uint64_t from, uint64_t to, ChainCarries* carries);
// Returns the signed carry out of the top point, like OuterInverseCarry; ranges in order of from.
int64_t JoinChains(uint32_t* points, uint64_t n, uint32_t pointBits, const ChainCarries* ranges,
                   uint32_t count);

// Folds a carry out of the top point back in, 2^(L·b) ≡ −1: afterwards the points hold the value
// reduced modulo 2^(L·b) + 1, except that 2^(L·b) itself comes back as zero points and 1.
uint32_t ReduceNegacyclic(uint32_t* points, uint64_t count, uint32_t pointBits, int64_t topCarry);

// Reads the reduced value (with the top ReduceNegacyclic returned) as a signed one of magnitude
// below 2^(L·b − 1): when it stands for a negative value, R − 2^(L·b) − 1, the points become its
// magnitude and the answer is true.
bool TakeMagnitude(uint32_t* points, uint64_t count, uint32_t pointBits, uint32_t top);

}  // namespace zx::fft
