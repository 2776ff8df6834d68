// The negacyclic table and the ring products. An element equal to 2^(32n) is −1 in the ring and
// is multiplied by negation; every other element fills exactly L points, its balanced top carry
// wrapping round as −1 (see fft_convolve.cpp), and the result comes back reduced.
#include "multiply/fft/negacyclic.hpp"

#include <algorithm>
#include <vector>

#include "multiply/basecase/basecase_ops.hpp"
#include "multiply/fft/fft_convolve.hpp"
#include "multiply/fft/fft_points.hpp"
#include "multiply/fft/fft_size_table.hpp"
#include "multiply/fft/fft_twiddles.hpp"
#include "shell/fatal.hpp"

namespace zx {
namespace {

constexpr uint32_t kMinPointBits = 12;
constexpr uint32_t kMaxPointBits = 20;
constexpr uint32_t kMinExponent = 6;
constexpr uint32_t kMaxExponent = 24;
// Both forms of length stop at 2^24 points (the three-fold 3·2^23 would pass it).
constexpr uint64_t kMaxPoints = uint64_t{1} << kMaxExponent;

// The FFT table's b for length `points` (every length the rule asks about has a row).
uint32_t FftRowBits(uint64_t points) {
  for (int row = 0; row < kFftSizeRows; row++) {
    if (FftSizeRow(row).points == points) return FftSizeRow(row).pointBits;
  }
  return 0;
}

std::vector<NegacyclicPlan> BuildTable() {
  std::vector<NegacyclicPlan> rows;
  for (uint32_t e = kMinExponent; e <= kMaxExponent; e++) {
    for (uint64_t points : {uint64_t{1} << e, uint64_t{3} << (e - 1)}) {
      if (points > kMaxPoints) continue;
      // A length-L negacyclic product has the rounding error of a length-2L plain one.
      const uint32_t maxBits = std::min(kMaxPointBits, FftRowBits(2 * points));
      for (uint32_t bits = kMinPointBits; bits <= maxBits; bits++) {
        if (points * bits % 32 != 0) continue;
        rows.push_back({points * bits / 32, points, bits, FftCodeFromLength(points)});
      }
    }
  }
  std::stable_sort(rows.begin(), rows.end(), [](const NegacyclicPlan& x, const NegacyclicPlan& y) {
    return x.ringWords != y.ringWords ? x.ringWords < y.ringWords : x.points < y.points;
  });
  rows.erase(std::unique(rows.begin(), rows.end(),
                         [](const NegacyclicPlan& x, const NegacyclicPlan& y) {
                           return x.ringWords == y.ringWords;
                         }),
             rows.end());
  return rows;
}

const std::vector<NegacyclicPlan>& Table() {
  static const std::vector<NegacyclicPlan> table = BuildTable();
  return table;
}

FftSize SizeOf(const NegacyclicPlan& plan) {
  return FftSize{plan.points, plan.pointBits, plan.lengthCode};
}

// out = −x mod 2^(32n) + 1 for a reduced x: 2^(32n) + 1 − x = ~x + 2 over n words.
void Negate(const uint32_t* x, uint64_t n, uint32_t* out) {
  bool zero = x[n] == 0;
  for (uint64_t i = 0; i < n && zero; i++) zero = x[i] == 0;
  if (zero) {
    ClearWords(out, n + 1);
    return;
  }
  for (uint64_t i = 0; i < n; i++) out[i] = ~x[i];
  // x = 2^(32n) has zero low words: ~x + 2 carries out, and the top word wraps to 1 − 1 = 0.
  const uint32_t top = x[n];
  out[n] = AddWordCarry(out, n, 2) - top;
}

fft::Workspace Carve(double* scratch, uint64_t points, bool square) {
  if (reinterpret_cast<uintptr_t>(scratch) % 16 != 0) {
    FatalAssertion(kInvalidAlignment, "FFT Multiplication",
                   "The transform scratch is not aligned to 16 bytes.");
  }
  return square ? fft::CarveSquareWorkspace(scratch, points) : fft::CarveWorkspace(scratch, points);
}

void Finish(const NegacyclicPlan& plan, const fft::Workspace& workspace, uint32_t top,
            uint32_t* out) {
  fft::UnpackPoints(workspace.points, plan.points, plan.pointBits, 0, out, plan.ringWords);
  out[plan.ringWords] = top;
}

}  // namespace

uint64_t NegacyclicTableRows() {
  return Table().size();
}

NegacyclicPlan NegacyclicTableRow(uint64_t row) {
  return Table()[row];
}

bool NegacyclicPlanAtLeast(uint64_t minWords, NegacyclicPlan* plan) {
  const std::vector<NegacyclicPlan>& table = Table();
  const auto row =
      std::lower_bound(table.begin(), table.end(), minWords,
                       [](const NegacyclicPlan& entry, uint64_t n) { return entry.ringWords < n; });
  if (row == table.end()) return false;
  // A longer ring may take a shorter transform (a wider point on a shorter length): the cheapest
  // transform wins, the shorter ring among equals.
  auto best = row;
  for (auto other = row; other != table.end(); ++other) {
    if (other->points < best->points) best = other;
  }
  *plan = *best;
  return true;
}

bool NegacyclicPlanFor(uint64_t ringWords, NegacyclicPlan* plan) {
  const std::vector<NegacyclicPlan>& table = Table();
  const auto row =
      std::lower_bound(table.begin(), table.end(), ringWords,
                       [](const NegacyclicPlan& entry, uint64_t n) { return entry.ringWords < n; });
  if (row == table.end() || row->ringWords != ringWords) return false;
  *plan = *row;
  return true;
}

bool NegacyclicRingSizeAvailable(uint64_t ringWords) {
  NegacyclicPlan plan;
  return NegacyclicPlanFor(ringWords, &plan);
}

uint64_t NegacyclicScratchDoubles(const NegacyclicPlan& plan) {
  return fft::WorkspaceBytes(plan.points) / sizeof(double);
}

uint64_t NegacyclicSquareScratchDoubles(const NegacyclicPlan& plan) {
  return fft::SquareWorkspaceBytes(plan.points) / sizeof(double);
}

void PrepareNegacyclic(const NegacyclicPlan& plan) {
  if (!FftTwiddlesReach(plan.points)) PrepareFftTwiddles(plan.points);
}

void NegacyclicMultiply(const NegacyclicPlan& plan, const uint32_t* a, const uint32_t* b,
                        uint32_t* out, double* scratch) {
  const uint64_t n = plan.ringWords;
  const fft::Workspace workspace = Carve(scratch, plan.points, false);
  // 2^(32n) ≡ −1: (−1)·x = −x.
  if (a[n] != 0 || b[n] != 0) {
    if (a[n] != 0 && b[n] != 0) {
      ClearWords(out, n + 1);
      out[0] = 1;
    } else {
      Negate(a[n] != 0 ? b : a, n, out);
    }
    return;
  }
  const uint32_t top = fft::ConvolveWords(SizeOf(plan), a, n, b, n, workspace);
  Finish(plan, workspace, top, out);
}

void NegacyclicSquare(const NegacyclicPlan& plan, const uint32_t* a, uint32_t* out,
                      double* scratch) {
  const uint64_t n = plan.ringWords;
  const fft::Workspace workspace = Carve(scratch, plan.points, true);
  if (a[n] != 0) {
    ClearWords(out, n + 1);
    out[0] = 1;
    return;
  }
  const uint32_t top = fft::ConvolveWords(SizeOf(plan), a, n, nullptr, 0, workspace);
  Finish(plan, workspace, top, out);
}

}  // namespace zx
