// The basecase family: schoolbook, Karatsuba and Toom-3 products on little-endian arrays of
// 32-bit words, chosen by size. The heap entries take all scratch once, before the work, from
// an AllocationHeap (null: the general allocator) and return 0, or the bytes they could not get;
// the methods below them work in caller-supplied scratch and never allocate.
#pragma once

#include <cstdint>

#include "runtime/allocation_heap.hpp"

namespace zx {

// Method thresholds in words, measured on the operand length (the shorter one for rectangular
// products): schoolbook below the Karatsuba threshold, Toom-3 from the Toom-3 threshold on.
inline constexpr uint64_t kKaratsubaThreshold = 18;
inline constexpr uint64_t kToom3Threshold = 800;
inline constexpr uint64_t kKaratsubaSquareThreshold = 36;
inline constexpr uint64_t kToom3SquareThreshold = 700;

// Full products: out has la + lb (2n) words and must not overlap the operands.
[[nodiscard]] uint64_t BasecaseMultiply(AllocationHeap* heap, const uint32_t* a, uint64_t la,
                                        const uint32_t* b, uint64_t lb, uint32_t* out);
[[nodiscard]] uint64_t BasecaseSquare(AllocationHeap* heap, const uint32_t* a, uint64_t n,
                                      uint32_t* out);
// Truncated products: out gets words t .. la + lb − 1 (nothing when t ≥ la + lb). Operand words
// that only feed dropped words are skipped first (see TruncateOperands), so the kept value may be
// up to 2 below the exact one when any were skipped.
[[nodiscard]] uint64_t BasecaseMultiplyTruncated(AllocationHeap* heap, const uint32_t* a,
                                                 uint64_t la, const uint32_t* b, uint64_t lb,
                                                 uint32_t* out, uint64_t t);
[[nodiscard]] uint64_t BasecaseSquareTruncated(AllocationHeap* heap, const uint32_t* a, uint64_t n,
                                               uint32_t* out, uint64_t t);

// Scratch the full entries take, in bytes.
uint64_t BasecaseScratchBytes(uint64_t la, uint64_t lb);
uint64_t BasecaseSquareScratchBytes(uint64_t n);
// Scratch the truncated entries take (the full product of the kept operand words and its scratch).
uint64_t BasecaseTruncatedScratchBytes(uint64_t la, uint64_t lb, uint64_t t);
uint64_t BasecaseSquareTruncatedScratchBytes(uint64_t n, uint64_t t);

// Operand words that only feed product words below t: equal lengths n drop t − n words from
// both when t > n; otherwise a drops t − lb words when t > lb and b drops t − la when t > la.
// The drop counts come back in dropA, dropB, and t shrinks by both.
struct TruncatedShape {
  uint64_t dropA;
  uint64_t dropB;
  uint64_t t;
};
TruncatedShape TruncateOperands(uint64_t la, uint64_t lb, uint64_t t);

// The operands with those words skipped, in the order given, and the truncation that remains.
struct TruncatedProduct {
  const uint32_t* a;
  uint64_t la;
  const uint32_t* b;
  uint64_t lb;
  uint64_t t;
};
TruncatedProduct SkipTruncatedWords(const uint32_t* a, uint64_t la, const uint32_t* b, uint64_t lb,
                                    uint64_t t);

// Scratch of the methods, in words.
uint64_t KaratsubaScratchWords(uint64_t m);
uint64_t KaratsubaSquareScratchWords(uint64_t m);
uint64_t Toom3ScratchWords(uint64_t n);
uint64_t Toom3SquareScratchWords(uint64_t n);
// The size-chosen method's scratch for an n × n product or an n-word square.
uint64_t BalancedScratchWords(uint64_t n);
uint64_t BalancedSquareScratchWords(uint64_t n);

// r[0..na+nb) = a·b on 64-bit limbs (na, nb ≥ 1), column by column: each limb of the product sums
// its products in a three-limb accumulator, so no partial row goes through memory (faster than
// row sweeps at schoolbook lengths). r overlaps neither operand.
void MulLimbs(const uint64_t* a, uint64_t na, const uint64_t* b, uint64_t nb, uint64_t* r);

// The methods. out never overlaps the operands; scratch holds the method's scratch words.
void MulSchoolbook(const uint32_t* a, uint64_t la, const uint32_t* b, uint64_t lb, uint32_t* out);
void SquareSchoolbook(const uint32_t* a, uint64_t n, uint32_t* out);
// out[0..total) += a·b by schoolbook, the sum fitting in total words.
void AddMulSchoolbook(uint32_t* out, uint64_t total, const uint32_t* a, uint64_t la,
                      const uint32_t* b, uint64_t lb);
void MulKaratsuba(const uint32_t* a, const uint32_t* b, uint64_t n, uint32_t* out,
                  uint32_t* scratch);
void SquareKaratsuba(const uint32_t* a, uint64_t n, uint32_t* out, uint32_t* scratch);
void MulToom3(const uint32_t* a, const uint32_t* b, uint64_t n, uint32_t* out, uint32_t* scratch);
void SquareToom3(const uint32_t* a, uint64_t n, uint32_t* out, uint32_t* scratch);

// n × n product (or square) by the method its size selects; scratch of BalancedScratchWords(n).
void MulBalanced(const uint32_t* a, const uint32_t* b, uint64_t n, uint32_t* out,
                 uint32_t* scratch);
void SquareBalanced(const uint32_t* a, uint64_t n, uint32_t* out, uint32_t* scratch);
// la × lb product by the method min(la, lb) selects, the longer operand taken in pieces; scratch
// of RectangularScratchWords(la, lb).
void MulRectangular(const uint32_t* a, uint64_t la, const uint32_t* b, uint64_t lb, uint32_t* out,
                    uint32_t* scratch);
uint64_t RectangularScratchWords(uint64_t la, uint64_t lb);

// Exact division of r[0..n) by 6 in place, from the top word down; a remainder is fatal.
void DivideExactBy6(uint32_t* r, uint64_t n);

}  // namespace zx
