// Exact integers of a few words, the leaves of every series and the bottom of its splitting tree:
// computed on the stack in 64-bit and 128-bit arithmetic instead of through the heap and the
// general product, since their values never exceed a few dozen words and a series has millions.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "bignum/bigfloat.hpp"

namespace zx {

// Twice the largest range summed on the stack: the size model estimates Q, and T runs longer.
inline constexpr int kSmallIntWords = 320;

// A signed integer of at most kSmallIntWords words, little-endian; zero has length 0.
struct SmallInt {
  uint32_t words[kSmallIntWords];
  int length = 0;
  bool negative = false;
};

// The product of the factors (non-negative).
void SmallSetProduct(SmallInt& out, std::initializer_list<uint64_t> factors);
// c0·x^d + c1·x^(d−1) + … + cd (Horner, coefficients from the highest power down), times the
// factors.
void SmallSetPolynomialProduct(SmallInt& out, uint64_t x,
                               std::initializer_list<uint64_t> coefficients,
                               std::initializer_list<uint64_t> factors);
// out = a·b and out = a + b, signed; out may not alias an operand. A result past kSmallIntWords
// is an internal error.
void SmallMultiply(const SmallInt& a, const SmallInt& b, SmallInt& out);
void SmallAdd(const SmallInt& a, const SmallInt& b, SmallInt& out);
// x = x·2^bits.
void SmallShiftLeft(SmallInt& x, uint64_t bits);

// out = value as a BigFloat of exponent 0 (the old contents are not released).
void StoreSmall(AllocationHeap* heap, const SmallInt& value, BigFloat& out);

}  // namespace zx
