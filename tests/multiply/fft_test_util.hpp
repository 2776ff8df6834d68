// The FFT tests' oracle check and worst-case operands, shared by the default and long suites.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "multiply/basecase/basecase.hpp"
#include "multiply/fft/fft_mul.hpp"
#include "multiply/fft/fft_size_table.hpp"
#include "multiply_test_util.hpp"

namespace zx::test {

constexpr uint32_t kGuard = 0x5EC0DE17u;

// Runs FftMultiply (or FftSquare when b is null) and compares with GMP; t is the truncation.
inline void CheckProduct(const Words& a, const Words* b, uint64_t t, const std::string& what) {
  const uint64_t la = a.size();
  const uint64_t lb = b == nullptr ? la : b->size();
  const uint64_t kept = t < la + lb ? la + lb - t : 0;
  Words out(kept + 4, kGuard);
  if (b == nullptr) {
    ASSERT_EQ(FftSquare(nullptr, a.data(), la, out.data(), t), 0u);
  } else {
    ASSERT_EQ(FftMultiply(nullptr, a.data(), la, b->data(), lb, out.data(), t), 0u);
  }
  for (uint64_t i = kept; i < out.size(); i++) ASSERT_EQ(out[i], kGuard) << what;
  if (kept == 0) return;
  const Words exact = GmpProduct(a, b == nullptr ? a : *b);
  out.resize(kept);
  const TruncatedShape shape = TruncateOperands(la, lb, t);
  if (shape.dropA == 0 && shape.dropB == 0) {
    ASSERT_EQ(out, Words(exact.begin() + t, exact.end())) << what;
  } else {
    ASSERT_LE(TruncationShortfall(exact, t, out), 2u) << what;
  }
}

// Words whose b-bit fields all hold `field` (the operand's points before balancing).
inline Words FieldPattern(uint64_t n, uint32_t bits, uint64_t field) {
  Words words(n, 0);
  for (uint64_t bit = 0; bit < 32 * n; bit += bits) {
    for (uint32_t k = 0; k < bits && bit + k < 32 * n; k++) {
      if ((field >> k) & 1) words[(bit + k) / 32] |= 1u << ((bit + k) % 32);
    }
  }
  return words;
}

// Balanced points are largest and most coherent when every field is 2^(b−1) − 1 or 2^(b−1):
// the worst case of the transform, at the full capacity of each row (and all ones, the worst
// case of unsigned points).
inline void CheckFullRows(int firstRow, int lastRow) {
  for (int row = firstRow; row <= lastRow; row++) {
    const uint64_t n = FftCapacityBits(row) / 64;
    FftSize size;
    ASSERT_TRUE(ChooseFftSize(64 * n, &size));
    const uint64_t half = uint64_t{1} << (size.pointBits - 1);
    for (uint64_t field : {half - 1, half}) {
      const Words a = FieldPattern(n, size.pointBits, field);
      const std::string what = "row " + std::to_string(row) + " n=" + std::to_string(n) +
                               " field=" + std::to_string(field);
      CheckProduct(a, &a, 0, what);
      CheckProduct(a, nullptr, 0, "square " + what);
    }
    const Words ones = AllOnes(n);
    CheckProduct(ones, nullptr, 0, "all ones row " + std::to_string(row));
  }
}

}  // namespace zx::test
