// Radix-2 butterflies of the outer transform. Level L pairs g with g + m, m = K/2^(L+1), and uses
// the root ω^((g mod m)·2^L); in half-bit units that is the exponent c·(g mod m)·2^L mod 128n.
// Decimation in frequency needs no reordering: the forward output is in bit-reversed order and the
// inverse takes it from there.
#include "multiply/hybrid/hybrid_transform.hpp"

#include <algorithm>
#include <utility>

#include "multiply/hybrid/hybrid_butterfly.hpp"
#include "multiply/hybrid/hybrid_roots.hpp"

namespace zx {
namespace {

// Spans beyond this many bytes are split into columns and rows; tuned to the second-level cache
// of the target machine (512 KiB per core), so that consecutive levels hit in it.
constexpr uint64_t kBlockBytes = 448 * 1024;

struct LevelRoots {
  uint64_t first;  // exponent of the butterfly at offset 0
  uint64_t step;   // added per offset
};

LevelRoots RootsOf(const HybridBuffer& buffer, const HybridSpan& span, uint32_t level) {
  const uint64_t order = RingRootOrder(buffer.ringWords);
  const uint64_t base = (uint64_t{buffer.c} << level) % order;
  const uint64_t offset = span.first % span.step;
  return {base * (offset % order) % order, base * (span.step % order) % order};
}

template <bool kForward>
void RunLevel(const HybridBuffer& buffer, const HybridSpan& span, uint32_t localLevel,
              uint32_t*& spare) {
  const uint64_t order = RingRootOrder(buffer.ringWords);
  const uint64_t half = uint64_t{1} << (span.levels - localLevel - 1);
  const uint64_t count = uint64_t{1} << span.levels;
  const LevelRoots roots = RootsOf(buffer, span, span.firstLevel + localLevel);
  uint64_t exponent = roots.first;
  for (uint64_t i = 0; i < half; ++i) {
    for (uint64_t block = 0; block < count; block += 2 * half) {
      const uint64_t index = span.first + span.step * (block + i);
      uint32_t* x = HybridElement(buffer, index);
      uint32_t*& y = buffer.slots[index + span.step * half];
      const bool moved =
          kForward ? HybridForwardButterfly(x, y, spare, buffer.ringWords, exponent)
                   : HybridInverseButterfly(x, y, spare, buffer.ringWords, exponent);
      if (moved) std::swap(y, spare);
    }
    exponent += roots.step;
    if (exponent >= order) exponent -= order;
  }
}

bool FitsBlock(const HybridBuffer& buffer, const HybridSpan& span) {
  return span.levels < 2 || (buffer.strideWords * 4) << span.levels <= kBlockBytes;
}

// The first `columns` levels as 2^(levels − columns) column spans, the rest as rows.
HybridSpan ColumnSpan(const HybridSpan& span, uint32_t columnLevels, uint64_t column) {
  const uint32_t rowLevels = span.levels - columnLevels;
  return {span.first + span.step * column, span.step << rowLevels, span.firstLevel, columnLevels};
}

HybridSpan RowSpan(const HybridSpan& span, uint32_t columnLevels, uint64_t row) {
  const uint32_t rowLevels = span.levels - columnLevels;
  return {span.first + (span.step << rowLevels) * row, span.step, span.firstLevel + columnLevels,
          rowLevels};
}

// A span in cache runs its levels directly; a larger one as columns (its first levels) and
// rows, the inverse taking them in the opposite order.
template <bool kForward>
void Transform(const HybridBuffer& buffer, const HybridSpan& span, uint32_t*& spare) {
  if (FitsBlock(buffer, span)) {
    for (uint32_t i = 0; i < span.levels; ++i) {
      RunLevel<kForward>(buffer, span, kForward ? i : span.levels - 1 - i, spare);
    }
    return;
  }
  const uint32_t columnLevels = span.levels / 2;
  const uint64_t columns = uint64_t{1} << (span.levels - columnLevels);
  const uint64_t rows = uint64_t{1} << columnLevels;
  for (int part = 0; part < 2; ++part) {
    if ((part == 0) == kForward) {
      for (uint64_t j = 0; j < columns; ++j) {
        Transform<kForward>(buffer, ColumnSpan(span, columnLevels, j), spare);
      }
    } else {
      for (uint64_t j = 0; j < rows; ++j) {
        Transform<kForward>(buffer, RowSpan(span, columnLevels, j), spare);
      }
    }
  }
}

// After the butterflies one element of the span may live in the caller's spare, and the spare
// in that element's old place: the element moves back into the place it left.
void ReturnSpare(const HybridBuffer& buffer, const HybridSpan& span, uint32_t* home,
                 uint32_t* current) {
  if (current == home) return;
  for (uint64_t p = 0; p < (uint64_t{1} << span.levels); ++p) {
    uint32_t*& slot = buffer.slots[span.first + span.step * p];
    if (slot == home) {
      std::copy(home, home + buffer.ringWords + 2, current);
      slot = current;
      return;
    }
  }
}

}  // namespace

void HybridForward(const HybridBuffer& buffer, const HybridSpan& span, uint32_t* spare) {
  uint32_t* current = spare;
  Transform<true>(buffer, span, current);
  ReturnSpare(buffer, span, spare, current);
}

void HybridInverse(const HybridBuffer& buffer, const HybridSpan& span, uint32_t* spare) {
  uint32_t* current = spare;
  Transform<false>(buffer, span, current);
  ReturnSpare(buffer, span, spare, current);
}

}  // namespace zx
