#include "newton/newton_common.hpp"

#include "shell/number_print.hpp"
#include "shell/progress.hpp"

namespace zx {

void OneMinus(AllocationHeap* heap, BigFloat& t, BigFloat& out, uint64_t precisionWords) {
  BigFloat one;
  BigFloatSetWord(heap, one, 1);
  BigFloatNegate(t);
  BigFloatAdd(heap, one, t, out, precisionWords);
  BigFloatNegate(t);
  BigFloatRelease(one);
}

void LeadingWords(AllocationHeap* heap, BigFloat& a, BigFloat& out, uint64_t words) {
  BigFloat zero;
  BigFloatSetZero(zero);
  BigFloatAdd(heap, a, zero, out, words);
}

void Halve(AllocationHeap* heap, BigFloat& a) { BigFloatShiftBits(heap, a, -1); }

void PushMarker(bool progress, char marker) {
  if (progress) LabelPush(marker);
}

void PopMarker(bool progress) {
  if (progress) LabelPop();
}

void PrintIterating(bool progress, uint64_t correctWords) {
  if (!progress) return;
  ProgressPrint("Iterating: ",
                1 + static_cast<uint64_t>(static_cast<double>(correctWords) * kDigitsPerWord));
}

}  // namespace zx
