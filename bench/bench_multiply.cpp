// The mul and square commands: random operands multiplied by the engine and by GMP (64-bit limbs,
// the same operands converted), one line per size with the median seconds per product and their
// ratio. ZentrixMultiplyWords is the engine's door for these timings.
#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "bench.hpp"
#include "multiply/basecase/basecase.hpp"
#include "multiply/fft/fft_mul.hpp"
#include "multiply/multiply.hpp"
#include "runtime/allocation_heap.hpp"
#include "shell/console.hpp"
#include "shell/fatal.hpp"

#if defined(ZX_HAVE_GMP)
#include <gmp.h>
#endif

namespace zx {
namespace {

// The products draw on one heap kept for the whole run, as the program's do: its pages are
// touched once, not on every product. It is replaced by a larger one when a product needs more.
AllocationHeap* BenchHeap(uint64_t bytes) {
  static AllocationHeap heap;
  static uint64_t capacity = 0;
  const uint64_t wanted = bytes + bytes / 8 + 4096;
  if (wanted > capacity) {
    if (capacity != 0) HeapDestroy(&heap);
    HeapCreate(nullptr, &heap, wanted);
    capacity = wanted;
  }
  return &heap;
}

}  // namespace

// out (la + lb words) = a·b, by size: the basecase below 58 words, the FFT above it, its tables
// prepared on demand for any size.
void ZentrixMultiplyWords(const uint32_t* a, uint64_t la, const uint32_t* b, uint64_t lb,
                          uint32_t* out, uint32_t threadExponent);
void ZentrixSquareWords(const uint32_t* a, uint64_t n, uint32_t* out, uint32_t threadExponent);

namespace {

// A BigInt view of caller-owned words: the front-end only reads its operands.
BigInt View(const uint32_t* words, uint64_t length) {
  BigInt view;
  view.length = length;
  view.words = const_cast<uint32_t*>(words);
  view.capacity = length;
  return view;
}

// The product goes through the program's own door (dispatch by size, truncation rules, the checked
// hybrid transform from 12,000 words), with tables prepared as a run prepares them.
void TakeProduct(BigInt& product, uint32_t* out, uint64_t words) {
  std::memcpy(out, product.words, product.length * sizeof(uint32_t));
  std::memset(out + product.length, 0, (words - product.length) * sizeof(uint32_t));
  Release(product.words);
}

}  // namespace

void ZentrixMultiplyWords(const uint32_t* a, uint64_t la, const uint32_t* b, uint64_t lb,
                          uint32_t* out, uint32_t threadExponent) {
  if (!FftTablesReach(2 * std::min<uint64_t>(std::max(la, lb), kFftTableMaxWords))) {
    PrepareFftTables(std::max(la, lb));
  }
  BigInt x = View(a, la);
  BigInt y = View(b, lb);
  BigInt product;
  AllocationHeap* heap = BenchHeap(MultiplyMemoryBytes(std::max(la, lb), threadExponent));
  BigIntMultiply(heap, x, y, product, 0, 0, threadExponent);
  TakeProduct(product, out, la + lb);
}

void ZentrixSquareWords(const uint32_t* a, uint64_t n, uint32_t* out, uint32_t threadExponent) {
  if (!FftTablesReach(2 * std::min<uint64_t>(n, kFftTableMaxWords))) PrepareFftTables(n);
  BigInt x = View(a, n);
  BigInt product;
  BigIntSquare(BenchHeap(MultiplyMemoryBytes(n, threadExponent)), x, product, 0, 0, threadExponent);
  TakeProduct(product, out, 2 * n);
}

namespace bench {
namespace {

const uint64_t kSweepWords[] = {1000, 3000, 10000, 30000, 100000, 300000, 1000000};

std::vector<uint32_t> RandomWords(std::mt19937_64& rng, uint64_t count) {
  std::vector<uint32_t> words(count);
  for (uint32_t& word : words) word = static_cast<uint32_t>(rng());
  return words;
}

int Measure(const Options& options, bool square) {
  std::vector<uint64_t> sizes(std::begin(kSweepWords), std::end(kSweepWords));
  if (options.words != 0) sizes = {options.words};
  const uint32_t exponent = ThreadExponent(ThreadsOrOne(options));
  std::mt19937_64 rng(20261121);
  for (uint64_t n : sizes) {
    const std::vector<uint32_t> a = RandomWords(rng, n);
    const std::vector<uint32_t> b = square ? a : RandomWords(rng, n);
    std::vector<uint32_t> out(2 * n);
    // Tables are prepared before the clock starts, as a run would.
    if (square) {
      ZentrixSquareWords(a.data(), n, out.data(), exponent);
    } else {
      ZentrixMultiplyWords(a.data(), n, b.data(), n, out.data(), exponent);
    }
    const double zentrixSeconds = MedianSeconds(options, [&] {
      if (square) {
        ZentrixSquareWords(a.data(), n, out.data(), exponent);
      } else {
        ZentrixMultiplyWords(a.data(), n, b.data(), n, out.data(), exponent);
      }
    });
    ConsolePrintf("%s words=%llu threads=%u zentrix_s=%.6g", square ? "square" : "mul",
                  static_cast<unsigned long long>(n), ThreadsOrOne(options), zentrixSeconds);
#if defined(ZX_HAVE_GMP)
    // Limbs of 64 bits: two words each, the odd top word zero-extended.
    const uint64_t limbs = (n + 1) / 2;
    std::vector<mp_limb_t> x(limbs, 0);
    std::vector<mp_limb_t> y(limbs, 0);
    std::vector<mp_limb_t> z(2 * limbs);
    std::memcpy(x.data(), a.data(), n * sizeof(uint32_t));
    std::memcpy(y.data(), b.data(), n * sizeof(uint32_t));
    const double gmpSeconds = MedianSeconds(options, [&] {
      if (square) {
        mpn_sqr(z.data(), x.data(), static_cast<mp_size_t>(limbs));
      } else {
        mpn_mul_n(z.data(), x.data(), y.data(), static_cast<mp_size_t>(limbs));
      }
    });
    ConsolePrintf(" gmp_s=%.6g ratio=%.3f", gmpSeconds, zentrixSeconds / gmpSeconds);
    if (std::memcmp(z.data(), out.data(), 2 * n * sizeof(uint32_t)) != 0) {
      ConsolePrintf(" MISMATCH");
    }
#endif
    ConsoleWrite("\n");
    ConsoleFlush();
  }
  return 0;
}

}  // namespace

int RunMultiply(const Options& options) {
  return Measure(options, false);
}
int RunSquare(const Options& options) {
  return Measure(options, true);
}

}  // namespace bench
}  // namespace zx
