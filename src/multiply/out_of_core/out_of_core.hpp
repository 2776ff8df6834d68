// Out-of-core products of disk-swapping mode: both operands live on the swap disks and the product
// is written to a new RaidFile, never held whole in memory by the caller. The memory-hungry
// variant reads both operands, multiplies in memory and writes the product; the lean variant cuts
// the operands into blocks and streams the product out diagonal by diagonal, so its working set is
// a few blocks. Both give exactly the words the in-memory product keeps.
#pragma once

#include <cstdint>

#include "bignum/bigint.hpp"

namespace zx {

// Operands shorter than this stay in memory: below it a product's memory is small anyway.
inline constexpr uint64_t kOutOfCoreMinWords = 12000;
// The longer operand may be at most this many times the shorter.
inline constexpr uint64_t kOutOfCoreMaxRatio = 4;
// The lean variant never cuts blocks shorter than this: below it the disk reads, 2·la·lb/B words
// for blocks of B words, would outweigh the products.
inline constexpr uint64_t kLeanMinBlockWords = 2048;

// Whether a product (a square) takes the out-of-core path: operands on disk only, long enough and
// of comparable length.
bool OutOfCoreEligible(const BigInt& a, const BigInt& b);
bool OutOfCoreSquareEligible(const BigInt& a);

// out = a·b (a²) without its lowest t words, on a new RaidFile over the swap disks: out is left
// swapped out (words null). Runs the hungry variant when the heap's free space exceeds its working
// memory, the lean one otherwise. Returns 0, kProductCheckFailed or the bytes wanted; on a
// non-zero status out is zero and no file is left.
[[nodiscard]] uint64_t OutOfCoreMultiply(AllocationHeap* heap, BigInt& a, BigInt& b, BigInt& out,
                                         uint64_t t, uint32_t threadExponent);
[[nodiscard]] uint64_t OutOfCoreSquare(AllocationHeap* heap, BigInt& a, BigInt& out, uint64_t t,
                                       uint32_t threadExponent);

// The variants on RaidFiles. out must hold la + lb − t words (2n − t for squares); the operands'
// low words that only feed dropped product words are never read. a and b may be the same file.
[[nodiscard]] uint64_t OutOfCoreMultiplyHungry(AllocationHeap* heap, RaidFile& a, uint64_t la,
                                               RaidFile& b, uint64_t lb, RaidFile& out, uint64_t t,
                                               uint32_t threadExponent);
[[nodiscard]] uint64_t OutOfCoreSquareHungry(AllocationHeap* heap, RaidFile& a, uint64_t n,
                                             RaidFile& out, uint64_t t, uint32_t threadExponent);
[[nodiscard]] uint64_t OutOfCoreMultiplyLean(AllocationHeap* heap, RaidFile& a, uint64_t la,
                                             RaidFile& b, uint64_t lb, RaidFile& out, uint64_t t,
                                             uint32_t threadExponent);
[[nodiscard]] uint64_t OutOfCoreSquareLean(AllocationHeap* heap, RaidFile& a, uint64_t n,
                                           RaidFile& out, uint64_t t, uint32_t threadExponent);

// Thread exponent of an out-of-core transform of exponent k: min(k − 2, T) from k = 3 on, else 0;
// the second form takes k from the transform a product of productWords words uses.
uint32_t OutOfCoreThreads(uint32_t transformExponent, uint32_t threadExponent);
uint32_t OutOfCoreProductThreads(uint64_t productWords, bool square, uint32_t threadExponent);

// What the heap adds to each piece of a variant: header and sentinel, rounding, a table entry.
inline constexpr uint64_t kOutOfCorePieceBytes = 80;

// The operand words the kept product words need (TruncateOperands): la and lb words from firstA
// and firstB on, whose product is stored from its word t on. la ≥ lb when the lengths were.
struct OutOfCoreShape {
  uint64_t firstA;
  uint64_t la;
  uint64_t firstB;
  uint64_t lb;
  uint64_t t;
};
OutOfCoreShape OutOfCoreShapeFor(uint64_t la, uint64_t lb, uint64_t t);

// Working memory of the hungry variant: operands, product and the transform with its per-thread
// scratch ((2n + 2) words for each of 2^OutOfCoreThreads threads), heap overhead included.
uint64_t OutOfCoreMultiplyMemoryBytes(uint64_t la, uint64_t lb, uint64_t t, uint32_t threadExponent);
uint64_t OutOfCoreSquareMemoryBytes(uint64_t n, uint64_t t, uint32_t threadExponent);
// Working memory of the lean variant with blocks of blockWords words (the last block of an operand
// takes the remainder, up to 2·blockWords − 1), and the least it can work in.
uint64_t OutOfCoreLeanMemoryBytes(uint64_t la, uint64_t lb, uint64_t t, bool square,
                                  uint64_t blockWords, uint32_t threadExponent);
uint64_t OutOfCoreLeanMinimumBytes(uint64_t la, uint64_t lb, uint64_t t, bool square,
                                   uint32_t threadExponent);

}  // namespace zx
