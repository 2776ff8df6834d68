// Conversion of a binary number to base-10^9 words (nine decimal digits each, least significant
// first). The number is scaled to an integer by a power of 10^9, then split by divide and conquer:
// dividing by P[j] of the conversion table leaves a low part of exactly b·2^j output words and a
// high part, each split again one level down, until the quadratic basecase takes the pieces below
// P[0]. Every routine consumes the number it is given.
#pragma once

#include <cstdint>

#include "bignum/bigfloat.hpp"
#include "radix/conversion_table.hpp"

namespace zx {

// x ← floor(x·10^(−9e)) as an integer with exponent 0, the product kept to p + 3 words; returns e,
// so that x's decimal value is the integer times 10^(9e). A value that leaves no integer words is
// fatal ("Precision reduced to zero."); zero stays zero with e = 0.
int64_t NormalizeForConversion(AllocationHeap* heap, BigFloat& x, uint64_t precisionWords,
                               uint32_t threadExponent);

// For an integer x below P[level]²: q ← floor(x / P[level]), x ← x mod P[level], both integers
// with exponent 0. Cost: two products (by R[level], then back by P[level]).
void DivMod(AllocationHeap* heap, BigFloat& x, BigFloat& q, uint32_t level, ConversionTable& table,
            uint32_t threadExponent);
// The same division with its operands on disk: x is read in first, every intermediate waits on
// disk while a product it is not part of runs, and x and q leave swapped out. Table levels that
// were on disk go back there. Each correction prints a line: "Quotient overshoot" for the
// add-back, "Quotient undershoot" and "Quotient undershoot x 2" for the upward steps.
void DivModSwap(AllocationHeap* heap, BigFloat& x, BigFloat& q, uint32_t level,
                ConversionTable& table, uint32_t threadExponent);

// Writes x as countWords base-10^9 words into out (x below 10^(9·countWords)), splitting from
// level down (kNoLevel: basecase only). Serial; x is released.
void Split(AllocationHeap* heap, BigFloat& x, uint32_t* out, uint64_t countWords,
           ConversionTable& table, uint32_t level);
// Split with the tree itself forked over threads down to depth levels (2^depth leaves at most), or
// down to the run's thread cap where that is fewer levels.
// Each division runs its products with min(threadLevel, depth) as thread exponent.
void SplitParallel(AllocationHeap* heap, BigFloat& x, uint32_t* out, uint64_t countWords,
                   ConversionTable& table, uint32_t level, uint32_t depth, uint32_t threadLevel);
// The top serialLevels divisions run one at a time, each with all threads inside its products,
// showing "Splitting" lines; below them SplitParallel takes over.
void SplitTop(AllocationHeap* heap, BigFloat& x, uint32_t* out, uint64_t countWords,
              ConversionTable& table, uint32_t level, uint32_t serialLevels, bool progress,
              uint32_t depth, uint32_t threadLevel);
// The disk-swapping top: while x has kSwapSplitMinWords words or more and swapLevels remain,
// SplitTop's serial levels with DivModSwap (its "Splitting" line throttled); below them the table
// levels of at most half of x's words are read into memory and SplitTop finishes with one serial
// level. Table levels that were on disk are on disk again on return.
void SplitSwap(AllocationHeap* heap, BigFloat& x, uint32_t* out, uint64_t countWords,
               ConversionTable& table, uint32_t level, uint32_t swapLevels, bool progress,
               uint32_t depth, uint32_t threadLevel);

// The basecase: the base-10^9 words of the lengthWords words at words, without leading zero
// words, into out; returns how many (0 for zero). out needs room for the result plus one word.
uint64_t ConvertWords(const uint32_t* words, uint64_t lengthWords, uint32_t* out);

}  // namespace zx
