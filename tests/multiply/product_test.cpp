// Every multiplication path against GMP: one table of paths × sizes either side of each threshold
// × product or square × truncation × threads, on random, sparse and all-ones operands (all ones is
// where rounding shows first), then what only one path has: the basecase methods with guard words
// behind their scratch, the FFT's size table and worst-case rows, ring products on edge elements,
// the hybrid rows of every shape and its fault hook, and every way a product stops the program.
#include <gtest/gtest.h>
#include <unistd.h>

#include <random>
#include <string>
#include <vector>

#include "multiply/fft/negacyclic.hpp"
#include "multiply/hybrid/hybrid_ring.hpp"
#include "multiply/multiply.hpp"
#include "product_oracle.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

using test::Fill;
using test::ProductPath;
using test::Words;

struct ProductCase {
  ProductPath path;
  uint64_t la;
  uint64_t lb;  // 0: the square of a
  uint64_t t;
  uint32_t threads;
};

void PrintTo(const ProductCase& c, std::ostream* os) {
  *os << test::Shape(c.la, c.lb, c.t) << " T=" << c.threads;
}

std::vector<ProductCase> ProductCases() {
  using P = ProductPath;
  std::vector<ProductCase> cases;
  // Basecase: the Karatsuba (18, 36), Toom-3 (700, 800) and FFT (54, 58) switches, rectangular
  // shapes either side of a ratio of 4, and truncation inside and beyond the product.
  for (uint64_t n : {1,  2,  5,   17,  18,  19,  35,  36,  37,   53,   54,
                     57, 58, 699, 700, 701, 799, 800, 801, 2402, 11999}) {
    cases.push_back({P::kBasecase, n, n, 0, 0});
    cases.push_back({P::kBasecase, n, 0, 0, 0});
  }
  for (auto [la, lb] : {std::pair<uint64_t, uint64_t>{9, 4},
                        {30, 18},
                        {100, 19},
                        {73, 18},
                        {300, 57},
                        {3201, 800},
                        {5, 12}}) {
    for (uint64_t t : {uint64_t{0}, lb - 1, lb + 1, (la + lb) / 2, la + lb - 1, la + lb + 2}) {
      cases.push_back({P::kBasecase, la, lb, t, 0});
    }
  }
  for (uint64_t t : {0, 3, 17, 40, 79, 80}) cases.push_back({P::kBasecase, 40, 0, t, 0});
  // FFT: the front-end's limits, rows filled exactly (84 words), a length that ends its forward
  // pass in half a block of eight vectors (64 words), every rectangular method (one transform up
  // to a ratio of 4, chunks beyond it, short operands below 58 words).
  for (uint64_t n : {1, 3, 45, 53, 54, 57, 58, 59, 64, 83, 84, 85, 700, 2047, 6001, 11999}) {
    cases.push_back({P::kFft, n, n, 0, 0});
    cases.push_back({P::kFft, n, 0, 0, 0});
  }
  for (auto [la, lb] : {std::pair<uint64_t, uint64_t>{59, 58},
                        {232, 58},
                        {233, 58},
                        {1001, 250},
                        {5000, 57},
                        {800, 3},
                        {20000, 64},
                        {12345, 999},
                        {9000, 1100}}) {
    cases.push_back({P::kFft, la, lb, 0, 0});
    cases.push_back({P::kFft, lb, la, 0, 0});
  }
  for (auto [la, lb] : {std::pair<uint64_t, uint64_t>{60, 60}, {300, 60}, {1000, 200}}) {
    for (uint64_t t : {uint64_t{1}, lb, lb + 1, la + 1, la + lb - 60, la + lb - 1, la + lb + 5}) {
      cases.push_back({P::kFft, la, lb, t, 0});
    }
  }
  cases.push_back({P::kFft, 60, 0, 61, 0});
  // The first lengths whose top two levels run as one pass (2^21 points).
  cases.push_back({P::kFft, 470000, 450000, 0, 0});
  cases.push_back({P::kFft, 460000, 0, 0, 0});
  // Two threads sharing one transform: its smallest length, a long operand that fills more than
  // half the points, truncation inside the top half, and the square.
  cases.insert(cases.end(), {{P::kFft, 9000, 9000, 0, 1},
                             {P::kFft, 40000, 10000, 0, 1},
                             {P::kFft, 30000, 30000, 31000, 2},
                             {P::kFft, 12000, 0, 0, 1},
                             {P::kFft, 50001, 0, 99000, 1}});
  // Fields packed before the forward pass (the form without the word reader): the shapes above
  // that change how the pass meets its fields.
  cases.insert(cases.end(), {{P::kFftPacked, 64, 64, 0, 0},
                             {P::kFftPacked, 700, 0, 0, 0},
                             {P::kFftPacked, 5000, 57, 0, 0},
                             {P::kFftPacked, 1000, 200, 1001, 0},
                             {P::kFftPacked, 40000, 10000, 0, 1},
                             {P::kFftPacked, 12000, 0, 0, 1}});
  // Hybrid: its entry, a row's exact capacity (24544 words), ratios beyond 3, truncation, and
  // every thread budget on products whose passes, pointwise products and recombination split.
  cases.insert(cases.end(), {{P::kHybrid, 12000, 12000, 0, 0},
                             {P::kHybrid, 12001, 12000, 0, 1},
                             {P::kHybrid, 12272, 12272, 0, 0},
                             {P::kHybrid, 12500, 0, 0, 2},
                             {P::kHybrid, 12000, 12000, 23990, 0},
                             {P::kHybrid, 13000, 0, 12999, 3},
                             {P::kHybrid, 40000, 12000, 0, 0},
                             {P::kHybrid, 100000, 12000, 30000, 1},
                             {P::kHybrid, 200000, 150000, 0, 2}});
  // Number-theoretic transforms: the shortest transform (one operand word), lengths either side
  // of a power of two in limbs (2048 words fill 2^11 coefficients), products just past one that
  // take the short convolution for the wrapped coefficients, odd lengths (half a limb), long
  // operands beside short ones, truncation, and the partner's share from 2^15 points.
  cases.insert(cases.end(), {{P::kNtt, 1, 1, 0, 0},
                             {P::kNtt, 3, 0, 0, 0},
                             {P::kNtt, 2048, 2048, 0, 0},
                             {P::kNtt, 2049, 2049, 0, 0},
                             {P::kNtt, 2300, 0, 0, 0},
                             {P::kNtt, 4501, 4399, 0, 0},
                             {P::kNtt, 5000, 3, 0, 0},
                             {P::kNtt, 20000, 12345, 17, 0},
                             {P::kNtt, 9000, 9000, 9001, 0},
                             {P::kNtt, 70001, 70001, 0, 1},
                             {P::kNtt, 75000, 0, 70000, 1},
                             {P::kNtt, 140000, 9000, 0, 1}});
  for (uint32_t threads = 0; threads <= 3; ++threads) {
    cases.push_back({P::kHybrid, 90000, 25000, 0, threads});
    cases.push_back({P::kHybrid, 80000, 0, 100001, threads});
    cases.push_back({P::kHybrid, 70000, 70000, 69000, threads});
  }
  return cases;
}

class ProductTest : public ::testing::TestWithParam<ProductCase> {};

TEST_P(ProductTest, AgreesWithGmp) {
  const ProductCase& c = GetParam();
  std::mt19937_64 rng(test::TestSeed() + c.la * 3 + c.lb + c.t);
  for (const Fill fill : {Fill::kRandom, Fill::kSparse, Fill::kAllOnes}) {
    const Words a = test::Operand(rng, c.la, fill);
    const Words b = test::Operand(rng, c.lb, fill == Fill::kSparse ? Fill::kRandom : fill);
    test::CheckProduct(c.path, a, c.lb == 0 ? nullptr : &b, c.t, c.threads,
                       "fill " + std::to_string(static_cast<int>(fill)) + " seed " +
                           std::to_string(test::TestSeed()));
    if (HasFatalFailure()) return;
  }
}

INSTANTIATE_TEST_SUITE_P(Paths, ProductTest, ::testing::ValuesIn(ProductCases()),
                         [](const ::testing::TestParamInfo<ProductCase>& info) {
                           const ProductCase& c = info.param;
                           const char* path = c.path == ProductPath::kBasecase    ? "Basecase"
                                              : c.path == ProductPath::kFft       ? "Fft"
                                              : c.path == ProductPath::kFftPacked ? "FftPacked"
                                              : c.path == ProductPath::kNtt       ? "Ntt"
                                                                                  : "Hybrid";
                           return std::string(path) + (c.lb == 0 ? "Square" : "") +
                                  std::to_string(info.index);
                         });

// One basecase method at one size, guard words behind its output and its scratch.
struct Method {
  const char* name;
  bool square;
  void (*multiply)(const uint32_t* a, const uint32_t* b, uint64_t n, uint32_t* out,
                   uint32_t* scratch);
  uint64_t (*scratchWords)(uint64_t n);
};

const Method kMethods[] = {
    {"Karatsuba", false, MulKaratsuba, KaratsubaScratchWords},
    {"Toom3", false, MulToom3, Toom3ScratchWords},
    {"Balanced", false, MulBalanced, BalancedScratchWords},
    {"SquareKaratsuba", true,
     [](const uint32_t* a, const uint32_t*, uint64_t n, uint32_t* out, uint32_t* scratch) {
       SquareKaratsuba(a, n, out, scratch);
     },
     KaratsubaSquareScratchWords},
    {"SquareToom3", true,
     [](const uint32_t* a, const uint32_t*, uint64_t n, uint32_t* out, uint32_t* scratch) {
       SquareToom3(a, n, out, scratch);
     },
     Toom3SquareScratchWords},
};

class BasecaseMethodTest : public ::testing::TestWithParam<Method> {};

TEST_P(BasecaseMethodTest, StaysInsideItsScratchAroundEveryThreshold) {
  constexpr uint32_t kGuard = 0xA5C3E187u;
  const Method& method = GetParam();
  std::mt19937_64 rng(test::TestSeed());
  for (uint64_t n : {1, 4, 17, 18, 19, 36, 37, 65, 257, 700, 801, 1601}) {
    for (const Fill fill : {Fill::kRandom, Fill::kSparse, Fill::kAllOnes}) {
      const Words a = test::Operand(rng, n, fill);
      const Words b = method.square ? a : test::Operand(rng, n, fill);
      Words out(2 * n + 1, kGuard);
      Words scratch(method.scratchWords(n) + 1, kGuard);
      method.multiply(a.data(), b.data(), n, out.data(), scratch.data());
      ASSERT_EQ(Words(out.begin(), out.end() - 1), test::GmpProduct(a, b)) << n;
      ASSERT_EQ(out.back(), kGuard) << "wrote past its output, n=" << n;
      ASSERT_EQ(scratch.back(), kGuard) << "wrote past its scratch, n=" << n;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Methods, BasecaseMethodTest, ::testing::ValuesIn(kMethods),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(FftSizeTable, ChoosesTheFirstRowThatHoldsTheProduct) {
  // {bits, points, point bits}: 58 × 58 words fit 3·2^6 points of 20 bits; 84 words exactly
  // fill 2^8 points of 21 bits, one bit more takes 5·2^6 points of 20; 7·2^13 points of 17 bits
  // are full at 974848 bits; the last row holds 9663676416 bits and no more.
  const uint64_t rows[][3] = {{1, 64, 22},
                              {3712, 192, 20},
                              {5376, 256, 21},
                              {5377, 320, 20},
                              {974848, 7u << 13, 17},
                              {974849, 1u << 16, 16},
                              {9663676416u, 1u << 30, 9}};
  for (const auto& row : rows) {
    FftSize size;
    ASSERT_TRUE(ChooseFftSize(row[0], &size)) << row[0];
    EXPECT_EQ(size.points, row[1]) << row[0];
    EXPECT_EQ(size.pointBits, row[2]) << row[0];
  }
  FftSize size;
  EXPECT_FALSE(ChooseFftSize(9663676417u, &size));
  test::CheckFullFftRows(0, 31);
}

// Reduced ring elements of n + 1 words: 2^bit (bit < 32n), plus `low` in the lowest word.
Words PowerOfTwo(uint64_t n, uint64_t bit, uint32_t low = 0) {
  Words x(n + 1, 0);
  x[bit / 32] |= 1u << (bit % 32);
  x[0] |= low;
  return x;
}

// The hybrid transform's ring shifts ±x·2^bits modulo 2^(32n) + 1 (elements of n words and a top
// limb) against GMP: elements whose shifted limbs meet runs of zeros on either side of the wrap,
// where the one borrow chain starts late or runs on, 2^(32n) itself, all ones and random ones.
TEST(HybridRing, ShiftsAgreeWithGmp) {
  constexpr uint64_t n = 48;
  std::mt19937_64 rng(test::TestSeed() + 9);
  const auto limbAt = [](std::initializer_list<uint64_t> limbs) {
    Words x(n + 2, 0);
    for (const uint64_t i : limbs) x[2 * i] = x[2 * i + 1] = 0x9E3779B9u;
    return x;
  };
  Words ones(n + 2, 0xFFFFFFFFu);
  ones[n] = ones[n + 1] = 0;
  Words top(n + 2, 0);
  top[n] = 1;
  Words random = test::RandomWords(rng, n + 2);
  random[n] = random[n + 1] = 0;
  const Words elements[] = {
      limbAt({0}), limbAt({23}), limbAt({0, 23}), limbAt({3, 20}), Words(n + 2, 0),
      ones,        top,          random};
  mpz_t value, modulus;
  mpz_inits(value, modulus, nullptr);
  mpz_ui_pow_ui(modulus, 2, 32 * n);
  mpz_add_ui(modulus, modulus, 1);
  for (const Words& x : elements) {
    for (const uint64_t bits :
         {uint64_t{0}, uint64_t{1}, uint64_t{63}, uint64_t{64}, uint64_t{65}, uint64_t{64 * 3},
          uint64_t{64 * 3 + 17}, uint64_t{64 * 20 + 40}, 32 * n - 1}) {
      for (const bool negate : {false, true}) {
        Words out(n + 2, 0x5A5A5A5Au);
        RingShiftInto(x.data(), out.data(), n, bits, negate);
        mpz_import(value, x.size(), -1, sizeof(uint32_t), 0, 0, x.data());
        mpz_mul_2exp(value, value, bits);
        if (negate) mpz_neg(value, value);
        mpz_mod(value, value, modulus);
        ASSERT_EQ(out, test::ExportWords(value, n + 2))
            << "bits=" << bits << " negate=" << negate << " element " << (&x - elements);
      }
    }
  }
  mpz_clears(value, modulus, nullptr);
}

// Ring products modulo 2^(32n) + 1 on elements whose products wrap to 2^(32n) itself, squares,
// and the output aliasing the first operand, from the smallest rows through three-fold lengths;
// then every row up to 4096 points on its transform's worst case.
TEST(NegacyclicProduct, AgreesWithGmpOnEdgeAndCoherentElements) {
  std::mt19937_64 rng(test::TestSeed());
  const auto check = [](const NegacyclicPlan& plan, const Words& a, const Words& b) {
    const uint64_t n = plan.ringWords;
    std::vector<double> scratch(NegacyclicScratchDoubles(plan));
    Words out(n + 1);
    NegacyclicMultiply(plan, a.data(), b.data(), out.data(), scratch.data());
    ASSERT_EQ(out, test::GmpProduct(a, b, n)) << "n=" << n;
    Words aliased = a;
    NegacyclicMultiply(plan, aliased.data(), b.data(), aliased.data(), scratch.data());
    ASSERT_EQ(aliased, out) << "aliased n=" << n;
    NegacyclicSquare(plan, b.data(), out.data(), scratch.data());
    ASSERT_EQ(out, test::GmpProduct(b, b, n)) << "square n=" << n;
  };
  for (uint64_t n : {24, 28, 39, 40, 156, 1440, 6144}) {
    NegacyclicPlan plan;
    ASSERT_TRUE(NegacyclicPlanFor(n, &plan)) << n;
    PrepareNegacyclic(plan);
    Words ones(n + 1, 0xFFFFFFFFu);
    ones[n] = 0;
    Words random = test::RandomWords(rng, n + 1);
    random[n] = 0;
    Words top(n + 1, 0);  // 2^(32n), the one element with its top word set
    top[n] = 1;
    // (2^(32n) − 1)·(2^(32n−1) + 1) ≡ −1 comes back as 2^(32n); 2^(16n) squares to −1.
    const Words pairs[][2] = {{ones, PowerOfTwo(n, 32 * n - 1, 1)},
                              {PowerOfTwo(n, 16 * n), PowerOfTwo(n, 16 * n)},
                              {Words(n + 1, 0), ones},
                              {random, ones},
                              {top, top},
                              {top, random}};
    for (const auto& pair : pairs) check(plan, pair[0], pair[1]);
  }
  for (uint64_t row = 0; row < NegacyclicTableRows(); row++) {
    const NegacyclicPlan plan = NegacyclicTableRow(row);
    if (plan.points > 4096) break;
    PrepareNegacyclic(plan);
    const uint64_t half = uint64_t{1} << (plan.pointBits - 1);
    for (uint64_t field : {half - 1, half}) {
      Words a = test::FieldPattern(plan.ringWords, plan.pointBits, field);
      a.push_back(0);
      check(plan, a, a);
    }
  }
}

// Rows forced on products that fill them: direct pointwise products (n < 28), odd c (√2 roots),
// c ≡ 2 (mod 4) (bit shifts), short and long transforms, FFT-mode rings, split passes (12, 6).
TEST(HybridRows, EveryShapeOfRowAgreesWithGmp) {
  const uint32_t rows[][2] = {{3, 512}, {5, 48}, {4, 32}, {6, 12},  {7, 6},  {8, 5},
                              {9, 1},   {10, 2}, {11, 1}, {6, 128}, {8, 26}, {12, 6}};
  std::mt19937_64 rng(test::TestSeed() + 7);
  for (const auto& row : rows) {
    const HybridParams params = HybridParamsFromRow(row[0], row[1]);
    const Words a = test::Operand(rng, params.capacityWords / 2, Fill::kAllOnes);
    const Words b = test::Operand(rng, params.capacityWords / 2 - 3, Fill::kSparse);
    for (const Words* other : {&a, &b}) {
      Words out(a.size() + other->size());
      ASSERT_EQ(HybridMultiplyWithRow(nullptr, a.data(), a.size(), other->data(), other->size(),
                                      out.data(), 0, row[0] % 4, row[0], row[1]),
                0u);
      ASSERT_TRUE(out == test::GmpProduct(a, *other)) << "k=" << row[0] << " c=" << row[1];
    }
  }
}

TEST(ProductCheck, InjectedFaultFailsTheCheckOnceEach) {
  std::mt19937_64 rng(test::TestSeed() + 17);
  const Words a = test::RandomWords(rng, 12000);
  const Words b = test::RandomWords(rng, 12345);
  Words out(a.size() + b.size());
  HybridInjectFaults(2);
  EXPECT_EQ(HybridMultiply(nullptr, a.data(), a.size(), b.data(), b.size(), out.data(), 0, 1),
            kProductCheckFailed);
  EXPECT_EQ(HybridSquare(nullptr, a.data(), a.size(), out.data(), 100, 0), kProductCheckFailed);
  ASSERT_EQ(HybridMultiply(nullptr, a.data(), a.size(), b.data(), b.size(), out.data(), 0, 1), 0u);
  EXPECT_TRUE(out == test::GmpProduct(a, b));
  if (!NttAvailable()) return;
  NttInjectFaults(2);
  EXPECT_EQ(NttMultiply(nullptr, a.data(), a.size(), b.data(), b.size(), out.data(), 0, 1),
            kProductCheckFailed);
  EXPECT_EQ(NttSquare(nullptr, a.data(), a.size(), out.data(), 100, 0), kProductCheckFailed);
  ASSERT_EQ(NttMultiply(nullptr, a.data(), a.size(), b.data(), b.size(), out.data(), 0, 0), 0u);
  EXPECT_TRUE(out == test::GmpProduct(a, b));
}

// Every fatal stop of multiplication, each with its message.
struct Stop {
  const char* name;
  void (*fault)();
  const char* message;
};

void PrintTo(const Stop& stop, std::ostream* os) {
  *os << stop.name;
}

class MultiplyDeathTest : public ::testing::TestWithParam<Stop> {
 protected:
  void SetUp() override {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    test::FeedStdin("");
  }
};

TEST_P(MultiplyDeathTest, StopsWithItsMessage) {
  EXPECT_DEATH(
      {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        GetParam().fault();
        std::exit(0);
      },
      GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Stops, MultiplyDeathTest,
    ::testing::Values(
        Stop{"Toom3Remainder",
             [] {
               Words seven = {7, 0, 0};
               DivideExactBy6(seven.data(), seven.size());
             },
             "Impossible Functional Result: Toom-3 Multiplication\n\n"
             "Division by 6 produced a non-zero remainder."},
        Stop{"MisalignedScratch",
             [] {
               NegacyclicPlan plan;
               NegacyclicPlanFor(24, &plan);
               std::vector<double> scratch(NegacyclicScratchDoubles(plan) + 2);
               Words a(25, 3);
               auto* at = reinterpret_cast<char*>(scratch.data()) + 8;
               if (reinterpret_cast<uintptr_t>(at) % 16 == 0) at += 8;
               NegacyclicMultiply(plan, a.data(), a.data(), a.data(),
                                  reinterpret_cast<double*>(at));
             },
             "Invalid Data Alignment: FFT Multiplication"},
        Stop{"ThirdFailedCheck",
             [] {
               std::mt19937_64 rng(test::TestSeed());
               const Words a = test::RandomWords(rng, 12000);
               BigInt x{
                   .length = a.size(), .words = AllocWordsOrDie(nullptr, 12002), .capacity = 12002};
               std::copy(a.begin(), a.end(), x.words);
               BigInt out;
               HybridInjectFaults(3);
               NttInjectFaults(3);
               BigIntSquare(nullptr, x, out, 0, 0, 0);
             },
             "Third Attempt Failed: Unable to determine cause of error.\nTerminating Program...\n"},
        Stop{"BeyondTheHybridTables", [] { (void)HybridChooseParams(8052801537u, false); },
             "Maximum supported multiplication size has been exceeded.\n\nPress any key"},
        Stop{"BeyondTheAddressSpace", [] { HybridCheckAddressSpace(30, uint64_t{1} << 40); },
             "Architectural Limit Exceeded: Hybrid Number-Theoretic Transform\n\nThe transform "
             "parameters is over the limit that can be represented\nunder the current address "
             "space."}),
    [](const ::testing::TestParamInfo<Stop>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace zx
