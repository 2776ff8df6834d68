#include "constants/ratio_finish.hpp"

#include "constants/stage_lines.hpp"
#include "multiply/multiply.hpp"
#include "newton/reciprocal.hpp"

namespace zx {
namespace {

void CompactInHeap(BigFloat& a) {
  if (a.magnitude.words != nullptr && a.magnitude.length != 0) {
    a.magnitude.words = static_cast<uint32_t*>(HeapCompact(a.magnitude.words));
  }
}

}  // namespace

template <Storage kStorage>
void FinishRatio(AllocationHeap* heap, BigFloat& t, BigFloat& q, const RatioFinish& finish,
                 BigFloat& result, uint64_t precisionWords, uint32_t threadExponent, bool show) {
  const uint64_t w = precisionWords + 2;
  // Each product may keep the two guard words of w and three of its own.
  const uint64_t cap = precisionWords + 5;
  StageLine(show, "Finalizing...");
  BigFloat constant, numerator, sum;
  BigFloatSetWord(heap, constant, finish.termZero);
  BigFloatMultiplyKeep(heap, q, constant, numerator, cap, threadExponent);
  BigFloatRelease(constant);
  BigFloatAdd(heap, numerator, t, sum, w);
  BigFloatRelease(numerator);
  BigFloatRelease(t);
  StageOut<kStorage>(heap, sum);
  BigFloatMulWordKeep(heap, q, finish.denominator, precisionWords + 6);
  DivideInStages<kStorage>(heap, sum, q, result, w, show, threadExponent, [&] {
    CompactInHeap(q);
    StageMultiplying(show, w);
  });
  BigFloatRelease(sum);
  BigFloatRelease(q);
  CompactInHeap(result);
}

template void FinishRatio<Storage::kMemory>(AllocationHeap*, BigFloat&, BigFloat&,
                                            const RatioFinish&, BigFloat&, uint64_t, uint32_t,
                                            bool);
template void FinishRatio<Storage::kSwap>(AllocationHeap*, BigFloat&, BigFloat&, const RatioFinish&,
                                          BigFloat&, uint64_t, uint32_t, bool);

}  // namespace zx
