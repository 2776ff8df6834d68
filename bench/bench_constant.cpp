// The constant command: whole constants to D digits, Zentrix's job (value and both digit files)
// beside FLINT 3's and Arb's (value, digit string, file) and, for Pi, a GMP program. The programs
// alternate within each round of one series, so the noise of a shared machine falls on every
// column alike, and each ratio is the median of the ratios taken within a round.
#include "bench_constant.hpp"

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

#include "bench.hpp"
#include "reference_constants.hpp"
#include "shell/console.hpp"

namespace zx::bench {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t kSweepDigits[] = {1000000, 10000000};
constexpr uint32_t kSweepThreads[] = {1, 2};

// One program of the series; each writes into a directory of its own, so its decimal file is
// found by the "Dec" in its name without the caller knowing the rest of the name.
struct Column {
  std::string label;
  std::function<double(const fs::path& directory)> run;
  std::vector<double> seconds;
};

fs::path MakeScratchDirectory() {
  std::error_code error;
  std::string pattern = (fs::temp_directory_path(error) / "zentrix-bench-XXXXXX").string();
  if (error || mkdtemp(pattern.data()) == nullptr) return {};
  return pattern;
}

// The driver writes into the current directory; the bench's own stays where it was.
double ZentrixInDirectory(const BenchConstant& constant, uint64_t digits, uint32_t threadExponent,
                          uint64_t* estimateBytes, const fs::path& directory) {
  std::error_code error;
  const fs::path previous = fs::current_path(error);
  fs::current_path(directory, error);
  const double seconds = ZentrixConstantSeconds(constant, digits, threadExponent, estimateBytes);
  fs::current_path(previous, error);
  return seconds;
}

// The significant digits of a decimal digit file: the point dropped and the leading zeros skipped,
// up to an exponent. The six constants lie between 0.5 and 4, so Zentrix writes them as "d." or
// "0." and the references in plain positional form; all reduce to the same string.
std::string SignificantDigits(const fs::path& directory) {
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory, error)) {
    if (entry.path().filename().string().find("Dec") == std::string::npos) continue;
    std::ifstream file(entry.path(), std::ios::binary);
    std::string digits;
    for (auto it = std::istreambuf_iterator<char>(file); it != std::istreambuf_iterator<char>();
         ++it) {
      const char c = *it;
      if (c == 'e' || c == 'E' || c == ' ') break;
      if (c < '0' || c > '9' || (digits.empty() && c == '0')) continue;
      digits.push_back(c);
    }
    return digits;
  }
  return "";
}

// Every program's first D significant digits against the first reference's: a cheap check that all
// of them computed the same constant to the digits asked for. The libraries round their last digit
// where Zentrix truncates, and a round-up may carry through a run of nines: the last few digits
// are allowed to differ.
void CheckDigits(const std::vector<Column>& columns, size_t referenceIndex, const fs::path& root,
                 const char* name, uint64_t digits) {
  const std::string expected = SignificantDigits(root / columns[referenceIndex].label);
  for (size_t i = 0; i < columns.size(); i++) {
    if (i == referenceIndex) continue;
    const std::string actual = SignificantDigits(root / columns[i].label);
    const uint64_t common = std::min<uint64_t>({digits, actual.size(), expected.size()});
    const auto [mismatch, unused] =
        std::mismatch(actual.begin(), actual.begin() + common, expected.begin());
    const uint64_t agreeing = static_cast<uint64_t>(mismatch - actual.begin());
    constexpr uint64_t kRoundingDigits = 8;
    if (agreeing + kRoundingDigits < digits) {
      ConsolePrintf("warning: %s digits=%llu: %s and %s agree on %llu digits only\n", name,
                    static_cast<unsigned long long>(digits), columns[i].label.c_str(),
                    columns[referenceIndex].label.c_str(),
                    static_cast<unsigned long long>(agreeing));
    }
  }
}

void ClearDirectories(const std::vector<Column>& columns, const fs::path& root) {
  std::error_code error;
  for (const Column& column : columns) {
    fs::remove_all(root / column.label, error);
    fs::create_directory(root / column.label, error);
  }
}

// Whether a program is among the comma-separated list (an empty list takes every program).
bool Chosen(const std::string& list, std::string_view label) {
  if (list.empty()) return true;
  size_t start = 0;
  for (;;) {
    const size_t comma = list.find(',', start);
    if (list.substr(start, comma - start) == label) return true;
    if (comma == std::string::npos) return false;
    start = comma + 1;
  }
}

void RunSeries(const BenchConstant& constant, uint64_t digits, uint32_t threads, uint32_t runs,
               const std::vector<ReferenceLibrary>& libraries, const std::string& against,
               const fs::path& root, bool check) {
  std::vector<Column> columns;
  uint64_t estimateBytes = 0;
  uint64_t peakBytes = 0;
  const bool hasZentrix = ZentrixHasConstant(constant);
  if (hasZentrix) {
    columns.push_back({"zentrix",
                       [&](const fs::path& directory) {
                         const double seconds = ZentrixInDirectory(
                             constant, digits, ThreadExponent(threads), &estimateBytes, directory);
                         peakBytes = std::max(peakBytes, ZentrixLastPeakBytes());
                         return seconds;
                       },
                       {}});
  }
  size_t referenceIndex = columns.size();
  for (const ReferenceLibrary& library : libraries) {
    if (!ReferenceHasConstant(library, constant) || !Chosen(against, library.label)) continue;
    const std::string fileName = std::string(constant.name) + " - Dec - " + library.label + ".txt";
    columns.push_back({library.label,
                       [&library, &constant, digits, threads, fileName](const fs::path& directory) {
                         return ReferenceConstantSeconds(library, constant, digits, threads,
                                                         (directory / fileName).string());
                       },
                       {}});
  }
#if defined(ZX_HAVE_GMP)
  if (std::string_view(constant.name) == "pi" && Chosen(against, "gmp")) {
    columns.push_back({"gmp",
                       [digits](const fs::path& directory) {
                         return GmpPiSeconds(digits, (directory / "pi - Dec - gmp.txt").string());
                       },
                       {}});
  }
#endif
  if (referenceIndex == columns.size()) referenceIndex = 0;
  for (uint32_t round = 0; round < runs; round++) {
    ClearDirectories(columns, root);
    for (Column& column : columns) column.seconds.push_back(column.run(root / column.label));
    if (check && round == 0 && columns.size() > 1) {
      CheckDigits(columns, referenceIndex, root, constant.name, digits);
    }
  }
  ClearDirectories(columns, root);

  ConsolePrintf("%s digits=%llu threads=%u", constant.name, static_cast<unsigned long long>(digits),
                threads);
  for (const Column& column : columns) {
    ConsolePrintf(" %s_s=%.3f", column.label.c_str(), Median(column.seconds));
  }
  if (hasZentrix) {
    for (size_t i = 1; i < columns.size(); i++) {
      std::vector<double> ratios;
      for (uint32_t round = 0; round < runs; round++) {
        ratios.push_back(columns[0].seconds[round] / columns[i].seconds[round]);
      }
      ConsolePrintf(" zentrix/%s=%.3f", columns[i].label.c_str(), Median(ratios));
    }
    ConsolePrintf(" heap_estimate=%llu heap_peak=%llu",
                  static_cast<unsigned long long>(estimateBytes),
                  static_cast<unsigned long long>(peakBytes));
  }
  ConsoleWrite("\n");
  ConsoleFlush();
}

}  // namespace

int RunConstant(const Options& options) {
  std::vector<const BenchConstant*> constants;
  for (const BenchConstant& constant : BenchConstants()) {
    const bool chosen = options.name.empty()
                            ? ZentrixHasConstant(constant)
                            : options.name == "all" || options.name == constant.name;
    if (chosen) constants.push_back(&constant);
  }
  std::vector<uint64_t> digitCounts(std::begin(kSweepDigits), std::end(kSweepDigits));
  if (options.digits != 0) digitCounts = {options.digits};
  std::vector<uint32_t> threadCounts(std::begin(kSweepThreads), std::end(kSweepThreads));
  if (options.threads != 0) threadCounts = {options.threads};

  const std::vector<ReferenceLibrary> libraries = {ReferenceLoadFlint3(), ReferenceLoadArb()};
  for (const ReferenceLibrary& library : libraries) {
    if (library.handle == nullptr) {
      ConsolePrintf("%s: not loaded (%s), its column is left out\n", library.label,
                    library.failure.c_str());
    } else if (library.cleanup == nullptr) {
      ConsolePrintf("%s: %s has no flint_cleanup, rounds after the first reuse its cached value\n",
                    library.label, library.path.c_str());
    }
  }
  const fs::path root = MakeScratchDirectory();
  if (root.empty()) {
    ConsoleWrite("zentrix-bench: cannot create a scratch directory\n");
    return 1;
  }
  for (const BenchConstant* constant : constants) {
    for (const uint64_t asked : digitCounts) {
      const uint64_t digits = ZentrixDigitsNear(*constant, asked);
      for (uint32_t threads : threadCounts) {
        RunSeries(*constant, digits, threads, options.runs, libraries, options.against, root,
                  threads == threadCounts.front());
      }
    }
  }
  std::error_code error;
  fs::remove_all(root, error);
  return 0;
}

}  // namespace zx::bench
