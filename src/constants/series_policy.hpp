// What a series must tell the binary-splitting engine, and the one thing the engine hands back.
// The policy is a value (it may carry run-time parameters such as an ArcCoth's x) that gives the
// mathematics: its node, the leaf of one term, the merge of two adjacent nodes, the words a node
// starting at term n still needs, the term count, the size model and the planner's memory factor.
// The engine gives the mechanics: recursions, threads, heap splitting, truncation, swapping,
// segments and progress. Each constant's file then holds only its terms and its finish.
#pragma once

#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstdint>

#include "bignum/bigfloat.hpp"

namespace zx {

// A node of the splitting tree: a fixed number of exact integers (BigFloats whose exponents carry
// the low words that truncation dropped). What each part means is the policy's business; the
// engine compacts, normalises, swaps out and releases them all alike.
template <size_t kCount>
struct SeriesNode {
  static constexpr size_t kParts = kCount;
  BigFloat part[kCount];
};

// Where a merge sits in the tree. left covers terms a+1..m, right m+1..b. wantP asks for the
// parts that only a node to the right of the result would need (P of a hypergeometric series);
// a node on the right edge of a summation never needs them.
struct SeriesMerge {
  uint64_t a = 0;
  uint64_t m = 0;
  uint64_t b = 0;
  uint64_t precisionWords = 0;
  bool wantP = true;
  uint32_t threads = 0;  // thread exponent of the merge's products
};

template <class S>
concept SeriesPolicy = requires(const S& series, AllocationHeap* heap, typename S::Node& node,
                                uint64_t n, bool wantP, const SeriesMerge& merge) {
  requires std::same_as<typename S::Node, SeriesNode<S::Node::kParts>>;
  // Terms 1..N are summed; term 0 is the finish's business.
  { series.TermCount(n) } -> std::same_as<uint64_t>;
  // Words of a p-word result that the terms from n + 1 on can still change (0 past the
  // precision, kNoTruncation when nothing may be cut).
  { series.RemainingWords(n, n) } -> std::same_as<uint64_t>;
  // Estimated words of the node over terms 1..n: splits balance it, segments grow by it.
  { series.SizeEstimate(n) } -> std::same_as<double>;
  // Ranges shorter than this split at the midpoint even where the estimate would balance them.
  { series.BalancedSplitMinTerms() } -> std::same_as<uint64_t>;
  // Bytes of working memory per remaining word of a segment, before the planner's shift.
  { series.MemoryFactor() } -> std::same_as<double>;
  // The exact leaf of term n ≥ 1; without wantP the P parts may stay empty.
  {series.Leaf(heap, n, node, wantP)};
  // out = left followed by right; both inputs are consumed (released).
  {series.Merge(heap, node, node, node, merge)};
  // Optionally, bool LeafRange(heap, a, b, node, wantP): the whole node over a+1..b at once, or
  // false to have the engine split the range.
};

inline constexpr uint64_t kNoTruncation = kFullPrecision;
// 1/(32·ln 2): natural logarithms to words.
inline constexpr double kLnToWords = 0.045084220027780106;
// 3·(0.5 + 0.5·ln 2π): the constant of Stirling's formula for (k!)^3.
inline constexpr double kStirlingOffset = 4.2568155996140185;

// A word count from a double: 0 below zero, kNoTruncation from 2^62 on, else truncated.
inline uint64_t ClampWords(double words) {
  if (words < 0) return 0;
  if (words >= 4611686018427387904.0) return kNoTruncation;
  return static_cast<uint64_t>(words);
}

// The remaining words of a series whose terms each shrink by wordsPerTerm words: p − n·g.
inline uint64_t LinearRemainingWords(uint64_t precisionWords, uint64_t n, double wordsPerTerm) {
  return ClampWords(static_cast<double>(precisionWords) - static_cast<double>(n) * wordsPerTerm);
}

// Words of Q over 1..n for a leaf Q of constant·k^power: ln Π ≈ power·ln n! + n·lnC.
inline double FactorialPowerEstimate(uint64_t n, double power, double lnConstant) {
  const double x = static_cast<double>(n) + 1;
  return ((std::log(x) - 1) * (x + 0.5) * power + static_cast<double>(n) * lnConstant +
          kStirlingOffset) *
         kLnToWords;
}

}  // namespace zx
