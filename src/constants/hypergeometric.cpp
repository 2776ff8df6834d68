#include "constants/hypergeometric.hpp"

namespace zx {

void MergePqt(AllocationHeap* heap, PqtNode& left, PqtNode& right, PqtNode& out, bool wantP,
              uint64_t remainingAtA, uint64_t remainingAtM, uint32_t threads) {
  BigFloat& t1 = left.part[kPartT];
  BigFloat& q1 = left.part[kPartQ];
  BigFloat& p1 = left.part[kPartP];
  BigFloat& t2 = right.part[kPartT];
  BigFloat& q2 = right.part[kPartQ];
  BigFloat& p2 = right.part[kPartP];
  BigFloat t2p1;
  BigFloatMultiplyKeep(heap, t2, p1, t2p1, remainingAtM + 3, threads);
  BigFloatRelease(t2);
  if (!wantP) BigFloatRelease(p1);
  BigFloat t1q2;
  BigFloatMultiplyKeep(heap, t1, q2, t1q2, remainingAtA + 3, threads);
  BigFloatRelease(t1);
  BigFloatAdd(heap, t1q2, t2p1, out.part[kPartT], remainingAtA);
  BigFloatRelease(t1q2);
  BigFloatRelease(t2p1);
  BigFloatNormalize(heap, out.part[kPartT]);
  BigFloatMultiplyKeep(heap, q1, q2, out.part[kPartQ], remainingAtA + 3, threads);
  BigFloatRelease(q1);
  BigFloatRelease(q2);
  if (wantP) {
    BigFloatMultiplyKeep(heap, p1, p2, out.part[kPartP], remainingAtA + 3, threads);
    BigFloatRelease(p1);
    BigFloatRelease(p2);
  }
}

}  // namespace zx
