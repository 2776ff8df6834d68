// Construction and lookup of the prepared twiddle tables.
#include "multiply/fft/fft_twiddles.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <vector>

#include "runtime/run_record.hpp"
#include "runtime/threads.hpp"
#include "shell/fatal.hpp"

namespace zx {
namespace {

constexpr int kLevels = 40;
// Tables from this many complex points are built on two threads where the run has them (a few
// milliseconds of work; below it the partner's wake-up would cost as much).
constexpr uint64_t kSharedTablesMinPoints = uint64_t{1} << 15;
// The butterfly stores its outputs k in lane order 0, 2, 1, 3 (see fft_outer.cpp).
constexpr int kLaneOrder[4] = {0, 2, 1, 3};

struct Family {
  uint64_t base;                         // the length's odd factor: 1, 3, 5 or 7
  std::atomic<double*> radix4[kLevels];  // level i: q = base·2^i vectors
  std::atomic<double*> outer[kLevels];   // level i: n = base·2^i complex points
  uint64_t reachPoints;                  // largest N prepared, 0 for none
};

Family gFamilies[4] = {{1, {}, {}, 0}, {3, {}, {}, 0}, {5, {}, {}, 0}, {7, {}, {}, 0}};
std::mutex gPrepareMutex;
std::atomic<uint64_t> gReachPoints{0};  // largest L covered

Family& FamilyOf(uint64_t size) {
  return gFamilies[size % 3 == 0 ? 1 : size % 5 == 0 ? 2 : size % 7 == 0 ? 3 : 0];
}

int LevelOf(const Family& family, uint64_t size) {
  int level = 0;
  for (uint64_t rest = size / family.base; rest > 1; rest >>= 1) level++;
  return level;
}

double* AllocTable(uint64_t doubles) {
  void* memory = std::aligned_alloc(64, ((doubles * sizeof(double) + 63) / 64) * 64);
  if (memory == nullptr) FatalAllocation();
  return static_cast<double*>(memory);
}

// e^(2πi·a/D) for 0 ≤ a < D, from the first octant: the quadrant is an exact rotation by i^q and
// the upper half of each quadrant an exact swap of cosine and sine. An octant entry is one extended
// product of a coarse entry (every 64th, computed directly) and a small rotation, which errs far
// below a double's last bit, rounded once, so every factor is within about half an ulp. Entries
// are formed only when asked for: the tables read a sixteenth of the circle or less.
struct Circle {
  int64_t denominator;  // D, a multiple of 8
  static constexpr int64_t kStride = 64;
  std::vector<long double> coarse;  // (cos, sin) of 2π·64c/D for 64c ≤ D/8 + 63
  long double stepCos[kStride];
  long double stepSin[kStride];

  explicit Circle(int64_t d) : denominator(d), coarse(2 * (d / 8 / kStride + 2)) {
    const long double turn = 2.0L * 3.141592653589793238462643383279502884L / d;
    for (int64_t j = 0; j < kStride; j++) {
      stepCos[j] = std::cos(turn * j);
      stepSin[j] = std::sin(turn * j);
    }
    for (uint64_t c = 0; 2 * c < coarse.size(); c++) {
      coarse[2 * c] = std::cos(turn * static_cast<long double>(c * kStride));
      coarse[2 * c + 1] = std::sin(turn * static_cast<long double>(c * kStride));
    }
  }

  // (cos, sin) of 2π·r/D for 0 ≤ r ≤ D/8.
  void Octant(int64_t r, double* c, double* s) const {
    const long double baseCos = coarse[2 * (r / kStride)];
    const long double baseSin = coarse[2 * (r / kStride) + 1];
    const int64_t j = r % kStride;
    *c = static_cast<double>(baseCos * stepCos[j] - baseSin * stepSin[j]);
    *s = static_cast<double>(baseSin * stepCos[j] + baseCos * stepSin[j]);
  }

  void Root(int64_t a, double* out) const {
    const int64_t quarter = denominator / 4;
    int64_t quadrant = 0;
    while (a >= quarter) {
      a -= quarter;
      quadrant++;
    }
    double c;
    double s;
    if (a <= denominator / 8) {
      Octant(a, &c, &s);
    } else {
      Octant(quarter - a, &s, &c);
    }
    for (int64_t i = 0; i < quadrant; i++) {
      const double rotated = -s;
      s = c;
      c = rotated;
    }
    out[0] = c;
    out[1] = s;
  }
};

// index + step reduced into [0, d), for |step| < d.
inline int64_t Advance(int64_t index, int64_t step, int64_t d) {
  index += step;
  if (index < 0) index += d;
  if (index >= d) index -= d;
  return index;
}

// Outer factors of one level (m vectors) from a circle of 4·n·stride parts: per lane the angle
// index stride·v·(1 − 4k), low entries for v < S, high entries for v = u·S.
void FillOuter(const Circle& circle, int64_t stride, uint64_t m, double* table) {
  const uint64_t low = fft::OuterLowCount(m);
  const int64_t d = circle.denominator;
  auto fill = [&](uint64_t entry, int64_t v) {
    for (int lane = 0; lane < 4; lane++) {
      int64_t index = (stride * v * (1 - 4 * kLaneOrder[lane])) % d;
      if (index < 0) index += d;
      double root[2];
      circle.Root(index, root);
      table[8 * entry + lane] = root[0];
      table[8 * entry + 4 + lane] = root[1];
    }
  };
  for (uint64_t v = 0; v < low; v++) fill(v, static_cast<int64_t>(v));
  for (uint64_t u = 0; u < m / low; u++) fill(low + u, static_cast<int64_t>(u * low));
}

uint64_t OuterDoubles(uint64_t m) {
  return 8 * (fft::OuterLowCount(m) + m / fft::OuterLowCount(m));
}

// The largest level of a family for n complex points (n = 4m): its radix-4 factors (the smaller
// levels copy every second entry), and the outer factors of every level not built yet, all from
// one circle of 4n parts.
void BuildFamily(Family& family, uint64_t n) {
  const uint64_t m = n / 4;
  const int64_t d = static_cast<int64_t>(4 * n);
  const Circle circle(d);
  const int topLevel = LevelOf(family, n);
  double* top = AllocTable(6 * (m / 4 > 0 ? m / 4 : 1));
  // w_m^(jk) = e^(−2πi·jk/m) = e^(2πi·(−16jk)/(4n)). w^(2j) and w^(3j) are the entries w^(j')
  // of j' = 2j and 3j while those lie in the table: copies of the same rounded values.
  const uint64_t count = m / 4;
  for (int k = 1; k <= 3; k++) {
    int64_t power = 0;
    for (uint64_t j = 0; j < count; j++) {
      double* entry = top + 6 * j + 2 * (k - 1);
      if (k > 1 && k * j < count) {
        std::memcpy(entry, top + 6 * (k * j), 2 * sizeof(double));
      } else {
        circle.Root(power, entry);
      }
      power = Advance(power, -16 * k, d);
    }
  }
  family.radix4[topLevel - 2].store(top, std::memory_order_release);
  const double* above = top;
  for (int level = topLevel - 3; level >= 0; level--) {
    const uint64_t q = family.base << level;
    if (q < 4 || q % 4 != 0 || family.radix4[level].load() != nullptr) break;
    double* radix4 = AllocTable(6 * (q / 4));
    for (uint64_t j = 0; j < q / 4; j++) std::memcpy(radix4 + 6 * j, above + 12 * j, 48);
    family.radix4[level].store(radix4, std::memory_order_release);
    above = radix4;
  }
  for (int level = topLevel; level >= 0; level--) {
    const uint64_t levelN = family.base << level;
    if (levelN < 32 || levelN / 4 % 4 != 0 || family.outer[level].load() != nullptr) break;
    double* outer = AllocTable(OuterDoubles(levelN / 4));
    FillOuter(circle, static_cast<int64_t>(n / levelN), levelN / 4, outer);
    family.outer[level].store(outer, std::memory_order_release);
  }
}

void PrepareFamily(Family& family, uint64_t n) {
  if (n <= family.reachPoints || n < 32) return;
  BuildFamily(family, n);
  family.reachPoints = n;
}

}  // namespace

void PrepareFftTwiddles(uint64_t points) {
  if (FftTwiddlesReach(points)) return;
  std::lock_guard<std::mutex> lock(gPrepareMutex);
  const uint64_t n = points / 2;
  // Every family up to its longest length not above n, so that every shorter row is covered. The
  // families share nothing, so a run with threads builds them two at a time, the longest first.
  uint64_t lengths[4];
  uint32_t order[4] = {0, 1, 2, 3};
  for (uint32_t f = 0; f < 4; f++) {
    lengths[f] = gFamilies[f].base;
    while (2 * lengths[f] <= n) lengths[f] *= 2;
  }
  std::sort(order, order + 4, [&](uint32_t x, uint32_t y) { return lengths[x] > lengths[y]; });
  const auto build = [&](uint32_t chunk) {
    PrepareFamily(gFamilies[order[chunk]], lengths[order[chunk]]);
  };
  if (CurrentRun().multiplyThreadCap > 0 && n >= kSharedTablesMinPoints) {
    SharedSteps steps = BeginSharedSteps();
    RunSharedStep(steps, 4, build);
    EndSharedSteps(steps);
  } else {
    for (uint32_t chunk = 0; chunk < 4; chunk++) build(chunk);
  }
  if (points > gReachPoints.load()) gReachPoints.store(points, std::memory_order_release);
}

bool FftTwiddlesReach(uint64_t points) {
  return points <= gReachPoints.load(std::memory_order_acquire);
}

void ReleaseFftTwiddles() {
  std::lock_guard<std::mutex> lock(gPrepareMutex);
  for (Family& family : gFamilies) {
    for (int level = 0; level < kLevels; level++) {
      std::free(family.radix4[level].exchange(nullptr));
      std::free(family.outer[level].exchange(nullptr));
    }
    family.reachPoints = 0;
  }
  gReachPoints.store(0);
}

namespace fft {

uint64_t OuterLowCount(uint64_t m) {
  // A power of two that divides m (m = 2^i times 1, 3, 5 or 7), so that the high part is m / S
  // exactly.
  const uint64_t powerOfTwo = m & (~m + 1);
  return powerOfTwo < kOuterLowEntries ? powerOfTwo : kOuterLowEntries;
}

const double* Radix4Twiddles(uint64_t q) {
  const Family& family = FamilyOf(q);
  return family.radix4[LevelOf(family, q)].load(std::memory_order_acquire);
}

const double* OuterTwiddles(uint64_t n) {
  const Family& family = FamilyOf(n);
  return family.outer[LevelOf(family, n)].load(std::memory_order_acquire);
}

}  // namespace fft
}  // namespace zx
