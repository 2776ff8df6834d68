// The top of the binary-splitting engine: an outer recursion that shows where in the tree the work
// is and compacts the heap between subtrees, and a segment driver that sums the term range in
// pieces from the right, so that no running P is ever needed. Segments near the start, whose terms
// carry the most words, are small and run with one serial top level; later ones take exponentially
// more terms each and are threaded from the top.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "constants/series_split.hpp"
#include "shell/progress.hpp"

namespace zx {

inline constexpr uint64_t kOuterSplitMinTerms = 1000;
inline constexpr uint64_t kSegmentedMinTerms = 100;
inline constexpr const char* kSummingPrefix = "Summing...  ";

// Planner modes: memory only, disk swapping (mode 3 is planned like 2 but clears the reserved word).
inline constexpr uint32_t kPlanMemory = 1;
inline constexpr uint32_t kPlanDisk = 2;

struct SeriesSegment {
  uint64_t remainingWords = 0;  // at the start of the segment
  uint64_t startTerm = 0;
  uint64_t endTerm = 0;
  uint32_t splitDepth = 0;      // level at which threading takes over
  uint32_t diskLevels = 0;
  uint32_t reserved = 0;
  uint32_t overHalfFree = 0;    // working set above half the free memory even after the disk levels
  uint32_t shift = 0;
};

namespace series_detail {

inline uint64_t OperandDigits(const SeriesTriple& left, const SeriesTriple& right) {
  const uint64_t words = std::max({left.t.magnitude.length, left.q.magnitude.length,
                                   right.t.magnitude.length, right.q.magnitude.length});
  return static_cast<uint64_t>(static_cast<double>(words) * 9.632959861247397) + 1;
}

// Compacts the live buffers of a subtree's results, lowest first, into the gaps below them.
inline void CompactTriple(SeriesTriple& r) {
  BigInt* parts[3] = {&r.t.magnitude, &r.q.magnitude, &r.p.magnitude};
  std::sort(parts, parts + 3, [](const BigInt* x, const BigInt* y) {
    return reinterpret_cast<uintptr_t>(x->words) < reinterpret_cast<uintptr_t>(y->words);
  });
  for (BigInt* part : parts) {
    if (part->words != nullptr && part->length != 0) {
      part->words = static_cast<uint32_t*>(HeapCompact(part->words));
    }
  }
}

inline void Mark(bool progress, char c) {
  if (progress) LabelPush(c);
}

inline void Unmark(bool progress) {
  if (progress) LabelPop();
}

}  // namespace series_detail

// Moves a result's three numbers to the swap disks.
inline void SwapOutTriple(AllocationHeap* heap, SeriesTriple& r) {
  BigIntSwapOut(heap, r.t.magnitude);
  BigIntSwapOut(heap, r.q.magnitude);
  BigIntSwapOut(heap, r.p.magnitude);
}

// The outer recursion. In memory (kDisk false) it splits until the range is under 1000 terms or
// the segment's split depth is reached, compacting each child's results, and hands the rest to
// SplitThreaded. On disk (kDisk true) it forms the segment's disk levels above that: each child's
// results go to the swap disks as soon as it returns, each merge reads them back through the
// products and writes its own results out again, and at the segment's number of disk levels the
// subtree goes to the memory recursion behind a ":" with the level count restarted.
template <SeriesPolicy S, bool kDisk>
void SplitOuterLevels(AllocationHeap* heap, uint64_t a, uint64_t b, SeriesTriple& out, bool wantP,
                      uint64_t precisionWords, const SeriesSegment& segment, uint32_t level,
                      bool progress, uint32_t depth) {
  using namespace series_detail;
  if constexpr (kDisk) {
    if (level == segment.diskLevels || b - a < kOuterSplitMinTerms) {
      const bool marked = progress && segment.overHalfFree != 0;
      Mark(marked, ':');
      SplitOuterLevels<S, false>(heap, a, b, out, wantP, precisionWords, segment, 0, progress,
                                 depth);
      Unmark(marked);
      return;
    }
  } else {
    if (b - a < kOuterSplitMinTerms || (depth != 0 && level == segment.splitDepth)) {
      if (progress) ProgressPrintThrottled(kSummingPrefix, 0);
      SplitThreaded<S>(heap, a, b, out, wantP, precisionWords, depth);
      BigFloatNormalize(heap, out.t);
      BigFloatNormalize(heap, out.q);
      return;
    }
  }
  const auto settle = [heap](SeriesTriple& r) {
    if constexpr (kDisk) {
      SwapOutTriple(heap, r);
    } else {
      CompactTriple(r);
    }
  };
  const uint64_t m = BalancedSplit<S>(a, b);
  SeriesTriple left, right;
  Mark(progress, '0');
  SplitOuterLevels<S, kDisk>(heap, a, m, left, true, precisionWords, segment, level + 1, progress,
                             depth);
  Unmark(progress);
  settle(left);
  Mark(progress, '1');
  SplitOuterLevels<S, kDisk>(heap, m, b, right, wantP, precisionWords, segment, level + 1, progress,
                             depth);
  Unmark(progress);
  settle(right);
  Mark(progress, '-');
  if (progress) ProgressPrintThrottled(kSummingPrefix, OperandDigits(left, right));
  MergeTriples<S>(heap, left, right, out, wantP, a, m, precisionWords, MultiplyThreads(depth));
  Unmark(progress);
  if constexpr (kDisk) SwapOutTriple(heap, out);
}

template <SeriesPolicy S>
void SplitOuter(AllocationHeap* heap, uint64_t a, uint64_t b, SeriesTriple& out, bool wantP,
                uint64_t precisionWords, const SeriesSegment& segment, uint32_t level,
                bool progress, uint32_t depth) {
  SplitOuterLevels<S, false>(heap, a, b, out, wantP, precisionWords, segment, level, progress,
                             depth);
}

template <SeriesPolicy S>
void SplitOuterSwap(AllocationHeap* heap, uint64_t a, uint64_t b, SeriesTriple& out, bool wantP,
                    uint64_t precisionWords, const SeriesSegment& segment, uint32_t level,
                    bool progress, uint32_t depth) {
  SplitOuterLevels<S, true>(heap, a, b, out, wantP, precisionWords, segment, level, progress,
                            depth);
}

// Cuts 1..N into segments, left to right; each takes terms until its Q estimate has grown by the
// words still needed at its start (times 2^shift once those fall below successive halvings of p).
template <SeriesPolicy S>
uint64_t PlanSegments(AllocationHeap* heap, uint64_t precisionWords, uint32_t mode,
                      std::vector<SeriesSegment>& segments) {
  const uint64_t n = TermCount<S>(precisionWords);
  uint64_t start = 0;
  uint64_t growWords = precisionWords;
  uint32_t shift = 0;
  uint32_t splitDepth = 1;
  uint64_t threshold = precisionWords / 2;
  const uint64_t halfFree = mode == kPlanMemory || heap == nullptr ? 0 : HeapFreeSpace(heap) / 2;
  while (start < n) {
    SeriesSegment segment;
    const uint64_t end = GrowSplit<S>(start, n, growWords, shift);
    const uint64_t remaining = RemainingWords<S>(precisionWords, start);
    growWords = RemainingWords<S>(precisionWords, end);
    uint64_t demandBytes = static_cast<uint64_t>(static_cast<double>(remaining) * S::kMemoryFactor) * 4;
    demandBytes <<= shift;
    if (shift == 0) {
      if (mode != kPlanMemory) {
        while (demandBytes > halfFree && demandBytes != 0) {
          demandBytes >>= 1;
          ++segment.diskLevels;
        }
        segment.overHalfFree = 2 * demandBytes > halfFree ? 1 : 0;
      }
      segment.splitDepth = splitDepth;
    } else {
      segment.diskLevels = 0;
      segment.overHalfFree = 0;
      segment.splitDepth = 0;
    }
    segment.reserved = mode == 3 ? 0 : segment.reserved;
    segment.remainingWords = remaining;
    segment.startTerm = start;
    segment.endTerm = end;
    segment.shift = shift;
    segments.push_back(segment);
    while (remaining < threshold) {
      threshold /= 2;
      if (segment.overHalfFree == 0) {
        if (splitDepth > 0) {
          --splitDepth;
        } else {
          ++shift;
        }
      }
      if (threshold == 0) break;
    }
    start = end;
  }
  return n;
}

// Sums the series over terms 1..N at precisionWords into T and Q; returns N. The swapping form
// plans with the free heap, sums every segment but the last through the disk levels, and keeps the
// running T and Q on the swap disks between segments.
template <SeriesPolicy S, bool kSwap>
uint64_t SumSeriesImpl(AllocationHeap* heap, BigFloat& t, BigFloat& q, uint64_t precisionWords,
                       uint32_t depth) {
  std::vector<SeriesSegment> segments;
  const uint64_t n =
      PlanSegments<S>(heap, precisionWords, kSwap ? kPlanDisk : kPlanMemory, segments);
  SeriesTriple running;
  if (n < kSegmentedMinTerms) {
    SplitSerial<S>(heap, 0, n, running, false, precisionWords);
  } else {
    const uint32_t threads = MultiplyThreads(depth);
    for (size_t i = segments.size(); i-- > 0;) {
      const SeriesSegment& segment = segments[i];
      const uint64_t s = segment.startTerm;
      const uint64_t e = segment.endTerm;
      LabelPopTo(0);
      LabelPushPercent(n - e, n);
      ProgressPrint(kSummingPrefix, 0);
      if (i + 1 == segments.size()) {
        SplitOuter<S>(heap, s, e, running, false, precisionWords, segment, 0, true, depth);
        if constexpr (kSwap) SwapOutTriple(heap, running);
        continue;
      }
      SeriesTriple piece;
      if constexpr (kSwap) {
        SplitOuterSwap<S>(heap, s, e, piece, true, precisionWords, segment, 0, true, depth);
      } else {
        SplitOuter<S>(heap, s, e, piece, true, precisionWords, segment, 0, true, depth);
      }
      SeriesTriple merged;
      // The running pair is the right neighbour of this segment and never needs its P.
      MergeTriples<S>(heap, piece, running, merged, false, s, e, precisionWords, threads);
      running = merged;
      BigFloatNormalize(heap, running.t);
      BigFloatNormalize(heap, running.q);
      series_detail::CompactTriple(running);
      if constexpr (kSwap) SwapOutTriple(heap, running);
    }
    LabelPopTo(0);
  }
  t = running.t;
  q = running.q;
  return n;
}

template <SeriesPolicy S>
uint64_t SumSeries(AllocationHeap* heap, BigFloat& t, BigFloat& q, uint64_t precisionWords,
                   uint32_t depth) {
  return SumSeriesImpl<S, false>(heap, t, q, precisionWords, depth);
}

template <SeriesPolicy S>
uint64_t SumSeriesSwap(AllocationHeap* heap, BigFloat& t, BigFloat& q, uint64_t precisionWords,
                       uint32_t depth) {
  return SumSeriesImpl<S, true>(heap, t, q, precisionWords, depth);
}

}  // namespace zx
