// Scaling, check and recombination of the coefficients. The inverse transform leaves K·c_j; a
// shift by 2^−k = √2^(128n − 2k) gives c_j. A true coefficient is a sum of at most K products
// of two s-word pieces, below 2^(64s + 32) with n = 2s + 2, so word n − 1 of its residue is 0, or
// all ones when the residue stands for a small negative number. Anything else means a fault
// somewhere in the product. The scaling and the check run in the last inverse pass, on all
// threads; the sum runs in parts, one per thread, whose carries are joined afterwards. The
// coefficients overlap (n = 2s + 2), so each completes s product words and leaves s + 2 pending.
#include "multiply/hybrid/hybrid_recombine.hpp"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "multiply/hybrid/hybrid_chains.hpp"
#include "multiply/hybrid/hybrid_limbs.hpp"
#include "multiply/hybrid/hybrid_mul.hpp"
#include "multiply/hybrid/hybrid_ring.hpp"
#include "multiply/hybrid/hybrid_roots.hpp"
#include "runtime/threads.hpp"
#include "shell/fatal.hpp"

namespace zx {
namespace {

std::atomic<uint32_t> gFaultsLeft{0};

// Below this many words of coefficients a part of the sum stays on its thread: the sum runs at
// about a nanosecond a word and a thread costs about 40 µs to start.
constexpr uint64_t kRecombineThreadMinWords = uint64_t{1} << 18;

bool LowWordsZero(const uint32_t* c, uint64_t count) {
  return std::all_of(c, c + count, [](uint32_t w) { return w == 0; });
}

// out = a + b + carry over `count` words; returns the carry.
unsigned AddWords(const uint32_t* a, const uint32_t* b, uint32_t* out, uint64_t count,
                  unsigned carry) {
  carry = ChainAdd(a, b, out, count / 2, carry);
  if (count % 2 != 0) {
    const uint64_t sum = uint64_t{a[count - 1]} + b[count - 1] + carry;
    out[count - 1] = static_cast<uint32_t>(sum);
    carry = static_cast<unsigned>(sum >> 32);
  }
  return carry;
}

// Adds the small signed v at the bottom of `count` words; returns what comes out at the top.
int64_t AddSmallSigned(uint32_t* words, uint64_t count, int64_t v) {
  for (uint64_t i = 0; i < count && v != 0; ++i) {
    const int64_t sum = static_cast<int64_t>(words[i]) + v;
    words[i] = static_cast<uint32_t>(sum);
    v = sum >> 32;
  }
  return v;
}

// Copies the window words that are product words in [t, productWords) to out, and reports
// whether the words at productWords and beyond are zero, as they must be.
bool Emit(const uint32_t* window, uint64_t count, uint64_t firstWord, uint64_t productWords,
          uint64_t t, uint32_t* out) {
  const uint64_t begin = std::max(firstWord, t);
  const uint64_t end = std::min(firstWord + count, productWords);
  if (begin < end) {
    std::memcpy(out + (begin - t), window + (begin - firstWord), (end - begin) * 4);
  }
  if (firstWord + count > productWords) {
    const uint64_t from = productWords > firstWord ? productWords - firstWord : 0;
    return LowWordsZero(window + from, count - from);
  }
  return true;
}

uint32_t* WindowOf(uint8_t* block) { return reinterpret_cast<uint32_t*>(block); }

// Coefficients [j0, j1) summed from nothing: words [j0·s, j1·s) go to out (those in
// [t, productWords)), and the pending words at j1·s are left in the block as a window of n + 2
// words of two's complement. Coefficient j meets what is pending at j·s (s + 2 words and a small
// signed value above them): its low s words complete the product words there, the next 2 words
// and its upper s words become what is pending at (j + 1)·s.
bool SumSerially(const HybridRecombineJob& job, uint64_t j0, uint64_t j1, uint8_t* block) {
  const HybridBuffer& buffer = *job.buffer;
  const uint64_t n = buffer.ringWords;
  const uint64_t s = job.pieceWords;
  const uint64_t pendingWords = s + 2;
  uint32_t* pending = WindowOf(block);
  uint32_t* next = pending + pendingWords;
  uint32_t* low = next + pendingWords;
  std::fill(pending, pending + pendingWords, 0u);
  int64_t high = 0;  // the value at word s + 2 of what is pending, and above
  for (uint64_t j = j0; j < j1; ++j) {
    const uint32_t* c = HybridElement(buffer, j);
    const uint64_t first = j * s;
    const bool direct = first >= job.truncationWords && first + s <= job.productWords;
    uint32_t* target = direct ? job.out + (first - job.truncationWords) : low;
    unsigned carry = AddWords(pending, c, target, s, 0);
    carry = AddWords(pending + s, c + s, next, 2, carry);
    std::memcpy(next + 2, c + s + 2, s * sizeof(uint32_t));
    const int64_t sign = LoadLimb(c, n / 2) != 0 ? -1 : 0;
    high = AddSmallSigned(next + 2, s, high + carry) + sign;
    if (!direct && !Emit(low, s, first, job.productWords, job.truncationWords, job.out)) {
      return false;
    }
    std::swap(pending, next);
  }
  uint32_t* window = WindowOf(block);
  if (pending != window) std::memcpy(window, pending, pendingWords * sizeof(uint32_t));
  for (uint64_t w = pendingWords; w < n + 2; ++w) {
    window[w] = static_cast<uint32_t>(high);
    high >>= 32;
  }
  return true;
}

// Adds ±1 to the words [0, count) from the bottom; returns what is left over at the top.
int AddUnit(uint32_t* words, uint64_t count, int unit) {
  for (uint64_t i = 0; i < count && unit != 0; ++i) {
    const uint32_t old = words[i];
    words[i] = old + static_cast<uint32_t>(unit);
    if ((unit > 0 && words[i] != 0) || (unit < 0 && old != 0)) unit = 0;
  }
  return unit;
}

// The pending words of a left part (a signed number of n + 2 words at word `at`) added into the
// words that the right part emitted, [at, end), and past them into the right part's own pending
// window (null for the last part, whose words from `end` = productWords on must stay zero).
bool AddPending(const HybridRecombineJob& job, const uint32_t* pending, uint64_t at, uint64_t end,
                uint32_t* next) {
  const uint64_t windowWords = job.buffer->ringWords + 2;
  uint32_t* target = job.out + (at - job.truncationWords);
  const unsigned carry = ChainAdd(target, pending, target, windowWords / 2, 0);
  int unit = static_cast<int>(carry) - ((pending[windowWords - 1] & 0x80000000u) != 0 ? 1 : 0);
  unit = AddUnit(target + windowWords, end - at - windowWords, unit);
  if (unit == 0) return true;
  if (next == nullptr) return false;
  AddUnit(next, windowWords, unit);
  return true;
}

// Coefficients [j0, j1) with up to 2^threads threads: the range is halved at a coefficient whose
// word offset lies at or above t and leaves the right part at least a window of words, the halves
// are summed apart, and the left part's pending words are added into the right part's.
bool SumRange(const HybridRecombineJob& job, uint64_t j0, uint64_t j1, uint32_t threads,
              uint8_t* scratch) {
  const uint64_t n = job.buffer->ringWords;
  const uint64_t s = job.pieceWords;
  const uint64_t windowWords = n + 2;
  const bool last = j1 * s >= job.productWords;
  const uint64_t lowest = std::max(j0 + 1, (job.truncationWords + s - 1) / s);
  uint64_t middle = std::max((j0 + j1) / 2, lowest);
  const uint64_t reach = windowWords / s + 1;  // coefficients a right part needs at least
  const bool fits = middle < j1 && middle * s + windowWords <= job.productWords &&
                    (last || j1 - middle >= reach);
  if (threads == 0 || !fits || (j1 - j0) * n < kRecombineThreadMinWords) {
    return SumSerially(job, j0, j1, scratch);
  }
  uint8_t* leftScratch = scratch + (job.scratchBlockBytes << (threads - 1));
  bool leftOk = true;
  bool rightOk = true;
  ForkJoin(
      nullptr, 1,
      [&](AllocationHeap*) {
        leftOk = SumRange(job, j0, middle, threads - 1, leftScratch);
        return 0u;
      },
      [&](AllocationHeap*) {
        rightOk = SumRange(job, middle, j1, threads - 1, scratch);
        return 0u;
      });
  if (!leftOk || !rightOk) return false;
  const uint64_t end = last ? job.productWords : j1 * s;
  return AddPending(job, WindowOf(leftScratch), middle * s, end,
                    last ? nullptr : WindowOf(scratch));
}

}  // namespace

bool HybridTakeFault() { return TakePlantedFault(gFaultsLeft); }

#if defined(ZX_TEST_HOOKS)
void HybridSetFaults(uint32_t products) { gFaultsLeft.store(products); }
#endif

bool HybridFinishCoefficient(uint32_t* element, uint32_t* spare, const HybridBuffer& buffer,
                             bool corrupt) {
  const uint64_t n = buffer.ringWords;
  RingMulRoot(element, spare, n, RingRootOrder(n) - 2 * buffer.k);
  if (corrupt) spare[n - 1] ^= 0x00010000u;
  const uint32_t high = spare[n - 1];
  const uint64_t top = RingTop(spare, n);
  uint64_t sign = 0;
  if (top != 0 || high == 0xFFFFFFFFu) {
    // A residue r read as negative stands for r − 2^(32n) − 1: its low n words are those of
    // r − 1 and every word above is all ones. The one residue with a top of 1 is 2^(32n) (−1).
    if (top > 1 || (top == 1 && !LowWordsZero(spare, n))) {
      FatalAssertion(kImpossibleResult, "Hybrid Number-Theoretic Transform", "Positive Overflow");
    }
    RingSubAt(spare, n, 0, 1);
    sign = ~uint64_t{0};
  } else if (high != 0) {
    return false;
  }
  std::memcpy(element, spare, n * sizeof(uint32_t));
  StoreLimb(element, n / 2, sign);
  return true;
}

uint64_t HybridRecombine(const HybridRecombineJob& job) {
  const HybridBuffer& buffer = *job.buffer;
  const uint64_t n = buffer.ringWords;
  const uint64_t points = uint64_t{1} << buffer.k;
  const uint64_t used = std::min(points, (job.productWords + job.pieceWords - 1) / job.pieceWords);
  // Beyond the product every coefficient is zero.
  for (uint64_t j = used; j < points; ++j) {
    if (!LowWordsZero(HybridElement(buffer, j), n + 2)) return kProductCheckFailed;
  }
  if (!SumRange(job, 0, used, job.threadExponent, job.scratch)) return kProductCheckFailed;
  // What is still pending holds the last product words, if any, and zeros above them.
  return Emit(WindowOf(job.scratch), n + 2, used * job.pieceWords, job.productWords,
              job.truncationWords, job.out)
             ? 0
             : kProductCheckFailed;
}

}  // namespace zx
