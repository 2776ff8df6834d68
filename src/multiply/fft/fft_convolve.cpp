// The product pipeline on a workspace.
#include "multiply/fft/fft_convolve.hpp"

#include <algorithm>

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

// An operand whose fields, with room for the final carry, fit in half the points leaves every
// imaginary input zero (the half-zero forward transform), and only that half is packed.
bool HalfZero(const FftSize& size, uint64_t count) {
  return FieldCount(count, size.pointBits) + 1 <= size.points / 2;
}

uint64_t PackedPoints(const FftSize& size, uint64_t count) {
  return HalfZero(size, count) ? size.points / 2 : size.points;
}

// Packs an operand and runs the outer pass; the lane transform is left to the caller.
void LoadOperand(const FftSize& size, const uint32_t* words, uint64_t count, double* into,
                 uint32_t* points) {
  PackPoints(words, count, size.pointBits, points, PackedPoints(size, count));
  OuterForward(into, points, size.points / 2, size.pointBits, HalfZero(size, count));
}

// Points [from, to) of an operand's pointCount (fields, then zeros): a point boundary that is a
// multiple of 32 / gcd(b, 32) points is also a word boundary, so chunks pack whole fields.
void PackChunk(const uint32_t* words, uint64_t count, uint32_t pointBits, uint32_t* points,
               uint64_t pointCount, uint32_t chunk) {
  const Range part = ChunkOf(pointCount, chunk, kShareChunks, PointsPerGroup(pointBits));
  const uint64_t first = std::min(count, part.from * pointBits / 32);
  const uint64_t last = std::min(count, part.to * pointBits / 32);
  PackPoints(words + first, last - first, pointBits, points + part.from, part.to - part.from);
}

}  // namespace

Range ChunkOf(uint64_t count, uint32_t chunk, uint32_t chunks, uint64_t align) {
  const auto boundary = [&](uint32_t c) {
    return c == chunks ? count : count * c / chunks / align * align;
  };
  return Range{boundary(chunk), boundary(chunk + 1)};
}

uint32_t ConvolveWordsShared(const FftSize& size, const uint32_t* a, uint64_t la, const uint32_t* b,
                             uint64_t lb, const Workspace& workspace, SharedSteps& steps) {
  const uint64_t n = size.points / 2;
  const uint64_t m = n / 4;
  const uint64_t quarter = m / 4;
  const uint32_t bits = size.pointBits;
  const bool square = b == nullptr;
  double* x = workspace.second;
  const auto vectors = [&](uint32_t chunk) { return ChunkOf(m, chunk, kShareChunks, 4); };
  const auto butterflies = [&](uint32_t chunk) { return ChunkOf(m / 4, chunk, kShareChunks, 1); };
  const uint64_t xCount = square ? la : lb;
  const uint32_t* xWords = square ? a : b;
  // The operand transformed into x packs last, beside the first lane pass of the other one: the
  // points array is free once the other's outer pass is done.
  const auto pack = [&](const uint32_t* words, uint64_t count, uint32_t chunk) {
    PackChunk(words, count, bits, workspace.points, PackedPoints(size, count), chunk);
  };
  const auto outer = [&](uint64_t count, double* into) {
    RunSharedStep(steps, kShareChunks, [&](uint32_t chunk) {
      const Range r = vectors(chunk);
      OuterForwardRange(into, workspace.points, n, bits, HalfZero(size, count), r.from, r.to);
    });
  };
  if (!square) {
    RunSharedStep(steps, kShareChunks, [&](uint32_t chunk) { pack(a, la, chunk); });
    outer(la, workspace.first);
    RunSharedStep(steps, 2 * kShareChunks, [&](uint32_t chunk) {
      if (chunk < kShareChunks) {
        const Range r = butterflies(chunk);
        LaneForwardTop(workspace.first, m, r.from, r.to);
      } else {
        pack(xWords, xCount, chunk - kShareChunks);
      }
    });
  } else {
    RunSharedStep(steps, kShareChunks, [&](uint32_t chunk) { pack(a, la, chunk); });
  }
  outer(xCount, x);
  RunSharedStep(steps, kShareChunks, [&](uint32_t chunk) {
    const Range r = butterflies(chunk);
    LaneForwardTop(x, m, r.from, r.to);
  });
  RunSharedStep(steps, 4, [&](uint32_t k) {
    const uint64_t offset = 8 * quarter * k;
    if (!square) LaneForward(workspace.first + offset, quarter);
    LaneConvolve(x + offset, square ? nullptr : workspace.first + offset, quarter);
  });
  RunSharedStep(steps, kShareChunks, [&](uint32_t chunk) {
    const Range r = butterflies(chunk);
    LaneInverseTop(x, m, r.from, r.to);
  });
  ChainCarries carries[kShareChunks];
  RunSharedStep(steps, kShareChunks, [&](uint32_t chunk) {
    const Range r = vectors(chunk);
    OuterInverseRange(x, workspace.points, n, bits, r.from, r.to, &carries[chunk]);
  });
  const int64_t carry = JoinChains(workspace.points, n, bits, carries, kShareChunks);
  return ReduceNegacyclic(workspace.points, size.points, bits, carry);
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

void MultiplyWithSpectrum(const FftSize& size, const uint32_t* words, uint64_t count,
                          const double* spectrum, double* into, uint32_t* points) {
  LoadOperand(size, words, count, into, points);
  LaneMultiply(into, spectrum, size.points / 8);
}

uint32_t ConvolveWithSpectrumAdd(const FftSize& size, const uint32_t* words, uint64_t count,
                                 const double* spectrum, const double* product, double sign,
                                 const Workspace& workspace) {
  LoadOperand(size, words, count, workspace.second, workspace.points);
  LaneConvolveAdd(workspace.second, spectrum, product, sign, size.points / 8);
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
