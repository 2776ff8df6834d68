// The hexadecimal writer: the words are already digits, eight to a word, so it is the digit loop
// and nothing more. W is the top position of x in words.
#include "radix/digit_text.hpp"
#include "radix/digit_writers.hpp"
#include "shell/console.hpp"

namespace zx {

double WriteHexDigits(AllocationHeap* heap, BigFloat& x, uint64_t digitCount,
                      const std::string& path) {
  constexpr const char* kLabel = "Writing Hexadecimal Digits:   ";
  ConsoleWrite(kLabel);
  const int64_t startMillis = ClockMillis();
  const int64_t startSeconds = ClockSeconds();
  BigInt& magnitude = x.magnitude;
  const bool wasSwappedOut = magnitude.length != 0 && magnitude.words == nullptr;
  BigIntMakeResident(heap, magnitude);
  DigitWords number;
  number.words = magnitude.words;
  number.lengthWords = magnitude.length;
  number.pointWords = BigFloatTop(x);
  number.radix = DigitRadix::kHex;
  const double seconds =
      WriteDigitFile(heap, path, number, digitCount, kLabel, startMillis, startSeconds);
  if (wasSwappedOut) BigIntDropMemory(magnitude);
  return seconds;
}

}  // namespace zx
