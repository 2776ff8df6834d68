// Construction and lookup of the prepared twiddle tables.
#include "multiply/fft_twiddles.hpp"

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "shell/fatal.hpp"

namespace zx {
namespace {

constexpr int kLevels = 40;
// The butterfly stores its outputs k in lane order 0, 2, 1, 3 (see fft_outer.cpp).
constexpr int kLaneOrder[4] = {0, 2, 1, 3};

struct Family {
  uint64_t base;                         // 1 or 3
  std::atomic<double*> radix4[kLevels];  // level i: q = base·2^i vectors
  std::atomic<double*> outer[kLevels];   // level i: n = base·2^i complex points
  uint64_t reachPoints;                  // largest N prepared, 0 for none
};

Family gFamilies[2] = {{1, {}, {}, 0}, {3, {}, {}, 0}};
std::mutex gPrepareMutex;
std::atomic<uint64_t> gReachPoints{0};  // largest L covered

Family& FamilyOf(uint64_t size) {
  return gFamilies[size % 3 == 0 ? 1 : 0];
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

// e^(2πi·a/D) for any integer a, from the first octant: the quadrant is an exact rotation by
// i^q and the upper half of each quadrant an exact swap of cosine and sine. The octant is
// computed in extended precision and rounded once, so every factor is within half an ulp.
struct Circle {
  int64_t denominator;  // D, a multiple of 8
  double* cosSin;       // (cos, sin) of 2π·r/D for 0 ≤ r ≤ D/8

  explicit Circle(int64_t d) : denominator(d), cosSin(AllocTable(2 * (d / 8 + 1))) {
    for (int64_t r = 0; r <= d / 8; r++) {
      const long double angle = 2.0L * 3.141592653589793238462643383279502884L * r / d;
      cosSin[2 * r] = static_cast<double>(std::cos(angle));
      cosSin[2 * r + 1] = static_cast<double>(std::sin(angle));
    }
  }
  ~Circle() { std::free(cosSin); }
  Circle(const Circle&) = delete;
  Circle& operator=(const Circle&) = delete;

  void Root(int64_t a, double* out) const {
    const int64_t d = denominator;
    a %= d;
    if (a < 0) a += d;
    const int64_t quarter = d / 4;
    const int64_t quadrant = a / quarter;
    const int64_t r = a % quarter;
    double c;
    double s;
    if (r <= d / 8) {
      c = cosSin[2 * r];
      s = cosSin[2 * r + 1];
    } else {
      s = cosSin[2 * (quarter - r)];
      c = cosSin[2 * (quarter - r) + 1];
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

// The largest level of a family for n complex points (n = 4m): radix-4 factors of the m-vector
// level and outer factors of n, both from one circle of 4n parts.
void BuildTop(uint64_t n, double** radix4, double** outer) {
  const uint64_t m = n / 4;
  const Circle circle(static_cast<int64_t>(4 * n));
  *radix4 = AllocTable(6 * (m / 4 > 0 ? m / 4 : 1));
  for (uint64_t j = 0; j < m / 4; j++) {
    for (int k = 1; k <= 3; k++) {
      // w_m^(jk) = e^(−2πi·jk/m) = e^(2πi·(−16jk)/(4n)).
      circle.Root(-16 * static_cast<int64_t>(j) * k, *radix4 + 6 * j + 2 * (k - 1));
    }
  }
  *outer = AllocTable(8 * m);
  for (uint64_t v = 0; v < m; v++) {
    for (int lane = 0; lane < 4; lane++) {
      double root[2];
      circle.Root(static_cast<int64_t>(v) * (1 - 4 * kLaneOrder[lane]), root);
      (*outer)[8 * v + lane] = root[0];
      (*outer)[8 * v + 4 + lane] = root[1];
    }
  }
}

// Levels below the top: every second entry of the level above.
void BuildLevels(Family& family, uint64_t topN, double* topRadix4, double* topOuter) {
  const int topLevel = LevelOf(family, topN);
  family.outer[topLevel].store(topOuter, std::memory_order_release);
  if (family.radix4[topLevel - 2].load() == nullptr) {
    family.radix4[topLevel - 2].store(topRadix4, std::memory_order_release);
  } else {
    std::free(topRadix4);
  }
  const double* aboveRadix4 = family.radix4[topLevel - 2].load();
  const double* aboveOuter = topOuter;
  for (int level = topLevel - 1; level >= 0; level--) {
    const uint64_t n = family.base << level;
    if (n < 32 || n / 4 % 4 != 0) break;
    if (family.outer[level].load() != nullptr) break;
    const uint64_t m = n / 4;
    double* outer = AllocTable(8 * m);
    for (uint64_t v = 0; v < m; v++) std::memcpy(outer + 8 * v, aboveOuter + 16 * v, 64);
    family.outer[level].store(outer, std::memory_order_release);
    aboveOuter = outer;
  }
  for (int level = topLevel - 3; level >= 0; level--) {
    const uint64_t q = family.base << level;
    if (q < 4 || q % 4 != 0) break;
    if (family.radix4[level].load() != nullptr) break;
    double* radix4 = AllocTable(6 * (q / 4));
    for (uint64_t j = 0; j < q / 4; j++) std::memcpy(radix4 + 6 * j, aboveRadix4 + 12 * j, 48);
    family.radix4[level].store(radix4, std::memory_order_release);
    aboveRadix4 = radix4;
  }
}

void PrepareFamily(Family& family, uint64_t n) {
  if (n <= family.reachPoints || n < 32) return;
  double* radix4 = nullptr;
  double* outer = nullptr;
  BuildTop(n, &radix4, &outer);
  BuildLevels(family, n, radix4, outer);
  family.reachPoints = n;
}

}  // namespace

void PrepareFftTwiddles(uint64_t points) {
  if (FftTwiddlesReach(points)) return;
  std::lock_guard<std::mutex> lock(gPrepareMutex);
  const uint64_t n = points / 2;
  PrepareFamily(FamilyOf(n), n);
  // The other family up to its largest length below n: 3n/4 below 2^i, 2n/3 below 3·2^i.
  PrepareFamily(gFamilies[n % 3 == 0 ? 0 : 1], n % 3 == 0 ? n / 3 * 2 : n / 4 * 3);
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
