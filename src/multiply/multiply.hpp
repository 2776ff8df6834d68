// The four doors every product and square of the program goes through. They truncate the product
// to the caller's precision, pick the algorithm by operand size, and guard every product with a
// self-check: a product that fails it is recomputed with the same operands, then with operands
// shifted by one bit (which cannot change the result), and the program stops after a third failure.
#pragma once

#include <cstdint>

#include "bignum/bigfloat.hpp"

namespace zx {

// Operand lengths at which the algorithms take over. The FFT takes 0.35 to 0.65 of the hybrid
// transform's time from 8,000 to 5,000,000 words, on one thread or two (zentrix-bench crossover),
// at 3.5 times its memory. From kHybridMinWords on, the memory a run plans for a product is the
// hybrid transform's; the FFT still takes such a product where the heap has room for its arrays
// and its prepared tables reach (up to kFftTableMaxWords), and the hybrid transform takes the
// rest. The switch does not depend on threads: both share a product. Where the build has them,
// the number-theoretic transforms come first on one or two threads, from products of 1,000,000
// words (multiply.cpp), in about the hybrid transform's memory.
inline constexpr uint64_t kFftMinWords = 58;
inline constexpr uint64_t kFftSquareMinWords = 54;
inline constexpr uint64_t kHybridMinWords = 1000000;

// min(threadExponent, the run's multiply-thread cap): the thread parameter callers pass to
// products.
uint32_t MultiplyThreads(uint32_t threadExponent);

// out = a·b without its lowest truncationWords words. attempt counts failed attempts (0 from
// every caller); threadExponent is passed to the large-size algorithms.
void BigIntMultiply(AllocationHeap* heap, BigInt& a, BigInt& b, BigInt& out,
                    uint64_t truncationWords, int32_t attempt, uint32_t threadExponent);
void BigIntSquare(AllocationHeap* heap, BigInt& a, BigInt& out, uint64_t truncationWords,
                  int32_t attempt, uint32_t threadExponent);

// a = a·b keeping p + 3 words (the dropped low words go into the exponent).
void BigFloatMultiply(AllocationHeap* heap, BigFloat& a, BigFloat& b, uint64_t precisionWords,
                      uint32_t threadExponent);
// out = a·b keeping keepWords words: max(0, la + lb − keepWords) low words are dropped into the
// exponent. a and b are left as they are; out must be a different record.
void BigFloatMultiplyKeep(AllocationHeap* heap, BigFloat& a, BigFloat& b, BigFloat& out,
                          uint64_t keepWords, uint32_t threadExponent);
// out1 = x·y1 keeping keep1 words and out2 = x·y2 keeping keep2 words, as two BigFloatMultiplyKeep
// calls would, with x transformed once where both products take the same FFT. y1 and y2 are not x.
void BigFloatMultiplyKeepPair(AllocationHeap* heap, BigFloat& x, BigFloat& y1, BigFloat& out1,
                              uint64_t keep1, BigFloat& y2, BigFloat& out2, uint64_t keep2,
                              uint32_t threadExponent);
// The products of a series merge when all are kept whole (each within its keep: keepA for t1·q2,
// q1·q2 and p1·p2, keepM for t2·p1) and the two of T share an exponent: t = t1·q2 + t2·p1,
// q = q1·q2 and, with p2, p = p1·p2, through one FFT length with q2 and p1 transformed once and T
// summed before its inverse transform. False, with nothing done, where they do not qualify.
bool BigFloatMergeProducts(AllocationHeap* heap, BigFloat& t1, BigFloat& q1, BigFloat& p1,
                           BigFloat& t2, BigFloat& q2, BigFloat* p2, BigFloat& t, BigFloat& q,
                           BigFloat* p, uint64_t keepA, uint64_t keepM, uint32_t threadExponent);
// x = x − a·b for integers a, b > 0 with exponents of 0 or more and x ≥ 0 with exponent 0, where
// the caller knows that |x − a·b| < 2^(32·boundWords): above a·b's zero low words the difference
// is formed modulo 2^(32n) + 1 for the ring just above the words that can change (FftRingWords),
// half the transform of the whole product, and checked against the residues of x, a and b, with
// the front-end's three attempts (the last as a whole product). The result has exponent 0. False,
// with nothing done, where that ring is not to be had (or not in the heap).
bool BigFloatSubtractProductNear(AllocationHeap* heap, BigFloat& x, BigFloat& a, BigFloat& b,
                                 uint64_t boundWords, uint32_t threadExponent);
// a = a² and out = a², keeping p + 3 words.
void BigFloatSquareInPlace(AllocationHeap* heap, BigFloat& a, uint64_t precisionWords,
                           uint32_t threadExponent);
void BigFloatSquare(AllocationHeap* heap, BigFloat& a, BigFloat& out, uint64_t precisionWords,
                    uint32_t threadExponent);

// M(n, t): the heap bytes one n-word by n-word product (or square) takes with 2^t threads, the
// product buffer included. Every memory estimate rests on it, so it bounds the real use.
uint64_t MultiplyMemoryBytes(uint64_t lengthWords, uint32_t threadExponent);

}  // namespace zx
