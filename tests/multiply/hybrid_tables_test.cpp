// The parameter tables of the hybrid transform: the rule every row obeys, the fixed rows, the
// lookup at and around capacities, the limits, and the two-level split.
#include <gtest/gtest.h>

#include <unistd.h>

#include "multiply/hybrid/hybrid_passes.hpp"
#include "multiply/hybrid/hybrid_tables.hpp"
#include "test_support.hpp"
#if __has_include("multiply/fft/negacyclic.hpp")
#include "multiply/fft/negacyclic.hpp"
#endif

namespace zx {
namespace {

void ExpectRowsFollowTheRule(std::span<const HybridRow> table, uint32_t maxK, const char* name) {
  ASSERT_FALSE(table.empty());
  uint64_t previous = 0;
  for (const HybridRow& row : table) {
    SCOPED_TRACE(std::string(name) + " row " + std::to_string(row.capacityWords));
    EXPECT_GT(row.capacityWords, previous);
    previous = row.capacityWords;
    EXPECT_GE(row.k, 3u);
    EXPECT_LE(row.k, maxK);
    ASSERT_EQ((uint64_t{row.c} << row.k) % 256, 0u);
    const HybridParams p = HybridParamsFromRow(row.k, row.c);
    EXPECT_GE(p.pieceWords, 1u);
    EXPECT_EQ(p.capacityWords, row.capacityWords);
    EXPECT_EQ(p.capacityWords, p.points * p.pieceWords);
    EXPECT_EQ(p.ringWords, 2 * (p.pieceWords + 1));
#if __has_include("multiply/fft/negacyclic.hpp")
    if (p.ringWords >= kHybridDirectBelowWords) {
      EXPECT_TRUE(NegacyclicRingSizeAvailable(p.ringWords)) << "n=" << p.ringWords;
    }
#endif
  }
}

TEST(HybridTables, EveryRowFollowsTheRule) {
  ExpectRowsFollowTheRule(HybridMultiplyTable(), 19, "multiply");
  ExpectRowsFollowTheRule(HybridSquareTable(), 20, "square");
}

TEST(HybridTables, FixedRowsAndEnds) {
  for (const auto table : {HybridMultiplyTable(), HybridSquareTable()}) {
    const HybridRow first[] = {{120, 3, 512}, {136, 3, 576}, {152, 3, 640}, {160, 5, 48}};
    for (size_t i = 0; i < 4; ++i) {
      EXPECT_EQ(table[i].capacityWords, first[i].capacityWords);
      EXPECT_EQ(table[i].k, first[i].k);
      EXPECT_EQ(table[i].c, first[i].c);
    }
  }
  const HybridRow& lastMultiply = HybridMultiplyTable().back();
  EXPECT_EQ(lastMultiply.capacityWords, 4026269696u);
  EXPECT_EQ(lastMultiply.k, 18u);
  EXPECT_EQ(lastMultiply.c, 15u);
  EXPECT_EQ(HybridParamsFromRow(18, 15).ringWords, 30720u);
  EXPECT_EQ(HybridSquareTable().back().capacityWords, 8052801536u);
}

TEST(HybridTables, LookupTakesTheFirstRowHolding) {
  struct Case {
    uint64_t productWords;
    bool square;
    uint32_t k;
    uint32_t c;
  };
  const Case cases[] = {
      {24000, false, 5, 6144},  // 12000 x 12000: K = 32, s = 767, n = 1536
      {24544, false, 5, 6144},  // a capacity equal to the product fits
      {23008, false, 5, 5760},
      {23009, false, 5, 6144},
      {1, false, 3, 512},
      {120, true, 3, 512},
      {121, true, 3, 576},
      {4026269696u, false, 18, 15},
  };
  for (const Case& c : cases) {
    const HybridParams p = HybridChooseParams(c.productWords, c.square);
    EXPECT_EQ(p.k, c.k) << c.productWords;
    EXPECT_EQ(p.c, c.c) << c.productWords;
  }
  const HybridParams entry = HybridChooseParams(24000, false);
  EXPECT_EQ(entry.points, 32u);
  EXPECT_EQ(entry.pieceWords, 767u);
  EXPECT_EQ(entry.ringWords, 1536u);
  // Beyond the first table a product falls back to the second.
  const HybridParams beyond = HybridChooseParams(4026269697u, false);
  EXPECT_GE(beyond.capacityWords, 4026269697u);
  EXPECT_EQ(beyond.capacityWords, HybridChooseParams(4026269697u, true).capacityWords);
}

class HybridLimits : public ::testing::Test {
 protected:
  void SetUp() override {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    test::FeedStdin("");
  }
};

TEST_F(HybridLimits, ProductsBeyondBothTablesStop) {
  for (const bool square : {false, true}) {
    EXPECT_EXIT(
        {
          dup2(STDERR_FILENO, STDOUT_FILENO);
          (void)HybridChooseParams(8052801537u, square);
        },
        ::testing::ExitedWithCode(1),
        "Maximum supported multiplication size has been exceeded.\n\nPress any key");
  }
}

TEST_F(HybridLimits, TransformsBeyondTheAddressSpaceStop) {
  HybridCheckAddressSpace(20, uint64_t{1} << 40);  // fits
  EXPECT_DEATH(
      {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        HybridCheckAddressSpace(30, uint64_t{1} << 40);
      },
      "Architectural Limit Exceeded: Hybrid Number-Theoretic Transform\n\nThe transform "
      "parameters is over the limit that can be represented\nunder the current address space.");
}

TEST(HybridSplit, FollowsTheCacheAndThreadRule) {
  // k = 5 splits 2^2 × 2^3 whatever the ring size and thread count.
  for (const uint64_t n : {12u, 1536u, 30720u}) {
    for (uint32_t threads = 0; threads <= 5; ++threads) {
      const HybridSplit split = HybridSplitFor(5, n, threads);
      EXPECT_EQ(split.innerExponent, 2u) << "n=" << n << " T=" << threads;
      EXPECT_EQ(split.outerExponent, 3u) << "n=" << n << " T=" << threads;
    }
  }
  struct Case {
    uint32_t k;
    uint64_t n;
    uint32_t threads;
    uint32_t inner;
  };
  const Case cases[] = {
      {3, 32, 2, 3},       // below 5: one transform
      {4, 64, 0, 4},
      {12, 4096, 0, 6},    // 2^6 elements of 4097 words fit in 3 MiB
      {12, 4096, 1, 5},    // lowered so that inner + T stays at h
      {12, 4096, 4, 2},    // T + 2 > h
      {14, 65536, 0, 3},   // 2^4 elements of 65537 words pass 3 MiB
      {14, 65536, 5, 2},
      {6, 1000, 0, 3},     // h = 3
      {7, 100000, 0, 2},   // even 2^3 elements pass 3 MiB: g = 2
  };
  for (const Case& c : cases) {
    const HybridSplit split = HybridSplitFor(c.k, c.n, c.threads);
    EXPECT_EQ(split.innerExponent, c.inner) << "k=" << c.k << " n=" << c.n << " T=" << c.threads;
    EXPECT_EQ(split.innerExponent + split.outerExponent, c.k);
  }
}

}  // namespace
}  // namespace zx
