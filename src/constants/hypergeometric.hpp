// Hypergeometric series (Pi's, Zeta(3)'s, Catalan's, ArcCoth's, the Euler-Mascheroni
// correction): the node {T, Q, P}, its merge, and the policy built from a small table of terms.
// A Terms value gives the leaf of term k and the constants; HypergeometricSeries<Terms> is the
// policy the engine sums. The terms shrink by a fixed number of words each unless the Terms give
// their own RemainingWords.
#pragma once

#include <cstdint>

#include "constants/leaf_terms.hpp"
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

// 1 + floor(p · terms per word): the terms a p-word sum needs.
inline uint64_t LinearTermCount(uint64_t precisionWords, double termsPerWord) {
  return 1 + static_cast<uint64_t>(static_cast<double>(precisionWords) * termsPerWord);
}

// The exact P(k), Q(k), T(k) of one term, or of a short range, on the stack.
struct SmallPqt {
  SmallInt t;
  SmallInt q;
  SmallInt p;
};

// What a hypergeometric series gives: its constants and the leaf of term k ≥ 1. Terms may carry
// run-time values (an ArcCoth's x).
template <class T>
concept HypergeometricTerms = requires(const T& terms, uint64_t k, SmallPqt& leaf, uint64_t n) {
  { terms.WordsPerTerm() } -> std::same_as<double>;
  { terms.TermCount(n) } -> std::same_as<uint64_t>;
  { terms.SizeEstimate(n) } -> std::same_as<double>;
  { terms.BalancedSplitMinTerms() } -> std::same_as<uint64_t>;
  { terms.MemoryFactor() } -> std::same_as<double>;
  {terms.Leaf(k, leaf)};
};

// Ranges up to this many terms, and words by the size model, are summed on the stack: schoolbook
// products of operands up to 80 words there beat the heap's Karatsuba and FFT products once their
// allocation and bookkeeping count (whole series 5 to 10 % faster than with 40-word ranges).
inline constexpr uint64_t kSmallRangeMaxTerms = 128;
inline constexpr double kSmallRangeMaxWords = 160;

// The policy of such a series. The bottom of its tree, ranges of up to 160 words, is summed
// exactly on the stack and stored once: a series has millions of terms, and a heap piece and a
// general product for each of them cost more than the arithmetic.
template <HypergeometricTerms Terms>
struct HypergeometricSeries {
  using Node = PqtNode;
  Terms terms;

  uint64_t TermCount(uint64_t precisionWords) const { return terms.TermCount(precisionWords); }
  uint64_t RemainingWords(uint64_t precisionWords, uint64_t n) const {
    if constexpr (requires { terms.RemainingWords(precisionWords, n); }) {
      return terms.RemainingWords(precisionWords, n);
    } else {
      return LinearRemainingWords(precisionWords, n, terms.WordsPerTerm());
    }
  }
  double SizeEstimate(uint64_t n) const { return terms.SizeEstimate(n); }
  uint64_t BalancedSplitMinTerms() const { return terms.BalancedSplitMinTerms(); }
  double MemoryFactor() const { return terms.MemoryFactor(); }
  void Leaf(AllocationHeap* heap, uint64_t k, Node& node, bool wantP) const {
    SmallPqt leaf;
    terms.Leaf(k, leaf);
    Store(heap, leaf, node, wantP);
  }
  // The exact node over a+1..b when the range is short; false otherwise.
  bool LeafRange(AllocationHeap* heap, uint64_t a, uint64_t b, Node& node, bool wantP) const {
    if (b - a > kSmallRangeMaxTerms || SizeEstimate(b) - SizeEstimate(a) > kSmallRangeMaxWords) {
      return false;
    }
    SmallPqt range;
    SumSmall(a, b, range);
    Store(heap, range, node, wantP);
    return true;
  }
  void Merge(AllocationHeap* heap, Node& left, Node& right, Node& out,
             const SeriesMerge& merge) const {
    MergePqt(heap, left, right, out, merge.wantP, RemainingWords(merge.precisionWords, merge.a),
             RemainingWords(merge.precisionWords, merge.m), merge.threads);
  }

 private:
  // Split at the midpoint, as the serial recursion does: T = T1·Q2 + T2·P1, Q = Q1·Q2, P = P1·P2.
  void SumSmall(uint64_t a, uint64_t b, SmallPqt& out) const {
    if (b - a == 1) {
      terms.Leaf(b, out);
      return;
    }
    const uint64_t m = a + (b - a) / 2;
    SmallPqt left, right;
    SumSmall(a, m, left);
    SumSmall(m, b, right);
    SmallInt t1q2, t2p1;
    SmallMultiply(left.t, right.q, t1q2);
    SmallMultiply(right.t, left.p, t2p1);
    SmallAdd(t1q2, t2p1, out.t);
    SmallMultiply(left.q, right.q, out.q);
    SmallMultiply(left.p, right.p, out.p);
  }
  static void Store(AllocationHeap* heap, const SmallPqt& values, Node& node, bool wantP) {
    StoreSmall(heap, values.t, node.part[kPartT]);
    StoreSmall(heap, values.q, node.part[kPartQ]);
    if (wantP) StoreSmall(heap, values.p, node.part[kPartP]);
  }
};

}  // namespace zx
