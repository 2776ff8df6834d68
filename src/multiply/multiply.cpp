// Dispatch, truncation and the three-attempt retry of every product.
#include "multiply/multiply.hpp"

#include <algorithm>
#include <utility>

#include "multiply/basecase/basecase.hpp"
#include "multiply/basecase/basecase_ops.hpp"
#include "multiply/fft/fft_mul.hpp"
#include "multiply/hybrid/hybrid_mul.hpp"
#include "multiply/hybrid/hybrid_ring.hpp"
#include "multiply/ntt/ntt_mul.hpp"
#include "multiply/out_of_core/out_of_core.hpp"
#include "multiply/product_check.hpp"
#include "runtime/run_record.hpp"
#include "shell/console.hpp"
#include "shell/fatal.hpp"

namespace zx {

uint32_t MultiplyThreads(uint32_t threadExponent) {
  return std::min(threadExponent, CurrentRun().multiplyThreadCap);
}

namespace {

// Bytes a piece costs beyond its payload: header, sentinel, alignment slack and table entry.
constexpr uint64_t kPieceOverheadBytes = 80;
// Room for the many small pieces that live beside any product: the leaves and nodes of a series
// recursion below the threading threshold, Newton temporaries and the one-word constants. Measured
// peaks of the small-number paths stay under a quarter of it.
constexpr uint64_t kSmallPiecesBytes = 64 << 10;
// Every level of thread splitting halves the free space each half may draw on, while the numbers a
// half holds shrink by less than half: three words per product word and level, measured to cover
// Pi runs up to 2^4 threads.
constexpr uint64_t kSplitLevelWordsPerWord = 5;

// The FFT takes several times the hybrid transform's memory, and it takes a product only where
// the heap has room for it. Below kHybridMinWords a heap sized for the hybrid transform (a
// disk-swapping run's) gets the product from it on one thread instead of stopping the run; from
// kHybridMinWords on every heap is planned for the hybrid transform on the run's threads, so the
// FFT is a bonus where the heap happens to have room (and its tables reach, which they are
// prepared to do up to kFftTableMaxWords), and the hybrid transform keeps the threads otherwise.
uint32_t FallbackThreads(uint64_t longerWords, uint32_t threadExponent) {
  return longerWords >= kHybridMinWords ? threadExponent : 0;
}

// Products beyond the FFT's reach, or its memory: on one or two threads the number-theoretic
// transforms (0.55 to 0.63 of the hybrid transform's time, in about its memory) where this build
// has them and the heap has room, else the hybrid transform, which also takes every product on
// more threads (the transforms share their passes with one partner thread only).
uint64_t LargeMultiply(AllocationHeap* heap, const uint32_t* a, uint64_t la, const uint32_t* b,
                       uint64_t lb, uint32_t* out, uint64_t t, uint32_t threadExponent) {
  if (threadExponent <= 1 && NttReaches(la, lb)) {
    const uint64_t status = NttMultiply(heap, a, la, b, lb, out, t, threadExponent);
    if (status == 0 || status == kProductCheckFailed) return status;
  }
  return HybridMultiply(heap, a, la, b, lb, out, t, threadExponent);
}

uint64_t LargeSquare(AllocationHeap* heap, const uint32_t* a, uint64_t n, uint32_t* out, uint64_t t,
                     uint32_t threadExponent) {
  if (threadExponent <= 1 && NttReaches(n, n)) {
    const uint64_t status = NttSquare(heap, a, n, out, t, threadExponent);
    if (status == 0 || status == kProductCheckFailed) return status;
  }
  return HybridSquare(heap, a, n, out, t, threadExponent);
}

// On one or two threads the number-theoretic transforms also beat the FFT on products of this many
// words and more, within a ratio of 4 (0.81 of its time at 520,000-word operands, 0.86 at 640,000,
// 0.78 at 1,000,000 on one thread; 0.86 and 0.68 on two; 1.04 at 450,000), at a third of its
// memory.
constexpr uint64_t kNttMinProductWords = 1000000;

bool TakesNtt(uint64_t la, uint64_t lb, uint32_t threadExponent) {
  return threadExponent <= 1 && la + lb >= kNttMinProductWords &&
         std::max(la, lb) <= 4 * std::min(la, lb) && NttReaches(la, lb);
}

uint64_t MultiplyWords(AllocationHeap* heap, const uint32_t* a, uint64_t la, const uint32_t* b,
                       uint64_t lb, uint32_t* out, uint64_t t, uint32_t threadExponent) {
  if (TakesNtt(la, lb, threadExponent)) {
    return LargeMultiply(heap, a, la, b, lb, out, t, threadExponent);
  }
  if (la != lb) {
    if (lb < kFftMinWords) return BasecaseMultiplyTruncated(heap, a, la, b, lb, out, t);
    // A single transform needs tables for the whole product; longer shapes go in chunks (from
    // kHybridMinWords only where the tables reach the whole product too). Such a product may be
    // long enough to share among threads; the hybrid transform keeps short ones on one thread by
    // itself.
    if ((la <= 4 * lb || lb >= kHybridMinWords) && !FftTablesReach(la + lb))
      return LargeMultiply(heap, a, la, b, lb, out, t, threadExponent);
  } else {
    if (la < kFftMinWords) return BasecaseMultiplyTruncated(heap, a, la, b, lb, out, t);
    if (!FftTablesReach(2 * la)) {
      return LargeMultiply(heap, a, la, b, lb, out, t, threadExponent);
    }
  }
  const uint64_t status = FftMultiply(heap, a, la, b, lb, out, t, threadExponent);
  if (status == 0 || status == kProductCheckFailed) return status;
  return LargeMultiply(heap, a, la, b, lb, out, t, FallbackThreads(std::max(la, lb), threadExponent));
}

uint64_t SquareWords(AllocationHeap* heap, const uint32_t* a, uint64_t n, uint32_t* out, uint64_t t,
                     uint32_t threadExponent) {
  if (n < kFftSquareMinWords) return BasecaseSquareTruncated(heap, a, n, out, t);
  if (TakesNtt(n, n, threadExponent)) return LargeSquare(heap, a, n, out, t, threadExponent);
  if (!FftTablesReach(2 * n)) {
    return LargeSquare(heap, a, n, out, t, threadExponent);
  }
  const uint64_t status = FftSquare(heap, a, n, out, t, threadExponent);
  if (status == 0 || status == kProductCheckFailed) return status;
  return LargeSquare(heap, a, n, out, t, FallbackThreads(n, threadExponent));
}

void ReportRecovery(int32_t attempt) {
  if (attempt == 1) {
    ConsoleWrite(
        "\nSecond Attempt Succeeded with same parameters.\n"
        "Most likely a hardware error... Please check your hardware.\n"
        "Continuing...\n\n");
  } else if (attempt == 2) {
    ConsoleWrite(
        "\nThird Attempt Succeeded with different parameters.\n"
        "Most likely a software error... Please report this bug.\n"
        "Continuing...\n\n");
  }
}

// Counts a failed attempt and says so; the third ends the program.
int32_t ReportFailure(int32_t attempt) {
  ++attempt;
  if (attempt == 1) {
    ConsoleWrite("\nMultiplication Failure: Re-attempting with same parameters...\n");
  } else if (attempt == 2) {
    ConsoleWrite(
        "\nSecond Attempt Failed: Possible Software Bug.\n"
        "Re-attempting with different parameters...\n");
  } else {
    ConsoleWrite(
        "\nThird Attempt Failed: Unable to determine cause of error.\n"
        "Terminating Program...\n");
    FatalExit("");
  }
  return attempt;
}

// Takes a finished product buffer into out, dropping a zero top word.
void AdoptProduct(BigInt& out, uint32_t* words, uint64_t lengthWords, uint64_t capacityWords) {
  out.words = words;
  out.length = lengthWords;
  out.capacity = capacityWords;
  out.swap = nullptr;
  if (out.length != 0 && words[out.length - 1] == 0) --out.length;
  if (out.length == 0) {
    Release(words);
    BigIntSetZero(out);
  }
}

// Shifting both operands left one bit makes a product exactly four times the wanted one through
// different transform data: the last resort before giving up. Out of core, every shifted number
// goes back to disk at once, so that the disk copies are current and the retry stays out of core.
template <class Retry>
void RetryShifted(AllocationHeap* heap, BigInt& a, BigInt* b, BigInt& out, bool outOfCore,
                  Retry retry) {
  const auto shift = [&](BigInt& x, bool left, uint32_t bits) {
    if (left) {
      BigIntShiftLeftBits(heap, x, bits);
    } else {
      BigIntShiftRightBits(heap, x, bits);
    }
    if (outOfCore) BigIntSwapOut(heap, x);
  };
  shift(a, true, 1);
  if (b != nullptr) shift(*b, true, 1);
  retry();
  shift(a, false, 1);
  if (b != nullptr) shift(*b, false, 1);
  shift(out, false, 2);
}

// One product x·y, or the square of x when y is null, with the three-attempt retry. In memory the
// operands are made resident and the product buffer taken here; out of core the variants read the
// operands from their swap files and leave the product in one.
void CheckedProduct(AllocationHeap* heap, BigInt& x, BigInt* y, BigInt& out,
                    uint64_t truncationWords, int32_t attempt, uint32_t threadExponent) {
  for (;;) {
    BigIntSetZero(out);
    const uint64_t la = x.length;
    const uint64_t lb = y != nullptr ? y->length : la;
    if (la == 0 || lb == 0 || la + lb <= truncationWords) return;
    const bool outOfCore = y != nullptr ? OutOfCoreEligible(x, *y) : OutOfCoreSquareEligible(x);
    uint64_t status = 0;
    if (outOfCore) {
      status = y != nullptr ? OutOfCoreMultiply(heap, x, *y, out, truncationWords, threadExponent)
                            : OutOfCoreSquare(heap, x, out, truncationWords, threadExponent);
    } else {
      BigIntMakeResident(heap, x);
      if (y != nullptr) BigIntMakeResident(heap, *y);
      const uint64_t productWords = la + lb - truncationWords;
      uint32_t* words = AllocWordsOrDie(heap, productWords + 2);
      status = y != nullptr
                   ? MultiplyWords(heap, x.words, la, y->words, lb, words, truncationWords,
                                   threadExponent)
                   : SquareWords(heap, x.words, la, words, truncationWords, threadExponent);
      if (status == 0) {
        AdoptProduct(out, words, productWords, productWords + 2);
      } else {
        Release(words);
      }
    }
    if (status == 0) {
      ReportRecovery(attempt);
      return;
    }
    if (status != kProductCheckFailed) FatalAllocation();
    attempt = ReportFailure(attempt);
    if (attempt == 2) {
      BigInt* second = y == nullptr || y == &x ? nullptr : y;
      RetryShifted(heap, x, second, out, outOfCore, [&] {
        CheckedProduct(heap, x, y, out, truncationWords, attempt, threadExponent);
      });
      return;
    }
  }
}

// x·y by the FFT, alone in memory, by the dispatch of MultiplyWords.
bool TakesFft(const BigInt& x, const BigInt& y, uint64_t t) {
  const uint64_t shorter = std::min(x.length, y.length);
  const uint64_t longer = std::max(x.length, y.length);
  return shorter >= kFftMinWords && longer < kHybridMinWords && x.length + y.length > t &&
         !OutOfCoreEligible(x, y) && FftTablesReach(x.length + y.length);
}

// The two products of a pair through one transform of x where FftMultiplyPair takes them; false
// when it does not (or memory is short), with nothing changed. A product whose check fails goes
// through the retry from its second attempt on, as if computed alone.
bool MultiplyPairShared(AllocationHeap* heap, BigInt& x, BigInt* (&y)[2], BigInt* (&out)[2],
                        const uint64_t (&t)[2], uint32_t threadExponent) {
  if (!TakesFft(x, *y[0], t[0]) || !TakesFft(x, *y[1], t[1])) return false;
  BigIntMakeResident(heap, x);
  BigIntMakeResident(heap, *y[0]);
  BigIntMakeResident(heap, *y[1]);
  PairedProduct pair[2];
  uint64_t productWords[2];
  for (int i = 0; i < 2; i++) {
    BigIntSetZero(*out[i]);
    productWords[i] = x.length + y[i]->length - t[i];
    pair[i] = {y[i]->words, y[i]->length, t[i], AllocWords32(heap, productWords[i] + 2)};
  }
  const bool shared = pair[0].out != nullptr && pair[1].out != nullptr &&
                      FftMultiplyPair(heap, x.words, x.length, pair, threadExponent) == 0;
  for (int i = 0; i < 2; i++) {
    if (!shared || pair[i].status != 0) {
      if (pair[i].out != nullptr) Release(pair[i].out);
      if (shared) BigIntMultiply(heap, x, *y[i], *out[i], t[i], ReportFailure(0), threadExponent);
    } else {
      AdoptProduct(*out[i], pair[i].out, productWords[i], productWords[i] + 2);
    }
  }
  return shared;
}

// A product's record: sign and exponent from its factors and the words cut below it.
void SetProductRecord(const BigFloat& x, const BigFloat& y, BigFloat& out,
                      uint64_t truncation = 0) {
  out.sign = x.sign == y.sign ? 1 : 0;
  out.exponent = x.exponent + y.exponent + static_cast<int64_t>(truncation);
}

// Takes a merge output of `words` words (leading zeros dropped) into out.
void AdoptWords(BigInt& out, uint32_t* words, uint64_t length, uint64_t capacity) {
  while (length > 1 && words[length - 1] == 0) --length;
  AdoptProduct(out, words, length, capacity);
}

// words[0..length) modulo 2^(32n) + 1 into ring (n words and a 64-bit top limb, reduced): the
// n-word pieces added and subtracted in turn, 2^(32n) ≡ −1.
void ReduceIntoRing(const uint32_t* words, uint64_t length, uint64_t n, uint32_t* ring) {
  ClearWords(ring, n + 2);
  for (uint64_t from = 0, piece = 0; from < length; from += n, ++piece) {
    const uint64_t count = std::min(n, length - from);
    const int64_t carry = piece % 2 == 0 ? AddWordsInto(ring, n, words + from, count)
                                         : -int64_t{SubWordsFrom(ring, n, words + from, count)};
    RingNormalize(ring, n, carry + static_cast<int64_t>(RingTop(ring, n)));
  }
}

// The signed difference of BigFloatSubtractProductNear in new buffers, x untouched: 0, the bytes
// the heap could not give, or kProductCheckFailed.
struct NearDifference {
  uint32_t* words = nullptr;
  uint64_t length = 0;
  uint64_t capacity = 0;
  bool negative = false;
};
uint64_t SubtractProductInRing(AllocationHeap* heap, const BigInt& x, const BigInt& a,
                               const BigInt& b, uint64_t shift, uint64_t n, uint32_t threadExponent,
                               NearDifference* out) {
  // Below a·b's zero words x passes as it is; above them the difference y = x_hi − a·b is below
  // 2^(32n − 1) in magnitude, so its residue modulo 2^(32n) + 1 tells it.
  const uint64_t low = std::min(shift, x.length);
  const uint64_t highLength = x.length - low;
  uint32_t* ring = AllocWords32(heap, 3 * (n + 2));
  uint32_t* result = AllocWords32(heap, shift + n + 2);
  const auto fail = [&](uint64_t bytes) {
    if (result != nullptr) Release(result);
    if (ring != nullptr) Release(ring);
    return bytes;
  };
  if (ring == nullptr || result == nullptr) return fail((3 * (n + 2) + shift + n + 2) * 4);
  uint32_t* reducedA = ring;
  uint32_t* product = ring + (n + 2);
  uint32_t* difference = ring + 2 * (n + 2);
  ReduceIntoRing(a.words, a.length, n, reducedA);
  ReduceIntoRing(b.words, b.length, n, product);
  const auto significant = [n](const uint32_t* element) {
    uint64_t length = n;
    while (length > 0 && element[length - 1] == 0) --length;
    return length;
  };
  const uint64_t la = significant(reducedA);
  const uint64_t lb = significant(product);
  // An operand ≡ 2^(32n) ≡ −1 would not fit the transform's n words: its product is −(the other).
  if (RingTop(reducedA, n) != 0) {
    RingNegate(product, n);
  } else if (RingTop(product, n) != 0) {
    CopyWords(product, reducedA, n + 2);
    RingNegate(product, n);
  } else if (la == 0 || lb == 0) {
    ClearWords(product, n + 2);
  } else {
    const uint64_t status =
        FftMultiplyRing(heap, reducedA, la, product, lb, n, product, threadExponent);
    if (status != 0) return fail(status);
    product[n + 1] = 0;
  }
  ReduceIntoRing(x.words + low, highLength, n, difference);
  // difference + product and difference − product: the second is the one wanted.
  RingAddSub(difference, product, difference, product, n);
  uint32_t* y = product;
  // The residue of a value of magnitude below 2^(32n − 1): positive below the half, else −(F − r).
  out->negative = RingTop(y, n) != 0 || y[n - 1] >= 0x80000000u;
  if (out->negative) RingNegate(y, n);
  uint64_t length = n;
  while (length > 0 && y[length - 1] == 0) --length;
  CopyWords(result, x.words, low);
  ClearWords(result + low, shift - low);
  CopyWords(result + shift, y, length);
  // −(y·2^(32·shift) − x_lo) for a negative y: the low words borrow from y's.
  if (out->negative && length != 0) {
    for (uint64_t i = 0; i < shift; ++i) result[i] = ~result[i];
    AddWordCarry(result, shift + length, 1);
    SubWordBorrow(result + shift, length, 1);
  }
  uint64_t total = length == 0 ? low : shift + length;
  while (total > 0 && result[total - 1] == 0) --total;
  if (total == 0) out->negative = false;
  const uint64_t expected = ResidueDifference(
      WordsResidue(x.words, x.length),
      ResidueShifted(
          ResidueProduct(WordsResidue(a.words, a.length), WordsResidue(b.words, b.length)),
          32 * shift));
  const uint64_t got = WordsResidue(result, total);
  Release(ring);
  if ((out->negative ? ResidueDifference(0, got) : got) != expected) {
    Release(result);
    return kProductCheckFailed;
  }
  out->words = result;
  out->length = total;
  out->capacity = shift + n + 2;
  return 0;
}

}  // namespace

bool BigFloatSubtractProductNear(AllocationHeap* heap, BigFloat& x, BigFloat& a, BigFloat& b,
                                 uint64_t boundWords, uint32_t threadExponent) {
  if (BigFloatIsZero(a) || BigFloatIsZero(b) || a.sign == 0 || b.sign == 0 || x.exponent != 0 ||
      (x.sign == 0 && !BigFloatIsZero(x)) || a.exponent < 0 || b.exponent < 0) {
    return false;
  }
  // Operands on disk keep the out-of-core products.
  if (OutOfCoreEligible(a.magnitude, b.magnitude) ||
      (x.magnitude.words == nullptr && x.magnitude.length != 0)) {
    return false;
  }
  const uint64_t shift = static_cast<uint64_t>(a.exponent + b.exponent);
  // One spare bit for the sign, and a word of slack.
  const uint64_t changing = boundWords > shift ? boundWords - shift : 0;
  uint64_t n = 0;
  if (std::min(a.magnitude.length, b.magnitude.length) < kFftMinWords ||
      !FftRingWords(changing + 1, &n) ||
      // Half the whole product's transform or less, else the whole product is as cheap.
      2 * n > a.magnitude.length + b.magnitude.length) {
    return false;
  }
  BigIntMakeResident(heap, a.magnitude);
  BigIntMakeResident(heap, b.magnitude);
  NearDifference difference;
  for (int32_t attempt = 0;;) {
    const uint64_t status = SubtractProductInRing(heap, x.magnitude, a.magnitude, b.magnitude,
                                                  shift, n, threadExponent, &difference);
    if (status == 0) {
      ReportRecovery(attempt);
      break;
    }
    if (status != kProductCheckFailed) {
      if (attempt == 0) return false;
      FatalAllocation();
    }
    attempt = ReportFailure(attempt);
    if (attempt == 2) {
      // The different parameters: the whole product on its own transform length.
      BigFloat back;
      SetProductRecord(a, b, back);
      BigIntMultiply(heap, a.magnitude, b.magnitude, back.magnitude, 0, attempt, threadExponent);
      const uint64_t words = static_cast<uint64_t>(std::max(BigFloatTop(x), BigFloatTop(back)));
      BigFloatSubtract(heap, x, back, words + 1);
      BigFloatRelease(back);
      return true;
    }
  }
  BigFloatRelease(x);
  BigFloatSetZero(x);
  if (difference.length != 0) {
    AdoptProduct(x.magnitude, difference.words, difference.length, difference.capacity);
    x.sign = difference.negative ? 0 : 1;
  } else {
    Release(difference.words);
  }
  return true;
}

void BigIntMultiply(AllocationHeap* heap, BigInt& a, BigInt& b, BigInt& out,
                    uint64_t truncationWords, int32_t attempt, uint32_t threadExponent) {
  BigInt* x = &a;
  BigInt* y = &b;
  if (x->length < y->length) std::swap(x, y);
  CheckedProduct(heap, *x, y, out, truncationWords, attempt, threadExponent);
}

void BigIntSquare(AllocationHeap* heap, BigInt& a, BigInt& out, uint64_t truncationWords,
                  int32_t attempt, uint32_t threadExponent) {
  CheckedProduct(heap, a, nullptr, out, truncationWords, attempt, threadExponent);
}

void BigFloatMultiply(AllocationHeap* heap, BigFloat& a, BigFloat& b, uint64_t precisionWords,
                      uint32_t threadExponent) {
  if (BigFloatIsZero(a)) return;
  const uint64_t total = a.magnitude.length + b.magnitude.length;
  const uint64_t keep = precisionWords + 3;
  const uint64_t truncation = total > keep ? total - keep : 0;
  a.exponent = a.exponent + b.exponent + static_cast<int64_t>(truncation);
  a.sign = a.sign == b.sign ? 1 : 0;
  BigInt product;
  if (&a == &b) {
    BigIntSquare(heap, a.magnitude, product, truncation, 0, threadExponent);
  } else {
    BigIntMultiply(heap, a.magnitude, b.magnitude, product, truncation, 0, threadExponent);
  }
  BigIntRelease(a.magnitude);
  a.magnitude = product;
}

void BigFloatMultiplyKeep(AllocationHeap* heap, BigFloat& a, BigFloat& b, BigFloat& out,
                          uint64_t keepWords, uint32_t threadExponent) {
  BigFloatSetZero(out);
  if (BigFloatIsZero(a) || BigFloatIsZero(b)) return;
  const uint64_t total = a.magnitude.length + b.magnitude.length;
  const uint64_t truncation = total > keepWords ? total - keepWords : 0;
  SetProductRecord(a, b, out, truncation);
  if (&a == &b) {
    BigIntSquare(heap, a.magnitude, out.magnitude, truncation, 0, threadExponent);
  } else {
    BigIntMultiply(heap, a.magnitude, b.magnitude, out.magnitude, truncation, 0, threadExponent);
  }
  if (BigFloatIsZero(out)) BigFloatSetZero(out);
}

void BigFloatMultiplyKeepPair(AllocationHeap* heap, BigFloat& x, BigFloat& y1, BigFloat& out1,
                              uint64_t keep1, BigFloat& y2, BigFloat& out2, uint64_t keep2,
                              uint32_t threadExponent) {
  BigFloat* y[2] = {&y1, &y2};
  BigFloat* out[2] = {&out1, &out2};
  const uint64_t keep[2] = {keep1, keep2};
  const auto separate = [&] {
    for (int i = 0; i < 2; i++)
      BigFloatMultiplyKeep(heap, x, *y[i], *out[i], keep[i], threadExponent);
  };
  if (BigFloatIsZero(x) || BigFloatIsZero(y1) || BigFloatIsZero(y2)) return separate();
  BigInt* yWords[2];
  BigInt* outWords[2];
  uint64_t truncation[2];
  for (int i = 0; i < 2; i++) {
    const uint64_t total = x.magnitude.length + y[i]->magnitude.length;
    truncation[i] = total > keep[i] ? total - keep[i] : 0;
    yWords[i] = &y[i]->magnitude;
    outWords[i] = &out[i]->magnitude;
  }
  if (!MultiplyPairShared(heap, x.magnitude, yWords, outWords, truncation, threadExponent)) {
    return separate();
  }
  for (int i = 0; i < 2; i++) {
    SetProductRecord(x, *y[i], *out[i], truncation[i]);
    if (BigFloatIsZero(*out[i])) BigFloatSetZero(*out[i]);
  }
}

bool BigFloatMergeProducts(AllocationHeap* heap, BigFloat& t1, BigFloat& q1, BigFloat& p1,
                           BigFloat& t2, BigFloat& q2, BigFloat* p2, BigFloat& t, BigFloat& q,
                           BigFloat* p, uint64_t keepA, uint64_t keepM, uint32_t threadExponent) {
  BigFloat* operands[6] = {&t1, &q1, &p1, &t2, &q2, p2};
  for (BigFloat* x : operands) {
    if (x != nullptr && BigFloatIsZero(*x)) return false;
  }
  const auto whole = [](const BigFloat& x, const BigFloat& y, uint64_t keep) {
    return x.magnitude.length + y.magnitude.length <= keep && TakesFft(x.magnitude, y.magnitude, 0);
  };
  if (!whole(t1, q2, keepA) || !whole(q1, q2, keepA) || !whole(t2, p1, keepM)) return false;
  // T's two products line up at the lower of their exponents: the other one's T gains that many
  // zero words below (its partner's spectrum serves another product too). Their sum must still
  // be one the plain sum keeps whole, and the zeros few.
  const int64_t e1 = t1.exponent + q2.exponent;
  const int64_t e2 = t2.exponent + p1.exponent;
  const uint64_t shift = static_cast<uint64_t>(e1 > e2 ? e1 - e2 : e2 - e1);
  const uint64_t firstWords = t1.magnitude.length + q2.magnitude.length;
  const uint64_t secondWords = t2.magnitude.length + p1.magnitude.length;
  const uint64_t sumWords =
      std::max(firstWords + (e1 > e2 ? shift : 0), secondWords + (e2 > e1 ? shift : 0)) + 1;
  if (sumWords > keepA + 1 || 8 * shift > std::min(firstWords, secondWords)) return false;
  for (BigFloat* x : operands) {
    if (x != nullptr) BigIntMakeResident(heap, x->magnitude);
  }
  const auto words = [](const BigFloat* x) {
    return x == nullptr ? MergeWords{nullptr, 0}
                        : MergeWords{x->magnitude.words, x->magnitude.length};
  };
  MergeProducts merge{words(&t1), words(&q1), words(&p1), words(&t2), words(&q2), words(p2)};
  uint32_t* aligned = nullptr;
  if (shift != 0) {
    MergeWords& raised = e1 > e2 ? merge.t1 : merge.t2;
    aligned = AllocWords32(heap, raised.length + shift);
    if (aligned == nullptr) return false;
    std::fill(aligned, aligned + shift, 0u);
    std::copy(raised.words, raised.words + raised.length, aligned + shift);
    raised = MergeWords{aligned, raised.length + shift};
  }
  const bool firstPositive = t1.sign == q2.sign;
  merge.subtract = firstPositive != (t2.sign == p1.sign);
  const uint64_t lengths[3] = {MergeSumWords(merge), q1.magnitude.length + q2.magnitude.length,
                               p2 == nullptr ? 0 : p1.magnitude.length + p2->magnitude.length};
  uint32_t* buffers[3] = {};
  bool ready = true;
  for (int i = 0; i < (p2 == nullptr ? 2 : 3); i++) {
    buffers[i] = AllocWords32(heap, lengths[i] + 2);
    ready = ready && buffers[i] != nullptr;
  }
  merge.t = buffers[0];
  merge.q = buffers[1];
  merge.p = buffers[2];
  const bool merged = ready && FftMergeProducts(heap, merge, threadExponent) == 0;
  if (aligned != nullptr) Release(aligned);
  if (!merged) {
    for (uint32_t* buffer : buffers) {
      if (buffer != nullptr) Release(buffer);
    }
    return false;
  }
  BigFloatSetZero(t);
  if (merge.status[0] == 0) {
    AdoptWords(t.magnitude, buffers[0], lengths[0], lengths[0] + 2);
    t.sign = firstPositive != merge.tNegative ? 1 : 0;
    t.exponent = std::min(e1, e2);
    if (BigFloatIsZero(t)) BigFloatSetZero(t);
  } else {
    // Again as two products and a sum, the second reporting how its attempt went.
    Release(buffers[0]);
    const int32_t attempt = ReportFailure(0);
    BigFloat terms[2];
    BigIntMultiply(heap, t2.magnitude, p1.magnitude, terms[1].magnitude, 0, 0, threadExponent);
    BigIntMultiply(heap, t1.magnitude, q2.magnitude, terms[0].magnitude, 0, attempt,
                   threadExponent);
    SetProductRecord(t2, p1, terms[1]);
    SetProductRecord(t1, q2, terms[0]);
    BigFloatAdd(heap, terms[0], terms[1], t, keepA);
    BigFloatRelease(terms[0]);
    BigFloatRelease(terms[1]);
  }
  BigFloat* factors[2][2] = {{&q1, &q2}, {&p1, p2}};
  BigFloat* outputs[2] = {&q, p};
  for (int i = 0; i < (p2 == nullptr ? 1 : 2); i++) {
    BigFloat& out = *outputs[i];
    if (i == 1 && !merge.pDone) {
      Release(buffers[2]);
      BigFloatMultiplyKeep(heap, p1, *p2, out, keepA, threadExponent);
      continue;
    }
    BigFloatSetZero(out);
    if (merge.status[i + 1] == 0) {
      AdoptWords(out.magnitude, buffers[i + 1], lengths[i + 1], lengths[i + 1] + 2);
    } else {
      Release(buffers[i + 1]);
      BigIntMultiply(heap, factors[i][0]->magnitude, factors[i][1]->magnitude, out.magnitude, 0,
                     ReportFailure(0), threadExponent);
    }
    SetProductRecord(*factors[i][0], *factors[i][1], out);
  }
  return true;
}

void BigFloatSquare(AllocationHeap* heap, BigFloat& a, BigFloat& out, uint64_t precisionWords,
                    uint32_t threadExponent) {
  if (BigFloatIsZero(a)) {
    BigFloatSetZero(out);
    return;
  }
  const uint64_t total = 2 * a.magnitude.length;
  const uint64_t keep = precisionWords + 3;
  const uint64_t truncation = total > keep ? total - keep : 0;
  BigFloat result;
  result.sign = 1;
  result.exponent = 2 * a.exponent + static_cast<int64_t>(truncation);
  BigIntSquare(heap, a.magnitude, result.magnitude, truncation, 0, threadExponent);
  if (&out == &a) BigFloatRelease(a);
  out = result;
}

void BigFloatSquareInPlace(AllocationHeap* heap, BigFloat& a, uint64_t precisionWords,
                           uint32_t threadExponent) {
  BigFloatSquare(heap, a, a, precisionWords, threadExponent);
}

uint64_t MultiplyMemoryBytes(uint64_t lengthWords, uint32_t threadExponent) {
  const uint64_t n = std::max<uint64_t>(lengthWords, 1);
  // The product buffer, and as much again: callers keep both operands alive while a product forms
  // and often a second result beside it (the base conversion's normalisation is the tightest).
  const uint64_t productBytes = (4 * n + 2) * sizeof(uint32_t) + kPieceOverheadBytes;
  uint64_t algorithmBytes = 0;
  if (n < kFftMinWords) {
    algorithmBytes = BasecaseScratchBytes(n, n);
  } else if (n < kHybridMinWords) {
    algorithmBytes = FftMemoryBytes(n);
  } else {
    algorithmBytes = HybridMemoryEnvelopeBytes(2 * n, threadExponent);
  }
  const uint64_t splitBytes = kSplitLevelWordsPerWord * n * sizeof(uint32_t) * threadExponent;
  return productBytes + algorithmBytes + kSmallPiecesBytes + splitBytes;
}

}  // namespace zx
