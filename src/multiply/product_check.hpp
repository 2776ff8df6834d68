// What the product algorithms share about their self-checks: the status a failed check returns,
// and the countdown of planted faults that test builds use to reach the front-end's retry.
#pragma once

#include <atomic>
#include <cstdint>

namespace zx {

inline constexpr uint64_t kProductCheckFailed = ~uint64_t{0};

// Takes one planted fault if any is left; products running at once on several threads each take
// their own.
inline bool TakePlantedFault(std::atomic<uint32_t>& faultsLeft) {
  uint32_t left = faultsLeft.load();
  while (left > 0 && !faultsLeft.compare_exchange_weak(left, left - 1)) {
  }
  return left > 0;
}

}  // namespace zx
