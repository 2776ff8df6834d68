// Building and releasing the conversion table, and the powers of 10^9 it starts from.
// The powers are stored without their zero low words: (10^9)^k ends in 9k zero bits, so trimming
// them saves a fifth of every product by a power.
#include "radix/conversion_table.hpp"

#include <algorithm>
#include <bit>
#include <vector>

#include "multiply/multiply.hpp"
#include "newton/reciprocal.hpp"
#include "radix/div_mod_levels.hpp"
#include "shell/console.hpp"
#include "shell/progress.hpp"

namespace zx {
namespace {

// Digits the progress lines show for a count of words.
uint64_t DigitsIn(int64_t words) {
  return 1 + FloorTimes(static_cast<uint64_t>(words), kDigitsPerWord);
}

// Moves zero low words into the exponent and gives the buffer's unused tail back.
void TrimAndShrink(AllocationHeap* heap, BigFloat& a) {
  BigFloatNormalize(heap, a);
  BigIntShrink(a.magnitude);
}

// R = 1/P to four words beyond P's top position: enough that x·R, for any x below P², is within
// one of floor(x/P).
void InvertPower(AllocationHeap* heap, BigFloat& power, BigFloat& reciprocal,
                 uint32_t threadExponent) {
  Reciprocal(heap, power, reciprocal, static_cast<uint64_t>(BigFloatTop(power)) + 4, false,
             threadExponent);
  BigIntShrink(reciprocal.magnitude);
}

// Slides the table's word buffers down over the holes the reciprocal iterations left among them,
// lowest first, so that the free space above the table is one piece: the conversion's products
// need it contiguous, and the run's heap has little slack.
void CompactTable(ConversionTable& table) {
  std::vector<BigInt*> pieces;
  for (uint32_t i = 0; i < table.levelCount; ++i) {
    for (BigInt* piece : {&table.powers[i].magnitude, &table.reciprocals[i].magnitude}) {
      if (piece->words != nullptr) pieces.push_back(piece);
    }
  }
  std::sort(pieces.begin(), pieces.end(), [](const BigInt* a, const BigInt* b) {
    return reinterpret_cast<uintptr_t>(a->words) < reinterpret_cast<uintptr_t>(b->words);
  });
  for (BigInt* piece : pieces) piece->words = static_cast<uint32_t*>(HeapCompact(piece->words));
}

// The table is the same in both forms; the disk-swapping one sends each power and reciprocal to
// disk as soon as the next square and the level's own reciprocal no longer need it, so at most two
// levels are in memory while the table is built and none afterwards. The reciprocals are not
// staged: staging would give their disk copies swap records inside the heap.
template <Storage kStorage>
void BuildTable(AllocationHeap* heap, BigFloat& x, ConversionTable& table,
                uint32_t threadExponent) {
  ConsoleWrite("Constructing Base Conversion Table:\n");
  ProgressTimerStart();
  const TableShape shape = ConversionTableShape(BillionWordsFor(x.magnitude.length));
  table.baseExponent = shape.baseExponent;
  table.levelCount = shape.levelCount;
  if (shape.levelCount == 0) return;

  PowerOfBillion(heap, shape.baseExponent, table.powers[0], kFullPrecision, threadExponent);
  BigIntShrink(table.powers[0].magnitude);
  InvertPower(heap, table.powers[0], table.reciprocals[0], threadExponent);
  if constexpr (kStorage == Storage::kSwap) TableLevelToDisk(table.reciprocals[0]);
  for (uint32_t i = 1; i < shape.levelCount; ++i) {
    BigFloat& below = table.powers[i - 1];
    BigFloat& power = table.powers[i];
    ProgressPrint("Squaring      : ", DigitsIn(static_cast<int64_t>(below.magnitude.length)));
    BigFloatSquare(heap, below, power, kFullPrecision, threadExponent);
    if constexpr (kStorage == Storage::kSwap) TableLevelToDisk(below);
    TrimAndShrink(heap, power);
    ProgressPrint("Inverting     : ", DigitsIn(BigFloatTop(power)));
    InvertPower(heap, power, table.reciprocals[i], threadExponent);
    if constexpr (kStorage == Storage::kSwap) TableLevelToDisk(table.reciprocals[i]);
  }
  if constexpr (kStorage == Storage::kSwap) TableLevelToDisk(table.powers[shape.levelCount - 1]);
  CompactTable(table);
  PrintElapsed();
}

}  // namespace

void PowerOfBillion(AllocationHeap* heap, uint64_t k, BigFloat& out, uint64_t precisionWords,
                    uint32_t threadExponent) {
  if (k == 0) {
    BigFloatSetWord(heap, out, 1);
    return;
  }
  BigFloatSetWord(heap, out, kBillion);
  for (int bit = std::bit_width(k) - 2; bit >= 0; --bit) {
    BigFloatSquareInPlace(heap, out, precisionWords, threadExponent);
    if ((k >> bit) & 1) {
      const uint64_t keepWords = precisionWords + 4;
      const uint64_t length = out.magnitude.length;
      const uint64_t dropWords = length > keepWords ? length - keepWords : 0;
      BigIntMulWordDrop(heap, out.magnitude, kBillion, dropWords);
      out.exponent += static_cast<int64_t>(dropWords);
    }
    TrimAndShrink(heap, out);
  }
}

void PowerOfBillionSigned(AllocationHeap* heap, int64_t k, BigFloat& out, uint64_t precisionWords,
                          uint32_t threadExponent) {
  if (k >= 0) {
    PowerOfBillion(heap, static_cast<uint64_t>(k), out, precisionWords, threadExponent);
    return;
  }
  PowerOfBillion(heap, static_cast<uint64_t>(-k), out, precisionWords, threadExponent);
  InvertInPlace(heap, out, precisionWords, false, threadExponent);
}

void BuildConversionTable(AllocationHeap* heap, BigFloat& x, ConversionTable& table,
                          uint32_t threadExponent) {
  BuildTable<Storage::kMemory>(heap, x, table, threadExponent);
}

void BuildConversionTableSwap(AllocationHeap* heap, BigFloat& x, ConversionTable& table,
                              uint32_t threadExponent) {
  BuildTable<Storage::kSwap>(heap, x, table, threadExponent);
}

void ReleaseConversionTable(ConversionTable& table) {
  for (uint32_t i = 0; i < table.levelCount; ++i) {
    BigFloatRelease(table.powers[i]);
    BigFloatRelease(table.reciprocals[i]);
    BigFloatSetZero(table.powers[i]);
    BigFloatSetZero(table.reciprocals[i]);
  }
  table.levelCount = 0;
  table.baseExponent = 0;
}

}  // namespace zx
