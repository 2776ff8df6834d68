// GMP models of BigInt and BigFloat values for the randomized tests: a BigFloat is the integer
// ±magnitude scaled by 2^(32·exponent), compared on a common scale.
#pragma once

#include <gmp.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "bignum/bigfloat.hpp"

namespace zx::test {

// z = the magnitude's words as an integer.
void ToMpz(mpz_t z, const uint32_t* words, uint64_t length);
void ToMpz(mpz_t z, AllocationHeap* heap, BigInt& a);
// z = value · 2^(32·(exponent − scale)), signed; scale must not exceed the exponent.
void ToScaledMpz(mpz_t z, AllocationHeap* heap, BigFloat& a, int64_t scale);
std::vector<uint32_t> FromMpz(const mpz_t z);

// Random words with long runs of zeros and of all ones now and then, where carries misbehave.
std::vector<uint32_t> RandomWords(std::mt19937_64& rng, uint64_t length);
void SetWords(AllocationHeap* heap, BigInt& out, const std::vector<uint32_t>& words);
void RandomBigFloat(AllocationHeap* heap, std::mt19937_64& rng, BigFloat& out, uint64_t maxWords,
                    int64_t exponentSpread);

}  // namespace zx::test
