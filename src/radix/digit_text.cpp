// The digit loop. Words are decoded a block at a time into a staging area whose size is a multiple
// of 144 characters (16 nine-digit or 18 eight-digit words, 9 passes of 16 digits), so blocks
// always end on a word boundary and a pass is one 16-byte copy into the file's buffer. Decimal
// words are decoded through a table of four-digit groups, hexadecimal words through one of byte
// pairs: two multiply-highs per nine digits and no division per digit.
#include "radix/digit_text.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#include "shell/console.hpp"
#include "shell/number_print.hpp"
#include "shell/progress.hpp"

namespace zx {
namespace {

constexpr uint64_t kPassDigits = 16;
constexpr uint64_t kStageChars = 144 * 64;
// The clock is read once every 2^20 passes (16 Mi digits): often enough for a line a second.
constexpr uint64_t kClockPassMask = (uint64_t{1} << 20) - 1;

constexpr std::array<char, 40000> MakeFourDigits() {
  std::array<char, 40000> table{};
  for (int i = 0; i < 10000; ++i) {
    table[4 * i + 0] = static_cast<char>('0' + i / 1000);
    table[4 * i + 1] = static_cast<char>('0' + i / 100 % 10);
    table[4 * i + 2] = static_cast<char>('0' + i / 10 % 10);
    table[4 * i + 3] = static_cast<char>('0' + i % 10);
  }
  return table;
}

constexpr std::array<char, 512> MakeHexPairs() {
  std::array<char, 512> table{};
  constexpr const char* kHexDigits = "0123456789abcdef";
  for (int i = 0; i < 256; ++i) {
    table[2 * i] = kHexDigits[i >> 4];
    table[2 * i + 1] = kHexDigits[i & 15];
  }
  return table;
}

constexpr std::array<char, 40000> kFourDigits = MakeFourDigits();
constexpr std::array<char, 512> kHexPairs = MakeHexPairs();

struct DecimalWord {
  static constexpr uint32_t kDigits = kDecimalDigitsPerWord;
  static void Put(char* at, uint32_t w) {
    const uint32_t head = w / 100000000;
    const uint32_t rest = w - head * 100000000;
    const uint32_t high = rest / 10000;
    const uint32_t low = rest - high * 10000;
    at[0] = static_cast<char>('0' + head);
    std::memcpy(at + 1, &kFourDigits[4 * high], 4);
    std::memcpy(at + 5, &kFourDigits[4 * low], 4);
  }
};

struct HexWord {
  static constexpr uint32_t kDigits = kHexDigitsPerWord;
  static void Put(char* at, uint32_t w) {
    std::memcpy(at + 0, &kHexPairs[2 * (w >> 24)], 2);
    std::memcpy(at + 2, &kHexPairs[2 * ((w >> 16) & 255)], 2);
    std::memcpy(at + 4, &kHexPairs[2 * ((w >> 8) & 255)], 2);
    std::memcpy(at + 6, &kHexPairs[2 * (w & 255)], 2);
  }
};

static_assert(kStageChars % (kDecimalDigitsPerWord * kPassDigits) == 0);
static_assert(kStageChars % (kHexDigitsPerWord * kPassDigits) == 0);

// Fills the stage with the next words below *wordsLeft (counting down), then zeros.
template <class Word>
void FillStage(const uint32_t* words, uint64_t* wordsLeft, char* stage) {
  const uint64_t take = std::min<uint64_t>(*wordsLeft, kStageChars / Word::kDigits);
  const uint32_t* word = words + *wordsLeft;
  char* at = stage;
  for (uint64_t i = 0; i < take; ++i, at += Word::kDigits) Word::Put(at, *--word);
  *wordsLeft -= take;
  std::memset(at, '0', static_cast<size_t>(stage + kStageChars - at));
}

void ShowDigitsWritten(const char* label, uint64_t digits, const char* end) {
  ConsoleWrite(label);
  PrintCommas(digits, 0);
  ConsoleWrite("  digits written");
  ConsoleWrite(end);
  ConsoleFlush();
}

inline void EmitPass(OutputFile& file, const char* digits) {
  if (file.capacityBytes - file.fillBytes < kPassDigits) {
    OutputFileAppend(file, digits, kPassDigits);
    return;
  }
  std::memcpy(file.buffer + file.fillBytes, digits, kPassDigits);
  file.fillBytes += kPassDigits;
  if (file.fillBytes == file.capacityBytes) OutputFileFlush(file);
}

template <class Word>
void PumpDigits(OutputFile& file, const uint32_t* words, uint64_t wordsLeft, uint64_t digitCount,
                uint64_t digitsBefore, const char* label) {
  char stage[kStageChars];
  uint64_t used = kStageChars;
  int64_t lastMillis = ClockMillis();
  const uint64_t passes = digitCount / kPassDigits;
  for (uint64_t pass = 1; pass <= passes; ++pass) {
    if (used == kStageChars) {
      FillStage<Word>(words, &wordsLeft, stage);
      used = 0;
    }
    EmitPass(file, stage + used);
    used += kPassDigits;
    if ((pass & kClockPassMask) == 0) {
      const int64_t now = ClockMillis();
      if (now - lastMillis > kProgressIntervalMillis) {
        lastMillis = now;
        ProgressClear();
        ShowDigitsWritten(label, digitsBefore + pass * kPassDigits, "");
      }
    }
  }
  const uint64_t tail = digitCount % kPassDigits;
  if (tail == 0) return;
  if (used == kStageChars) {
    FillStage<Word>(words, &wordsLeft, stage);
    used = 0;
  }
  OutputFileAppend(file, stage + used, tail);
}

// For W = 1 *integerDigits receives the top word's digit count, else 0.
std::string DigitLeadIn(const DigitWords& number, uint64_t* integerDigits) {
  *integerDigits = 0;
  if (number.lengthWords == 0) return "0";
  const int64_t w = number.pointWords;
  if (w == 0) return "0.";
  const bool hex = number.radix == DigitRadix::kHex;
  if (w == 1) {
    char text[16];
    const uint32_t top = number.words[number.lengthWords - 1];
    const auto end = std::to_chars(text, text + sizeof text, top, hex ? 16 : 10).ptr;
    *integerDigits = static_cast<uint64_t>(end - text);
    return std::string(text, end) + ".";
  }
  const uint64_t magnitude = w < 0 ? 0 - static_cast<uint64_t>(w) : static_cast<uint64_t>(w);
  return std::string(hex ? "4294967296^" : "1000000000^") + (w < 0 ? "-" : "") +
         std::to_string(magnitude) + " * 0.";
}

}  // namespace

void WriteDigitText(OutputFile& file, const DigitWords& number, uint64_t digitCount,
                    const char* label) {
  uint64_t integerDigits = 0;
  const std::string leadIn = DigitLeadIn(number, &integerDigits);
  OutputFileAppend(file, leadIn.data(), leadIn.size());
  if (number.lengthWords == 0) return;
  // The integer word of the W = 1 form has been written; the digits go on below it.
  const uint64_t wordsLeft = number.lengthWords - (integerDigits != 0 ? 1 : 0);
  const uint64_t fractionDigits = digitCount > integerDigits ? digitCount - integerDigits : 0;
  if (number.radix == DigitRadix::kHex) {
    PumpDigits<HexWord>(file, number.words, wordsLeft, fractionDigits, integerDigits, label);
  } else {
    PumpDigits<DecimalWord>(file, number.words, wordsLeft, fractionDigits, integerDigits, label);
  }
}

double WriteDigitFile(AllocationHeap* heap, const std::string& path, const DigitWords& number,
                      uint64_t digitCount, const char* label, int64_t startMillis,
                      int64_t startSeconds) {
  OutputFile file;
  OutputFileOpen(heap, file, path);
  WriteDigitText(file, number, digitCount, label);
  OutputFileClose(file);
  ProgressClear();
  ShowDigitsWritten(label, digitCount, "\n");
  return ElapsedSeconds(startMillis, startSeconds);
}

}  // namespace zx
