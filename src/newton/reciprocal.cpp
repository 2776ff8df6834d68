// Each level costs one full-length product (x·r at n + 6 words) and one half-length product (the
// correction, cut to m + 3 words since it only needs the previous approximation's words).
#include "newton/reciprocal.hpp"

#include "multiply/multiply.hpp"
#include "newton/newton_common.hpp"

namespace zx {
namespace {

// The hardware seed 1/d refined by one step at four words.
void ReciprocalSeed(AllocationHeap* heap, BigFloat& x, BigFloat& out) {
  int64_t wordExponent = 0;
  const double d = BigFloatIsZero(x) ? 0.0 : BigFloatToDouble(heap, x, &wordExponent);
  if (BigFloatIsZero(x)) wordExponent = 0;
  BigFloatFromDouble(heap, out, 1.0 / d);
  out.exponent -= wordExponent;
  BigFloat t, u, v, sum;
  BigFloatMultiplyKeep(heap, x, out, t, 4 + 3, 0);
  OneMinus(heap, t, u, 4);
  BigFloatMultiplyKeep(heap, u, out, v, 7, 0);
  BigFloatAdd(heap, out, v, sum, 4);
  BigFloatRelease(t);
  BigFloatRelease(u);
  BigFloatRelease(v);
  BigFloatRelease(out);
  out = sum;
}

// One Newton level from m correct words to n: out = out + out·(1 − x·out).
template <Storage kStorage>
void RefineReciprocal(AllocationHeap* heap, BigFloat& x, BigFloat& out, uint64_t n, uint64_t m,
                      uint32_t threadExponent) {
  StageOut<kStorage>(heap, x);
  StageOut<kStorage>(heap, out);
  BigFloat t, u, v, sum;
  BigFloatMultiplyKeep(heap, x, out, t, n + 6, threadExponent);
  StageOut<kStorage>(heap, x);
  StageOut<kStorage>(heap, t);
  OneMinus(heap, t, u, n + 3);
  BigFloatRelease(t);
  StageOut<kStorage>(heap, u);
  BigFloatMultiplyKeep(heap, u, out, v, m + 3, threadExponent);
  BigFloatRelease(u);
  BigFloatAdd(heap, out, v, sum, n + 3);
  BigFloatRelease(v);
  BigFloatRelease(out);
  out = sum;
  BigIntShrink(out.magnitude);
  StageOut<kStorage>(heap, out);
}

}  // namespace

void ReciprocalStaged(AllocationHeap* heap, BigFloat& x, BigFloat& out, uint64_t n, uint32_t stage,
                      bool progress, uint32_t threadExponent) {
  NewtonSchedule(
      n, stage, progress, [&] { ReciprocalSeed(heap, x, out); },
      [&](uint64_t level, uint64_t m, bool staged) {
        if (staged) {
          RefineReciprocal<Storage::kSwap>(heap, x, out, level, m, threadExponent);
        } else {
          RefineReciprocal<Storage::kMemory>(heap, x, out, level, m, threadExponent);
        }
      });
}

void Reciprocal(AllocationHeap* heap, BigFloat& x, BigFloat& out, uint64_t n, bool progress,
                uint32_t threadExponent) {
  ReciprocalStaged(heap, x, out, n, 0, progress, threadExponent);
}

namespace {

template <Storage kStorage>
void InvertInPlaceImpl(AllocationHeap* heap, BigFloat& x, uint64_t n, bool progress,
                       uint32_t threadExponent) {
  const uint64_t threshold = kStorage == Storage::kSwap ? kStagedMinWords : 3;
  if (n < threshold) {
    BigFloat r;
    Reciprocal(heap, x, r, n, false, threadExponent);
    BigFloatRelease(x);
    x = r;
    return;
  }
  const uint64_t m = n / 2 + 1;
  BigFloat r;
  PushMarker(progress, '0');
  if constexpr (kStorage == Storage::kSwap) {
    ReciprocalStaged(heap, x, r, m, 1, progress, threadExponent);
  } else {
    Reciprocal(heap, x, r, m, progress, threadExponent);
  }
  PopMarker(progress);
  StageOut<kStorage>(heap, x);
  StageOut<kStorage>(heap, r);
  PrintIterating(progress, m);
  // x·r consumes x: the old value is no longer needed once the residual is formed.
  if (!BigFloatIsZero(x)) {
    BigFloat product;
    BigFloatMultiplyKeep(heap, x, r, product, n + 6, threadExponent);
    BigFloatRelease(x);
    x = product;
  }
  StageOut<kStorage>(heap, r);
  BigFloat u;
  OneMinus(heap, x, u, n + 3);
  BigFloatRelease(x);
  StageOut<kStorage>(heap, u);
  if (!BigFloatIsZero(u)) {
    BigFloat correction;
    BigFloatMultiplyKeep(heap, u, r, correction, n / 2 + 4, threadExponent);
    BigFloatRelease(u);
    u = correction;
  }
  BigFloatAdd(heap, r, u, x, n + 3);
  BigFloatRelease(r);
  BigFloatRelease(u);
  BigIntShrink(x.magnitude);
}

}  // namespace

void Divide(AllocationHeap* heap, BigFloat& a, BigFloat& x, BigFloat& out, uint64_t n,
            bool progress, uint32_t threadExponent) {
  BigFloat r;
  if (n < 3 || BigFloatIsZero(a)) {
    Reciprocal(heap, x, r, n, false, threadExponent);
    BigFloatMultiplyKeep(heap, a, r, out, n + 3, threadExponent);
    BigFloatRelease(r);
    return;
  }
  const uint64_t m = n / 2 + 1;
  PushMarker(progress, '0');
  Reciprocal(heap, x, r, m, progress, threadExponent);
  PopMarker(progress);
  PrintIterating(progress, m);
  // The leading half of the quotient needs only the leading half of a.
  BigFloat head, q;
  LeadingWords(heap, a, head, m);
  BigFloatMultiplyKeep(heap, head, r, q, m + 3, threadExponent);
  BigFloatRelease(head);
  // a − x·q is about 2^(−32m) of a: its leading m words cancel, so x·q is formed to n + 6 words
  // and the residual kept to n + 3, as the reciprocal's own last step does with 1 − x·r.
  BigFloat product, residual;
  BigFloatMultiplyKeep(heap, x, q, product, n + 6, threadExponent);
  BigFloatNegate(product);
  BigFloatAdd(heap, a, product, residual, n + 3);
  BigFloatRelease(product);
  BigFloat correction;
  if (!BigFloatIsZero(residual)) {
    BigFloatMultiplyKeep(heap, residual, r, correction, n / 2 + 4, threadExponent);
  }
  BigFloatRelease(residual);
  BigFloatRelease(r);
  BigFloatAdd(heap, q, correction, out, n + 3);
  BigFloatRelease(q);
  BigFloatRelease(correction);
  BigIntShrink(out.magnitude);
}

void InvertInPlace(AllocationHeap* heap, BigFloat& x, uint64_t n, bool progress,
                   uint32_t threadExponent) {
  InvertInPlaceImpl<Storage::kMemory>(heap, x, n, progress, threadExponent);
}

void InvertInPlaceStaged(AllocationHeap* heap, BigFloat& x, uint64_t n, bool progress,
                         uint32_t threadExponent) {
  InvertInPlaceImpl<Storage::kSwap>(heap, x, n, progress, threadExponent);
}

}  // namespace zx
