// One whole run of one constant: from the settings its menu gathered to the digit files on disk and
// the closing time report. Every constant, algorithm and mode runs through these two scripts; what
// differs between constants is data (ConstantRun), and memory and disk-swapping runs differ only
// in the compute functions they are given and in where the result lives while it is converted.
#pragma once

#include <cstdint>

#include "bignum/bigfloat.hpp"
#include "radix/digit_file_names.hpp"
#include "shell/disk_list.hpp"

namespace zx {

// Computes a constant into result at p words with 2^k threads, printing its own stage lines.
using ComputeFn = void (*)(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                           uint32_t flag, uint32_t threadExponent);

struct ConstantRun {
  const char* computeLine;  // "Compute: Pi\n\n"
  const char* verifyLine;   // "Compute and Verify: Pi\n\n"
  ConstantFileNames files;
  ComputeFn memory[2];      // algorithm 1 and 2, everything in memory
  ComputeFn swapping[2];    // the same through the swap disks
};

struct RunSettings {
  uint64_t decimalDigits = 0;
  uint64_t hexDigits = 0;
  uint64_t precisionWords = 0;
  uint64_t memoryBytes = 0;
  uint32_t threadExponent = 0;
  uint32_t mode = 1;                  // 1 memory only, 2 disk swapping
  const DiskList* disks = nullptr;    // the swap disks of mode 2
};

// Computes with algorithm 0 or 1 and writes "<stem> - Hex - <label>.txt" and the decimal file.
void RunCompute(const ConstantRun& run, int algorithm, const RunSettings& settings);
// Computes with both algorithms, writes the Computation and Verification files and compares them.
// Returns true when every requested digit matched.
bool RunComputeAndVerify(const ConstantRun& run, const RunSettings& settings);

// The peak heap use of the last finished run, in bytes (what the memory estimate must cover).
uint64_t LastRunPeakBytes();

}  // namespace zx
