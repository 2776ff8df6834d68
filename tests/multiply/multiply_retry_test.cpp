// The front-end's three attempts on products in memory: a product that fails its check once is
// recomputed as it was, twice through operands shifted one bit, and a third failure ends the
// program. Faults come from the hybrid transform's test hook, which also shows where the dispatch
// hands products to it; results are checked against GMP.
#include <gtest/gtest.h>
#include <unistd.h>

#include <random>
#include <string>

#include "multiply/fft/fft_mul.hpp"
#include "multiply/hybrid/hybrid_mul.hpp"
#include "multiply/multiply.hpp"
#include "multiply_test_util.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

using test::Words;

BigInt Resident(const Words& words) {
  BigInt x;
  x.words = AllocWordsOrDie(nullptr, words.size() + 2);
  std::copy(words.begin(), words.end(), x.words);
  x.length = words.size();
  x.capacity = words.size() + 2;
  return x;
}

Words WordsOf(const BigInt& x) { return Words(x.words, x.words + x.length); }

constexpr const char* kFirstFailure =
    "\nMultiplication Failure: Re-attempting with same parameters...\n";
constexpr const char* kSecondSuccess =
    "\nSecond Attempt Succeeded with same parameters.\n"
    "Most likely a hardware error... Please check your hardware.\n"
    "Continuing...\n\n";
constexpr const char* kSecondFailure =
    "\nSecond Attempt Failed: Possible Software Bug.\n"
    "Re-attempting with different parameters...\n";
constexpr const char* kThirdSuccess =
    "\nThird Attempt Succeeded with different parameters.\n"
    "Most likely a software error... Please report this bug.\n"
    "Continuing...\n\n";

struct RetryCase {
  uint64_t la;
  uint64_t lb;  // 0: square
  uint64_t t;
  uint32_t threads;
};

class MultiplyRetry : public ::testing::TestWithParam<RetryCase> {};

// One and two failed checks: the exact console lines and the product of the unchanged operands,
// which are themselves left as they were.
TEST_P(MultiplyRetry, RecoversWithTheRightProduct) {
  const RetryCase& c = GetParam();
  const bool square = c.lb == 0;
  std::mt19937_64 rng(test::TestSeed() + c.la + c.lb);
  // All-ones operands grow a word when shifted left, the hardest case for the shifted attempt.
  const Words a = c.t % 2 == 0 ? test::RandomWords(rng, c.la) : test::AllOnes(c.la);
  const Words b = square ? a : test::RandomWords(rng, c.lb);
  const Words exact = test::GmpProduct(a, b);
  for (const uint32_t failures : {1u, 2u}) {
    const std::string what = (square ? "square " : "") + test::Shape(c.la, b.size(), c.t) +
                             " T=" + std::to_string(c.threads) +
                             " failures=" + std::to_string(failures) +
                             " seed=" + std::to_string(test::TestSeed());
    BigInt x = Resident(a);
    BigInt y = Resident(b);
    BigInt out;
    test::ConsoleCapture capture;
    HybridInjectFaults(failures);
    if (square) {
      BigIntSquare(nullptr, x, out, c.t, 0, c.threads);
    } else {
      BigIntMultiply(nullptr, x, y, out, c.t, 0, c.threads);
    }
    HybridInjectFaults(0);
    const std::string expected = failures == 1
                                     ? std::string(kFirstFailure) + kSecondSuccess
                                     : std::string(kFirstFailure) + kSecondFailure + kThirdSuccess;
    EXPECT_EQ(capture.text(), expected) << what;
    Words got = WordsOf(out);
    got.resize(exact.size() - c.t, 0);
    EXPECT_LE(test::TruncationShortfall(exact, c.t, got), c.t == 0 ? 0u : 2u) << what;
    EXPECT_TRUE(WordsOf(x) == a && WordsOf(y) == b) << "operands changed: " << what;
    BigIntRelease(out);
    BigIntRelease(y);
    BigIntRelease(x);
  }
}

INSTANTIATE_TEST_SUITE_P(Shapes, MultiplyRetry,
                         ::testing::Values(RetryCase{12000, 12000, 0, 0},
                                           RetryCase{20000, 13000, 0, 1},
                                           RetryCase{15000, 15000, 9001, 0},
                                           RetryCase{12000, 0, 0, 1},
                                           RetryCase{14000, 0, 7001, 0}));

struct DispatchCase {
  uint64_t n;
  bool square;
  uint32_t threads;
  bool hybrid;  // the hybrid transform takes it, else the FFT
};

class MultiplyDispatch : public ::testing::TestWithParam<DispatchCase> {};

// With the FFT's tables prepared, only a product that the hybrid transform takes meets the
// injected fault and prints the retry lines; either way the product is GMP's.
TEST_P(MultiplyDispatch, TheHybridTransformTakesOverAtItsThreshold) {
  const DispatchCase& c = GetParam();
  PrepareFftTables(c.n);
  std::mt19937_64 rng(test::TestSeed() + c.n);
  const Words a = test::RandomWords(rng, c.n);
  const Words b = c.square ? a : test::RandomWords(rng, c.n);
  BigInt x = Resident(a);
  BigInt y = Resident(b);
  BigInt out;
  test::ConsoleCapture capture;
  HybridInjectFaults(1);
  if (c.square) {
    BigIntSquare(nullptr, x, out, 0, 0, c.threads);
  } else {
    BigIntMultiply(nullptr, x, y, out, 0, 0, c.threads);
  }
  HybridInjectFaults(0);
  const std::string what = std::to_string(c.n) + (c.square ? " square" : "") +
                           " T=" + std::to_string(c.threads);
  EXPECT_EQ(capture.text(), c.hybrid ? std::string(kFirstFailure) + kSecondSuccess : "") << what;
  EXPECT_TRUE(WordsOf(out) == test::GmpProduct(a, b)) << what;
  BigIntRelease(out);
  BigIntRelease(y);
  BigIntRelease(x);
}

INSTANTIATE_TEST_SUITE_P(Thresholds, MultiplyDispatch,
                         ::testing::Values(DispatchCase{kHybridThreadedMinWords - 1, false, 1, false},
                                           DispatchCase{kHybridThreadedMinWords, false, 1, true},
                                           DispatchCase{kHybridThreadedMinWords, true, 1, true},
                                           DispatchCase{kHybridThreadedMinWords, false, 0, false},
                                           DispatchCase{kHybridMinWords - 1, false, 0, false},
                                           DispatchCase{kHybridMinWords - 1, true, 0, false},
                                           DispatchCase{kHybridMinWords, false, 0, true},
                                           DispatchCase{kHybridMinWords, true, 0, true}));

// A heap with room for the hybrid transform but not for the FFT's arrays, as a disk-swapping
// run's is, gets the product from the hybrid transform instead of stopping the run.
TEST(MultiplyDispatchHeap, AHeapTooSmallForTheFftGetsTheHybridProduct) {
  constexpr uint64_t n = 100000;
  PrepareFftTables(n);
  const uint64_t bytes = HybridMultiplyMemoryBytes(n, n, 0, 0) + (2 * n + 2) * sizeof(uint32_t);
  const uint64_t heapBytes = bytes + (1 << 20);
  ASSERT_LT(heapBytes, FftMultiplyScratchBytes(n, n, 0));
  AllocationHeap heap;
  HeapCreate(nullptr, &heap, heapBytes);
  std::mt19937_64 rng(test::TestSeed() + 7);
  const Words a = test::RandomWords(rng, n);
  const Words b = test::RandomWords(rng, n);
  for (const bool square : {false, true}) {
    BigInt x = Resident(a);
    BigInt y = Resident(b);
    BigInt out;
    test::ConsoleCapture capture;
    HybridInjectFaults(1);
    if (square) {
      BigIntSquare(&heap, x, out, 0, 0, 0);
    } else {
      BigIntMultiply(&heap, x, y, out, 0, 0, 0);
    }
    HybridInjectFaults(0);
    EXPECT_EQ(capture.text(), std::string(kFirstFailure) + kSecondSuccess) << square;
    EXPECT_TRUE(WordsOf(out) == test::GmpProduct(a, square ? a : b)) << square;
    BigIntRelease(out);
    BigIntRelease(y);
    BigIntRelease(x);
  }
  HeapDestroy(&heap);
}

TEST(MultiplyRetryDeath, ThirdFailureEndsTheProgram) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  test::FeedStdin("");
  std::mt19937_64 rng(test::TestSeed());
  const Words a = test::RandomWords(rng, 12000);
  for (const bool square : {false, true}) {
    EXPECT_EXIT(
        {
          dup2(STDERR_FILENO, STDOUT_FILENO);
          BigInt x = Resident(a);
          BigInt y = Resident(a);
          BigInt out;
          HybridInjectFaults(3);
          if (square) {
            BigIntSquare(nullptr, x, out, 0, 0, 0);
          } else {
            BigIntMultiply(nullptr, x, y, out, 0, 0, 0);
          }
        },
        ::testing::ExitedWithCode(1),
        "Third Attempt Failed: Unable to determine cause of error.\nTerminating Program...\n");
  }
}

}  // namespace
}  // namespace zx
