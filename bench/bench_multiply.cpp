// The mul and square commands: random operands multiplied by the engine, by GMP and by FLINT 3's
// flint_mpn_mul (64-bit limbs, the same operands converted), alternating in one series; one line
// per size with the median seconds per product and the medians of the same-round ratios.
// ZentrixMultiplyWords is the engine's door for these timings.
#include <algorithm>
#include <cstring>
#include <functional>
#include <random>
#include <vector>

#include "bench.hpp"
#include "multiply/basecase/basecase.hpp"
#include "multiply/fft/fft_mul.hpp"
#include "multiply/hybrid/hybrid_mul.hpp"
#include "multiply/multiply.hpp"
#include "multiply/ntt/ntt_mul.hpp"
#include "reference_constants.hpp"
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

// Factor-2 sweep from 10^4 words to just past 10^7.
constexpr uint64_t kSweepFirstWords = 10000;
constexpr uint64_t kSweepLastWords = 10240000;

std::vector<uint32_t> RandomWords(std::mt19937_64& rng, uint64_t count) {
  std::vector<uint32_t> words(count);
  for (uint32_t& word : words) word = static_cast<uint32_t>(rng());
  return words;
}

// One program of the series: its product as a call writing 2n words (or 64-bit limbs read as
// them) at out, and its measurements.
struct Contender {
  const char* label;
  std::function<void()> run;
  const uint32_t* out;
  std::vector<double> seconds;
};

int Measure(const Options& options, bool square) {
  std::vector<uint64_t> sizes;
  for (uint64_t n = kSweepFirstWords; n <= kSweepLastWords; n *= 2) sizes.push_back(n);
  if (options.words != 0) sizes = {options.words};
  const uint32_t threads = ThreadsOrOne(options);
  const uint32_t exponent = ThreadExponent(threads);
  const ReferenceLibrary flint = ReferenceLoadFlint3();
  const bool haveFlint = flint.mpnMul != nullptr && flint.mpnSqr != nullptr;
  if (!haveFlint) {
    ConsolePrintf("flint3: no flint_mpn_mul in %s (%s), its column is left out\n",
                  flint.path.c_str(), flint.failure.c_str());
  } else {
    flint.setNumThreads(static_cast<int>(threads));
  }
  std::mt19937_64 rng(20261121);
  for (uint64_t n : sizes) {
    const std::vector<uint32_t> a = RandomWords(rng, n);
    const std::vector<uint32_t> b = square ? a : RandomWords(rng, n);
    std::vector<uint32_t> out(2 * n);
    std::vector<Contender> contenders;
    contenders.push_back({"zentrix",
                          [&] {
                            if (square) {
                              ZentrixSquareWords(a.data(), n, out.data(), exponent);
                            } else {
                              ZentrixMultiplyWords(a.data(), n, b.data(), n, out.data(), exponent);
                            }
                          },
                          out.data(),
                          {}});
    // Limbs of 64 bits: two words each, the odd top word zero-extended.
    const uint64_t limbs = (n + 1) / 2;
    std::vector<uint64_t> x(limbs, 0);
    std::vector<uint64_t> y(limbs, 0);
    std::memcpy(x.data(), a.data(), n * sizeof(uint32_t));
    std::memcpy(y.data(), b.data(), n * sizeof(uint32_t));
#if defined(ZX_HAVE_GMP)
    std::vector<uint64_t> gmpOut(2 * limbs);
    static_assert(sizeof(mp_limb_t) == sizeof(uint64_t));
    const auto limb = [](const std::vector<uint64_t>& v) {
      return reinterpret_cast<const mp_limb_t*>(v.data());
    };
    contenders.push_back({"gmp",
                          [&] {
                            auto* z = reinterpret_cast<mp_limb_t*>(gmpOut.data());
                            const auto count = static_cast<mp_size_t>(limbs);
                            if (square) {
                              mpn_sqr(z, limb(x), count);
                            } else {
                              mpn_mul_n(z, limb(x), limb(y), count);
                            }
                          },
                          reinterpret_cast<const uint32_t*>(gmpOut.data()),
                          {}});
#endif
    std::vector<unsigned long> flintOut(2 * limbs);
    static_assert(sizeof(unsigned long) == sizeof(uint64_t));
    const auto* fx = reinterpret_cast<const unsigned long*>(x.data());
    const auto* fy = reinterpret_cast<const unsigned long*>(y.data());
    if (haveFlint) {
      contenders.push_back({"flint3",
                            [&] {
                              const auto count = static_cast<long>(limbs);
                              if (square) {
                                flint.mpnSqr(flintOut.data(), fx, count);
                              } else {
                                flint.mpnMul(flintOut.data(), fx, count, fy, count);
                              }
                            },
                            reinterpret_cast<const uint32_t*>(flintOut.data()),
                            {}});
    }
    // Tables are prepared (and pages touched) before the clock starts, as a run would.
    for (Contender& contender : contenders) contender.run();
    // Alternating keeps every program under the same load on a shared machine.
    for (uint32_t run = 0; run < options.runs; run++) {
      for (Contender& contender : contenders)
        contender.seconds.push_back(SampleSeconds(contender.run));
    }
    ConsolePrintf("%s words=%llu threads=%u", square ? "square" : "mul",
                  static_cast<unsigned long long>(n), threads);
    for (const Contender& contender : contenders) {
      ConsolePrintf(" %s_s=%.6g", contender.label, Median(contender.seconds));
    }
    for (size_t i = 1; i < contenders.size(); i++) {
      std::vector<double> ratios;
      for (uint32_t run = 0; run < options.runs; run++) {
        ratios.push_back(contenders[0].seconds[run] / contenders[i].seconds[run]);
      }
      ConsolePrintf(" zentrix/%s=%.3f", contenders[i].label, Median(ratios));
      if (std::memcmp(contenders[i].out, out.data(), 2 * n * sizeof(uint32_t)) != 0) {
        ConsolePrintf(" MISMATCH(%s)", contenders[i].label);
      }
    }
    ConsoleWrite("\n");
    ConsoleFlush();
  }
  return 0;
}

// Factor-2^(1/2) sweep across the range where the FFT and the hybrid transform overlap.
constexpr uint64_t kCrossoverFirstWords = 8000;
constexpr uint64_t kCrossoverLastWords = kFftTableMaxWords;

// The FFT, the hybrid transform and (where built) the number-theoretic transforms on the same
// operands, called directly (no dispatch), so that the thresholds between them can be read off:
// one line per size with the medians of the same-round ratios fft/hybrid and ntt/fft.
int MeasureCrossover(const Options& options, bool square) {
  std::vector<uint64_t> sizes;
  for (double n = kCrossoverFirstWords; n <= kCrossoverLastWords; n *= 1.41421356) {
    sizes.push_back(static_cast<uint64_t>(n));
  }
  if (options.words != 0) sizes = {options.words};
  const uint32_t exponent = ThreadExponent(ThreadsOrOne(options));
  std::mt19937_64 rng(20261121);
  for (uint64_t n : sizes) {
    const std::vector<uint32_t> a = RandomWords(rng, n);
    const std::vector<uint32_t> b = square ? a : RandomWords(rng, n);
    std::vector<uint32_t> fftOut(2 * n);
    std::vector<uint32_t> hybridOut(2 * n);
    std::vector<uint32_t> nttOut(2 * n);
    PrepareFftTablesForProduct(2 * n);
    AllocationHeap* heap = BenchHeap(std::max({FftMemoryBytes(n), MultiplyMemoryBytes(n, exponent),
                                               NttMultiplyMemoryBytes(n, n, 0) + 8 * n}));
    uint64_t failures = 0;
    const auto fft = [&] {
      failures += square ? FftSquare(heap, a.data(), n, fftOut.data(), 0, exponent)
                         : FftMultiply(heap, a.data(), n, b.data(), n, fftOut.data(), 0, exponent);
    };
    const auto hybrid = [&] {
      failures +=
          square ? HybridSquare(heap, a.data(), n, hybridOut.data(), 0, exponent)
                 : HybridMultiply(heap, a.data(), n, b.data(), n, hybridOut.data(), 0, exponent);
    };
    const bool ntt = NttAvailable() && NttReaches(n, n);
    const auto transforms = [&] {
      failures += square ? NttSquare(heap, a.data(), n, nttOut.data(), 0, exponent)
                         : NttMultiply(heap, a.data(), n, b.data(), n, nttOut.data(), 0, exponent);
    };
    fft();
    hybrid();
    if (ntt) transforms();
    std::vector<double> fftSeconds;
    std::vector<double> hybridSeconds;
    std::vector<double> nttSeconds;
    std::vector<double> ratios;
    std::vector<double> nttRatios;
    for (uint32_t run = 0; run < options.runs; run++) {
      fftSeconds.push_back(SampleSeconds(fft));
      hybridSeconds.push_back(SampleSeconds(hybrid));
      ratios.push_back(fftSeconds.back() / hybridSeconds.back());
      if (ntt) {
        nttSeconds.push_back(SampleSeconds(transforms));
        nttRatios.push_back(nttSeconds.back() / fftSeconds.back());
      }
    }
    ConsolePrintf("%s words=%llu fft_s=%.6g hybrid_s=%.6g fft/hybrid=%.3f",
                  square ? "square" : "mul", static_cast<unsigned long long>(n), Median(fftSeconds),
                  Median(hybridSeconds), Median(ratios));
    if (ntt) {
      ConsolePrintf(" ntt_s=%.6g ntt/fft=%.3f%s", Median(nttSeconds), Median(nttRatios),
                    nttOut == fftOut ? "" : " MISMATCH(ntt)");
    }
    ConsolePrintf("%s%s\n", fftOut == hybridOut ? "" : " MISMATCH", failures == 0 ? "" : " FAILED");
    ConsoleFlush();
  }
  return 0;
}

}  // namespace

int RunCrossover(const Options& options) {
  return MeasureCrossover(options, false) + MeasureCrossover(options, true);
}

int RunMultiply(const Options& options) {
  return Measure(options, false);
}
int RunSquare(const Options& options) {
  return Measure(options, true);
}

}  // namespace bench
}  // namespace zx
