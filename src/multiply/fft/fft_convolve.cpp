// The product pipeline on a workspace.
#include "multiply/fft/fft_convolve.hpp"

#include "multiply/fft/fft_outer.hpp"
#include "multiply/fft/fft_points.hpp"
#include "multiply/fft/fft_transform.hpp"
#include "runtime/threads.hpp"

namespace zx::fft {
namespace {

constexpr uint64_t kAlignBytes = 64;

char* AlignUp(void* memory) {
  const uintptr_t address = reinterpret_cast<uintptr_t>(memory);
  return reinterpret_cast<char*>((address + kAlignBytes - 1) & ~(kAlignBytes - 1));
}

// Packs an operand and runs the outer pass; the lane transform is left to the caller. An operand
// whose fields, with room for the final carry, fit in half the points leaves every imaginary
// input zero (the half-zero forward transform).
void LoadOperand(const FftSize& size, const uint32_t* words, uint64_t count, double* into,
                 uint32_t* points) {
  const uint64_t n = size.points / 2;
  const bool halfZero = FieldCount(count, size.pointBits) + 1 <= n;
  PackPoints(words, count, size.pointBits, points, halfZero ? n : size.points);
  OuterForward(into, points, n, size.pointBits, halfZero);
}

// Part `half` of [0, count) with inner boundaries rounded down to multiples of `align`.
struct Range {
  uint64_t from;
  uint64_t to;
};

Range HalfOf(uint64_t count, uint32_t half, uint64_t align) {
  const uint64_t middle = count / 2 / align * align;
  return half == 0 ? Range{0, middle} : Range{middle, count};
}

// The packing of one operand shared by halves: a word boundary that is a multiple of
// b / gcd(b, 32) words is also a point boundary, so each half packs whole fields of its own.
void PackHalf(const uint32_t* words, uint64_t count, uint32_t pointBits, uint32_t* points,
              uint64_t pointCount, uint32_t half) {
  uint32_t common = 32;
  for (uint32_t r = pointBits; r != 0;) {
    const uint32_t next = common % r;
    common = r;
    r = next;
  }
  const Range part = HalfOf(count, half, pointBits / common);
  const uint64_t first = 32 * part.from / pointBits;
  const uint64_t last = half == 0 ? 32 * part.to / pointBits : pointCount;
  PackPoints(words + part.from, part.to - part.from, pointBits, points + first, last - first);
}

}  // namespace

bool ConvolveWordsOnPair(const FftSize& size, const uint32_t* a, uint64_t la, const uint32_t* b,
                         uint64_t lb, const Workspace& workspace, uint32_t* top,
                         const std::function<void(uint32_t half)>& finish) {
  const uint64_t n = size.points / 2;
  const uint64_t m = n / 4;
  const uint64_t quarter = m / 4;
  const uint32_t bits = size.pointBits;
  double* x = workspace.second;
  const bool square = b == nullptr;
  PairBarrier barrier;
  ChainCarries carries[2];
  const auto body = [&](uint32_t half) -> uint32_t {
    const Range vectors = HalfOf(m, half, 4);
    const Range butterflies = HalfOf(m / 4, half, 1);
    // Packing, the outer pass and the first lane pass of an operand; the points array is free
    // again once every half is past the outer pass.
    const auto load = [&](const uint32_t* words, uint64_t count, double* into) {
      const bool halfZero = FieldCount(count, bits) + 1 <= n;
      PackHalf(words, count, bits, workspace.points, halfZero ? n : size.points, half);
      ArriveAndWait(barrier);
      OuterForwardRange(into, workspace.points, n, bits, halfZero, vectors.from, vectors.to);
      ArriveAndWait(barrier);
      LaneForwardTop(into, m, butterflies.from, butterflies.to);
    };
    if (!square) load(a, la, workspace.first);
    load(square ? a : b, square ? la : lb, x);
    ArriveAndWait(barrier);
    for (uint32_t k = 2 * half; k < 2 * half + 2; k++) {
      const uint64_t offset = 8 * quarter * k;
      if (!square) LaneForward(workspace.first + offset, quarter);
      LaneConvolve(x + offset, square ? nullptr : workspace.first + offset, quarter);
    }
    ArriveAndWait(barrier);
    LaneInverseTop(x, m, butterflies.from, butterflies.to);
    ArriveAndWait(barrier);
    OuterInverseRange(x, workspace.points, n, bits, vectors.from, vectors.to, &carries[half]);
    ArriveAndWait(barrier);
    if (half == 0) {
      const int64_t carry = JoinChains(workspace.points, n, bits, carries, 2);
      *top = ReduceNegacyclic(workspace.points, size.points, bits, carry);
    }
    ArriveAndWait(barrier);
    finish(half);
    return 0;
  };
  return RunPairTogether(body);
}

uint64_t WorkspaceBytes(uint64_t points) {
  return 2 * points * sizeof(double) + points * sizeof(uint32_t) + kAlignBytes;
}

Workspace CarveWorkspace(void* memory, uint64_t points) {
  char* base = AlignUp(memory);
  double* first = reinterpret_cast<double*>(base);
  double* second = first + points;
  return Workspace{first, second, reinterpret_cast<uint32_t*>(second + points)};
}

uint64_t SquareWorkspaceBytes(uint64_t points) {
  return points * sizeof(double) + points * sizeof(uint32_t) + kAlignBytes;
}

Workspace CarveSquareWorkspace(void* memory, uint64_t points) {
  double* only = reinterpret_cast<double*>(AlignUp(memory));
  return Workspace{nullptr, only, reinterpret_cast<uint32_t*>(only + points)};
}

void TransformOperand(const FftSize& size, const uint32_t* words, uint64_t count, double* into,
                      uint32_t* points) {
  LoadOperand(size, words, count, into, points);
  LaneForward(into, size.points / 8);
}

uint32_t ConvolveWithSpectrum(const FftSize& size, const uint32_t* words, uint64_t count,
                              const double* spectrum, const Workspace& workspace) {
  LoadOperand(size, words, count, workspace.second, workspace.points);
  LaneConvolve(workspace.second, spectrum, size.points / 8);
  const int64_t carry =
      OuterInverseCarry(workspace.second, workspace.points, size.points / 2, size.pointBits);
  return ReduceNegacyclic(workspace.points, size.points, size.pointBits, carry);
}

uint32_t ConvolveWords(const FftSize& size, const uint32_t* a, uint64_t la, const uint32_t* b,
                       uint64_t lb, const Workspace& workspace) {
  if (b == nullptr) return ConvolveWithSpectrum(size, a, la, nullptr, workspace);
  TransformOperand(size, a, la, workspace.first, workspace.points);
  return ConvolveWithSpectrum(size, b, lb, workspace.first, workspace);
}

}  // namespace zx::fft
