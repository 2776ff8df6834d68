// The split tree of the decimal conversion. A number is divided at the highest power P[j] not above
// it; the remainder fills exactly b·2^j output words (leading zero words included) and the quotient
// the words above, so the pieces never need to know their neighbours. The top levels divide one at
// a time with every thread inside the products; below them the tree itself forks, each half on its
// own half of the heap and its own slice of the output.
#include <algorithm>
#include <cstring>

#include "multiply/multiply.hpp"
#include "radix/base_conversion.hpp"
#include "radix/div_mod_levels.hpp"
#include "runtime/threads.hpp"
#include "shell/fatal.hpp"
#include "shell/progress.hpp"

namespace zx {
namespace {

// Heap rows a fork's halves may hand back to the parent when they join (see HeapSplit).
constexpr uint32_t kForkHeapThreads = 3;

// The highest level at or below level whose power does not exceed x, or kNoLevel when x is below
// P[0] (or there is no table, or level is already kNoLevel).
uint32_t ChooseLevel(AllocationHeap* heap, BigFloat& x, ConversionTable& table, uint32_t level) {
  if (level == kNoLevel || table.levelCount == 0 || BigFloatIsZero(x)) return kNoLevel;
  level = std::min(level, table.levelCount - 1);
  while (BigFloatCompareMagnitude(heap, x, table.powers[level]) < 0) {
    if (level == 0) return kNoLevel;
    --level;
  }
  return level;
}

uint64_t LowWords(const ConversionTable& table, uint32_t level) {
  return table.baseExponent << level;
}

// The basecase leaf: x below P[0] (or the whole number when there is no table).
void ConvertLeaf(BigFloat& x, uint32_t* out, uint64_t countWords) {
  const uint64_t produced = ConvertWords(x.magnitude.words, x.magnitude.length, out);
  ZX_ASSERT(produced <= countWords);
  std::memset(out + produced, 0, (countWords - produced) * sizeof(uint32_t));
  BigFloatRelease(x);
  BigFloatSetZero(x);
}

// Only the highest piece of a heap gives its tail back, so it is shrunk first.
void ShrinkNewerFirst(BigInt& a, BigInt& b) {
  if (reinterpret_cast<uintptr_t>(a.words) < reinterpret_cast<uintptr_t>(b.words)) {
    BigIntShrink(b);
    BigIntShrink(a);
  } else {
    BigIntShrink(a);
    BigIntShrink(b);
  }
}

uint64_t DigitsIn(uint64_t words) {
  return 1 + FloorTimes(words, kDigitsPerWord);
}

}  // namespace

void Split(AllocationHeap* heap, BigFloat& x, uint32_t* out, uint64_t countWords,
           ConversionTable& table, uint32_t level) {
  if (countWords == 0) {
    BigFloatRelease(x);
    BigFloatSetZero(x);
    return;
  }
  BigIntMakeResident(heap, x.magnitude);
  const uint32_t j = ChooseLevel(heap, x, table, level);
  if (j == kNoLevel) {
    ConvertLeaf(x, out, countWords);
    return;
  }
  BigFloat q;
  DivMod(heap, x, q, j, table, 0);
  const uint64_t lowWords = LowWords(table, j);
  Split(heap, x, out, lowWords, table, j - 1);
  Split(heap, q, out + lowWords, countWords - lowWords, table, j - 1);
}

void SplitParallel(AllocationHeap* heap, BigFloat& x, uint32_t* out, uint64_t countWords,
                   ConversionTable& table, uint32_t level, uint32_t depth, uint32_t threadLevel) {
  // The fork tree stops at the run's threads: below, halves time-sliced on one core would evict
  // each other's operands (Pi at 10^8 digits on two threads: conversion 2 % faster).
  const bool fork = depth > 0 && ForkWithinRun();
  const uint32_t j =
      fork && x.magnitude.length >= kSplitMinWords ? ChooseLevel(heap, x, table, level) : kNoLevel;
  if (j == kNoLevel) {
    Split(heap, x, out, countWords, table, level);
    return;
  }
  BigFloat q;
  DivMod(heap, x, q, j, table, MultiplyThreads(std::min(threadLevel, depth)));
  ShrinkNewerFirst(x.magnitude, q.magnitude);
  const uint64_t lowWords = LowWords(table, j);
  // The worker takes a copy of the low part in its own half of the heap, so that only this thread
  // ever touches the parent heap; the original goes once both halves are done.
  ForkJoin(
      heap, kForkHeapThreads,
      [&](AllocationHeap* half) {
        BigFloat low;
        BigFloatCopy(half, x, low);
        SplitParallel(half, low, out, lowWords, table, j - 1, depth - 1, threadLevel);
        return uint32_t{0};
      },
      [&](AllocationHeap* half) {
        SplitParallel(half, q, out + lowWords, countWords - lowWords, table, j - 1, depth - 1,
                      threadLevel);
        return uint32_t{0};
      });
  BigFloatRelease(x);
  BigFloatSetZero(x);
}

namespace {

// The levels whose power (bit i of powers) or reciprocal (bit i of reciprocals) is on disk only.
struct LevelsOnDisk {
  uint64_t powers = 0;
  uint64_t reciprocals = 0;
};

LevelsOnDisk FindLevelsOnDisk(const ConversionTable& table) {
  LevelsOnDisk onDisk;
  for (uint32_t i = 0; i < table.levelCount; ++i) {
    if (OnDiskOnly(table.powers[i])) onDisk.powers |= uint64_t{1} << i;
    if (OnDiskOnly(table.reciprocals[i])) onDisk.reciprocals |= uint64_t{1} << i;
  }
  return onDisk;
}

void ReturnLevelsToDisk(ConversionTable& table, const LevelsOnDisk& onDisk) {
  for (uint32_t i = 0; i < table.levelCount; ++i) {
    TableLevelBack(table.powers[i], ((onDisk.powers >> i) & 1) != 0);
    TableLevelBack(table.reciprocals[i], ((onDisk.reciprocals >> i) & 1) != 0);
  }
}

// Below the disk levels SplitTop's forks share the table between threads, so every level they may
// use must be in memory before the first fork: a level read in by two threads at once would be
// allocated twice into one record. The levels below the one chosen for x have at most
// (len(x) + 1)/2 words, since P[j] <= x and P[j] = P[j−1]².
void SplitInMemory(AllocationHeap* heap, BigFloat& x, uint32_t* out, uint64_t countWords,
                   ConversionTable& table, uint32_t level, bool progress, uint32_t depth,
                   uint32_t threadLevel) {
  const LevelsOnDisk onDisk = FindLevelsOnDisk(table);
  const uint64_t halfWords = (x.magnitude.length + 1) / 2;
  for (uint32_t i = 0; i < table.levelCount; ++i) {
    if (table.powers[i].magnitude.length > halfWords) break;
    BigIntMakeResident(heap, table.powers[i].magnitude);
    BigIntMakeResident(heap, table.reciprocals[i].magnitude);
  }
  if (progress) LabelPush(':');
  SplitTop(heap, x, out, countWords, table, level, 1, progress, depth, threadLevel);
  if (progress) LabelPop();
  ReturnLevelsToDisk(table, onDisk);
}

// The serial top of the tree, over where the pieces live. Each level prints its "Splitting" line
// and marks the low half "1", the high half "0". In memory the top levels run their products with
// every thread and hand over to the forked tree; on disk they divide with the operands swapped out
// and hand over to the memory top.
template <Storage kStorage>
void SplitSerialLevels(AllocationHeap* heap, BigFloat& x, uint32_t* out, uint64_t countWords,
                       ConversionTable& table, uint32_t level, uint32_t serialLevels, bool progress,
                       uint32_t depth, uint32_t threadLevel) {
  constexpr uint64_t kMinWords = kStorage == Storage::kSwap ? kSwapSplitMinWords : kSplitMinWords;
  uint32_t j = kNoLevel;
  if (serialLevels > 0 && x.magnitude.length >= kMinWords) {
    const LevelsOnDisk onDisk =
        kStorage == Storage::kSwap ? FindLevelsOnDisk(table) : LevelsOnDisk{};
    j = ChooseLevel(heap, x, table, level);
    if constexpr (kStorage == Storage::kSwap) ReturnLevelsToDisk(table, onDisk);
  }
  if (j == kNoLevel) {
    if constexpr (kStorage == Storage::kSwap) {
      SplitInMemory(heap, x, out, countWords, table, level, progress, depth, threadLevel);
    } else {
      if (progress) ProgressPrintThrottled("Deconstructing   : ", 0);
      SplitParallel(heap, x, out, countWords, table, level, depth, threadLevel);
    }
    return;
  }
  if (progress) {
    LabelPush('-');
    if constexpr (kStorage == Storage::kSwap) {
      ProgressPrintThrottled("Splitting        : ", DigitsIn(x.magnitude.length));
    } else {
      ProgressPrint("Splitting        : ", DigitsIn(x.magnitude.length));
    }
    LabelPop();
  }
  BigFloat q;
  DivModAtLevel<kStorage>(heap, x, q, j, table, MultiplyThreads(std::min(threadLevel, depth)));
  if constexpr (kStorage == Storage::kMemory) ShrinkNewerFirst(x.magnitude, q.magnitude);
  const uint64_t lowWords = LowWords(table, j);
  if (progress) LabelPush('1');
  SplitSerialLevels<kStorage>(heap, x, out, lowWords, table, j - 1, serialLevels - 1, progress,
                              depth, threadLevel);
  if (progress) LabelPop();
  if (progress) LabelPush('0');
  SplitSerialLevels<kStorage>(heap, q, out + lowWords, countWords - lowWords, table, j - 1,
                              serialLevels - 1, progress, depth, threadLevel);
  if (progress) LabelPop();
}

}  // namespace

void SplitTop(AllocationHeap* heap, BigFloat& x, uint32_t* out, uint64_t countWords,
              ConversionTable& table, uint32_t level, uint32_t serialLevels, bool progress,
              uint32_t depth, uint32_t threadLevel) {
  SplitSerialLevels<Storage::kMemory>(heap, x, out, countWords, table, level, serialLevels,
                                      progress, depth, threadLevel);
}

void SplitSwap(AllocationHeap* heap, BigFloat& x, uint32_t* out, uint64_t countWords,
               ConversionTable& table, uint32_t level, uint32_t swapLevels, bool progress,
               uint32_t depth, uint32_t threadLevel) {
  SplitSerialLevels<Storage::kSwap>(heap, x, out, countWords, table, level, swapLevels, progress,
                                    depth, threadLevel);
}

}  // namespace zx
