// The convert command: the decimal conversion of a random N-word integer (the table built for it,
// then the split tree into base-10^9 words) against GMP's mpz_get_str of the same integer. The
// table is part of the time, as every run builds one; normalisation is not, an integer needs none.
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "bench.hpp"
#include "multiply/fft/fft_mul.hpp"
#include "multiply/multiply.hpp"
#include "radix/base_conversion.hpp"
#include "shell/console.hpp"

#if defined(ZX_HAVE_GMP)
#include <gmp.h>
#endif

namespace zx::bench {
namespace {

constexpr uint64_t kDefaultConvertWords = 1000000;

// The decimal text of the base-10^9 words, without leading zeros.
std::string DecimalText(const std::vector<uint32_t>& words) {
  std::string text;
  text.reserve(9 * words.size());
  char group[16];
  for (size_t i = words.size(); i-- > 0;) {
    std::snprintf(group, sizeof group, "%09u", words[i]);
    text += group;
  }
  const size_t first = text.find_first_not_of('0');
  return first == std::string::npos ? "0" : text.substr(first);
}

}  // namespace

int RunConvert(const Options& options) {
  const uint64_t n = options.words == 0 ? kDefaultConvertWords : options.words;
  const uint32_t threadLevel = ThreadExponent(ThreadsOrOne(options));
  std::mt19937_64 rng(20261121);
  std::vector<uint32_t> words(n);
  for (uint32_t& word : words) word = static_cast<uint32_t>(rng());
  if (words.back() == 0) words.back() = 1;

  // One heap for the whole command, as a run has: the integer, the output, the table and the
  // products' scratch fit in it many times over.
  AllocationHeap heap;
  HeapCreate(nullptr, &heap,
             64 * n + 8 * MultiplyMemoryBytes(n, threadLevel) + (uint64_t{64} << 20));
  PrepareFftTables(n);
  const uint64_t countWords = BillionWordsFor(n);
  std::vector<uint32_t> out(countWords);
  std::string consoleSink;
  const double zentrixSeconds = MedianSeconds(options, [&] {
    BigFloat x;
    x.magnitude.words = AllocWordsOrDie(&heap, n + 2);
    std::copy(words.begin(), words.end(), x.magnitude.words);
    x.magnitude.length = n;
    x.magnitude.capacity = n + 2;
    ConversionTable table;
    ConsoleCaptureTo(&consoleSink);
    BuildConversionTable(&heap, x, table, threadLevel);
    const uint32_t top = table.levelCount == 0 ? kNoLevel : table.levelCount - 1;
    SplitTop(&heap, x, out.data(), countWords, table, top, kSerialSplitLevels, false,
             threadLevel >= 1 ? threadLevel + 2 : 0, threadLevel);
    ConsoleCaptureTo(nullptr);
    consoleSink.clear();
    ReleaseConversionTable(table);
  });
  ConsolePrintf("convert words=%llu zentrix_s=%.6g", static_cast<unsigned long long>(n),
                zentrixSeconds);
#if defined(ZX_HAVE_GMP)
  mpz_t value;
  mpz_init(value);
  mpz_import(value, n, -1, sizeof(uint32_t), 0, 0, words.data());
  std::vector<char> text(mpz_sizeinbase(value, 10) + 2);
  const double gmpSeconds = MedianSeconds(options, [&] { mpz_get_str(text.data(), 10, value); });
  ConsolePrintf(" gmp_s=%.6g ratio=%.3f", gmpSeconds, zentrixSeconds / gmpSeconds);
  if (DecimalText(out) != text.data()) ConsolePrintf(" MISMATCH");
  mpz_clear(value);
#endif
  ConsoleWrite("\n");
  ConsoleFlush();
  ReleaseFftTables();
  HeapDestroy(&heap);
  return 0;
}

}  // namespace zx::bench
