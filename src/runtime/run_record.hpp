// The settings every computation of a run reads, kept in one record: the driver installs it for
// the run, and a computation run inside another (Log(2) inside the Euler-Mascheroni constant, Pi
// inside Catalan's) reads the same record rather than settings of its own.
#pragma once

#include <cstdint>

#include "shell/disk_list.hpp"

namespace zx {

// No cap: products may use every thread their caller offers.
inline constexpr uint32_t kNoThreadCap = 0xFFFFFFFF;

struct RunRecord {
  uint32_t multiplyThreadCap = kNoThreadCap;  // the user's k: products never fork beyond 2^k
  const DiskList* swapDisks = nullptr;        // disk-swapping mode's disks; null or empty: "."
  uint64_t tableWords = 0;                    // the product lookup tables reach this size
  uint32_t sizeTableRow = 0;                  // the row of a size-table menu (the Euler-Mascheroni
                                              // constant's n = 2^row), 0 otherwise
};

// The record of the run under way (the defaults when none is).
const RunRecord& CurrentRun();

// Makes record the current one; returns the one it replaces.
RunRecord InstallRun(const RunRecord& record);

// Installs a record for its lifetime and puts the previous one back afterwards, so runs and
// tests nest.
struct ScopedRun {
  explicit ScopedRun(const RunRecord& record);
  ~ScopedRun();
  ScopedRun(const ScopedRun&) = delete;
  ScopedRun& operator=(const ScopedRun&) = delete;
  RunRecord previous;
};

}  // namespace zx
