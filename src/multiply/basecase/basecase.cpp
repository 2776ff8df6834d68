// Entries of the basecase family: the choice of method by size, the rectangular products in
// pieces of the shorter length, truncation, and the scratch sizes, all taken from the heap in
// one piece before any work.
#include "multiply/basecase/basecase.hpp"

#include "multiply/basecase/basecase_ops.hpp"

namespace zx {
namespace {

// out[0..la+lb) += a·b with la ≥ lb: pieces of lb words of a, each an lb × lb product by the
// balanced method added at its offset, and the shorter tail by the same rule with the roles of
// the operands exchanged. Scratch: 2·lb words for a piece's product, then the method's scratch.
void AddMulRectangular(uint32_t* out, const uint32_t* a, uint64_t la, const uint32_t* b,
                       uint64_t lb, uint32_t* scratch) {
  const uint64_t total = la + lb;
  if (lb < kKaratsubaThreshold) {
    AddMulSchoolbook(out, total, a, la, b, lb);
    return;
  }
  uint32_t* piece = scratch;
  uint64_t offset = 0;
  for (; offset + lb <= la; offset += lb) {
    MulBalanced(a + offset, b, lb, piece, scratch + 2 * lb);
    AddWordsInto(out + offset, total - offset, piece, 2 * lb);
  }
  const uint64_t tail = la - offset;
  if (tail != 0) AddMulRectangular(out + offset, b, lb, a + offset, tail, scratch);
}

uint64_t RectangularOrBalancedScratchWords(uint64_t la, uint64_t lb) {
  return la == lb ? BalancedScratchWords(la) : RectangularScratchWords(la, lb);
}

// Scratch of the truncated forms: the full product of the kept operand words, then its scratch.
uint64_t TruncatedScratchWords(uint64_t la, uint64_t lb, uint64_t t, bool square) {
  if (t >= la + lb) return 0;
  const TruncatedShape shape = TruncateOperands(la, lb, t);
  const uint64_t keptA = la - shape.dropA;
  const uint64_t keptB = lb - shape.dropB;
  const uint64_t method =
      square ? BalancedSquareScratchWords(keptA) : RectangularOrBalancedScratchWords(keptA, keptB);
  return keptA + keptB + method;
}

}  // namespace

uint64_t BalancedScratchWords(uint64_t n) {
  if (n < kKaratsubaThreshold) return 0;
  return n < kToom3Threshold ? KaratsubaScratchWords(n) : Toom3ScratchWords(n);
}

uint64_t BalancedSquareScratchWords(uint64_t n) {
  if (n < kKaratsubaSquareThreshold) return 0;
  return n < kToom3SquareThreshold ? KaratsubaSquareScratchWords(n) : Toom3SquareScratchWords(n);
}

uint64_t RectangularScratchWords(uint64_t la, uint64_t lb) {
  const uint64_t m = la < lb ? la : lb;
  if (m < kKaratsubaThreshold) return 0;
  return 2 * m + BalancedScratchWords(m);
}

void MulBalanced(const uint32_t* a, const uint32_t* b, uint64_t n, uint32_t* out,
                 uint32_t* scratch) {
  if (n < kKaratsubaThreshold) {
    MulSchoolbook(a, n, b, n, out);
  } else if (n < kToom3Threshold) {
    MulKaratsuba(a, b, n, out, scratch);
  } else {
    MulToom3(a, b, n, out, scratch);
  }
}

void SquareBalanced(const uint32_t* a, uint64_t n, uint32_t* out, uint32_t* scratch) {
  if (n < kKaratsubaSquareThreshold) {
    SquareSchoolbook(a, n, out);
  } else if (n < kToom3SquareThreshold) {
    SquareKaratsuba(a, n, out, scratch);
  } else {
    SquareToom3(a, n, out, scratch);
  }
}

void MulRectangular(const uint32_t* a, uint64_t la, const uint32_t* b, uint64_t lb, uint32_t* out,
                    uint32_t* scratch) {
  if (la < lb) {
    MulRectangular(b, lb, a, la, out, scratch);
    return;
  }
  if (lb < kKaratsubaThreshold) {
    MulSchoolbook(a, la, b, lb, out);
    return;
  }
  ClearWords(out, la + lb);
  AddMulRectangular(out, a, la, b, lb, scratch);
}

TruncatedShape TruncateOperands(uint64_t la, uint64_t lb, uint64_t t) {
  TruncatedShape shape{0, 0, t};
  if (la == lb) {
    if (t > la) shape.dropA = shape.dropB = t - la;
  } else {
    if (t > lb) shape.dropA = t - lb < la ? t - lb : la;
    if (t > la) shape.dropB = t - la < lb ? t - la : lb;
  }
  shape.t = t - shape.dropA - shape.dropB;
  return shape;
}

TruncatedProduct SkipTruncatedWords(const uint32_t* a, uint64_t la, const uint32_t* b, uint64_t lb,
                                    uint64_t t) {
  const TruncatedShape shape = TruncateOperands(la, lb, t);
  return TruncatedProduct{a + shape.dropA, la - shape.dropA, b + shape.dropB, lb - shape.dropB,
                          shape.t};
}

uint64_t BasecaseScratchBytes(uint64_t la, uint64_t lb) {
  return RectangularOrBalancedScratchWords(la, lb) * sizeof(uint32_t);
}

// The squaring method's rule is applied to 2n, which bounds the scratch of every squaring level.
uint64_t BasecaseSquareScratchBytes(uint64_t n) {
  uint64_t words = 0;
  if (n >= kToom3SquareThreshold) {
    words = Toom3SquareScratchWords(2 * n);
  } else if (n >= kKaratsubaSquareThreshold) {
    words = KaratsubaSquareScratchWords(2 * n);
  }
  return words * sizeof(uint32_t);
}

uint64_t BasecaseTruncatedScratchBytes(uint64_t la, uint64_t lb, uint64_t t) {
  return TruncatedScratchWords(la, lb, t, false) * sizeof(uint32_t);
}

uint64_t BasecaseSquareTruncatedScratchBytes(uint64_t n, uint64_t t) {
  return TruncatedScratchWords(n, n, t, true) * sizeof(uint32_t);
}

uint64_t BasecaseMultiply(AllocationHeap* heap, const uint32_t* a, uint64_t la, const uint32_t* b,
                          uint64_t lb, uint32_t* out) {
  const uint64_t scratchBytes = BasecaseScratchBytes(la, lb);
  uint32_t* scratch = AllocWords32(heap, scratchBytes / sizeof(uint32_t));
  if (scratch == nullptr) return scratchBytes;
  if (la == lb) {
    MulBalanced(a, b, la, out, scratch);
  } else {
    MulRectangular(a, la, b, lb, out, scratch);
  }
  Release(scratch);
  return 0;
}

uint64_t BasecaseSquare(AllocationHeap* heap, const uint32_t* a, uint64_t n, uint32_t* out) {
  const uint64_t scratchBytes = BasecaseSquareScratchBytes(n);
  uint32_t* scratch = AllocWords32(heap, scratchBytes / sizeof(uint32_t));
  if (scratch == nullptr) return scratchBytes;
  SquareBalanced(a, n, out, scratch);
  Release(scratch);
  return 0;
}

uint64_t BasecaseMultiplyTruncated(AllocationHeap* heap, const uint32_t* a, uint64_t la,
                                   const uint32_t* b, uint64_t lb, uint32_t* out, uint64_t t) {
  if (t >= la + lb) return 0;
  const TruncatedProduct kept = SkipTruncatedWords(a, la, b, lb, t);
  const uint64_t scratchBytes = BasecaseTruncatedScratchBytes(la, lb, t);
  uint32_t* product = AllocWords32(heap, scratchBytes / sizeof(uint32_t));
  if (product == nullptr) return scratchBytes;
  uint32_t* scratch = product + kept.la + kept.lb;
  if (kept.la == kept.lb) {
    MulBalanced(kept.a, kept.b, kept.la, product, scratch);
  } else {
    MulRectangular(kept.a, kept.la, kept.b, kept.lb, product, scratch);
  }
  CopyWords(out, product + kept.t, kept.la + kept.lb - kept.t);
  Release(product);
  return 0;
}

uint64_t BasecaseSquareTruncated(AllocationHeap* heap, const uint32_t* a, uint64_t n, uint32_t* out,
                                 uint64_t t) {
  if (t >= 2 * n) return 0;
  const TruncatedShape shape = TruncateOperands(n, n, t);
  const uint64_t kept = n - shape.dropA;
  const uint64_t scratchBytes = BasecaseSquareTruncatedScratchBytes(n, t);
  uint32_t* product = AllocWords32(heap, scratchBytes / sizeof(uint32_t));
  if (product == nullptr) return scratchBytes;
  SquareBalanced(a + shape.dropA, kept, product, product + 2 * kept);
  CopyWords(out, product + shape.t, 2 * kept - shape.t);
  Release(product);
  return 0;
}

}  // namespace zx
