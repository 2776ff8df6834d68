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

// The spectrum of words[0..count) in `into` (L doubles); count·32 ≤ L·b.
void TransformOperand(const FftSize& size, const uint32_t* words, uint64_t count, double* into,
                      uint32_t* points);

// workspace.points ← the product of the operand words and the operand whose spectrum is given
// (null: the operand squared) modulo 2^(L·b) + 1, as L points below 2^b; returns 1 only for the
// residue 2^(L·b) (points all zero). A product below 2^(L·b) comes out exactly.
uint32_t ConvolveWithSpectrum(const FftSize& size, const uint32_t* words, uint64_t count,
                              const double* spectrum, const Workspace& workspace);

// workspace.points ← a·b modulo 2^(L·b) + 1 (b null: a²); returns the top as above.
uint32_t ConvolveWords(const FftSize& size, const uint32_t* a, uint64_t la, const uint32_t* b,
                       uint64_t lb, const Workspace& workspace);

// ConvolveWords on two threads (L ≥ 2^14 points): every pass shared by ranges, the quarters of the
// lane transforms two each, the threads meeting between passes. finish(half) then runs on both
// threads with the points final and *top set. False, with nothing done, when the second thread
// could not be started.
bool ConvolveWordsOnPair(const FftSize& size, const uint32_t* a, uint64_t la, const uint32_t* b,
                         uint64_t lb, const Workspace& workspace, uint32_t* top,
                         const std::function<void(uint32_t half)>& finish);

}  // namespace zx::fft
