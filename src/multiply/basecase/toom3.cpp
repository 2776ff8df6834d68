// Toom-3 products: operands cut in three pieces of k = ⌈n/3⌉ words, evaluated at 0, 1, −1, 2 and
// infinity, five products of at most k + 1 words, and interpolation with one exact division by 6.
// Each level needs 6k + 2 scratch words beyond the output: the products at 1 and −1 (which become
// their half-sum E and half-difference O) and the product at 0 live in scratch, the product at 2,
// the evaluated operands and the product at infinity in the output, as laid out in Toom3Step.
// Cost: O(n^1.465) word products; memory: Toom3ScratchWords(n).
#include <cstdint>

#include "multiply/basecase/basecase.hpp"
#include "multiply/basecase/basecase_ops.hpp"
#include "shell/fatal.hpp"

namespace zx {
namespace {

// From k = 5 on the regions of the layout below stay apart (n ≥ 2k + 2 and 3k ≥ 2k + 1).
constexpr uint64_t kToom3StepMinWords = 15;

// A[0..k] = a0 + a1 + a2, with a2 of r words.
void EvaluateAtOne(uint32_t* A, const uint32_t* a, uint64_t k, uint64_t r) {
  uint32_t carry = AddWords(A, a, a + k, k);
  carry += AddWordsInto(A, k, a + 2 * k, r);
  A[k] = carry;
}

// A[0..k] = |a0 − a1 + a2|; true when negative.
bool EvaluateAtMinusOne(uint32_t* A, const uint32_t* a, uint64_t k, uint64_t r) {
  CopyWords(A, a, k);
  A[k] = AddWordsInto(A, k, a + 2 * k, r);
  const uint32_t* a1 = a + k;
  if (A[k] != 0 || CompareWords(A, a1, k) >= 0) {
    A[k] -= SubWords(A, A, a1, k);
    return false;
  }
  SubWords(A, a1, A, k);
  return true;
}

// A[0..k] = a0 + 2·(a1 + 2·a2), below 7·2^(32k).
void EvaluateAtTwo(uint32_t* A, const uint32_t* a, uint64_t k, uint64_t r) {
  CopyWords(A, a + k, k);
  uint32_t high = AddMulWord(A, a + 2 * k, r, 2);
  high = AddWordCarry(A + r, k - r, high);
  uint64_t carry = 0;
  for (uint64_t i = 0; i < k; i++) {
    carry += (static_cast<uint64_t>(A[i]) << 1) + a[i];
    A[i] = static_cast<uint32_t>(carry);
    carry >>= 32;
  }
  A[k] = 2 * high + static_cast<uint32_t>(carry);
}

// x[0..n) −= y[0..ny)·m with the borrow taken from the words above.
void SubMulInto(uint32_t* x, uint64_t n, const uint32_t* y, uint64_t ny, uint32_t m) {
  const uint32_t borrow = SubMulWord(x, y, ny, m);
  SubWordBorrow(x + ny, n - ny, borrow);
}

// x[0..n) += y[0..ny), words of y beyond n being zero (they lie above the product).
void AddClipped(uint32_t* x, uint64_t n, const uint32_t* y, uint64_t ny) {
  AddWordsInto(x, n, y, ny < n ? ny : n);
}

// One Toom-3 level. Layout (words), with V the region of the product at 2 and R the evaluated
// operands at the top of out:
//   scratch: [0, 2k+1) v1 → E → c2 | [2k+1, 4k+2) v(−1) → O → c1 | [4k+2, 6k+2) v0 = c0
//   out:     [0, 2k+2) v2 → c3 | [2k+2, 2k+2+2r) v∞ = c4 | [2n−2k−2, 2n) R
// v(−1) is written over v1's top word, which is zero since v1 < 9·2^(64k).
void Toom3Step(const uint32_t* a, const uint32_t* b, uint64_t n, uint32_t* out, uint32_t* scratch,
               bool square) {
  const uint64_t k = (n + 2) / 3;
  const uint64_t r = n - 2 * k;
  uint32_t* deeper = scratch + 6 * k + 2;
  uint32_t* even = scratch;
  uint32_t* odd = scratch + 2 * k + 1;
  uint32_t* low = scratch + 4 * k + 2;
  uint32_t* atTwo = out;
  uint32_t* infinite = out + 2 * k + 2;
  uint32_t* A = out + 2 * n - 2 * k - 2;
  uint32_t* B = A + k + 1;
  auto product = [&](const uint32_t* x, const uint32_t* y, uint64_t len, uint32_t* into) {
    if (square) {
      SquareBalanced(x, len, into, deeper);
    } else {
      MulBalanced(x, y, len, into, deeper);
    }
  };

  EvaluateAtOne(A, a, k, r);
  if (!square) EvaluateAtOne(B, b, k, r);
  product(A, B, k + 1, even);
  // A square's value at −1 is a square too, whatever the sign of the evaluated operand.
  bool negative = EvaluateAtMinusOne(A, a, k, r);
  negative = square ? false : negative != EvaluateAtMinusOne(B, b, k, r);
  product(A, B, k + 1, odd);
  EvaluateAtTwo(A, a, k, r);
  if (!square) EvaluateAtTwo(B, b, k, r);
  product(A, B, k + 1, atTwo);
  product(a, b, k, low);
  product(a + 2 * k, b + 2 * k, r, infinite);

  // E = (v1 + v(−1))/2 = c0 + c2 + c4 and O = (v1 − v(−1))/2 = c1 + c3, both even sums.
  const uint64_t wide = 2 * k + 1;
  int64_t sumCarry = 0;
  int64_t differenceCarry = 0;
  for (uint64_t i = 0; i < wide; i++) {
    const int64_t x = even[i];
    const int64_t y = negative ? -static_cast<int64_t>(odd[i]) : odd[i];
    const int64_t sum = x + y + sumCarry;
    const int64_t difference = x - y + differenceCarry;
    even[i] = static_cast<uint32_t>(sum);
    odd[i] = static_cast<uint32_t>(difference);
    sumCarry = sum >> 32;
    differenceCarry = difference >> 32;
  }
  for (uint32_t* half : {even, odd}) {
    for (uint64_t i = 0; i + 1 < wide; i++) half[i] = (half[i] >> 1) | (half[i + 1] << 31);
    half[wide - 1] >>= 1;
  }

  // c2 = E − c0 − c4; 6·c3 = v2 − c0 − 16·c4 − 4·c2 − 2·O; c1 = O − c3.
  SubWordsFrom(even, wide, low, 2 * k);
  SubWordsFrom(even, wide, infinite, 2 * r);
  SubWordsFrom(atTwo, wide + 1, low, 2 * k);
  SubMulInto(atTwo, wide + 1, infinite, 2 * r, 16);
  SubMulInto(atTwo, wide + 1, even, wide, 4);
  SubMulInto(atTwo, wide + 1, odd, wide, 2);
  DivideExactBy6(atTwo, wide + 1);
  SubWordsFrom(odd, wide, atTwo, wide);

  // Assembly: c4 to its place, c3 added at 3k from where it lies, then c0, c1 and c2.
  const uint64_t total = 2 * n;
  CopyWords(out + 4 * k, infinite, 2 * r);
  ClearWords(out + wide, 4 * k - wide);
  AddClipped(out + 3 * k, total - 3 * k, atTwo, wide);
  out[2 * k] = 0;
  CopyWords(out, low, 2 * k);
  AddClipped(out + k, total - k, odd, wide);
  AddClipped(out + 2 * k, total - 2 * k, even, wide);
}

}  // namespace

void DivideExactBy6(uint32_t* r, uint64_t n) {
  uint64_t remainder = 0;
  for (uint64_t i = n; i-- > 0;) {
    const uint64_t value = (remainder << 32) | r[i];
    const uint64_t quotient = value / 6;
    remainder = value - 6 * quotient;
    r[i] = static_cast<uint32_t>(quotient);
  }
  if (remainder != 0) {
    FatalAssertion(kImpossibleResult, "Toom-3 Multiplication",
                   "Division by 6 produced a non-zero remainder.");
  }
}

uint64_t Toom3ScratchWords(uint64_t n) {
  if (n < kToom3StepMinWords) return KaratsubaScratchWords(n);
  const uint64_t k = (n + 2) / 3;
  return 6 * k + 2 + BalancedScratchWords(k + 1);
}

uint64_t Toom3SquareScratchWords(uint64_t n) {
  if (n < kToom3StepMinWords) return KaratsubaSquareScratchWords(n);
  const uint64_t k = (n + 2) / 3;
  return 6 * k + 2 + BalancedSquareScratchWords(k + 1);
}

void MulToom3(const uint32_t* a, const uint32_t* b, uint64_t n, uint32_t* out, uint32_t* scratch) {
  if (n < kToom3StepMinWords) {
    MulKaratsuba(a, b, n, out, scratch);
    return;
  }
  Toom3Step(a, b, n, out, scratch, false);
}

void SquareToom3(const uint32_t* a, uint64_t n, uint32_t* out, uint32_t* scratch) {
  if (n < kToom3StepMinWords) {
    SquareKaratsuba(a, n, out, scratch);
    return;
  }
  Toom3Step(a, a, n, out, scratch, true);
}

}  // namespace zx
