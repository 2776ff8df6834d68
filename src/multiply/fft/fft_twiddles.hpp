// The prepared twiddle factors of the floating-point transforms, process-wide and read-only once
// built. Four families of lengths (2^i, 3·2^i, 5·2^i and 7·2^i) each keep one table per level, so
// that every transform reads its factors contiguously; a smaller level's radix-4 table holds every
// second entry of the next larger one. All factors of a family come from one table of the first
// octant of its largest circle, in extended precision. Tables only grow: a level once built stays
// at its address until everything is released, so readers never take a lock.
#pragma once

#include <cstdint>

namespace zx {

// Makes ready the factors of every transform of at most `points` real points (every family).
// Allocation failure: "Allocation Failure", pause, exit 1.
void PrepareFftTwiddles(uint64_t points);
// The prepared factors cover a transform of `points` real points.
bool FftTwiddlesReach(uint64_t points);
void ReleaseFftTwiddles();

namespace fft {

// Radix-4 factors of a lane-transform level of q vectors (q = c·2^i ≥ 4, c = 1, 3, 5 or 7): for
// each j < q/4 the (cos, sin) pairs of w^j, w^2j and w^3j, w = e^(−2πi/q): 6 doubles per j.
const double* Radix4Twiddles(uint64_t q);
// Outer factors of an N-point complex transform (N = 4M vectors of 4 lanes): for every v < M the
// complex lane vector T_v of e^(2πi·v·(1 − 4k)/(4N)) for the lanes' k = 0, 2, 1, 3, kept in two
// parts so that the table stays in cache: S = OuterLowCount(M) (a power of two dividing M, at most
// 256) low vectors T_v (v < S) followed by M/S high vectors T_(u·S), and T_v = T_(⌊v/S⌋·S)·T_(v mod
// S) lane by lane (8 doubles a vector).
const double* OuterTwiddles(uint64_t n);
inline constexpr uint64_t kOuterLowEntries = 256;
uint64_t OuterLowCount(uint64_t m);

}  // namespace fft
}  // namespace zx
