// The top of the binary-splitting engine: an outer recursion that shows where in the tree the work
// is and compacts the heap between subtrees, a segment planner, and the two ways segments combine.
// Segments are summed from the right. Merged from the right, the running node is the right
// neighbour of every segment and never needs P; finished chunk by chunk, each chunk is turned into
// a value at its own precision by the policy and the values are added. Segments near the start,
// whose terms carry the most words, are small and run with one serial top level; later ones take
// exponentially more terms each and are threaded from the top.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "constants/series_split.hpp"
#include "shell/number_print.hpp"
#include "shell/progress.hpp"

namespace zx {

inline constexpr uint64_t kOuterSplitMinTerms = 1000;
inline constexpr uint64_t kSegmentedMinTerms = 100;
inline constexpr const char* kSummingPrefix = "Summing...  ";

// Planner modes: memory only, disk swapping (mode 3 is planned like 2 but clears the reserved
// word).
inline constexpr uint32_t kPlanMemory = 1;
inline constexpr uint32_t kPlanDisk = 2;

struct SeriesSegment {
  uint64_t remainingWords = 0;  // at the start of the segment
  uint64_t startTerm = 0;
  uint64_t endTerm = 0;
  uint32_t splitDepth = 0;  // level at which threading takes over
  uint32_t diskLevels = 0;
  uint32_t reserved = 0;
  uint32_t overHalfFree = 0;  // working set above half the free memory even after the disk levels
  uint32_t shift = 0;
};

// How one summation runs: the terms first+1..last at precisionWords, 2^depth threads, and the
// progress line's prefix (null: no progress at all, as for a computation inside another).
struct SeriesSettings {
  uint64_t precisionWords = 0;
  uint32_t depth = 0;
  const char* progressPrefix = kSummingPrefix;
  uint64_t firstTerm = 0;
  uint64_t lastTerm = 0;  // 0: the policy's term count
};

namespace series_detail {

template <size_t kParts>
uint64_t OperandDigits(const SeriesNode<kParts>& left, const SeriesNode<kParts>& right) {
  uint64_t words = 0;
  for (const BigFloat& part : left.part) words = std::max(words, part.magnitude.length);
  for (const BigFloat& part : right.part) words = std::max(words, part.magnitude.length);
  return static_cast<uint64_t>(static_cast<double>(words) * kDigitsPerWord) + 1;
}

inline void Mark(const char* prefix, char c) {
  if (prefix != nullptr) LabelPush(c);
}

inline void Unmark(const char* prefix) {
  if (prefix != nullptr) LabelPop();
}

}  // namespace series_detail

// The outer recursion. In memory it splits until the range is under 1000 terms or the segment's
// split depth is reached, compacting each child's results, and hands the rest to SplitThreaded.
// Swapping, it forms the segment's disk levels above that: each child's results go to the swap
// disks as soon as it returns, each merge reads them back through its products and writes its own
// results out again, and at the segment's number of disk levels the subtree goes to the memory
// recursion behind a ":" with the level count restarted.
template <Storage kStorage, SeriesPolicy S>
void SplitOuter(const S& series, AllocationHeap* heap, uint64_t a, uint64_t b,
                typename S::Node& out, bool wantP, const SeriesSettings& settings,
                const SeriesSegment& segment, uint32_t level) {
  using namespace series_detail;
  const char* prefix = settings.progressPrefix;
  const uint64_t p = settings.precisionWords;
  const uint32_t depth = settings.depth;
  if constexpr (kStorage == Storage::kSwap) {
    if (level == segment.diskLevels || b - a < kOuterSplitMinTerms) {
      const char* marked = segment.overHalfFree != 0 ? prefix : nullptr;
      Mark(marked, ':');
      SplitOuter<Storage::kMemory>(series, heap, a, b, out, wantP, settings, segment, 0);
      Unmark(marked);
      return;
    }
  } else {
    if (b - a < kOuterSplitMinTerms || (depth != 0 && level == segment.splitDepth)) {
      if (prefix != nullptr) ProgressPrintThrottled(prefix, 0);
      SplitThreaded(series, heap, a, b, out, wantP, p, depth);
      NodeNormalize(heap, out);
      return;
    }
  }
  const auto settle = [heap](typename S::Node& node) {
    if constexpr (kStorage == Storage::kSwap) {
      NodeSwapOut(heap, node);
    } else {
      NodesCompact({&node});
    }
  };
  const uint64_t m = BalancedSplit(series, a, b);
  typename S::Node left, right;
  Mark(prefix, '0');
  SplitOuter<kStorage>(series, heap, a, m, left, true, settings, segment, level + 1);
  Unmark(prefix);
  settle(left);
  Mark(prefix, '1');
  SplitOuter<kStorage>(series, heap, m, b, right, wantP, settings, segment, level + 1);
  Unmark(prefix);
  settle(right);
  Mark(prefix, '-');
  if (prefix != nullptr) ProgressPrintThrottled(prefix, OperandDigits(left, right));
  series.Merge(heap, left, right, out, SeriesMerge{a, m, b, p, wantP, MultiplyThreads(depth)});
  Unmark(prefix);
  if constexpr (kStorage == Storage::kSwap) NodeSwapOut(heap, out);
}

// Cuts first+1..last into segments, left to right; each takes terms until its size estimate has
// grown by the words still needed at its start (times 2^shift once those fall below successive
// halvings of p).
template <SeriesPolicy S>
void PlanSegments(const S& series, AllocationHeap* heap, uint64_t precisionWords, uint32_t mode,
                  uint64_t first, uint64_t last, std::vector<SeriesSegment>& segments) {
  uint64_t start = first;
  uint64_t growWords = precisionWords;
  uint32_t shift = 0;
  uint32_t splitDepth = 1;
  uint64_t threshold = precisionWords / 2;
  const uint64_t halfFree = mode == kPlanMemory || heap == nullptr ? 0 : HeapFreeSpace(heap) / 2;
  while (start < last) {
    SeriesSegment segment;
    const uint64_t end = GrowSplit(series, start, last, growWords, shift);
    const uint64_t remaining = series.RemainingWords(precisionWords, start);
    growWords = series.RemainingWords(precisionWords, end);
    uint64_t demandBytes =
        static_cast<uint64_t>(static_cast<double>(remaining) * series.MemoryFactor()) * 4;
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
    }
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
}

namespace series_detail {

// Sums the planned segments from the right; combine(piece, s, e, last) puts each segment's node in
// front of what the segments to its right have left (last: it is the rightmost, and first summed).
template <Storage kStorage, SeriesPolicy S, class Combine>
void SumSegments(const S& series, AllocationHeap* heap, const SeriesSettings& settings,
                 bool rightmostWantsP, const Combine& combine) {
  const uint64_t first = settings.firstTerm;
  const uint64_t last =
      settings.lastTerm != 0 ? settings.lastTerm : series.TermCount(settings.precisionWords);
  std::vector<SeriesSegment> segments;
  PlanSegments(series, heap, settings.precisionWords,
               kStorage == Storage::kSwap ? kPlanDisk : kPlanMemory, first, last, segments);
  if (last - first < kSegmentedMinTerms) {
    typename S::Node node;
    SplitSerial(series, heap, first, last, node, rightmostWantsP, settings.precisionWords);
    combine(node, first, last, true);
    return;
  }
  const char* prefix = settings.progressPrefix;
  const uint64_t terms = last - first;
  for (size_t i = segments.size(); i-- > 0;) {
    const SeriesSegment& segment = segments[i];
    const uint64_t s = segment.startTerm;
    const uint64_t e = segment.endTerm;
    const bool rightmost = i + 1 == segments.size();
    if (prefix != nullptr) {
      LabelPopTo(0);
      LabelPushPercent(last - e, terms);
      ProgressPrint(prefix, 0);
    }
    typename S::Node piece;
    // The rightmost segment is summed in memory: it is the smallest one and its result is the
    // first the combination needs.
    if (rightmost || kStorage == Storage::kMemory) {
      SplitOuter<Storage::kMemory>(series, heap, s, e, piece, !rightmost || rightmostWantsP,
                                   settings, segment, 0);
    } else {
      SplitOuter<Storage::kSwap>(series, heap, s, e, piece, true, settings, segment, 0);
    }
    NodesCompact({&piece});
    combine(piece, s, e, rightmost);
  }
  if (prefix != nullptr) LabelPopTo(0);
}

}  // namespace series_detail

// Sums the series over the settings' terms into one node, merging segments from the right: the
// running node is every segment's right neighbour, so P is formed for no segment but where the
// caller asks for it (wantP), and then only as the running product. Swapping, every segment but
// the last goes through the disk levels and the running node waits on the swap disks between
// segments. Returns the number of terms summed.
template <Storage kStorage, SeriesPolicy S>
uint64_t SumSeries(const S& series, AllocationHeap* heap, typename S::Node& out,
                   const SeriesSettings& settings, bool wantP = false) {
  typename S::Node running;
  const uint32_t threads = MultiplyThreads(settings.depth);
  uint64_t terms = 0;
  series_detail::SumSegments<kStorage>(
      series, heap, settings, wantP,
      [&](typename S::Node& piece, uint64_t s, uint64_t e, bool rightmost) {
        terms += e - s;
        if (rightmost) {
          running = piece;
        } else {
          typename S::Node merged;
          series.Merge(
              heap, piece, running, merged,
              SeriesMerge{s, e,
                          settings.lastTerm != 0 ? settings.lastTerm
                                                 : series.TermCount(settings.precisionWords),
                          settings.precisionWords, wantP, threads});
          running = merged;
          NodeNormalize(heap, running);
          NodesCompact({&running});
        }
        if constexpr (kStorage == Storage::kSwap) NodeSwapOut(heap, running);
      });
  out = running;
  return terms;
}

// Sums the series chunk by chunk: each segment's node is finished into a value at the precision
// its start still needs (finish(node, s, e, value) consumes the node) and the values are added,
// so that the cheap late chunks never meet a full-precision product. Returns the terms summed.
template <Storage kStorage, SeriesPolicy S, class Finish>
uint64_t SumSeriesByChunks(const S& series, AllocationHeap* heap, BigFloat& out,
                           const SeriesSettings& settings, const Finish& finish) {
  BigFloat running;
  uint64_t terms = 0;
  series_detail::SumSegments<kStorage>(
      series, heap, settings, false,
      [&](typename S::Node& piece, uint64_t s, uint64_t e, bool rightmost) {
        terms += e - s;
        BigFloat value;
        finish(piece, s, e, value);
        if (rightmost) {
          running = value;
        } else {
          BigFloat sum;
          BigFloatAdd(heap, value, running, sum, settings.precisionWords);
          BigFloatRelease(value);
          BigFloatRelease(running);
          running = sum;
        }
        if constexpr (kStorage == Storage::kSwap) StageOut<kStorage>(heap, running);
      });
  out = running;
  return terms;
}

}  // namespace zx
