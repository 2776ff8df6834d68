// The decimal writer: normalise x to an integer times a power of 10^9, convert the integer to
// base-10^9 words by the split tree, then write them. The integer's binary hash is taken on the
// way; nothing prints it, but it stays available to the run.
#include "multiply/multiply.hpp"
#include "radix/base_conversion.hpp"
#include "radix/digit_text.hpp"
#include "radix/digit_writers.hpp"
#include "shell/console.hpp"
#include "shell/progress.hpp"

namespace zx {
namespace {

// Written and read by the main thread only.
uint64_t gLastBinaryHash = 0;

// The disk-swapping form differs only in its split: x may arrive on disk (the normalising product
// reads it back), and the top levels divide with their operands swapped out.
template <Storage kStorage>
double WriteDecimal(AllocationHeap* heap, BigFloat& x, uint64_t digitCount, const std::string& path,
                    ConversionTable& table, bool secondary, uint32_t threadLevel) {
  ConsoleWrite(secondary ? "Base Converting (Secondary Cutting Parameters):\n"
                         : "Base Converting (Primary Cutting Parameters):\n");
  ProgressTimerStart();
  const uint64_t precisionWords = FloorTimes(digitCount, kWordsPerDigit) + 3 + (secondary ? 1 : 0);
  ProgressPrintThrottled("Normalizing      : ", 1 + FloorTimes(precisionWords, kDigitsPerWord));
  const uint32_t threadExponent = MultiplyThreads(threadLevel);
  const int64_t exponentWords = NormalizeForConversion(heap, x, precisionWords, threadExponent);

  ProgressClear();
  ConsoleWrite("Hashing Binary Digits...");
  BigIntMakeResident(heap, x.magnitude);
  gLastBinaryHash = HashWords61(x.magnitude.words, x.magnitude.length);

  const uint64_t countWords = BillionWordsFor(x.magnitude.length);
  uint32_t* digits = AllocWordsOrDie(heap, countWords);
  const uint32_t depth = threadLevel >= 1 ? threadLevel + 2 : 0;
  const uint32_t topLevel = table.levelCount == 0 ? kNoLevel : table.levelCount - 1;
  if constexpr (kStorage == Storage::kSwap) {
    SplitSwap(heap, x, digits, countWords, table, topLevel, kSwapSplitLevels, true, depth,
              threadLevel);
  } else {
    SplitTop(heap, x, digits, countWords, table, topLevel, kSerialSplitLevels, true, depth,
             threadLevel);
  }
  BigFloatSetZero(x);

  ProgressClear();
  ConsoleWrite("Hashing Decimal Digits...");
  uint64_t lengthWords = countWords;
  while (lengthWords != 0 && digits[lengthWords - 1] == 0) --lengthWords;
  PrintElapsed();

  constexpr const char* kLabel = "Writing Decimal Digits:   ";
  ConsoleWrite("\n");
  ConsoleWrite(kLabel);
  const int64_t startMillis = ClockMillis();
  const int64_t startSeconds = ClockSeconds();
  DigitWords number;
  number.words = digits;
  number.lengthWords = lengthWords;
  number.pointWords = static_cast<int64_t>(lengthWords) + exponentWords;
  number.radix = DigitRadix::kDecimal;
  const double seconds =
      WriteDigitFile(heap, path, number, digitCount, kLabel, startMillis, startSeconds);
  Release(digits);
  return seconds;
}

}  // namespace

uint64_t LastBinaryHash() {
  return gLastBinaryHash;
}

double WriteDecimalDigits(AllocationHeap* heap, BigFloat& x, uint64_t digitCount,
                          const std::string& path, ConversionTable& table, bool secondary,
                          uint32_t threadLevel) {
  return WriteDecimal<Storage::kMemory>(heap, x, digitCount, path, table, secondary, threadLevel);
}

double WriteDecimalDigitsSwap(AllocationHeap* heap, BigFloat& x, uint64_t digitCount,
                              const std::string& path, ConversionTable& table, bool secondary,
                              uint32_t threadLevel) {
  return WriteDecimal<Storage::kSwap>(heap, x, digitCount, path, table, secondary, threadLevel);
}

}  // namespace zx
