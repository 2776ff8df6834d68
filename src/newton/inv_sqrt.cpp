// Each level costs one squaring (cut to n + 6 words), one full product and one half-length
// correction product (m + 3 words). The seed step is single-threaded on 4 to 7 words.
#include "newton/inv_sqrt.hpp"

#include <cmath>

#include "multiply/multiply.hpp"
#include "newton/newton_common.hpp"

namespace zx {
namespace {

// e = (1 − x·r²)/2, with r², x·r² and e cut to `words` words.
template <Storage kStorage>
void HalfResidual(AllocationHeap* heap, BigFloat& x, BigFloat& r, BigFloat& e, uint64_t words,
                  uint32_t threadExponent) {
  BigFloat s;
  BigFloatSquare(heap, r, s, words, threadExponent);
  BigIntShrink(s.magnitude);
  StageOut<kStorage>(heap, s);
  BigFloatMultiply(heap, s, x, words, threadExponent);
  OneMinus(heap, s, e, words);
  BigFloatRelease(s);
  Halve(heap, e);
  StageOut<kStorage>(heap, e);
}

// One Newton level from m correct words to n: out = out + out·(1 − x·out²)/2. The seed step is
// the same with every product cut to 7 words and the sum to 4.
template <Storage kStorage>
void RefineInvSqrt(AllocationHeap* heap, BigFloat& x, BigFloat& out, uint64_t n, uint64_t m,
                   uint32_t threadExponent) {
  StageOut<kStorage>(heap, out);
  const bool seed = n == 1;
  const uint64_t sumWords = seed ? 4 : n + 3;
  BigFloat e, v, sum;
  HalfResidual<kStorage>(heap, x, out, e, sumWords, threadExponent);
  BigFloatMultiplyKeep(heap, e, out, v, seed ? 7 : m + 3, threadExponent);
  BigFloatRelease(e);
  BigFloatAdd(heap, out, v, sum, sumWords);
  BigFloatRelease(v);
  BigFloatRelease(out);
  out = sum;
}

void InvSqrtSeed(AllocationHeap* heap, BigFloat& x, BigFloat& out) {
  int64_t wordExponent = 0;
  const double d = BigFloatIsZero(x) ? 0.0 : BigFloatToDouble(heap, x, &wordExponent);
  if (BigFloatIsZero(x)) wordExponent = 0;
  BigFloatFromDouble(heap, out, 1.0 / std::sqrt(d));
  // x = d·2^(32e): half a word of exponent is 16 bits.
  out.exponent -= wordExponent >> 1;
  if ((wordExponent & 1) != 0) BigFloatShiftBits(heap, out, -16);
  RefineInvSqrt<Storage::kMemory>(heap, x, out, 1, 1, 0);
}

void InvSqrtIntSeed(AllocationHeap* heap, BigFloat& value, uint32_t n, BigFloat& out) {
  BigFloatFromDouble(heap, out, 1.0 / std::sqrt(static_cast<double>(n)));
  RefineInvSqrt<Storage::kMemory>(heap, value, out, 1, 1, 0);
}

template <class Seed>
void InvSqrtSchedule(AllocationHeap* heap, BigFloat& x, BigFloat& out, uint64_t n, uint32_t stage,
                     bool progress, uint32_t threadExponent, const Seed& seed) {
  NewtonSchedule(n, stage, progress, seed, [&](uint64_t level, uint64_t m, bool staged) {
    if (staged) {
      RefineInvSqrt<Storage::kSwap>(heap, x, out, level, m, threadExponent);
    } else {
      RefineInvSqrt<Storage::kMemory>(heap, x, out, level, m, threadExponent);
    }
  });
}

}  // namespace

void InvSqrtStaged(AllocationHeap* heap, BigFloat& x, BigFloat& out, uint64_t n, uint32_t stage,
                   bool progress, uint32_t threadExponent) {
  InvSqrtSchedule(heap, x, out, n, stage, progress, threadExponent,
                  [&] { InvSqrtSeed(heap, x, out); });
}

void InvSqrt(AllocationHeap* heap, BigFloat& x, BigFloat& out, uint64_t n, bool progress,
             uint32_t threadExponent) {
  InvSqrtStaged(heap, x, out, n, 0, progress, threadExponent);
}

void InvSqrtInt(AllocationHeap* heap, uint32_t value, BigFloat& out, uint64_t n, bool progress,
                uint32_t threadExponent) {
  BigFloat number;
  BigFloatSetWord(heap, number, value);
  InvSqrtSchedule(heap, number, out, n, 0, progress, threadExponent,
                  [&] { InvSqrtIntSeed(heap, number, value, out); });
  BigFloatRelease(number);
}

void MultiplyByInvSqrtInt(AllocationHeap* heap, BigFloat& a, uint32_t value, BigFloat& out,
                          uint64_t n, bool progress, uint32_t threadExponent) {
  BigFloat root;
  if (n <= 2 || BigFloatIsZero(a)) {
    InvSqrtInt(heap, value, root, n, progress, threadExponent);
    BigFloatMultiplyKeep(heap, a, root, out, n + 3, threadExponent);
    BigFloatRelease(root);
    return;
  }
  const uint64_t m = NewtonHalf(n);
  PushMarker(progress, '0');
  InvSqrtInt(heap, value, root, m, progress, threadExponent);
  PopMarker(progress);
  PrintIterating(progress, m);
  BigFloat number, e;
  BigFloatSetWord(heap, number, value);
  HalfResidual<Storage::kMemory>(heap, number, root, e, n + 3, threadExponent);
  BigFloatRelease(number);
  // a·r' = a·r + (a·r)·e, where e is about 2^(−32m): the correction needs a·r's leading words only.
  BigFloat ar, head, correction;
  BigFloatMultiplyKeep(heap, a, root, ar, n + 3, threadExponent);
  BigFloatRelease(root);
  LeadingWords(heap, ar, head, m);
  BigFloatMultiplyKeep(heap, e, head, correction, m + 3, threadExponent);
  BigFloatRelease(head);
  BigFloatRelease(e);
  BigFloatAdd(heap, ar, correction, out, n + 3);
  BigFloatRelease(ar);
  BigFloatRelease(correction);
  BigIntShrink(out.magnitude);
}

void InvSqrtIntStaged(AllocationHeap* heap, uint32_t value, BigFloat& out, uint64_t n,
                      bool progress, uint32_t threadExponent) {
  if (n < kStagedMinWords) {
    PushMarker(progress, ':');
    InvSqrtInt(heap, value, out, n, progress, threadExponent);
    PopMarker(progress);
    return;
  }
  // The integer form stages only its last level.
  const uint64_t m = n / 2 + 1;
  PushMarker(progress, '0');
  PushMarker(progress, ':');
  InvSqrtInt(heap, value, out, m, progress, threadExponent);
  PopMarker(progress);
  PopMarker(progress);
  PrintIterating(progress, m);
  BigFloat number;
  BigFloatSetWord(heap, number, value);
  RefineInvSqrt<Storage::kSwap>(heap, number, out, n, m, threadExponent);
  BigFloatRelease(number);
}

}  // namespace zx
