// MPFR references for the Newton tests: BigFloats to and from mpfr_t, and the agreement of a
// result with a reference counted in words.
#pragma once

#include <mpfr.h>

#include "bignum/bigfloat.hpp"

namespace zx::test {

void ToMpfr(mpfr_t out, AllocationHeap* heap, BigFloat& a);
// −log2(|a − reference| / |reference|) / 32: how many words of a are right.
double AgreeingWords(AllocationHeap* heap, BigFloat& a, const mpfr_t reference);

}  // namespace zx::test
