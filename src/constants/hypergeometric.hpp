// Hypergeometric series whose terms shrink by a fixed number of words each (Pi's, Zeta(3)'s,
// Catalan's): the node {T, Q, P}, its merge, and the policy built from a small table of terms.
// A Terms type gives the leaf of term k and the constants; LinearSeries<Terms> is the policy the
// engine sums.
#pragma once

#include <cstdint>

#include "constants/series_policy.hpp"
#include "multiply/multiply.hpp"

namespace zx {

using PqtNode = SeriesNode<3>;
// The parts of a PqtNode. Over terms a+1..b, T/Q is the partial sum scaled by the product of the
// P's before a+1 over the Q's, and P is the product of the P's: T signed, Q and P positive (the
// alternating sign of a series rides on the leaf T alone, so products of P never carry one).
inline constexpr size_t kPartT = 0;
inline constexpr size_t kPartQ = 1;
inline constexpr size_t kPartP = 2;

// Puts the right node after the left: T = T1·Q2 + T2·P1, Q = Q1·Q2, P = P1·P2. Products at the
// left end keep the remaining words at a plus three guard words, T2·P1 those at m; the sum of T is
// cut to the words at a. Both inputs are consumed.
void MergePqt(AllocationHeap* heap, PqtNode& left, PqtNode& right, PqtNode& out, bool wantP,
              uint64_t remainingAtA, uint64_t remainingAtM, uint32_t threads);

template <class T>
concept LinearTerms = requires(AllocationHeap* heap, uint64_t k, PqtNode& node, bool wantP,
                               uint64_t n) {
  { T::kWordsPerTerm } -> std::convertible_to<double>;
  { T::kTermsPerWord } -> std::convertible_to<double>;
  { T::kBalancedSplitMinTerms } -> std::convertible_to<uint64_t>;
  { T::kMemoryFactor } -> std::convertible_to<double>;
  { T::SizeEstimate(n) } -> std::same_as<double>;
  // The exact P(k), Q(k), T(k) of term k ≥ 1 (P only when wantP).
  { T::Leaf(heap, k, node, wantP) };
};

template <LinearTerms Terms>
struct LinearSeries {
  using Node = PqtNode;
  uint64_t TermCount(uint64_t precisionWords) const {
    return 1 + static_cast<uint64_t>(static_cast<double>(precisionWords) * Terms::kTermsPerWord);
  }
  uint64_t RemainingWords(uint64_t precisionWords, uint64_t n) const {
    return LinearRemainingWords(precisionWords, n, Terms::kWordsPerTerm);
  }
  double SizeEstimate(uint64_t n) const { return Terms::SizeEstimate(n); }
  uint64_t BalancedSplitMinTerms() const { return Terms::kBalancedSplitMinTerms; }
  double MemoryFactor() const { return Terms::kMemoryFactor; }
  void Leaf(AllocationHeap* heap, uint64_t k, Node& node, bool wantP) const {
    Terms::Leaf(heap, k, node, wantP);
  }
  void Merge(AllocationHeap* heap, Node& left, Node& right, Node& out,
             const SeriesMerge& merge) const {
    MergePqt(heap, left, right, out, merge.wantP, RemainingWords(merge.precisionWords, merge.a),
             RemainingWords(merge.precisionWords, merge.m), merge.threads);
  }
};

}  // namespace zx
