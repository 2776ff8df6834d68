// What a hypergeometric series must tell the binary-splitting engine: its leaf terms, how many
// words each term gains, the size model of its denominators, where splitting turns balanced, and
// the planner's memory factor. Each constant's file then holds only its terms and its finish.
#pragma once

#include <cmath>
#include <concepts>
#include <cstdint>

#include "bignum/bigfloat.hpp"

namespace zx {

template <class S>
concept SeriesPolicy = requires(AllocationHeap* heap, uint64_t k, BigFloat& t, BigFloat& q,
                                BigFloat* p, uint64_t n) {
  // Words of the result gained per term, and its inverse.
  { S::kWordsPerTerm } -> std::convertible_to<double>;
  { S::kTermsPerWord } -> std::convertible_to<double>;
  // Ranges from this many terms on split where the size model balances (below: the midpoint).
  { S::kBalancedSplitMinTerms } -> std::convertible_to<uint64_t>;
  // Bytes of working memory per remaining word of a segment, before the planner's shift.
  { S::kMemoryFactor } -> std::convertible_to<double>;
  // Estimated words of Q over terms 1..n.
  { S::SizeEstimate(n) } -> std::convertible_to<double>;
  // The exact integer terms of one leaf k ≥ 1; p may be null when P is not wanted.
  { S::Leaf(heap, k, t, q, p) };
};

// 1/(32·ln 2): natural logarithms to words.
inline constexpr double kLnToWords = 0.045084220027780106;
// 3·(0.5 + 0.5·ln 2π): the constant of Stirling's formula for (k!)^3.
inline constexpr double kStirlingOffset = 4.2568155996140185;

// Words of Q over 1..n for a leaf Q of constant·k^power: ln Π ≈ power·ln n! + n·lnC.
inline double FactorialPowerEstimate(uint64_t n, double power, double lnConstant) {
  const double x = static_cast<double>(n) + 1;
  return ((std::log(x) - 1) * (x + 0.5) * power + static_cast<double>(n) * lnConstant +
          kStirlingOffset) *
         kLnToWords;
}

}  // namespace zx
