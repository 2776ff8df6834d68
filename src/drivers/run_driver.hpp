// One whole run of one constant: from the settings its menu gathered to the digit files on disk and
// the closing time report. Every constant, algorithm and mode runs through these two scripts; what
// differs between constants is data (ConstantRun), and memory and disk-swapping runs differ only
// in the compute functions they are given and in where the result lives while it is converted.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bignum/bigfloat.hpp"
#include "radix/digit_file_names.hpp"
#include "shell/disk_list.hpp"

namespace zx {

// Computes a constant into result at p words with 2^k threads; flag 1 prints its own banner and
// stage lines, 0 keeps it quiet.
using ComputeFn = void (*)(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                           uint32_t flag, uint32_t threadExponent);
// Bytes of heap a run of precisionWords words with 2^k threads reserves in memory-only mode.
using MemoryEstimateFn = uint64_t (*)(uint64_t precisionWords, uint32_t threadExponent);
// A computation that leaves a second value beside its result (extra may be null: not wanted).
using ComputeWithExtraFn = void (*)(AllocationHeap* heap, BigFloat& result, BigFloat* extra,
                                    uint64_t precisionWords, uint32_t flag,
                                    uint32_t threadExponent);

// Both results of a verify run from one computation that shares their work.
using ComputePairFn = void (*)(AllocationHeap* heap, BigFloat& first, BigFloat& second,
                               uint64_t precisionWords, uint32_t flag, uint32_t threadExponent);

// One algorithm of a constant's menu.
struct AlgorithmRun {
  const char* fileLabel;  // "Chudnovsky": the label of its files
  ComputeFn memory;       // everything in memory
  ComputeFn swapping;     // the same through the swap disks
  MemoryEstimateFn memoryEstimate;
};

// A value that the first computation of a verify run writes beside its result, in hexadecimal,
// after the result's hexadecimal file: "<heading>" then the file "<constant> - Hex - <label>.txt".
struct ExtraOutput {
  const char* heading;         // null: the constant has none
  const char* constantName;
  const char* label;
  ComputeWithExtraFn memory;   // replace the first algorithm's computations in the verify run
  ComputeWithExtraFn swapping;
};

// A verify run that computes both results at once (the logarithms' shared ArcCoth values); null
// functions: each result by its own algorithm.
struct VerifyPair {
  ComputePairFn memory;
  ComputePairFn swapping;
};

// How a verify run announces its two computations; null: "Computing...\n\n" and
// "Verifying...\n\n" without time lines.
struct VerifyLines {
  const char* computing;
  const char* verifying;
  const char* computeTime;  // after the first computation, with its time
  const char* verifyTime;   // after the second
};

// Everything that differs between constants: a new constant is one of these records.
struct ConstantRun {
  const char* menuText;     // the constant's menu: its title and options 1 and 2
  const char* verifyText;   // its option 3 and "Enter your choice:\n"; null: the common text
  const char* computeLine;  // "Compute: Pi\n\n"
  const char* verifyLine;   // "Compute and Verify: Pi\n\n"
  const char* constantName; // "Pi": the first part of its file names
  AlgorithmRun algorithms[2];  // menu options 1 and 2; a verify run computes with the first and
                               // verifies with the second
  MemoryEstimateFn verifyEstimate;
  ExtraOutput extra;
  VerifyPair verifyPair;
  // Bytes of heap disk-swapping mode needs for (decimal digits, thread exponent); null: the
  // multiplication engine's model, which rests on three full-precision numbers and a product.
  uint64_t (*swapEstimate)(uint64_t decimalDigits, uint32_t threadExponent);
  // The menu offers a table of sizes (rows k, RunSettings::sizeTableRow) instead of a digit count.
  bool sizeTableMenu;
  VerifyLines verifyLines;
};

struct RunSettings {
  uint64_t decimalDigits = 0;
  uint64_t hexDigits = 0;
  uint64_t precisionWords = 0;
  uint64_t memoryBytes = 0;
  uint32_t threadExponent = 0;
  uint32_t mode = 1;                  // 1 memory only, 2 disk swapping
  const DiskList* disks = nullptr;    // the swap disks of mode 2
  uint64_t swapDiskBytes = 0;         // what the swap files may take at most, over all disks
  uint32_t sizeTableRow = 0;          // the chosen row of a size-table menu
  std::string outputDirectory;        // where the digit files go; empty: the current directory
};

// What the last finished run did, for callers that report it beside the console lines.
struct RunReport {
  double computeSeconds = 0;        // the computation (the first one of a verify run)
  double verifyComputeSeconds = 0;  // the second computation of a verify run
  double hexSeconds = 0;            // writing the hexadecimal files
  double decimalSeconds = 0;        // conversion table, conversion and the decimal files
  double compareSeconds = 0;        // comparing a verify run's files
  double totalSeconds = 0;
  uint64_t peakBytes = 0;
  std::vector<std::string> files;   // the digit files written, in order
  uint64_t hexMatched = 0;          // digits a verify run's two files share
  uint64_t decimalMatched = 0;
};

// Computes with algorithm 0 or 1 and writes "<constant> - Hex - <label>.txt" and the decimal file.
void RunCompute(const ConstantRun& run, int algorithm, const RunSettings& settings);
// Computes with both algorithms, writes the Computation and Verification files and compares them.
// Returns true when every requested digit matched.
bool RunComputeAndVerify(const ConstantRun& run, const RunSettings& settings);

// The peak heap use of the last finished run, in bytes (what the memory estimate must cover).
uint64_t LastRunPeakBytes();
const RunReport& LastRunReport();

}  // namespace zx
