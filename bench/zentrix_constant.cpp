// Zentrix's side of the constant benchmark: the table of constants and the one call that runs a
// whole job through the compute driver, exactly as the menus start it (memory-only mode, the
// algorithm's own memory estimate). The driver's console output is swallowed.
#include <chrono>
#include <string>

#include "bench_constant.hpp"
#include "constants/euler.hpp"
#include "drivers/constant_runs.hpp"
#include "drivers/run_driver.hpp"
#include "menus/dialogues.hpp"
#include "menus/run_settings.hpp"
#include "shell/console.hpp"

namespace zx::bench {
namespace {

// log10 is looked up as arb_log_ui(10) only where a library lacks arb_const_log10.
const BenchConstant kBenchConstants[] = {
    {"pi", "arb_const_pi", 0, &kPiRun, 0},           {"log2", "arb_const_log2", 0, &kLog2Run, 0},
    {"log10", "arb_const_log10", 10, &kLog10Run, 0},    {"zeta3", "arb_const_apery", 0, &kZeta3Run, 0},
    {"catalan", "arb_const_catalan", 0, &kCatalanRun, 0}, {"euler", "arb_const_euler", 0, &kEulerRun, 0},
};

}  // namespace

std::span<const BenchConstant> BenchConstants() {
  return kBenchConstants;
}

const BenchConstant* FindBenchConstant(std::string_view name) {
  for (const BenchConstant& constant : kBenchConstants) {
    if (name == constant.name) return &constant;
  }
  return nullptr;
}

bool ZentrixHasConstant(const BenchConstant& constant) {
  return constant.zentrixRun != nullptr;
}

namespace {

// The row of the size table nearest to digits decimal digits (the last row beyond them).
uint32_t RowFor(uint64_t digits) {
  const uint32_t row = EulerRowForDigits(digits);
  if (row == 0) return EulerLastRow();
  if (row == kEulerFirstRow) return row;
  const uint64_t above = EulerSizeOfRow(row).decimalDigits - digits;
  const uint64_t below = digits - EulerSizeOfRow(row - 1).decimalDigits;
  return below < above ? row - 1 : row;
}

}  // namespace

uint64_t ZentrixDigitsNear(const BenchConstant& constant, uint64_t digits) {
  if (constant.zentrixRun == nullptr || !constant.zentrixRun->sizeTableMenu) return digits;
  return EulerSizeOfRow(RowFor(digits)).decimalDigits;
}

double ZentrixConstantSeconds(const BenchConstant& constant, uint64_t digits,
                              uint32_t threadExponent, uint64_t* estimateBytes) {
  const uint32_t row = constant.zentrixRun->sizeTableMenu ? RowFor(digits) : 0;
  DigitSettings sizes = row != 0 ? DigitSettingsForRow(row) : DigitSettingsFor(digits);
  sizes.threadExponent = threadExponent;
  const RunSettings settings = RunSettingsFor(*constant.zentrixRun, constant.zentrixAlgorithm,
                                              sizes, row, kModeRamOnly);
  *estimateBytes = settings.memoryBytes;
  std::string transcript;
  ConsoleCaptureTo(&transcript);
  const auto start = std::chrono::steady_clock::now();
  RunCompute(*constant.zentrixRun, constant.zentrixAlgorithm, settings);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  ConsoleCaptureTo(nullptr);
  return seconds;
}

uint64_t ZentrixLastPeakBytes() {
  return LastRunPeakBytes();
}

}  // namespace zx::bench
