// Shared pieces of the conversion tests: the fixture that prepares the FFT tables, integers from
// words or GMP values, tables built for a given length (in memory or on disk), skewed reciprocals
// and temporary swap disks.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "bignum_oracle.hpp"
#include "multiply/fft/fft_mul.hpp"
#include "radix/base_conversion.hpp"
#include "radix_oracle.hpp"
#include "runtime/run_record.hpp"
#include "runtime/swap_file.hpp"
#include "shell/disk_list.hpp"
#include "test_support.hpp"

namespace zx::test {

class ConversionTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { PrepareFftTables(20000); }
  static void TearDownTestSuite() { ReleaseFftTables(); }
};

inline void SetInteger(AllocationHeap* heap, BigFloat& x, const std::vector<uint32_t>& words) {
  BigFloatSetZero(x);
  SetWords(heap, x.magnitude, words);
}

inline void SetInteger(AllocationHeap* heap, BigFloat& x, const mpz_t value) {
  SetInteger(heap, x, FromMpz(value));
}

// Builds the table for a random number of lengthWords words, its console lines swallowed.
inline void BuildTableFor(AllocationHeap* heap, uint64_t lengthWords, ConversionTable& table,
                          uint32_t threads, std::mt19937_64& rng) {
  BigFloat x;
  SetInteger(heap, x, RandomWords(rng, lengthWords));
  ConsoleCapture capture;
  BuildConversionTable(heap, x, table, threads);
  BigFloatRelease(x);
}

// The same table with its levels on disk, as a disk-swapping run builds it.
inline void BuildSwapTableFor(AllocationHeap* heap, uint64_t lengthWords, ConversionTable& table,
                              std::mt19937_64& rng) {
  BigFloat x;
  SetInteger(heap, x, RandomWords(rng, lengthWords));
  ConsoleCapture capture;
  BuildConversionTableSwap(heap, x, table, 0);
  BigFloatRelease(x);
}

inline bool AllLevelsOnDisk(const ConversionTable& table) {
  for (uint32_t i = 0; i < table.levelCount; ++i) {
    for (const BigFloat* level : {&table.powers[i], &table.reciprocals[i]}) {
      if (level->magnitude.words != nullptr || level->magnitude.swap == nullptr) return false;
    }
  }
  return true;
}

// Sends every level back to disk after a test has read or replaced some of them.
inline void TableToDisk(ConversionTable& table) {
  for (uint32_t i = 0; i < table.levelCount; ++i) {
    BigIntSwapOut(nullptr, table.powers[i].magnitude);
    BigIntSwapOut(nullptr, table.reciprocals[i].magnitude);
  }
}

// Two fresh swap directories, the process's swap disks while the record lives.
class TempSwapDisks {
 public:
  TempSwapDisks() {
    for (std::string& dir : dirs_) {
      dir = MakeTempDir("radix_swap");
      AddDiskPath(disks_, dir);
    }
    InstallRun(RunRecord{.swapDisks = &disks_});
  }
  ~TempSwapDisks() {
    InstallRun(RunRecord{});
    for (const std::string& dir : dirs_) RemoveTree(dir);
  }
  TempSwapDisks(const TempSwapDisks&) = delete;
  TempSwapDisks& operator=(const TempSwapDisks&) = delete;

  size_t FilesLeft() const {
    size_t count = 0;
    for (const std::string& dir : dirs_) {
      for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        count += entry.path().extension() == ".sf";
      }
    }
    return count;
  }

 private:
  std::string dirs_[2];
  DiskList disks_;
};

// A table whose reciprocal at level makes x·R fall just below q + offsetHalves/2, q = x div P:
// the estimate is then floor(q + offsetHalves/2 − tiny).
inline void SkewReciprocal(ConversionTable& table, uint32_t level, const mpz_t x,
                           long offsetHalves) {
  mpz_t power, target, reciprocal;
  mpz_inits(power, target, reciprocal, nullptr);
  ToScaledMpz(power, nullptr, table.powers[level], 0);
  mpz_fdiv_q(target, x, power);
  mpz_mul_2exp(target, target, 1);
  if (offsetHalves >= 0)
    mpz_add_ui(target, target, static_cast<unsigned long>(offsetHalves));
  else
    mpz_sub_ui(target, target, static_cast<unsigned long>(-offsetHalves));
  // Eight words beyond P's top position, as many as the real reciprocal carries.
  const int64_t scaleWords = 2 * BigFloatTop(table.powers[level]) + 8;
  mpz_mul_2exp(target, target, static_cast<mp_bitcnt_t>(32 * scaleWords));
  mpz_mul_2exp(reciprocal, x, 1);
  mpz_fdiv_q(reciprocal, target, reciprocal);
  BigFloatRelease(table.reciprocals[level]);
  SetInteger(nullptr, table.reciprocals[level], reciprocal);
  table.reciprocals[level].exponent = -scaleWords;
  mpz_clears(power, target, reciprocal, nullptr);
}

// A dividend of the level with a quotient of at least 3, so that every skew stays non-negative.
inline void DividendFor(ConversionTable& table, uint32_t level, std::mt19937_64& rng, mpz_t x) {
  mpz_t power;
  mpz_init(power);
  ToScaledMpz(power, nullptr, table.powers[level], 0);
  const std::vector<uint32_t> words = RandomWords(rng, table.powers[level].magnitude.length);
  ToMpz(x, words.data(), words.size());
  mpz_mul(x, x, power);
  mpz_add_ui(x, x, static_cast<unsigned long>(rng()));
  mpz_addmul_ui(x, power, 3);
  mpz_clear(power);
}

}  // namespace zx::test
