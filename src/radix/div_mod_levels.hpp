// The division of the split tree as a template over where its operands live. The memory form
// (kSwap = false) is DivMod; the disk-swapping form is meant to be the other instance of the same
// steps, so that the two can never drift apart.
#pragma once

#include <cstdint>

#include "radix/conversion_table.hpp"

namespace zx {

template <bool kSwap>
void DivModAtLevel(AllocationHeap* heap, BigFloat& x, BigFloat& q, uint32_t level,
                   ConversionTable& table, uint32_t threadExponent);

extern template void DivModAtLevel<false>(AllocationHeap* heap, BigFloat& x, BigFloat& q,
                                          uint32_t level, ConversionTable& table,
                                          uint32_t threadExponent);

}  // namespace zx
