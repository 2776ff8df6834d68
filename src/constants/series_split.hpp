// The binary-splitting recursion over terms a+1..b. A node never carries more words than the terms
// from its start can still change plus three guard words: the policy's merge cuts every product
// there. The threaded form hands the left half to a new thread down to 1000-term ranges, over a
// heap split in the shares the two halves are estimated to need.
// Cost: O(M(p)·log p) for p words; memory a few times the result's size per thread.
#pragma once

#include <algorithm>
#include <cstdint>

#include "constants/series_policy.hpp"
#include "multiply/multiply.hpp"
#include "runtime/threads.hpp"
#include "shell/fatal.hpp"

namespace zx {

inline constexpr uint64_t kThreadedSplitMinTerms = 1000;
inline constexpr uint64_t kSerialBalancedMinTerms = 100;
// HeapSplit reserve for the result records a half leaves in its child heap.
inline constexpr uint32_t kSeriesSplitThreads = 3;

// The first index in (a, b] whose size estimate reaches target (b when none before it does).
template <SeriesPolicy S>
uint64_t BisectEstimate(const S& series, uint64_t a, uint64_t b, double target) {
  uint64_t lo = a;
  uint64_t hi = b;
  while (hi - lo > 1) {
    const uint64_t mid = lo + (hi - lo) / 2;
    if (series.SizeEstimate(mid) >= target) {
      hi = mid;
    } else {
      lo = mid;
    }
  }
  return hi;
}

// Where the two halves cost the same to multiply: the estimate's mean, not the term midpoint.
template <SeriesPolicy S>
uint64_t BalancedSplit(const S& series, uint64_t a, uint64_t b) {
  if (b - a < 2) return b;
  if (b - a < series.BalancedSplitMinTerms()) return a + (b - a) / 2;
  return BisectEstimate(series, a, b, (series.SizeEstimate(a) + series.SizeEstimate(b)) / 2);
}

// The first index whose estimate is at least estimate(a) + words·2^shift.
template <SeriesPolicy S>
uint64_t GrowSplit(const S& series, uint64_t a, uint64_t b, uint64_t words, uint32_t shift) {
  const double target =
      series.SizeEstimate(a) + std::ldexp(static_cast<double>(words), static_cast<int>(shift));
  return BisectEstimate(series, a, b, target);
}

// The split point of a serial node: balanced from 100 terms, the plain midpoint below, where the
// estimate is not worth its logarithms.
template <SeriesPolicy S>
uint64_t SerialSplitPoint(const S& series, uint64_t a, uint64_t b) {
  return b - a >= kSerialBalancedMinTerms ? BalancedSplit(series, a, b) : a + (b - a) / 2;
}

template <size_t kParts>
void NodeRelease(SeriesNode<kParts>& node) {
  for (BigFloat& part : node.part) BigFloatRelease(part);
}

template <size_t kParts>
void NodeNormalize(AllocationHeap* heap, SeriesNode<kParts>& node) {
  for (BigFloat& part : node.part) BigFloatNormalize(heap, part);
}

template <size_t kParts>
void NodeSwapOut(AllocationHeap* heap, SeriesNode<kParts>& node) {
  for (BigFloat& part : node.part) BigIntSwapOut(heap, part.magnitude);
}

// Slides the live buffers of one or two nodes, lowest first, into the gaps below them, so that the
// free space above the last one is contiguous again.
template <size_t kParts>
void NodesCompact(std::initializer_list<SeriesNode<kParts>*> nodes) {
  ZX_ASSERT(nodes.size() <= 2);
  BigInt* buffers[2 * kParts] = {};
  size_t count = 0;
  for (SeriesNode<kParts>* node : nodes) {
    for (BigFloat& part : node->part) {
      if (part.magnitude.words == nullptr || part.magnitude.length == 0) continue;
      // Insertion by address: a handful of entries.
      size_t at = count++;
      const auto address = reinterpret_cast<uintptr_t>(part.magnitude.words);
      for (; at > 0 && reinterpret_cast<uintptr_t>(buffers[at - 1]->words) > address; --at) {
        buffers[at] = buffers[at - 1];
      }
      buffers[at] = &part.magnitude;
    }
  }
  for (size_t i = 0; i < count; ++i) {
    buffers[i]->words = static_cast<uint32_t*>(HeapCompact(buffers[i]->words));
  }
}

// Relative bytes a subtree over a+1..b holds at its top merge: its inputs and outputs at the size
// the merge keeps, and the merge's largest product.
template <SeriesPolicy S>
double SubtreeBytes(const S& series, uint64_t a, uint64_t b, uint64_t precisionWords, bool wantP,
                    uint32_t threads) {
  const double grown = series.SizeEstimate(b) - series.SizeEstimate(a);
  const double kept = static_cast<double>(series.RemainingWords(precisionWords, a)) + 3;
  const double words = std::max(std::min(grown, kept), 1.0);
  const double parts = 2.0 * S::Node::kParts + (wantP ? 1 : 0);
  return parts * words * sizeof(uint32_t) +
         static_cast<double>(MultiplyMemoryBytes(static_cast<uint64_t>(words), threads));
}

template <SeriesPolicy S>
void SplitSerial(const S& series, AllocationHeap* heap, uint64_t a, uint64_t b,
                 typename S::Node& out, bool wantP, uint64_t precisionWords) {
  if (b - a == 1) {
    series.Leaf(heap, b, out, wantP);
    return;
  }
  // A policy may sum short ranges in one go (exactly, on the stack).
  if constexpr (requires { series.LeafRange(heap, a, b, out, wantP); }) {
    if (series.LeafRange(heap, a, b, out, wantP)) return;
  }
  const uint64_t m = SerialSplitPoint(series, a, b);
  typename S::Node left, right;
  SplitSerial(series, heap, a, m, left, true, precisionWords);
  SplitSerial(series, heap, m, b, right, wantP, precisionWords);
  series.Merge(heap, left, right, out, SeriesMerge{a, m, b, precisionWords, wantP, 0});
}

// With depth d the tree fans out to 2^d subtrees, but no more of them run at once than the run
// has threads: below the run's k fork levels the halves are summed one after the other, as two
// subtrees time-sliced on one core evict each other's operands from its caches (Catalan's
// constant at 10^6 digits: 9 % slower on two threads with four subtrees running). Each half gets
// the share of the free heap its estimate asks for: near the right end of a series the halves
// differ in how much truncation saves them, and the left half forms P. After the join both halves
// are packed down, so the merge finds the whole rest of the heap above them.
template <SeriesPolicy S>
void SplitThreaded(const S& series, AllocationHeap* heap, uint64_t a, uint64_t b,
                   typename S::Node& out, bool wantP, uint64_t precisionWords, uint32_t depth) {
  if (depth == 0 || b - a < kThreadedSplitMinTerms || !ForkWithinRun()) {
    SplitSerial(series, heap, a, b, out, wantP, precisionWords);
    return;
  }
  const uint64_t m = BalancedSplit(series, a, b);
  const uint32_t threads = MultiplyThreads(depth - 1);
  const double leftBytes = SubtreeBytes(series, a, m, precisionWords, true, threads);
  const double rightBytes = SubtreeBytes(series, m, b, precisionWords, wantP, threads);
  typename S::Node left, right;
  ForkJoin(
      heap, kSeriesSplitThreads,
      [&](AllocationHeap* child) {
        SplitThreaded(series, child, a, m, left, true, precisionWords, depth - 1);
        return uint32_t{0};
      },
      [&](AllocationHeap* child) {
        SplitThreaded(series, child, m, b, right, wantP, precisionWords, depth - 1);
        return uint32_t{0};
      },
      leftBytes / (leftBytes + rightBytes));
  if (heap != nullptr) NodesCompact({&left, &right});
  series.Merge(heap, left, right, out,
               SeriesMerge{a, m, b, precisionWords, wantP, MultiplyThreads(depth)});
}

}  // namespace zx
