// One product through the floating-point transform: operands packed into points, both forward
// transforms, the pointwise product, the inverse and the carry pass, with the points of the result
// left in the workspace. Every product is taken modulo 2^(L·b) + 1: a plain product stays below
// 2^(L·b) and so comes out exactly, even where a balanced carry made its convolution wrap round;
// a ring product is the residue it asks for. The workspace is two arrays of L doubles and L
// 32-bit points.
#pragma once

#include <cstdint>
#include <functional>

#include "multiply/fft/fft_size_table.hpp"
#include "runtime/threads.hpp"

namespace zx::fft {

struct Workspace {
  double* first;     // L doubles: the spectrum of the first operand
  double* second;    // L doubles: the second operand, then the product
  uint32_t* points;  // L points
};

// Bytes of a workspace for L points, with the slack to align it to 64 bytes.
uint64_t WorkspaceBytes(uint64_t points);
// The two arrays (or, when squaring, one) laid out from memory of WorkspaceBytes(L) bytes.
Workspace CarveWorkspace(void* memory, uint64_t points);
uint64_t SquareWorkspaceBytes(uint64_t points);
Workspace CarveSquareWorkspace(void* memory, uint64_t points);

// Each entry below runs on the calling thread or, given shared steps (from 2^15 points), with
// every pass cut into chunks that the partner thread may take. `beside`, when given, runs for
// chunks 0..kShareChunks − 1 alongside the packing (an operand's residue, for one).
using ChunkBody = std::function<void(uint32_t chunk)>;

// The spectrum of words[0..count) in `into` (L doubles); count·32 ≤ L·b.
void TransformOperand(const FftSize& size, const uint32_t* words, uint64_t count, double* into,
                      uint32_t* points, SharedSteps* steps = nullptr,
                      const ChunkBody* beside = nullptr);

// workspace.points ← the product of the operand words and the operand whose spectrum is given
// (null: the operand squared) modulo 2^(L·b) + 1, as L points below 2^b; returns 1 only for the
// residue 2^(L·b) (points all zero). A product below 2^(L·b) comes out exactly.
uint32_t ConvolveWithSpectrum(const FftSize& size, const uint32_t* words, uint64_t count,
                              const double* spectrum, const Workspace& workspace,
                              SharedSteps* steps = nullptr, const ChunkBody* beside = nullptr);

// A sum of two products through one inverse transform: `into` ← the product of the operand words
// and the spectrum, kept in the transform domain; then workspace.points ← words·spectrum +
// sign·(that product) modulo 2^(L·b) + 1 (sign ±1), returning the top as above.
void MultiplyWithSpectrum(const FftSize& size, const uint32_t* words, uint64_t count,
                          const double* spectrum, double* into, uint32_t* points,
                          SharedSteps* steps = nullptr, const ChunkBody* beside = nullptr);
uint32_t ConvolveWithSpectrumAdd(const FftSize& size, const uint32_t* words, uint64_t count,
                                 const double* spectrum, const double* product, double sign,
                                 const Workspace& workspace, SharedSteps* steps = nullptr,
                                 const ChunkBody* beside = nullptr);

// workspace.points ← a·b modulo 2^(L·b) + 1 (b null: a²); returns the top as above.
uint32_t ConvolveWords(const FftSize& size, const uint32_t* a, uint64_t la, const uint32_t* b,
                       uint64_t lb, const Workspace& workspace, SharedSteps* steps = nullptr,
                       const ChunkBody* besideA = nullptr, const ChunkBody* besideB = nullptr);

// Sharing a product with the partner thread (BeginSharedSteps): every pass is cut into
// kShareChunks ranges, the four quarters of the lane transforms into four.
inline constexpr uint32_t kShareChunks = 8;
struct Range {
  uint64_t from;
  uint64_t to;
};
// Chunk c of `chunks` over [0, count), inner boundaries rounded down to multiples of `align`.
Range ChunkOf(uint64_t count, uint32_t chunk, uint32_t chunks, uint64_t align);

}  // namespace zx::fft
