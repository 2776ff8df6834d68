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
  // P1 and Q2 each enter two products: each is transformed once for both where it can be, and
  // where nothing is cut T's two products are summed before their one inverse transform.
  if (BigFloatMergeProducts(heap, t1, q1, p1, t2, q2, wantP ? &p2 : nullptr, out.part[kPartT],
                            out.part[kPartQ], wantP ? &out.part[kPartP] : nullptr, remainingAtA + 3,
                            remainingAtM + 3, threads)) {
    for (PqtNode* node : {&left, &right}) {
      for (BigFloat& part : node->part) BigFloatRelease(part);
    }
    BigFloatNormalize(heap, out.part[kPartT]);
    return;
  }
  BigFloat t2p1;
  if (wantP) {
    BigFloatMultiplyKeepPair(heap, p1, t2, t2p1, remainingAtM + 3, p2, out.part[kPartP],
                             remainingAtA + 3, threads);
    BigFloatRelease(p2);
  } else {
    BigFloatMultiplyKeep(heap, t2, p1, t2p1, remainingAtM + 3, threads);
  }
  BigFloatRelease(t2);
  BigFloatRelease(p1);
  BigFloat t1q2;
  BigFloatMultiplyKeepPair(heap, q2, t1, t1q2, remainingAtA + 3, q1, out.part[kPartQ],
                           remainingAtA + 3, threads);
  BigFloatRelease(t1);
  BigFloatRelease(q1);
  BigFloatRelease(q2);
  BigFloatAdd(heap, t1q2, t2p1, out.part[kPartT], remainingAtA);
  BigFloatRelease(t1q2);
  BigFloatRelease(t2p1);
  BigFloatNormalize(heap, out.part[kPartT]);
}

}  // namespace zx
