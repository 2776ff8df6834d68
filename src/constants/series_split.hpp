// The binary-splitting recursion over terms a+1..b producing the integers P, Q, T of a series
// (T signed, Q and P positive), truncated to the words the terms from a on can still change plus
// three guard words: a node starting at term a never carries more than that. The threaded form
// hands the left half to a new thread down to 1000-term ranges.
// Cost: O(M(p)·log p) for p words; memory a few times the result's size per thread.
#pragma once

#include <algorithm>
#include <cstdint>

#include "constants/series_policy.hpp"
#include "multiply/multiply.hpp"
#include "runtime/threads.hpp"

namespace zx {

inline constexpr uint64_t kNoTruncation = (uint64_t{1} << 62) - 1;
inline constexpr uint64_t kThreadedSplitMinTerms = 1000;
// HeapSplit reserve for the three result records a half leaves in its child heap.
inline constexpr uint32_t kSeriesSplitThreads = 3;

// A split result: P is formed only when asked for.
struct SeriesTriple {
  BigFloat t;
  BigFloat q;
  BigFloat p;
};

// Words of the result that term n can still affect: p − n·g, clipped to [0, 2^62 − 1].
template <SeriesPolicy S>
uint64_t RemainingWords(uint64_t precisionWords, uint64_t n) {
  const double words = static_cast<double>(precisionWords) - static_cast<double>(n) * S::kWordsPerTerm;
  if (words < 0) return 0;
  if (words >= 4611686018427387904.0) return kNoTruncation;
  return static_cast<uint64_t>(words);
}

template <SeriesPolicy S>
uint64_t TermCount(uint64_t precisionWords) {
  return 1 + static_cast<uint64_t>(static_cast<double>(precisionWords) * S::kTermsPerWord);
}

// The first index in (a, b] whose size estimate reaches target (b when none before it does).
template <SeriesPolicy S>
uint64_t BisectEstimate(uint64_t a, uint64_t b, double target) {
  uint64_t lo = a;
  uint64_t hi = b;
  while (hi - lo > 1) {
    const uint64_t mid = lo + (hi - lo) / 2;
    if (S::SizeEstimate(mid) >= target) {
      hi = mid;
    } else {
      lo = mid;
    }
  }
  return hi;
}

// Where the two halves cost the same to multiply: the estimate's mean, not the term midpoint.
template <SeriesPolicy S>
uint64_t BalancedSplit(uint64_t a, uint64_t b) {
  if (b - a < 2) return b;
  if (b - a < S::kBalancedSplitMinTerms) return a + (b - a) / 2;
  return BisectEstimate<S>(a, b, (S::SizeEstimate(a) + S::SizeEstimate(b)) / 2);
}

// The first index whose estimate is at least estimate(a) + words·2^shift.
template <SeriesPolicy S>
uint64_t GrowSplit(uint64_t a, uint64_t b, uint64_t words, uint32_t shift) {
  const double target = S::SizeEstimate(a) + std::ldexp(static_cast<double>(words), static_cast<int>(shift));
  return BisectEstimate<S>(a, b, target);
}

inline constexpr uint64_t kSerialBalancedMinTerms = 100;

// The split point of a serial node: balanced from 100 terms, the plain midpoint below, where the
// estimate is not worth its logarithms.
template <SeriesPolicy S>
uint64_t SerialSplitPoint(uint64_t a, uint64_t b) {
  return b - a >= kSerialBalancedMinTerms ? BalancedSplit<S>(a, b) : a + (b - a) / 2;
}

// Puts the right half in front of the left: T = T1·Q2 + T2·P1, Q = Q1·Q2, P = P1·P2, each cut to
// the words that the terms from its start can still change.
template <SeriesPolicy S>
void MergeTriples(AllocationHeap* heap, SeriesTriple& left, SeriesTriple& right, SeriesTriple& out,
                  bool wantP, uint64_t a, uint64_t m, uint64_t precisionWords, uint32_t threads) {
  const uint64_t ra = RemainingWords<S>(precisionWords, a);
  const uint64_t rm = RemainingWords<S>(precisionWords, m);
  BigFloat t2;
  BigFloatMultiplyKeep(heap, right.t, left.p, t2, rm + 3, threads);
  BigFloatRelease(right.t);
  if (!wantP) BigFloatRelease(left.p);
  BigFloat t1;
  BigFloatMultiplyKeep(heap, left.t, right.q, t1, ra + 3, threads);
  BigFloatRelease(left.t);
  BigFloatAdd(heap, t1, t2, out.t, ra);
  BigFloatRelease(t1);
  BigFloatRelease(t2);
  BigFloatNormalize(heap, out.t);
  BigFloatMultiplyKeep(heap, left.q, right.q, out.q, ra + 3, threads);
  BigFloatRelease(left.q);
  BigFloatRelease(right.q);
  if (wantP) {
    BigFloatMultiplyKeep(heap, left.p, right.p, out.p, ra + 3, threads);
    BigFloatRelease(left.p);
    BigFloatRelease(right.p);
  }
}

template <SeriesPolicy S>
void SplitSerial(AllocationHeap* heap, uint64_t a, uint64_t b, SeriesTriple& out, bool wantP,
                 uint64_t precisionWords) {
  if (b - a == 1) {
    S::Leaf(heap, b, out.t, out.q, wantP ? &out.p : nullptr);
    return;
  }
  const uint64_t m = SerialSplitPoint<S>(a, b);
  SeriesTriple left, right;
  SplitSerial<S>(heap, a, m, left, true, precisionWords);
  SplitSerial<S>(heap, m, b, right, wantP, precisionWords);
  MergeTriples<S>(heap, left, right, out, wantP, a, m, precisionWords, 0);
}

template <SeriesPolicy S>
void SplitThreaded(AllocationHeap* heap, uint64_t a, uint64_t b, SeriesTriple& out, bool wantP,
                   uint64_t precisionWords, uint32_t depth) {
  if (depth == 0 || b - a < kThreadedSplitMinTerms) {
    SplitSerial<S>(heap, a, b, out, wantP, precisionWords);
    return;
  }
  const uint64_t m = BalancedSplit<S>(a, b);
  SeriesTriple left, right;
  ForkJoin(
      heap, kSeriesSplitThreads,
      [&](AllocationHeap* child) {
        SplitThreaded<S>(child, a, m, left, true, precisionWords, depth - 1);
        return uint32_t{0};
      },
      [&](AllocationHeap* child) {
        SplitThreaded<S>(child, m, b, right, wantP, precisionWords, depth - 1);
        return uint32_t{0};
      });
  MergeTriples<S>(heap, left, right, out, wantP, a, m, precisionWords, MultiplyThreads(depth));
}

}  // namespace zx
