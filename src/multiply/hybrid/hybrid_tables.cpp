// Row lookup and the shape of a transform; the rows themselves are generated.
#include "multiply/hybrid/hybrid_tables.hpp"

#include "shell/fatal.hpp"

namespace zx {

std::span<const HybridRow> HybridMultiplyTable() {
  return {kHybridMultiplyRows, kHybridMultiplyRowsCount};
}

std::span<const HybridRow> HybridSquareTable() {
  return {kHybridSquareRows, kHybridSquareRowsCount};
}

HybridParams HybridParamsFromRow(uint32_t k, uint32_t c) {
  HybridParams params;
  params.k = k;
  params.c = c;
  params.points = uint64_t{1} << k;
  params.ringWords = uint64_t{c} * params.points / 128;
  params.pieceWords = uint64_t{c} * params.points / 256 - 1;
  params.capacityWords = params.points * params.pieceWords;
  return params;
}

namespace {

// Binary search for the first row of capacity ≥ productWords; a capacity equal to it fits.
const HybridRow* FirstRowHolding(std::span<const HybridRow> table, uint64_t productWords) {
  uint64_t lo = 0;
  uint64_t hi = table.size();
  while (lo < hi) {
    const uint64_t mid = (lo + hi) / 2;
    if (table[mid].capacityWords < productWords) {
      lo = mid + 1;
    } else {
      hi = mid;
    }
  }
  return lo < table.size() ? &table[lo] : nullptr;
}

}  // namespace

HybridParams HybridChooseParams(uint64_t productWords, bool square) {
  const HybridRow* row = square ? nullptr : FirstRowHolding(HybridMultiplyTable(), productWords);
  if (row == nullptr) row = FirstRowHolding(HybridSquareTable(), productWords);
  if (row == nullptr) FatalExit("Maximum supported multiplication size has been exceeded.\n\n", 1);
  return HybridParamsFromRow(row->k, row->c);
}

uint64_t HybridElementWords(uint64_t ringWords) {
  // n + 2 words rounded up to 8 (32 bytes); a stride that is a multiple of 1 KiB would map the
  // elements of a column onto a few cache sets, so such strides get one more 32-byte step.
  uint64_t words = (ringWords + 2 + 7) & ~uint64_t{7};
  if (words % 256 == 0) words += 8;
  return words;
}

void HybridCheckAddressSpace(uint32_t k, uint64_t ringWords) {
  if (k >= 64 || ringWords + 1 > (~uint64_t{0} >> k)) {
    FatalLimit("Hybrid Number-Theoretic Transform",
               "The transform parameters is over the limit that can be represented\n"
               "under the current address space.");
  }
}

}  // namespace zx
