// Pointwise products modulo 2^(32n) + 1. An operand equal to 2^(32n) is −1, so its product is
// the other operand negated; every other product is an ordinary one folded by 2^(32n) ≡ −1.
#include "multiply/hybrid/hybrid_pointwise.hpp"

#include <vector>

#include "multiply/hybrid/hybrid_limbs.hpp"
#include "multiply/hybrid/hybrid_ring.hpp"
#include "multiply/hybrid/hybrid_tables.hpp"
#include "shell/fatal.hpp"

namespace zx {
namespace {

// Folds the 2n-word product in wide (n words high, n words low) into out: low − high.
void FoldNegacyclic(const uint32_t* wide, uint32_t* out, uint64_t ringWords) {
  const uint64_t limbs = ringWords / 2;
  unsigned char borrow = 0;
  for (uint64_t i = 0; i < limbs; ++i) {
    StoreLimb(out, i, SubWithBorrow(LoadLimb(wide, i), LoadLimb(wide, limbs + i), borrow));
  }
  RingNormalize(out, ringWords, -static_cast<int64_t>(borrow));
}

// Copies x (reduced) into out and negates it there; out may be x.
void NegatedCopy(const uint32_t* x, uint32_t* out, uint64_t ringWords) {
  if (out != x) {
    for (uint64_t i = 0; i < ringWords + 2; ++i) out[i] = x[i];
  }
  RingNegate(out, ringWords);
}

}  // namespace

void HybridNegacyclicBasecase(const uint32_t* a, const uint32_t* b, uint32_t* out,
                              uint64_t ringWords) {
  const uint64_t n = ringWords;
  if (RingTop(a, n) != 0 || RingTop(b, n) != 0) {
    if (RingTop(a, n) != 0 && RingTop(b, n) != 0) {
      // (−1)·(−1)
      for (uint64_t i = 0; i < n + 2; ++i) out[i] = 0;
      out[0] = 1;
    } else {
      NegatedCopy(RingTop(a, n) != 0 ? b : a, out, n);
    }
    return;
  }
  constexpr uint64_t kStackWords = 2 * kHybridDirectBelowWords;
  uint32_t stackWide[kStackWords];
  std::vector<uint32_t> heapWide;
  uint32_t* wide = stackWide;
  if (2 * n > kStackWords) {
    heapWide.resize(2 * n);
    wide = heapWide.data();
  }
  for (uint64_t i = 0; i < 2 * n; ++i) wide[i] = 0;
  for (uint64_t i = 0; i < n; ++i) {
    uint64_t carry = 0;
    const uint64_t ai = a[i];
    for (uint64_t j = 0; j < n; ++j) {
      const uint64_t t = ai * b[j] + wide[i + j] + carry;
      wide[i + j] = static_cast<uint32_t>(t);
      carry = t >> 32;
    }
    wide[i + n] = static_cast<uint32_t>(carry);
  }
  FoldNegacyclic(wide, out, n);
}

HybridPointwise HybridPointwiseFor(uint64_t ringWords, bool square) {
  HybridPointwise context;
  context.ringWords = ringWords;
  context.direct = ringWords < kHybridDirectBelowWords;
  if (!context.direct) {
    if (!NegacyclicPlanFor(ringWords, &context.plan)) {
      FatalAssertion(kImpossibleResult, "Hybrid Number-Theoretic Transform",
                     "Ring size missing from the negacyclic table.");
    }
    context.scratchDoubles = square ? NegacyclicSquareScratchDoubles(context.plan)
                                    : NegacyclicScratchDoubles(context.plan);
  }
  return context;
}

void HybridPointwisePrepare(const HybridPointwise& context) {
  if (!context.direct) PrepareNegacyclic(context.plan);
}

void HybridPointwiseMultiply(const HybridPointwise& context, uint32_t* a, const uint32_t* b,
                             double* scratch) {
  if (!context.direct) {
    NegacyclicMultiply(context.plan, a, b, a, scratch);
    return;
  }
  HybridNegacyclicBasecase(a, b, a, context.ringWords);
}

void HybridPointwiseSquare(const HybridPointwise& context, uint32_t* a, double* scratch) {
  if (!context.direct) {
    NegacyclicSquare(context.plan, a, a, scratch);
    return;
  }
  HybridNegacyclicBasecase(a, a, a, context.ringWords);
}

}  // namespace zx
