// Number-theoretic transforms of N = 2^k points modulo one of three primes below 2^51, as
// N1 × N2 matrices (four-step): columns first, a strip at a time across the vector lanes, then
// the rows, each twisted by ω^(row·column) and transformed in cache. Outputs are in a fixed
// scrambled order that the inverse undoes, which is all a convolution needs.
#pragma once

#include <cstdint>
#include <functional>

#include "runtime/threads.hpp"

namespace zx::ntt {

inline constexpr int kPrimeCount = 3;
// The largest transform the primes and tables support: 2^24 points, products of 2^24 limbs.
inline constexpr uint32_t kMaxLogPoints = 24;
// Rows of at least 32 points, the twist's four chains of eight lanes.
inline constexpr uint32_t kMinLogPoints = 10;

struct PrimeField {
  uint64_t p;
  uint64_t pInverse;    // p^−1 mod 2^52
  uint64_t montgomery;  // 2^52 mod p
  uint64_t root;        // of order 2^kMaxLogPoints
};
const PrimeField& Prime(int index);

// a·b mod p for a, b < p (scalar, for tables and the CRT constants).
uint64_t MulMod(uint64_t a, uint64_t b, uint64_t p);
uint64_t PowMod(uint64_t a, uint64_t e, uint64_t p);

// Source of the forward transform: `count` 64-bit coefficients read from 32-bit words (the last
// one may be half a limb), zero beyond.
struct Coefficients {
  const uint32_t* words = nullptr;
  uint64_t wordCount = 0;
  // Or residues already below 2p, residueCount of them (a multiple of 8, the array 64-aligned).
  const uint64_t* residues = nullptr;
  uint64_t residueCount = 0;
};

// One pass over an array of 2^logPoints points modulo prime `prime`: its two runners' scratch
// blocks (RunnerScratchBytes each, 64-aligned), the row pass's twist tables (TwistBytes), and the
// partner thread's help when shared is set (its chunks are claimed one at a time).
struct Pass {
  int prime;
  uint32_t logPoints;
  uint64_t* scratch[2];
  uint64_t* twist;
  SharedSteps* shared;
};
uint64_t RunnerScratchBytes(uint32_t logPoints);

// body(chunk, first, end) over [0, count) in up to kMaxChunks chunks, shared with the partner
// when `shared` has it (one chunk otherwise).
inline constexpr uint32_t kMaxChunks = 8;
void ForChunks(SharedSteps* shared, uint64_t count,
               const std::function<void(uint32_t chunk, uint64_t first, uint64_t end)>& body);
uint64_t TwistBytes(uint32_t logPoints);

// data[0..N) gets the columns' transforms of the source's coefficients, in [0, 2p); the source's
// residues may be data itself.
void Forward(const Pass& pass, const Coefficients& source, uint64_t* data);
// Rows of a and b twisted, transformed, multiplied pointwise, scaled by `scale` (times N^−1),
// transformed back and untwisted, into a; b may equal a (a square).
void RowsMultiply(const Pass& pass, uint64_t* a, const uint64_t* b, uint64_t scale);
// The columns transformed back: a gets scale·N·(the cyclic convolution), in [0, 2p).
void InverseColumns(const Pass& pass, uint64_t* a);

// Products modulo p(x) = x^n − g: out[i] (+)= factor·Σ_j g^j·x_(i + j·n) for i < n, over the
// source's coefficients (which may run past n), out in [0, 2p); n a multiple of 8, out 64-aligned.
void Fold(int prime, const Coefficients& source, uint64_t* out, uint64_t n, uint64_t g,
          uint64_t factor, bool accumulate, SharedSteps* shared);
// data[i] times factor·root^i for i < n, n a multiple of 32.
void MultiplyByPowers(int prime, uint64_t* data, uint64_t n, uint64_t root, uint64_t factor,
                      SharedSteps* shared);
// A root of unity of order 2^logOrder modulo prime `prime` (logOrder ≤ 30).
uint64_t RootOfOrder(int prime, uint32_t logOrder);

}  // namespace zx::ntt
