// Karatsuba products: three half-size products instead of four. The split is at h = ⌈m/2⌉, the
// middle product takes |a0 − a1|·|b0 − b1| so that every operand stays unsigned, and each level
// uses m' = 2h words of scratch (below it, the deeper levels' scratch) and nothing else.
// Cost: O(m^1.585) word products; memory: the level sums m' + m'/2 + ... (KaratsubaScratchWords).
#include <cstdint>

#include "multiply/basecase/basecase.hpp"
#include "multiply/basecase/basecase_ops.hpp"

namespace zx {
namespace {

// Karatsuba needs a middle product that fits below the high one: 3h ≤ 2m.
constexpr uint64_t kKaratsubaStepMinWords = 4;

// r[0..n) = |a − b| with b of nb ≤ n words zero-extended; true when a < b.
bool AbsDiff(uint32_t* r, const uint32_t* a, uint64_t n, const uint32_t* b, uint64_t nb) {
  int order = 0;
  for (uint64_t i = nb; i < n && order == 0; i++) order = a[i] != 0 ? 1 : 0;
  if (order == 0) order = CompareWords(a, b, nb);
  if (order >= 0) {
    const uint32_t borrow = SubWords(r, a, b, nb);
    CopyWords(r + nb, a + nb, n - nb);
    SubWordBorrow(r + nb, n - nb, borrow);
    return false;
  }
  SubWords(r, b, a, nb);
  ClearWords(r + nb, n - nb);
  return true;
}

// out[h..) += L + H ∓ D, where L = out[0..2h), H = out[2h..2m) and D = scratch[0..2h).
void KaratsubaCombine(uint32_t* out, uint64_t m, uint64_t h, uint32_t* scratch, bool subtract) {
  // 2h is even and the high part 2(m − h) words long, so whole limbs cover all three terms.
  const uint64_t highWords = 2 * (m - h);
  int64_t carry = 0;
  for (uint64_t i = 0; i < 2 * h; i += 2) {
    const uint64_t high = i < highWords ? LoadPair(out + 2 * h + i) : 0;
    const uint64_t middle = LoadPair(scratch + i);
    SignedWordPair2 value = static_cast<SignedWordPair2>(LoadPair(out + i)) + high + carry;
    value = subtract ? value - middle : value + middle;
    StorePair(scratch + i, static_cast<uint64_t>(value));
    carry = static_cast<int64_t>(value >> 64);
  }
  // The middle term a0·b1 + a1·b0 is non-negative, so carry ≥ −1 and the borrow it leaves is
  // repaid by the words above.
  carry += AddWords(out + h, out + h, scratch, 2 * h);
  if (carry > 0) {
    AddWordCarry(out + 3 * h, 2 * m - 3 * h, static_cast<uint32_t>(carry));
  } else if (carry < 0) {
    SubWordBorrow(out + 3 * h, 2 * m - 3 * h, static_cast<uint32_t>(-carry));
  }
}

}  // namespace

uint64_t KaratsubaScratchWords(uint64_t m) {
  if (m < kKaratsubaStepMinWords) return 0;
  const uint64_t even = m + (m & 1);
  return even + BalancedScratchWords(even / 2);
}

uint64_t KaratsubaSquareScratchWords(uint64_t m) {
  if (m < kKaratsubaStepMinWords) return 0;
  const uint64_t even = m + (m & 1);
  return even + BalancedSquareScratchWords(even / 2);
}

void MulKaratsuba(const uint32_t* a, const uint32_t* b, uint64_t m, uint32_t* out,
                  uint32_t* scratch) {
  if (m < kKaratsubaStepMinWords) {
    MulSchoolbook(a, m, b, m, out);
    return;
  }
  const uint64_t h = (m + 1) / 2;
  const uint64_t low = m - h;
  uint32_t* deeper = scratch + 2 * h;
  // The differences sit in out until the ends overwrite it.
  const bool negativeA = AbsDiff(out, a, h, a + h, low);
  const bool negativeB = AbsDiff(out + h, b, h, b + h, low);
  MulBalanced(out, out + h, h, scratch, deeper);
  MulBalanced(a, b, h, out, deeper);
  MulBalanced(a + h, b + h, low, out + 2 * h, deeper);
  KaratsubaCombine(out, m, h, scratch, negativeA == negativeB);
}

void SquareKaratsuba(const uint32_t* a, uint64_t m, uint32_t* out, uint32_t* scratch) {
  if (m < kKaratsubaStepMinWords) {
    SquareSchoolbook(a, m, out);
    return;
  }
  const uint64_t h = (m + 1) / 2;
  const uint64_t low = m - h;
  uint32_t* deeper = scratch + 2 * h;
  AbsDiff(out, a, h, a + h, low);
  SquareBalanced(out, h, scratch, deeper);
  SquareBalanced(a, h, out, deeper);
  SquareBalanced(a + h, low, out + 2 * h, deeper);
  KaratsubaCombine(out, m, h, scratch, true);
}

}  // namespace zx
