// The division of the split tree as a template over where its operands live, and how the table's
// levels move between disk and memory in a disk-swapping conversion. The memory form
// (Storage::kMemory) is DivMod, the disk-swapping form DivModSwap: one body, so that the two can never
// drift apart.
#pragma once

#include <cstdint>

#include "radix/conversion_table.hpp"

namespace zx {

template <Storage kStorage>
void DivModAtLevel(AllocationHeap* heap, BigFloat& x, BigFloat& q, uint32_t level,
                   ConversionTable& table, uint32_t threadExponent);

extern template void DivModAtLevel<Storage::kMemory>(AllocationHeap* heap, BigFloat& x, BigFloat& q,
                                          uint32_t level, ConversionTable& table,
                                          uint32_t threadExponent);
extern template void DivModAtLevel<Storage::kSwap>(AllocationHeap* heap, BigFloat& x, BigFloat& q,
                                         uint32_t level, ConversionTable& table,
                                         uint32_t threadExponent);

// A value whose words are on disk only.
inline bool OnDiskOnly(const BigFloat& a) {
  return a.magnitude.length != 0 && a.magnitude.words == nullptr;
}

// Levels of a disk-swapping table live on disk between uses and go back there after each use:
// only the memory copy is dropped while the disk copy is valid, a level changed in place (a product
// retry shifts its operands) is written again. Their swap records come from the general allocator:
// the table outlives every piece of the conversion, and records of its own in the run's heap would
// pin the heap's top above the space freed under them.
inline void TableLevelToDisk(BigFloat& level) {
  BigIntSwapOut(nullptr, level.magnitude);
}
inline void TableLevelBack(BigFloat& level, bool wasOnDisk) {
  if (wasOnDisk) TableLevelToDisk(level);
}

}  // namespace zx
