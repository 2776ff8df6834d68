// Products by the floating-point FFT: the entries for equal and different lengths and squares,
// with truncation, the choice among the rectangular methods, and the process-wide twiddle tables
// they read. Each entry takes its memory from the heap in one piece before the work and returns 0,
// or the bytes it could not get; it never fails its own product (its safety rests on the size
// table), and sizes beyond the table stop the program with "Maximum FFT size Exceeded.".
#pragma once

#include <cstdint>

#include "runtime/allocation_heap.hpp"

namespace zx {

// Operands above this many words prepare no larger tables (they go to the hybrid transform): the
// tables of a product of twice as many words take about 50 MB beside the run's heap.
inline constexpr uint64_t kFftTableMaxWords = 2000000;
// Shorter operands of the chunked routine go to the basecase.
inline constexpr uint64_t kFftChunkMinWords = 58;

// Tables for the transform that a product of two operands of min(sizeWords, kFftTableMaxWords)
// words needs.
// Allocation failure: "Allocation Failure", pause, exit 1.
void PrepareFftTables(uint64_t sizeWords);
// Tables for a product of productWords words, however large (benchmarks).
void PrepareFftTablesForProduct(uint64_t productWords);
void ReleaseFftTables();
// The prepared tables cover the transform of a productWords-word product.
bool FftTablesReach(uint64_t productWords);

// out gets words t .. la + lb − 1 of a·b (nothing when t ≥ la + lb); la, lb ≥ 1. Operand words
// that only feed dropped words are skipped first (TruncateOperands), so with t > min(la, lb) the
// kept value may fall up to 2 below the exact one. Equal lengths, and ratios up to 4, take one
// transform; longer ratios the chunked routine (the short operand's spectrum reused for pieces of
// the long one). Tables missing for the transform are built on the way.
// With a thread exponent above 0, products of one transform from 2^15 points run on two threads.
[[nodiscard]] uint64_t FftMultiply(AllocationHeap* heap, const uint32_t* a, uint64_t la,
                                   const uint32_t* b, uint64_t lb, uint32_t* out, uint64_t t,
                                   uint32_t threadExponent);
// out gets words t .. 2n − 1 of a²; one forward transform. Both entries check the product against
// the residues of its operands and return kProductCheckFailed when they disagree.
[[nodiscard]] uint64_t FftSquare(AllocationHeap* heap, const uint32_t* a, uint64_t n, uint32_t* out,
                                 uint64_t t, uint32_t threadExponent);

// One of two products that share their first operand x: x·y, words t .. into out, and after
// FftMultiplyPair the outcome of its check (0 or kProductCheckFailed).
struct PairedProduct {
  const uint32_t* y;
  uint64_t ly;
  uint64_t t;
  uint32_t* out;
  uint64_t status = 0;
};
inline constexpr uint64_t kPairNotShared = ~uint64_t{0} - 1;
// Both products with x's spectrum formed once: each takes one transform of the longer one's
// length, with the same kept words of x, on one thread. Returns 0 (each product's status set),
// kPairNotShared when the pair does not qualify (nothing done), or the bytes it could not get.
// Every product is non-empty (t below lx + ly) and takes the FFT by size.
[[nodiscard]] uint64_t FftMultiplyPair(AllocationHeap* heap, const uint32_t* x, uint64_t lx,
                                       PairedProduct (&pair)[2], uint32_t threadExponent);

// The products of a series merge, every one kept whole: T = t1·q2 + t2·p1 or t1·q2 − t2·p1
// through one inverse transform, Q = q1·q2 and, when p2 is not empty and its product fits the
// same length (pDone), P = p1·p2, with q2 and p1 transformed once each. The outputs hold
// max(|t1| + |q2|, |t2| + |p1|) + 1 words (T's magnitude, tNegative set when the sum came out
// negative) and the products' lengths.
struct MergeWords {
  const uint32_t* words;
  uint64_t length;
};
struct MergeProducts {
  MergeWords t1, q1, p1, t2, q2, p2;
  bool subtract = false;
  uint32_t* t = nullptr;
  uint32_t* q = nullptr;
  uint32_t* p = nullptr;
  bool tNegative = false;
  bool pDone = false;
  uint64_t status[3] = {};  // of T, Q and P: 0 or kProductCheckFailed
};
uint64_t MergeSumWords(const MergeProducts& merge);
// Returns 0 (statuses set), kPairNotShared when T's and Q's products do not take one transform
// length (lengths within 0.7 of the longest, ratios up to 4, one thread), or the bytes it could
// not get.
// Every operand is non-empty and takes the FFT by size.
[[nodiscard]] uint64_t FftMergeProducts(AllocationHeap* heap, MergeProducts& merge,
                                        uint32_t threadExponent);

// The ring for a product wanted only modulo 2^(32n) + 1: the n of the cheapest negacyclic
// transform with n ≥ minWords whose twiddle factors are already prepared (no table grows for it);
// false where there is none.
bool FftRingWords(uint64_t minWords, uint64_t* ringWords);
// out[0..n] = a·b modulo 2^(32n) + 1, reduced (out[n] is 1 only for 2^(32n) itself), for n from
// FftRingWords and operands of 1 to n words: one negacyclic transform, about half the length of
// the whole product's. Not checked here (its caller checks what it forms from it), but a planted
// fault counts it as a checked product. Returns 0, or the bytes it could not get.
[[nodiscard]] uint64_t FftMultiplyRing(AllocationHeap* heap, const uint32_t* a, uint64_t la,
                                       const uint32_t* b, uint64_t lb, uint64_t ringWords,
                                       uint32_t* out, uint32_t threadExponent);

#if defined(ZX_TEST_HOOKS)
// The next `products` checked FFT products each change one digit before the check.
void FftInjectFaults(uint32_t products);
#endif

// Heap bytes the entries take.
uint64_t FftMultiplyScratchBytes(uint64_t la, uint64_t lb, uint64_t t);
uint64_t FftSquareScratchBytes(uint64_t n, uint64_t t);
// Estimate for a balanced n-word product: n·8 bytes of product plus 20·L bytes of transform
// arrays and 64 bytes of alignment slack, L from the row holding 64·n bits; below 58 words the
// product plus the basecase's scratch.
uint64_t FftMemoryBytes(uint64_t n);

}  // namespace zx
