// The basecase family against GMP: every method at its thresholds and their neighbours on random,
// sparse and all-ones operands, squares, rectangular shapes either side of the piece length,
// truncation, the scratch bounds (guard words behind scratch and output), the heap entries and
// the fatal check of Toom-3's division by 6.
#include "multiply/basecase/basecase.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <random>
#include <string>

#include "multiply_test_util.hpp"
#include "shell/fatal.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

using test::Words;

constexpr uint32_t kGuard = 0xA5C3E187u;
constexpr uint64_t kGuardWords = 16;

struct Method {
  const char* name;
  bool square;
  void (*multiply)(const uint32_t* a, const uint32_t* b, uint64_t n, uint32_t* out,
                   uint32_t* scratch);
  uint64_t (*scratchWords)(uint64_t n);
};

uint64_t NoScratch(uint64_t) {
  return 0;
}

const Method kMethods[] = {
    {"Schoolbook", false,
     [](const uint32_t* a, const uint32_t* b, uint64_t n, uint32_t* out, uint32_t*) {
       MulSchoolbook(a, n, b, n, out);
     },
     NoScratch},
    {"Karatsuba", false, MulKaratsuba, KaratsubaScratchWords},
    {"Toom3", false, MulToom3, Toom3ScratchWords},
    {"Balanced", false, MulBalanced, BalancedScratchWords},
    {"SquareSchoolbook", true,
     [](const uint32_t* a, const uint32_t*, uint64_t n, uint32_t* out, uint32_t*) {
       SquareSchoolbook(a, n, out);
     },
     NoScratch},
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
    {"SquareBalanced", true,
     [](const uint32_t* a, const uint32_t*, uint64_t n, uint32_t* out, uint32_t* scratch) {
       SquareBalanced(a, n, out, scratch);
     },
     BalancedSquareScratchWords},
};

// Sizes around every threshold of the family and of the front-end's switch to the FFT.
const uint64_t kSizes[] = {1,  2,  3,   4,   5,   7,   8,   11,  12,  14,  15,   16,  17, 18,
                           19, 20, 23,  29,  33,  35,  36,  37,  45,  53,  54,   57,  58, 64,
                           65, 97, 129, 257, 699, 700, 701, 799, 800, 801, 1601, 2402};

// Runs one method on operands with guard words behind the output and the scratch; fails on a
// wrong product or a guard that was written over.
void CheckMethod(const Method& method, const Words& a, const Words& b, const std::string& what) {
  const uint64_t n = a.size();
  Words out(2 * n + kGuardWords, kGuard);
  Words scratch(method.scratchWords(n) + kGuardWords, kGuard);
  method.multiply(a.data(), method.square ? a.data() : b.data(), n, out.data(), scratch.data());
  const Words exact = test::GmpProduct(a, method.square ? a : b);
  const Words got(out.begin(), out.begin() + 2 * n);
  ASSERT_EQ(got, exact) << method.name << " n=" << n << " " << what;
  for (uint64_t i = 0; i < kGuardWords; i++) {
    ASSERT_EQ(out[2 * n + i], kGuard) << method.name << " wrote past its output, n=" << n;
    ASSERT_EQ(scratch[scratch.size() - kGuardWords + i], kGuard)
        << method.name << " wrote past its scratch, n=" << n;
  }
}

class BasecaseMethodTest : public ::testing::TestWithParam<Method> {};

TEST_P(BasecaseMethodTest, AgreesWithGmpAroundEveryThreshold) {
  const Method& method = GetParam();
  std::mt19937_64 rng(test::TestSeed());
  for (uint64_t n : kSizes) {
    const std::string seed = "seed=" + std::to_string(test::TestSeed());
    CheckMethod(method, test::RandomWords(rng, n), test::RandomWords(rng, n), "random " + seed);
    CheckMethod(method, test::SparseWords(rng, n), test::SparseWords(rng, n), "sparse " + seed);
    CheckMethod(method, test::AllOnes(n), test::AllOnes(n), "all ones");
  }
}

TEST_P(BasecaseMethodTest, AgreesWithGmpOnRandomSizes) {
  const Method& method = GetParam();
  std::mt19937_64 rng(test::TestSeed() + 1);
  for (uint64_t round = 0; round < 40 * test::TestMultiplier(); round++) {
    const uint64_t n = 1 + rng() % 1200;
    CheckMethod(method, test::SparseWords(rng, n), test::RandomWords(rng, n),
                "round " + std::to_string(round) + " seed=" + std::to_string(test::TestSeed() + 1));
  }
}

// The front-end's last basecase-sized operand of the FFT's range, by Toom-3.
TEST(BasecaseLargeTest, Toom3AgreesWithGmpAt11999Words) {
  std::mt19937_64 rng(test::TestSeed());
  for (const Method& method : kMethods) {
    if (std::string(method.name).find("Toom3") == std::string::npos) continue;
    CheckMethod(method, test::RandomWords(rng, 11999), test::RandomWords(rng, 11999), "random");
    CheckMethod(method, test::AllOnes(11999), test::AllOnes(11999), "all ones");
  }
}

INSTANTIATE_TEST_SUITE_P(Methods, BasecaseMethodTest, ::testing::ValuesIn(kMethods),
                         [](const auto& info) { return std::string(info.param.name); });

// Shapes below, at and beyond a ratio of 4, with tails shorter and longer than a piece.
TEST(BasecaseRectangularTest, AgreesWithGmpOnUnequalLengths) {
  std::mt19937_64 rng(test::TestSeed());
  const uint64_t shorts[] = {1, 2, 5, 17, 18, 19, 35, 57, 58, 101, 799, 800};
  const uint64_t ratios[] = {1, 2, 3, 4, 5, 9};
  for (uint64_t lb : shorts) {
    for (uint64_t ratio : ratios) {
      for (uint64_t extra : {uint64_t{1}, lb / 2 + 1, lb - 1}) {
        const uint64_t la = ratio * lb + extra;
        const Words a = test::RandomWords(rng, la);
        const Words b = test::SparseWords(rng, lb);
        Words out(la + lb + kGuardWords, kGuard);
        Words scratch(RectangularScratchWords(la, lb) + kGuardWords, kGuard);
        // Both operand orders: the entry takes the shorter operand as the piece length.
        for (bool swapped : {false, true}) {
          if (swapped) {
            MulRectangular(b.data(), lb, a.data(), la, out.data(), scratch.data());
          } else {
            MulRectangular(a.data(), la, b.data(), lb, out.data(), scratch.data());
          }
          ASSERT_EQ(Words(out.begin(), out.begin() + la + lb), test::GmpProduct(a, b))
              << test::Shape(la, lb) << " swapped=" << swapped;
          ASSERT_EQ(out[la + lb], kGuard) << test::Shape(la, lb);
          ASSERT_EQ(scratch[scratch.size() - kGuardWords], kGuard) << test::Shape(la, lb);
        }
      }
    }
  }
}

// Truncation counts from 0 to beyond la + lb. With no operand word skipped the kept words are
// exact; otherwise the skipped words' carries are missing, at most 2 in the lowest kept word.
TEST(BasecaseTruncatedTest, KeepsTheHighWordsOfTheExactProduct) {
  std::mt19937_64 rng(test::TestSeed());
  const std::pair<uint64_t, uint64_t> shapes[] = {{1, 1}, {5, 5},   {17, 17},  {40, 40}, {57, 57},
                                                  {9, 4}, {30, 18}, {100, 19}, {71, 57}, {300, 57}};
  for (const auto& [la, lb] : shapes) {
    for (bool allOnes : {false, true}) {
      const Words a = allOnes ? test::AllOnes(la) : test::RandomWords(rng, la);
      const Words b = allOnes ? test::AllOnes(lb) : test::RandomWords(rng, lb);
      const Words exact = test::GmpProduct(a, b);
      for (uint64_t t = 0; t <= la + lb + 2; t++) {
        const uint64_t kept = t < la + lb ? la + lb - t : 0;
        Words out(kept + 1, kGuard);
        ASSERT_EQ(BasecaseMultiplyTruncated(nullptr, a.data(), la, b.data(), lb, out.data(), t),
                  0u);
        ASSERT_EQ(out[kept], kGuard) << test::Shape(la, lb, t);
        const TruncatedShape shape = TruncateOperands(la, lb, t);
        const uint64_t shortfall = test::TruncationShortfall(
            exact, t < la + lb ? t : la + lb, Words(out.begin(), out.begin() + kept));
        if (shape.dropA == 0 && shape.dropB == 0) {
          ASSERT_EQ(shortfall, 0u) << test::Shape(la, lb, t);
        } else {
          ASSERT_LE(shortfall, 2u) << test::Shape(la, lb, t);
        }
        if (la != lb) continue;
        Words squared(kept + 1, kGuard);
        ASSERT_EQ(BasecaseSquareTruncated(nullptr, a.data(), la, squared.data(), t), 0u);
        const Words exactSquare = test::GmpProduct(a, a);
        const uint64_t squareShortfall = test::TruncationShortfall(
            exactSquare, t < 2 * la ? t : 2 * la, Words(squared.begin(), squared.begin() + kept));
        ASSERT_LE(squareShortfall, shape.dropA == 0 ? 0u : 2u) << test::Shape(la, la, t);
        ASSERT_EQ(squared[kept], kGuard) << test::Shape(la, la, t);
      }
    }
  }
}

TEST(BasecaseTruncatedTest, SkipsOnlyWordsBelowTheTruncation) {
  const struct {
    uint64_t la, lb, t, dropA, dropB;
  } cases[] = {{10, 10, 10, 0, 0}, {10, 10, 13, 3, 3}, {10, 10, 19, 9, 9}, {12, 5, 5, 0, 0},
               {12, 5, 9, 4, 0},   {12, 5, 14, 9, 2},  {5, 12, 14, 2, 9}};
  for (const auto& c : cases) {
    const TruncatedShape shape = TruncateOperands(c.la, c.lb, c.t);
    EXPECT_EQ(shape.dropA, c.dropA) << test::Shape(c.la, c.lb, c.t);
    EXPECT_EQ(shape.dropB, c.dropB) << test::Shape(c.la, c.lb, c.t);
    EXPECT_EQ(shape.t, c.t - c.dropA - c.dropB) << test::Shape(c.la, c.lb, c.t);
  }
}

TEST(BasecaseScratchTest, FollowsTheLevelSums) {
  // 57 → 58 words, then 29 → 30, and 15 needs no Karatsuba level.
  EXPECT_EQ(KaratsubaScratchWords(57), 88u);
  EXPECT_EQ(BasecaseScratchBytes(57, 57), 88u * 4);
  EXPECT_EQ(BasecaseScratchBytes(17, 17), 0u);
  // 800: 6·267 + 2, then Karatsuba for 268: 268 + 134 + 68 + 34.
  EXPECT_EQ(Toom3ScratchWords(800), 1604u + 504u);
  EXPECT_EQ(BasecaseScratchBytes(800, 800), (1604u + 504u) * 4);
  // Rectangular entries add a piece product of 2m words.
  EXPECT_EQ(BasecaseScratchBytes(100, 57), (2u * 57 + 88u) * 4);
  EXPECT_EQ(BasecaseScratchBytes(100, 17), 0u);
  EXPECT_EQ(BasecaseSquareScratchBytes(35), 0u);
  EXPECT_EQ(BasecaseSquareScratchBytes(36), KaratsubaSquareScratchWords(72) * 4);
  EXPECT_EQ(BasecaseSquareScratchBytes(700), Toom3SquareScratchWords(1400) * 4);
}

TEST(BasecaseEntryTest, FullEntriesAgreeWithGmpAndReportMissingScratch) {
  std::mt19937_64 rng(test::TestSeed());
  AllocationHeap heap;
  HeapCreate(nullptr, &heap, 1 << 20);
  for (const auto& [la, lb] : {std::pair<uint64_t, uint64_t>{17, 17},
                               {18, 18},
                               {57, 57},
                               {800, 800},
                               {300, 40},
                               {40, 300},
                               {9, 2}}) {
    const Words a = test::RandomWords(rng, la);
    const Words b = test::RandomWords(rng, lb);
    for (AllocationHeap* owner : {static_cast<AllocationHeap*>(nullptr), &heap}) {
      Words out(la + lb);
      ASSERT_EQ(BasecaseMultiply(owner, a.data(), la, b.data(), lb, out.data()), 0u);
      ASSERT_EQ(out, test::GmpProduct(a, b)) << test::Shape(la, lb);
      if (la != lb) continue;
      ASSERT_EQ(BasecaseSquare(owner, a.data(), la, out.data()), 0u);
      ASSERT_EQ(out, test::GmpProduct(a, a)) << test::Shape(la, la);
    }
  }
  EXPECT_EQ(heap.activeCount, 0u);
  HeapDestroy(&heap);

  AllocationHeap tiny;
  HeapCreate(nullptr, &tiny, 256);
  const Words a = test::RandomWords(rng, 800);
  Words out(1600);
  EXPECT_EQ(BasecaseMultiply(&tiny, a.data(), 800, a.data(), 800, out.data()),
            BasecaseScratchBytes(800, 800));
  EXPECT_EQ(BasecaseSquare(&tiny, a.data(), 800, out.data()), BasecaseSquareScratchBytes(800));
  EXPECT_EQ(BasecaseMultiplyTruncated(&tiny, a.data(), 800, a.data(), 800, out.data(), 100),
            BasecaseTruncatedScratchBytes(800, 800, 100));
  EXPECT_EQ(tiny.activeCount, 0u);
  HeapDestroy(&tiny);
}

void DivideSevenBySix() {
  dup2(2, 1);
  Words seven = {7, 0, 0};
  DivideExactBy6(seven.data(), seven.size());
}

TEST(Toom3DivisionTest, DividesExactlyAndStopsOnARemainder) {
  Words value = {0, 0, 6};
  DivideExactBy6(value.data(), value.size());
  EXPECT_EQ(value, (Words{0, 0, 1}));
  Words six = {0xFFFFFFFAu, 0xFFFFFFFFu, 5};
  DivideExactBy6(six.data(), six.size());
  EXPECT_EQ(six, (Words{0xFFFFFFFFu, 0xFFFFFFFFu, 0}));
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  test::FeedStdin("");
  EXPECT_DEATH(DivideSevenBySix(),
               "Impossible Functional Result: Toom-3 Multiplication\n\n"
               "Division by 6 produced a non-zero remainder.");
}

}  // namespace
}  // namespace zx
