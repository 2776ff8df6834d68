// The product pipeline on a workspace.
#include "multiply/fft/fft_convolve.hpp"

#include "multiply/fft/fft_outer.hpp"
#include "multiply/fft/fft_points.hpp"
#include "multiply/fft/fft_transform.hpp"

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

}  // namespace

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
