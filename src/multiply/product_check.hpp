// What the product algorithms share about their self-checks: the status a failed check returns,
// and the countdown of planted faults that test builds use to reach the front-end's retry.
#pragma once

#include <atomic>
#include <cstdint>

namespace zx {

inline constexpr uint64_t kProductCheckFailed = ~uint64_t{0};

// Residues modulo the Mersenne prime 2^61 − 1, where every check of the engine is made: of
// words[0..count), of a product, of a value `bits` bits up, and of a difference.
uint64_t WordsResidue(const uint32_t* words, uint64_t count);
uint64_t ResidueProduct(uint64_t x, uint64_t y);
uint64_t ResidueShifted(uint64_t r, uint64_t bits);
uint64_t ResidueDifference(uint64_t x, uint64_t y);

// Takes one planted fault if any is left; products running at once on several threads each take
// their own.
inline bool TakePlantedFault(std::atomic<uint32_t>& faultsLeft) {
  uint32_t left = faultsLeft.load();
  while (left > 0 && !faultsLeft.compare_exchange_weak(left, left - 1)) {
  }
  return left > 0;
}

}  // namespace zx
