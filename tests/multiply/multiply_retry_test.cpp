// The front-end's three attempts: a product failing its check is recomputed as it was, then from
// shifted operands (a third failure is among product_test's stops); faults from the test hooks.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "multiply/fft/fft_mul.hpp"
#include "multiply/hybrid/hybrid_mul.hpp"
#include "multiply/multiply.hpp"
#include "multiply/ntt/ntt_mul.hpp"
#include "product_oracle.hpp"
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

Words WordsOf(const BigInt& x) {
  return Words(x.words, x.words + x.length);
}

struct RetryCase {
  uint64_t la;
  uint64_t lb;  // 0: square
  uint64_t t;
  uint32_t threads;
  bool fft = false;  // through the FFT (its tables prepared), else the hybrid transform
};

// Faults for the products beyond the FFT, whichever transform takes them.
void InjectLargeFaults(uint32_t failures) {
  HybridInjectFaults(failures);
  NttInjectFaults(failures);
}

// Plants `failures` faults in the path the case takes; 0 clears every hook.
void InjectFaults(const RetryCase& c, uint32_t failures) {
  if (c.fft || failures == 0) FftInjectFaults(failures);
  if (!c.fft || failures == 0) InjectLargeFaults(failures);
}

class MultiplyRetry : public ::testing::TestWithParam<RetryCase> {};

// One and two failed checks: the exact lines, the right product, the operands unchanged.
TEST_P(MultiplyRetry, RecoversWithTheRightProduct) {
  const RetryCase& c = GetParam();
  const bool square = c.lb == 0;
  std::mt19937_64 rng(test::TestSeed() + c.la + c.lb);
  // All-ones operands grow a word when shifted left, the hardest case for the shifted attempt.
  const Words a = c.t % 2 == 0 ? test::RandomWords(rng, c.la) : test::AllOnes(c.la);
  const Words b = square ? a : test::RandomWords(rng, c.lb);
  const Words exact = test::GmpProduct(a, b);
  if (c.fft) PrepareFftTablesForProduct(c.la + b.size() + 1);
  for (const uint32_t failures : {1u, 2u}) {
    const std::string what = (square ? "square " : "") + test::Shape(c.la, b.size(), c.t) +
                             " T=" + std::to_string(c.threads) +
                             " failures=" + std::to_string(failures) +
                             " seed=" + std::to_string(test::TestSeed());
    BigInt x = Resident(a);
    BigInt y = Resident(b);
    BigInt out;
    test::ConsoleCapture capture;
    InjectFaults(c, failures);
    square ? BigIntSquare(nullptr, x, out, c.t, 0, c.threads)
           : BigIntMultiply(nullptr, x, y, out, c.t, 0, c.threads);
    InjectFaults(c, 0);
    EXPECT_EQ(capture.text(), test::RecoveryText(failures)) << what;
    Words got = WordsOf(out);
    got.resize(exact.size() - c.t, 0);
    EXPECT_LE(test::TruncationShortfall(exact, c.t, got), c.t == 0 ? 0u : 2u) << what;
    EXPECT_TRUE(WordsOf(x) == a && WordsOf(y) == b) << "operands changed: " << what;
    BigIntRelease(out);
    BigIntRelease(y);
    BigIntRelease(x);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, MultiplyRetry,
    ::testing::Values(RetryCase{12000, 12000, 0, 0}, RetryCase{20000, 13000, 0, 1},
                      RetryCase{15000, 15000, 9001, 0}, RetryCase{12000, 0, 0, 1},
                      RetryCase{14000, 0, 7001, 0}, RetryCase{5000, 5000, 0, 0, true},
                      RetryCase{9000, 2000, 0, 0, true}, RetryCase{8000, 8000, 4001, 0, true},
                      RetryCase{6000, 0, 0, 0, true}, RetryCase{7000, 0, 3001, 0, true},
                      RetryCase{20000, 20000, 0, 1, true}, RetryCase{30000, 0, 20001, 1, true}));

struct PairCase {
  uint64_t lx;
  uint64_t ly[2];
  uint64_t t[2];
  uint32_t threads = 0;
};

class MultiplyPair : public ::testing::TestWithParam<PairCase> {};

// x·y1 and x·y2 through one transform of x or, where the shapes do not allow it, one by one: each
// result is GMP's cut at its own truncation, and a failed check retries only its own product.
TEST_P(MultiplyPair, EachProductIsGmpsAndRetriesAlone) {
  const PairCase& c = GetParam();
  std::mt19937_64 rng(test::TestSeed() + c.lx + c.ly[0] + c.t[1]);
  const Words x = test::RandomWords(rng, c.lx);
  const Words y[2] = {test::AllOnes(c.ly[0]), test::RandomWords(rng, c.ly[1])};
  PrepareFftTables(std::max({c.lx, c.ly[0], c.ly[1]}));
  for (const uint32_t failures : {0u, 1u}) {
    const std::string what = std::to_string(c.lx) + " by " + test::Shape(c.ly[0], c.ly[1]) +
                             " failures=" + std::to_string(failures);
    BigFloat fx, fy[2], out[2];
    fx.magnitude = Resident(x);
    for (int i = 0; i < 2; i++) fy[i].magnitude = Resident(y[i]);
    test::ConsoleCapture capture;
    FftInjectFaults(failures);
    BigFloatMultiplyKeepPair(nullptr, fx, fy[0], out[0], c.lx + c.ly[0] - c.t[0], fy[1], out[1],
                             c.lx + c.ly[1] - c.t[1], c.threads);
    FftInjectFaults(0);
    EXPECT_EQ(capture.text(), failures == 0 ? "" : test::RecoveryText(failures)) << what;
    for (int i = 0; i < 2; i++) {
      const Words exact = test::GmpProduct(x, y[i]);
      EXPECT_EQ(out[i].exponent, static_cast<int64_t>(c.t[i])) << what;
      Words got = WordsOf(out[i].magnitude);
      got.resize(exact.size() - c.t[i], 0);
      EXPECT_LE(test::TruncationShortfall(exact, c.t[i], got), c.t[i] == 0 ? 0u : 2u) << what;
      EXPECT_TRUE(WordsOf(fy[i].magnitude) == y[i]) << "operand changed: " << what;
      BigFloatRelease(out[i]);
      BigFloatRelease(fy[i]);
    }
    EXPECT_TRUE(WordsOf(fx.magnitude) == x) << "operand changed: " << what;
    BigFloatRelease(fx);
  }
}

// One length for both products where its width differs between them, the shapes of a series
// merge, truncations that drop the same or different words of x, and what goes one by one: lengths
// too far apart, a ratio past 4, a short operand, a transform long enough for two threads.
INSTANTIATE_TEST_SUITE_P(
    Shapes, MultiplyPair,
    ::testing::Values(PairCase{60, {61, 59}, {0, 0}}, PairCase{3000, {3000, 2990}, {0, 0}},
                      PairCase{5000, {5000, 4990}, {4000, 4000}},
                      PairCase{5000, {5000, 3000}, {6000, 2000}},
                      PairCase{3000, {1200, 3000}, {0, 0}}, PairCase{9000, {9000, 2000}, {0, 0}},
                      PairCase{60, {40, 60}, {0, 0}}, PairCase{20000, {20000, 20000}, {0, 0}, 1}));

struct MergeCase {
  uint64_t t1, q1, p1, t2, q2, p2;  // words; p2 = 0: no P
  bool t2Negative;
  bool taken;                  // the merge path takes it, else it declines and leaves the outputs
  int64_t p1Exponent = 0;      // T2·P1 that many words above T1·Q2
  uint64_t keepShortfall = 0;  // keepA short of the longest product: declined
};

class MultiplyMerge : public ::testing::TestWithParam<MergeCase> {};

// Signed a·b + c·d·2^(32·shift) as a sign (1: non-negative) and the magnitude's words.
std::pair<int, Words> GmpSum(const Words& a, const Words& b, const Words& c, const Words& d,
                             bool subtract, int64_t shift) {
  const Words ab = test::GmpProduct(a, b);
  Words cd = test::GmpProduct(c, d);
  cd.insert(cd.begin(), static_cast<size_t>(shift), 0u);
  mpz_t x, y;
  mpz_inits(x, y, nullptr);
  mpz_import(x, ab.size(), -1, sizeof(uint32_t), 0, 0, ab.data());
  mpz_import(y, cd.size(), -1, sizeof(uint32_t), 0, 0, cd.data());
  subtract ? mpz_sub(x, x, y) : mpz_add(x, x, y);
  const int sign = mpz_sgn(x) >= 0 ? 1 : 0;
  mpz_abs(x, x);
  Words sum = test::ExportWords(x, mpz_size(x) * 2);
  while (!sum.empty() && sum.back() == 0) sum.pop_back();
  mpz_clears(x, y, nullptr);
  return {sign, sum};
}

// T = T1·Q2 + T2·P1, Q = Q1·Q2, P = P1·P2 through one transform length, against GMP, with a failed
// check retried alone; or, where the merge does not qualify, nothing done at all.
TEST_P(MultiplyMerge, FormsTheNodeOrLeavesItAlone) {
  const MergeCase& c = GetParam();
  std::mt19937_64 rng(test::TestSeed() + c.t1 + c.p1 + c.p2);
  const Words w[6] = {test::AllOnes(c.t1),          test::RandomWords(rng, c.q1),
                      test::RandomWords(rng, c.p1), test::RandomWords(rng, c.t2),
                      test::AllOnes(c.q2),          test::RandomWords(rng, c.p2)};
  PrepareFftTables(c.t1 + c.q2 + c.t2 + c.p1);
  for (const uint32_t failures : {0u, 1u}) {
    const std::string what = "t1=" + std::to_string(c.t1) + " p1=" + std::to_string(c.p1) +
                             " failures=" + std::to_string(failures);
    BigFloat in[6], t, q, p;
    for (int i = 0; i < 6; i++) {
      if (!w[i].empty()) in[i].magnitude = Resident(w[i]);
    }
    in[3].sign = c.t2Negative ? 0 : 1;
    in[2].exponent = c.p1Exponent;
    const uint64_t keepA =
        std::max({c.t1 + c.q2, c.t2 + c.p1 + c.p1Exponent, c.q1 + c.q2, c.p1 + c.p2}) + 1 -
        c.keepShortfall;
    test::ConsoleCapture capture;
    FftInjectFaults(failures);
    const bool taken = BigFloatMergeProducts(nullptr, in[0], in[1], in[2], in[3], in[4],
                                             c.p2 == 0 ? nullptr : &in[5], t, q,
                                             c.p2 == 0 ? nullptr : &p, keepA, c.t2 + c.p1, 0);
    FftInjectFaults(0);
    ASSERT_EQ(taken, c.taken) << what;
    if (!taken) {
      EXPECT_TRUE(BigFloatIsZero(t) && BigFloatIsZero(q) && BigFloatIsZero(p)) << what;
    } else {
      EXPECT_EQ(capture.text(), failures == 0 ? "" : test::RecoveryText(failures)) << what;
      const auto [sign, sum] = GmpSum(w[0], w[4], w[3], w[2], c.t2Negative, c.p1Exponent);
      EXPECT_EQ(t.sign, sign) << what;
      EXPECT_EQ(t.exponent, 0) << what;
      EXPECT_TRUE(WordsOf(t.magnitude) == sum) << "T: " << what;
      EXPECT_TRUE(WordsOf(q.magnitude) == test::GmpProduct(w[1], w[4])) << "Q: " << what;
      if (c.p2 != 0) {
        EXPECT_TRUE(WordsOf(p.magnitude) == test::GmpProduct(w[2], w[5])) << "P: " << what;
      }
    }
    for (BigFloat* x : {&t, &q, &p}) BigFloatRelease(*x);
    for (int i = 0; i < 6; i++) {
      EXPECT_TRUE(w[i].empty() || WordsOf(in[i].magnitude) == w[i]) << "operand changed: " << what;
      BigFloatRelease(in[i]);
    }
  }
}

// Sums and differences (one that comes out negative), P on the shared length, P too short for it,
// no P at all, and T's products a few words apart; declined: exponents far apart, a product that
// would be cut, lengths too far apart, operands below the FFT.
INSTANTIATE_TEST_SUITE_P(
    Shapes, MultiplyMerge,
    ::testing::Values(MergeCase{3000, 3000, 3000, 3000, 3000, 3000, false, true},
                      MergeCase{3000, 2990, 2995, 3005, 3000, 2900, true, true},
                      MergeCase{2000, 2000, 3000, 2000, 2000, 3001, true, true},
                      MergeCase{3000, 3000, 2400, 3000, 3000, 1000, false, true},
                      MergeCase{3000, 3000, 3000, 3000, 3000, 0, true, true},
                      MergeCase{3000, 3000, 3000, 3000, 3000, 3000, false, true, 7},
                      MergeCase{3000, 3000, 3000, 3000, 3000, 3000, false, false, 1000},
                      MergeCase{3000, 3000, 3000, 3000, 3000, 3000, false, false, 0, 2},
                      MergeCase{3000, 3000, 900, 900, 3000, 900, false, false},
                      MergeCase{40, 40, 40, 40, 40, 40, false, false}));

struct NearCase {
  uint64_t la, lb;
  int64_t bExponent;  // b's zero low words
  int64_t offset;  // x = a·b·2^(32·bExponent) + offset·P, P = that product's top word's weight
  uint64_t lowWords;  // random low words of x below b's exponent
  uint32_t threads = 0;
  bool taken = true;
};

class MultiplyNear : public ::testing::TestWithParam<NearCase> {};

// x − a·b where the difference is known to be small, as a division's remainder is: formed in a
// ring of about b's length, against GMP, whatever its sign, with one and two failed checks (the
// third attempt a whole product); or declined with x untouched.
TEST_P(MultiplyNear, FormsTheSmallDifferenceOrLeavesItAlone) {
  const NearCase& c = GetParam();
  std::mt19937_64 rng(test::TestSeed() + c.la + c.lb + static_cast<uint64_t>(c.offset));
  const Words a = test::RandomWords(rng, c.la);
  const Words b = c.offset % 2 == 0 ? test::AllOnes(c.lb) : test::RandomWords(rng, c.lb);
  PrepareFftTables(c.la + c.lb);
  mpz_t exact, step, low;
  mpz_inits(exact, step, low, nullptr);
  const Words ab = test::GmpProduct(a, b);
  mpz_import(exact, ab.size(), -1, sizeof(uint32_t), 0, 0, ab.data());
  mpz_mul_2exp(exact, exact, 32 * static_cast<uint64_t>(c.bExponent));
  // Offsets in whole units of b·2^(32·bExponent) and a random tail below b's exponent, as the
  // corrections of a quotient and the remainder's low words.
  const Words tail = test::RandomWords(rng, std::max<uint64_t>(c.lowWords, 1));
  mpz_import(low, c.lowWords, -1, sizeof(uint32_t), 0, 0, tail.data());
  mpz_import(step, b.size(), -1, sizeof(uint32_t), 0, 0, b.data());
  mpz_mul_2exp(step, step, 32 * static_cast<uint64_t>(c.bExponent));
  mpz_t x;
  mpz_init(x);
  mpz_mul_si(x, step, c.offset);
  mpz_add(x, x, exact);
  mpz_add(x, x, low);
  ASSERT_GE(mpz_sgn(x), 0);
  mpz_sub(exact, x, exact);  // the difference wanted
  const uint64_t boundWords = c.lb + static_cast<uint64_t>(c.bExponent) + 1;
  for (const uint32_t failures : {0u, 1u, 2u}) {
    const std::string what = test::Shape(c.la, c.lb) + " offset " + std::to_string(c.offset) +
                             " failures=" + std::to_string(failures);
    BigFloat fx, fa, fb;
    const Words xWords = test::ExportWords(x, mpz_size(x) * 2);
    Words xTrimmed = xWords;
    while (!xTrimmed.empty() && xTrimmed.back() == 0) xTrimmed.pop_back();
    if (!xTrimmed.empty()) fx.magnitude = Resident(xTrimmed);
    fa.magnitude = Resident(a);
    fb.magnitude = Resident(b);
    fb.exponent = c.bExponent;
    test::ConsoleCapture capture;
    FftInjectFaults(failures);
    const bool taken = BigFloatSubtractProductNear(nullptr, fx, fa, fb, boundWords, c.threads);
    FftInjectFaults(0);
    ASSERT_EQ(taken, c.taken) << what;
    if (!taken) {
      EXPECT_TRUE(WordsOf(fx.magnitude) == xTrimmed) << "x changed: " << what;
    } else {
      EXPECT_EQ(capture.text(), failures == 0 ? "" : test::RecoveryText(failures)) << what;
      mpz_t got;
      mpz_init(got);
      const uint64_t shift = 32 * static_cast<uint64_t>(std::max<int64_t>(fx.exponent, 0));
      mpz_import(got, fx.magnitude.length, -1, sizeof(uint32_t), 0, 0, fx.magnitude.words);
      mpz_mul_2exp(got, got, shift);
      if (fx.sign == 0) mpz_neg(got, got);
      EXPECT_EQ(mpz_cmp(got, exact), 0) << what;
      EXPECT_TRUE(BigFloatIsZero(fx) || fx.magnitude.words[fx.magnitude.length - 1] != 0) << what;
      mpz_clear(got);
    }
    EXPECT_TRUE(WordsOf(fa.magnitude) == a && WordsOf(fb.magnitude) == b) << what;
    for (BigFloat* v : {&fx, &fa, &fb}) BigFloatRelease(*v);
  }
  mpz_clears(exact, step, low, x, nullptr);
}

// Remainders below, at and above zero (one add-back, none, two upward steps), b with zero low words
// below which x keeps its own (none of them, or x shorter than they), a quotient longer than the
// ring that folds, two threads on a long ring; declined: a short operand, a ring more than half
// the product's length.
INSTANTIATE_TEST_SUITE_P(
    Shapes, MultiplyNear,
    ::testing::Values(NearCase{3200, 3000, 0, -1, 0}, NearCase{3200, 3000, 0, 0, 0},
                      NearCase{3200, 3000, 0, 2, 0}, NearCase{3900, 3000, 900, -1, 900},
                      NearCase{3900, 3000, 900, 1, 300}, NearCase{3900, 3000, 900, 0, 0},
                      NearCase{4500, 3000, 1200, 2, 1200}, NearCase{32000, 30000, 0, -1, 0, 1},
                      NearCase{40, 3000, 0, 1, 0, 0, false},
                      NearCase{2000, 3000, 0, 1, 0, 0, false}));

struct DispatchCase {
  uint64_t n;
  bool square;
  uint32_t threads;
  bool hybrid;     // the hybrid transform takes it, else the FFT
  bool smallHeap;  // a heap with room for the hybrid transform only, as a disk-swapping run's
  // With shortWords, the second operand's length: a heap with room for the FFT of the shorter
  // operand's length but not of the whole product's, which the FFT then takes in pieces.
  uint64_t shortWords = 0;
  uint64_t tableWords = 0;  // the FFT tables prepared, for operands of this length (0: n)
  bool ntt = false;         // the number-theoretic transforms take it, where this build has them
};

class MultiplyDispatch : public ::testing::TestWithParam<DispatchCase> {};

// Only a product the hybrid or the number-theoretic transforms take meets the injected fault;
// either way it is GMP's.
TEST_P(MultiplyDispatch, TheLargeTransformsTakeOverBeyondTheTablesOrInASmallHeap) {
  const DispatchCase& c = GetParam();
  PrepareFftTables(c.tableWords != 0 ? c.tableWords : c.n);
  AllocationHeap heap;
  const uint64_t lb = c.shortWords != 0 ? c.shortWords : c.n;
  if (c.shortWords != 0) {
    const uint64_t whole = FftMultiplyScratchBytes(c.n, lb, 0);
    const uint64_t heapBytes = whole * 3 / 4 + 4 * (c.n + lb) + (1 << 20);
    ASSERT_LT(heapBytes, whole);
    HeapCreate(nullptr, &heap, heapBytes);
  } else if (c.smallHeap) {
    const uint64_t heapBytes = HybridMultiplyMemoryBytes(c.n, c.n, 0, 0) + 8 * c.n + (1 << 20);
    ASSERT_LT(heapBytes,
              c.square ? FftSquareScratchBytes(c.n, 0) : FftMultiplyScratchBytes(c.n, c.n, 0));
    HeapCreate(nullptr, &heap, heapBytes);
  }
  std::mt19937_64 rng(test::TestSeed() + c.n);
  const Words a = test::RandomWords(rng, c.n);
  const Words b = c.square ? a : test::RandomWords(rng, lb);
  BigInt x = Resident(a);
  BigInt y = Resident(b);
  BigInt out;
  AllocationHeap* const at = c.smallHeap || c.shortWords != 0 ? &heap : nullptr;
  test::ConsoleCapture capture;
  InjectLargeFaults(1);
  c.square ? BigIntSquare(at, x, out, 0, 0, c.threads)
           : BigIntMultiply(at, x, y, out, 0, 0, c.threads);
  InjectLargeFaults(0);
  const std::string what =
      std::to_string(c.n) + (c.square ? " square" : "") + " T=" + std::to_string(c.threads);
  const bool large = c.hybrid || (c.ntt && NttAvailable());
  EXPECT_EQ(capture.text(), large ? test::RecoveryText(1) : "") << what;
  EXPECT_TRUE(WordsOf(out) == test::GmpProduct(a, b)) << what;
  BigIntRelease(out);
  BigIntRelease(y);
  BigIntRelease(x);
  if (at != nullptr) HeapDestroy(&heap);
}

// Either side of the hybrid transform's and the number-theoretic transforms' thresholds (1,000,000
// product words on one or two threads, none on four), tables that stop short, small heaps.
INSTANTIATE_TEST_SUITE_P(
    Thresholds, MultiplyDispatch,
    ::testing::Values(DispatchCase{kHybridMinWords - 1, false, 1, false, false, 0, 0, true},
                      DispatchCase{kHybridMinWords, true, 1, false, false, 0, 0, true},
                      DispatchCase{kHybridMinWords - 1, true, 0, false, false, 0, 0, true},
                      DispatchCase{kHybridMinWords, false, 0, false, false, 0, 0, true},
                      DispatchCase{kHybridMinWords - 1, false, 2, false, false},
                      DispatchCase{490000, false, 0, false, false},
                      DispatchCase{510000, true, 1, false, false, 0, 0, true},
                      DispatchCase{kHybridMinWords, false, 0, true, false, 0, kHybridMinWords / 2},
                      DispatchCase{kHybridMinWords, true, 1, true, false, 0, kHybridMinWords / 2},
                      DispatchCase{kHybridMinWords, true, 0, true, true},
                      DispatchCase{140000, false, 0, true, true},
                      DispatchCase{140000, true, 0, true, true},
                      DispatchCase{200000, false, 0, false, false, 100000},
                      DispatchCase{300000, false, 0, false, false, 100000}));

}  // namespace
}  // namespace zx
