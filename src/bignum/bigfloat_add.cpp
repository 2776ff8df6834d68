// Comparison, addition and subtraction of BigFloats aligned by their word exponents.
// Cost: linear in the kept width. The sum keeps the top position and at most p + 3 words below
// it; words of either operand below that are ignored without rounding or sticky bit, which the
// three guard words absorb.
#include <algorithm>
#include <cstring>

#include "bignum/bigfloat.hpp"
#include "shell/fatal.hpp"

namespace zx {
namespace {

// A view of one operand over positions [low, top): words outside its range read as 0.
struct Span {
  const uint32_t* words;
  int64_t begin;  // exponent
  int64_t end;    // exponent + length
  uint32_t At(int64_t position) const {
    return position >= begin && position < end ? words[position - begin] : 0;
  }
};

Span SpanOf(const BigFloat& a) {
  return {a.magnitude.words, a.exponent, BigFloatTop(a)};
}

// Sorted, de-duplicated cut points of [low, top] where either operand starts or ends.
int Cuts(int64_t low, int64_t top, const Span& x, const Span& y, int64_t* cuts) {
  int count = 0;
  for (int64_t c : {low, top, x.begin, x.end, y.begin, y.end}) {
    if (c >= low && c <= top) cuts[count++] = c;
  }
  std::sort(cuts, cuts + count);
  return static_cast<int>(std::unique(cuts, cuts + count) - cuts);
}

// Walks [low, top) segment by segment, so that the inner loops see contiguous words and no range
// tests: body(out, count, xWords, yWords) with null for an operand absent from the segment.
template <class Body>
void ForEachSegment(const Span& x, const Span& y, int64_t low, int64_t top, uint32_t* out,
                    const Body& body) {
  int64_t cuts[6];
  const int count = Cuts(low, top, x, y, cuts);
  for (int c = 0; c + 1 < count; ++c) {
    const int64_t from = cuts[c];
    const int64_t to = cuts[c + 1];
    const bool hasX = from >= x.begin && to <= x.end;
    const bool hasY = from >= y.begin && to <= y.end;
    body(out + (from - low), to - from, hasX ? x.words + (from - x.begin) : nullptr,
         hasY ? y.words + (from - y.begin) : nullptr);
  }
}

// out[i] = x + y over positions [low, top); returns the final carry.
uint32_t AddSpans(const Span& x, const Span& y, int64_t low, int64_t top, uint32_t* out) {
  uint64_t carry = 0;
  ForEachSegment(x, y, low, top, out,
                 [&carry](uint32_t* o, int64_t n, const uint32_t* xs, const uint32_t* ys) {
                   if (xs != nullptr && ys != nullptr) {
                     for (int64_t i = 0; i < n; ++i) {
                       carry += static_cast<uint64_t>(xs[i]) + ys[i];
                       o[i] = static_cast<uint32_t>(carry);
                       carry >>= 32;
                     }
                   } else if (xs != nullptr || ys != nullptr) {
                     const uint32_t* s = xs != nullptr ? xs : ys;
                     int64_t i = 0;
                     for (; i < n && carry != 0; ++i) {
                       carry += s[i];
                       o[i] = static_cast<uint32_t>(carry);
                       carry >>= 32;
                     }
                     std::memcpy(o + i, s + i, static_cast<size_t>(n - i) * sizeof(uint32_t));
                   } else {
                     std::memset(o, 0, static_cast<size_t>(n) * sizeof(uint32_t));
                     if (n > 0 && carry != 0) {
                       o[0] = static_cast<uint32_t>(carry);
                       carry = 0;
                     }
                   }
                 });
  return static_cast<uint32_t>(carry);
}

// out = x − y over [low, top) for |x| > |y| (as seen within the range); the borrow rides in the
// high half of a signed 64-bit accumulator.
void SubtractSpans(const Span& x, const Span& y, int64_t low, int64_t top, uint32_t* out) {
  int64_t borrow = 0;
  ForEachSegment(x, y, low, top, out,
                 [&borrow](uint32_t* o, int64_t n, const uint32_t* xs, const uint32_t* ys) {
                   if (xs != nullptr && borrow == 0 && ys == nullptr) {
                     std::memcpy(o, xs, static_cast<size_t>(n) * sizeof(uint32_t));
                     return;
                   }
                   for (int64_t i = 0; i < n; ++i) {
                     int64_t v = borrow;
                     if (xs != nullptr) v += xs[i];
                     if (ys != nullptr) v -= ys[i];
                     o[i] = static_cast<uint32_t>(v);
                     borrow = v >> 32;
                   }
                 });
}

void SetZeroResult(BigFloat& out) { BigFloatSetZero(out); }

// The shared body of the additions. Returns the kept range's low end through *lowOut.
void AddInto(AllocationHeap* heap, BigFloat& a, BigFloat& b, BigFloat& out, uint64_t precisionWords,
             int64_t* lowOut) {
  const bool aZero = BigFloatIsZero(a);
  const bool bZero = BigFloatIsZero(b);
  if (aZero && bZero) {
    SetZeroResult(out);
    *lowOut = 0;
    return;
  }
  if (aZero || bZero) {
    BigFloat& other = aZero ? b : a;
    BigFloatCopy(heap, other, out);
    *lowOut = other.exponent;
    return;
  }
  BigIntMakeResident(heap, a.magnitude);
  BigIntMakeResident(heap, b.magnitude);

  const bool sameSign = a.sign == b.sign;
  BigFloat* larger = &a;
  BigFloat* smaller = &b;
  uint32_t sign = a.sign;
  if (!sameSign) {
    const int order = BigFloatCompareMagnitude(heap, a, b);
    if (order == 0) {
      SetZeroResult(out);
      *lowOut = 0;
      return;
    }
    if (order < 0) std::swap(larger, smaller);
    sign = larger->sign;
  }

  const int64_t top = std::max(BigFloatTop(a), BigFloatTop(b));
  int64_t low = top - static_cast<int64_t>(std::min<uint64_t>(precisionWords, kFullPrecision)) - 3;
  if (low < a.exponent && low < b.exponent) low = std::min(a.exponent, b.exponent);
  *lowOut = low;
  const auto width = static_cast<uint64_t>(top - low);
  uint32_t* words = AllocWordsOrDie(heap, width + 3);
  uint64_t length = width;
  if (sameSign) {
    const uint32_t carry = AddSpans(SpanOf(a), SpanOf(b), low, top, words);
    words[width] = carry;
    if (carry != 0) ++length;
  } else {
    SubtractSpans(SpanOf(*larger), SpanOf(*smaller), low, top, words);
    while (length != 0 && words[length - 1] == 0) --length;
  }
  BigFloat result;
  result.sign = sign;
  result.exponent = low;
  result.magnitude.words = words;
  result.magnitude.length = length;
  result.magnitude.capacity = width + 3;
  if (length == 0) {
    Release(words);
    BigFloatSetZero(result);
  }
  out = result;
}

}  // namespace

int BigFloatCompareMagnitude(AllocationHeap* heap, BigFloat& a, BigFloat& b) {
  const bool aZero = BigFloatIsZero(a);
  const bool bZero = BigFloatIsZero(b);
  if (aZero || bZero) return aZero == bZero ? 0 : (aZero ? -1 : 1);
  const int64_t topA = BigFloatTop(a);
  const int64_t topB = BigFloatTop(b);
  if (topA != topB) return topA > topB ? 1 : -1;
  BigIntMakeResident(heap, a.magnitude);
  BigIntMakeResident(heap, b.magnitude);
  const Span x = SpanOf(a);
  const Span y = SpanOf(b);
  const int64_t bottom = std::min(a.exponent, b.exponent);
  for (int64_t position = topA - 1; position >= bottom; --position) {
    const uint32_t wx = x.At(position);
    const uint32_t wy = y.At(position);
    if (wx != wy) return wx > wy ? 1 : -1;
  }
  return 0;
}

void BigFloatAdd(AllocationHeap* heap, BigFloat& a, BigFloat& b, BigFloat& out, uint64_t precisionWords) {
  int64_t low = 0;
  if (&out != &a && &out != &b) {
    AddInto(heap, a, b, out, precisionWords, &low);
    return;
  }
  BigFloat sum;
  AddInto(heap, a, b, sum, precisionWords, &low);
  BigFloatRelease(out);
  out = sum;
}

void BigFloatSubtract(AllocationHeap* heap, BigFloat& a, BigFloat& b, uint64_t precisionWords) {
  BigFloatNegate(b);
  BigFloat difference;
  int64_t low = 0;
  AddInto(heap, a, b, difference, precisionWords, &low);
  BigFloatNegate(b);
  BigFloatRelease(a);
  a = difference;
}

int64_t BigFloatAddMeasure(AllocationHeap* heap, BigFloat& a, BigFloat& b, BigFloat& out,
                           uint64_t precisionWords) {
  const bool aZero = BigFloatIsZero(a);
  const bool bZero = BigFloatIsZero(b);
  if (aZero && bZero) {
    BigFloatSetZero(out);
    return 0;
  }
  if (aZero || bZero) {
    BigFloat& other = aZero ? b : a;
    BigFloatCopy(heap, other, out);
    out.sign = 1;
    return BigFloatTop(other);
  }
  BigIntMakeResident(heap, a.magnitude);
  BigIntMakeResident(heap, b.magnitude);
  // Both are non-negative here, so the sum takes the same-sign path.
  int64_t low = 0;
  AddInto(heap, a, b, out, precisionWords, &low);
  out.sign = 1;
  const int64_t top = std::max(BigFloatTop(a), BigFloatTop(b));
  const Span x = SpanOf(a);
  const Span y = SpanOf(b);
  for (int64_t position = top - 1; position >= low; --position) {
    if (x.At(position) != y.At(position)) return position;
  }
  return low;
}

}  // namespace zx
