// The closing summary of a scripted run: what ran, how long each stage took, the peak heap, the
// files with their SHA-256 and the verify result, as "name: value" lines or as one JSON object.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "drivers/run_driver.hpp"

namespace zx {

struct SummaryFile {
  std::string path;
  std::string sha256;
};

struct RunSummary {
  std::string constant;         // "pi"
  std::string algorithm;        // "chudnovsky"; a verify run's first algorithm
  std::string verifyAlgorithm;  // a verify run's second algorithm; empty otherwise
  uint64_t decimalDigits = 0;
  uint64_t hexDigits = 0;
  uint32_t threads = 0;
  std::vector<std::string> swapDirectories;  // empty: Ram Only
  uint64_t reservedBytes = 0;   // the heap reserved for the run
  RunReport report;
  std::vector<SummaryFile> files;
  bool passed = true;           // false when a verify run's files differ
};

// s as a JSON string, quotes included; control characters escaped.
std::string JsonQuote(std::string_view s);

std::string SummaryText(const RunSummary& summary);
std::string SummaryJson(const RunSummary& summary);

}  // namespace zx
