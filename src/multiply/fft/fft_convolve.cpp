// The product pipeline on a workspace.
#include "multiply/fft/fft_convolve.hpp"

#include <algorithm>

#include "multiply/fft/fft_outer.hpp"
#include "multiply/fft/fft_points.hpp"
#include "multiply/fft/fft_transform.hpp"
#include "runtime/threads.hpp"
#include "shell/fatal.hpp"

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

// Packs an operand (unless the outer pass reads its words) and runs the outer pass; the lane
// transform is left to the caller.
void LoadOperand(const FftSize& size, const uint32_t* words, uint64_t count, double* into,
                 uint32_t* points) {
  const uint64_t n = size.points / 2;
  if (OuterReadsWords()) {
    OuterForwardWordsRange(into, words, count, n, size.pointBits, HalfZero(size, count), 0, n / 4);
    return;
  }
  PackPoints(words, count, size.pointBits, points, PackedPoints(size, count));
  OuterForward(into, points, n, size.pointBits, HalfZero(size, count));
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

namespace {

// What the lane transforms do with an operand after its outer pass: its spectrum, its product with
// a spectrum left in the transform domain, or the product (plus sign·s when s is given) taken back
// through the inverse transform and carried into the points.
enum class LaneWork { kSpectrum, kProduct, kConvolution };

void LaneWorkOn(LaneWork work, double* x, const double* spectrum, const double* s, double sign,
                uint64_t m) {
  switch (work) {
    case LaneWork::kSpectrum:
      return LaneForward(x, m);
    case LaneWork::kProduct:
      return LaneMultiply(x, spectrum, m);
    case LaneWork::kConvolution:
      if (s != nullptr) return LaneConvolveAdd(x, spectrum, s, sign, m);
      return LaneConvolve(x, spectrum, m);
  }
}

// The shared passes, each one step: packing by eighths of the points (with `beside`), the outer
// pass by eighths of the vectors, the lane transforms' top passes by ranges of butterflies, and the
// inverse tail (top pass, outer pass with its carry chains joined, negacyclic reduction).
struct SharedPasses {
  const FftSize& size;
  uint32_t* points;
  SharedSteps& steps;
  uint64_t n = size.points / 2;
  uint64_t m = n / 4;

  Range Vectors(uint32_t chunk) const { return ChunkOf(m, chunk, kShareChunks, 4); }
  Range Butterflies(uint32_t chunk) const { return ChunkOf(m / 4, chunk, kShareChunks, 1); }
  // With the words read by the outer pass, packing leaves only the chunks beside it.
  void PackChunkOf(const uint32_t* words, uint64_t count, const ChunkBody* beside,
                   uint32_t chunk) const {
    if (!OuterReadsWords()) {
      PackChunk(words, count, size.pointBits, points, PackedPoints(size, count), chunk);
    }
    if (beside != nullptr) (*beside)(chunk);
  }
  void Pack(const uint32_t* words, uint64_t count, const ChunkBody* beside) const {
    if (OuterReadsWords() && beside == nullptr) return;
    RunSharedStep(steps, kShareChunks,
                  [&](uint32_t chunk) { PackChunkOf(words, count, beside, chunk); });
  }
  void Outer(const uint32_t* words, uint64_t count, double* x) const {
    const bool halfZero = HalfZero(size, count);
    RunSharedStep(steps, kShareChunks, [&](uint32_t chunk) {
      const Range r = Vectors(chunk);
      if (OuterReadsWords()) {
        OuterForwardWordsRange(x, words, count, n, size.pointBits, halfZero, r.from, r.to);
      } else {
        OuterForwardRange(x, points, n, size.pointBits, halfZero, r.from, r.to);
      }
    });
  }
  void ForwardTop(double* x) const {
    RunSharedStep(steps, kShareChunks, [&](uint32_t chunk) {
      const Range r = Butterflies(chunk);
      LaneForwardTop(x, m, r.from, r.to);
    });
  }
  uint32_t InverseTail(double* x) const {
    RunSharedStep(steps, kShareChunks, [&](uint32_t chunk) {
      const Range r = Butterflies(chunk);
      LaneInverseTop(x, m, r.from, r.to);
    });
    ChainCarries carries[kShareChunks];
    RunSharedStep(steps, kShareChunks, [&](uint32_t chunk) {
      const Range r = Vectors(chunk);
      OuterInverseRange(x, points, n, size.pointBits, r.from, r.to, &carries[chunk]);
    });
    return ReduceNegacyclic(points, size.points, size.pointBits,
                            JoinChains(points, n, size.pointBits, carries, kShareChunks));
  }
};

// One operand through the pipeline into x; returns the top of a convolution (else 0), on shared
// passes when steps are given (the quarters of the lane transforms one chunk each).
uint32_t RunOperand(const FftSize& size, const uint32_t* words, uint64_t count, double* x,
                    uint32_t* points, LaneWork work, const double* spectrum, const double* s,
                    double sign, SharedSteps* steps, const ChunkBody* beside) {
  const uint64_t m = size.points / 8;
  if (steps == nullptr) {
    if (beside != nullptr) {
      for (uint32_t chunk = 0; chunk < kShareChunks; chunk++) (*beside)(chunk);
    }
    LoadOperand(size, words, count, x, points);
    LaneWorkOn(work, x, spectrum, s, sign, m);
    if (work != LaneWork::kConvolution) return 0;
    return ReduceNegacyclic(points, size.points, size.pointBits,
                            OuterInverseCarry(x, points, size.points / 2, size.pointBits));
  }
  ZX_ASSERT(m > kLaneLeafVectors);
  const SharedPasses passes{size, points, *steps};
  const uint64_t quarter = m / 4;
  passes.Pack(words, count, beside);
  passes.Outer(words, count, x);
  passes.ForwardTop(x);
  RunSharedStep(*steps, 4, [&](uint32_t k) {
    const uint64_t offset = 8 * quarter * k;
    LaneWorkOn(work, x + offset, spectrum == nullptr ? nullptr : spectrum + offset,
               s == nullptr ? nullptr : s + offset, sign, quarter);
  });
  return work == LaneWork::kConvolution ? passes.InverseTail(x) : 0;
}

// a·b on shared passes: b packs beside a's first lane pass, once the points array is free, and
// the quarters of a's lane transform run beside those of the convolution.
uint32_t ConvolveTwoShared(const FftSize& size, const uint32_t* a, uint64_t la, const uint32_t* b,
                           uint64_t lb, const Workspace& workspace, SharedSteps& steps,
                           const ChunkBody* besideA, const ChunkBody* besideB) {
  const SharedPasses passes{size, workspace.points, steps};
  const uint64_t quarter = passes.m / 4;
  passes.Pack(a, la, besideA);
  passes.Outer(a, la, workspace.first);
  RunSharedStep(steps, 2 * kShareChunks, [&](uint32_t chunk) {
    if (chunk < kShareChunks) {
      const Range r = passes.Butterflies(chunk);
      LaneForwardTop(workspace.first, passes.m, r.from, r.to);
    } else {
      passes.PackChunkOf(b, lb, besideB, chunk - kShareChunks);
    }
  });
  passes.Outer(b, lb, workspace.second);
  passes.ForwardTop(workspace.second);
  RunSharedStep(steps, 4, [&](uint32_t k) {
    const uint64_t offset = 8 * quarter * k;
    LaneForward(workspace.first + offset, quarter);
    LaneConvolve(workspace.second + offset, workspace.first + offset, quarter);
  });
  return passes.InverseTail(workspace.second);
}

}  // namespace

void TransformOperand(const FftSize& size, const uint32_t* words, uint64_t count, double* into,
                      uint32_t* points, SharedSteps* steps, const ChunkBody* beside) {
  RunOperand(size, words, count, into, points, LaneWork::kSpectrum, nullptr, nullptr, 0, steps,
             beside);
}

void MultiplyWithSpectrum(const FftSize& size, const uint32_t* words, uint64_t count,
                          const double* spectrum, double* into, uint32_t* points,
                          SharedSteps* steps, const ChunkBody* beside) {
  RunOperand(size, words, count, into, points, LaneWork::kProduct, spectrum, nullptr, 0, steps,
             beside);
}

uint32_t ConvolveWithSpectrum(const FftSize& size, const uint32_t* words, uint64_t count,
                              const double* spectrum, const Workspace& workspace,
                              SharedSteps* steps, const ChunkBody* beside) {
  return RunOperand(size, words, count, workspace.second, workspace.points, LaneWork::kConvolution,
                    spectrum, nullptr, 0, steps, beside);
}

uint32_t ConvolveWithSpectrumAdd(const FftSize& size, const uint32_t* words, uint64_t count,
                                 const double* spectrum, const double* product, double sign,
                                 const Workspace& workspace, SharedSteps* steps,
                                 const ChunkBody* beside) {
  return RunOperand(size, words, count, workspace.second, workspace.points, LaneWork::kConvolution,
                    spectrum, product, sign, steps, beside);
}

uint32_t ConvolveWords(const FftSize& size, const uint32_t* a, uint64_t la, const uint32_t* b,
                       uint64_t lb, const Workspace& workspace, SharedSteps* steps,
                       const ChunkBody* besideA, const ChunkBody* besideB) {
  if (b == nullptr) return ConvolveWithSpectrum(size, a, la, nullptr, workspace, steps, besideA);
  if (steps != nullptr) {
    return ConvolveTwoShared(size, a, la, b, lb, workspace, *steps, besideA, besideB);
  }
  TransformOperand(size, a, la, workspace.first, workspace.points, nullptr, besideA);
  return ConvolveWithSpectrum(size, b, lb, workspace.first, workspace, nullptr, besideB);
}

}  // namespace zx::fft
