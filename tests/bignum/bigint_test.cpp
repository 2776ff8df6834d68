#include <gtest/gtest.h>

#include <filesystem>

#include "bignum_oracle.hpp"
#include "runtime/run_record.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

std::vector<uint32_t> WordsOf(BigInt& a) {
  BigIntMakeResident(nullptr, a);
  return std::vector<uint32_t>(a.words, a.words + a.length);
}

// Every shift and scalar product against GMP on random values, carries at the top included.
TEST(BigIntLinear, ShiftsAndScalarProductsAgreeWithGmp) {
  std::mt19937_64 rng(test::TestSeed());
  mpz_t model, got;
  mpz_inits(model, got, nullptr);
  const int iterations = 3000 * static_cast<int>(test::TestMultiplier());
  for (int i = 0; i < iterations; ++i) {
    const uint64_t length = 1 + rng() % (i % 10 == 0 ? 2000 : 12);
    const std::vector<uint32_t> words = test::RandomWords(rng, length);
    BigInt a;
    test::SetWords(nullptr, a, words);
    if (rng() % 2) BigIntShrink(a);  // exercise the full-capacity paths
    test::ToMpz(model, words.data(), words.size());
    const int operation = static_cast<int>(rng() % 6);
    const uint32_t bits = 1 + static_cast<uint32_t>(rng() % 31);
    const uint64_t count = rng() % (length + 2);
    const uint32_t w = rng() % 4 == 0 ? static_cast<uint32_t>(rng() % 3) : static_cast<uint32_t>(rng());
    SCOPED_TRACE(::testing::Message() << "case " << i << " op " << operation << " length " << length
                                      << " bits " << bits << " count " << count << " w " << w);
    BigInt out;
    BigInt* result = &a;
    switch (operation) {
      case 0:
        BigIntShiftRightWords(nullptr, a, count);
        mpz_fdiv_q_2exp(model, model, 32 * count);
        break;
      case 1:
        BigIntShiftLeftWords(nullptr, a, count);
        mpz_mul_2exp(model, model, 32 * count);
        break;
      case 2:
        BigIntShiftRightBits(nullptr, a, bits);
        mpz_fdiv_q_2exp(model, model, bits);
        break;
      case 3:
        BigIntShiftLeftBits(nullptr, a, bits);
        mpz_mul_2exp(model, model, bits);
        break;
      case 4:
        BigIntMulWordDrop(nullptr, a, w, count);
        if (w != 1) mpz_fdiv_q_2exp(model, model, 32 * count);
        mpz_mul_ui(model, model, w);
        break;
      default: {
        const uint64_t start = rng() % 3;
        std::vector<uint32_t> padded(words);
        padded.resize(length + start + 2, 0);
        BigInt source;
        test::SetWords(nullptr, source, padded);
        source.length = length;  // read length words from start on, past the top when start > 0
        BigIntMulWordInto(nullptr, source, w, out, start);
        test::ToMpz(model, padded.data() + start, length);
        mpz_mul_ui(model, model, w);
        BigIntRelease(source);
        result = &out;
        break;
      }
    }
    test::ToMpz(got, nullptr, *result);
    EXPECT_EQ(mpz_cmp(got, model), 0);
    if (result->length != 0) {
      EXPECT_NE(result->words[result->length - 1], 0u);
    }
    EXPECT_LE(result->length, result->capacity);
    BigIntRelease(a);
    if (result == &out) BigIntRelease(out);
  }
  mpz_clears(model, got, nullptr);
}

class SwapTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (int i = 0; i < 2; ++i) {
      dirs_[i] = test::MakeTempDir("bigswap");
      AddDiskPath(disks_, dirs_[i]);
    }
    InstallRun(RunRecord{.swapDisks = &disks_});
  }
  void TearDown() override {
    InstallRun(RunRecord{});
    for (const auto& dir : dirs_) test::RemoveTree(dir);
  }
  size_t SwapFilesPresent() const {
    size_t count = 0;
    for (const auto& dir : dirs_) {
      for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        count += entry.path().extension() == ".sf";
      }
    }
    return count;
  }
  std::string dirs_[2];
  DiskList disks_;
};

TEST_F(SwapTest, SwappedValueReadsBackAndCopiesMakeItResident) {
  std::mt19937_64 rng(test::TestSeed());
  const std::vector<uint32_t> words = test::RandomWords(rng, 1001);
  BigInt a;
  test::SetWords(nullptr, a, words);
  BigIntSwapOut(nullptr, a);
  EXPECT_EQ(a.words, nullptr);
  ASSERT_NE(a.swap, nullptr);
  EXPECT_EQ(SwapFilesPresent(), 2u);

  BigInt copy;
  BigIntCopy(nullptr, a, copy);
  EXPECT_NE(a.words, nullptr);  // the source became resident and keeps its disk copy
  EXPECT_NE(a.swap, nullptr);
  EXPECT_EQ(WordsOf(copy), words);
  EXPECT_EQ(copy.swap, nullptr);

  // A second swap-out of an unchanged value only drops the memory copy.
  RaidFile* disk = a.swap;
  BigIntSwapOut(nullptr, a);
  EXPECT_EQ(a.swap, disk);
  EXPECT_EQ(WordsOf(a), words);

  // Changing words in place drops the stale disk copy.
  BigIntShiftLeftBits(nullptr, a, 3);
  EXPECT_EQ(a.swap, nullptr);
  EXPECT_EQ(SwapFilesPresent(), 0u);
  BigIntSwapOut(nullptr, a);
  BigIntMakeResident(nullptr, a);
  BigIntShiftLeftBits(nullptr, copy, 3);
  EXPECT_EQ(WordsOf(a), WordsOf(copy));
  BigIntRelease(a);
  BigIntRelease(copy);
  EXPECT_EQ(SwapFilesPresent(), 0u);
}

}  // namespace
}  // namespace zx
