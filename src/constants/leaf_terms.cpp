#include "constants/leaf_terms.hpp"

#include <cstring>

#include "multiply/basecase/basecase.hpp"
#include "shell/fatal.hpp"

namespace zx {
namespace {

__extension__ typedef unsigned __int128 Uint128;

void CheckRoom(int length) {
  if (length > kSmallIntWords) {
    FatalAssertion("Critical Algorithmic Failure: ", "Series Leaves", "A leaf outgrew its words.");
  }
}

void Trim(SmallInt& x) {
  while (x.length > 0 && x.words[x.length - 1] == 0) --x.length;
  if (x.length == 0) x.negative = false;
}

void Times(SmallInt& x, uint64_t factor) {
  Uint128 carry = 0;
  for (int i = 0; i < x.length; ++i) {
    carry += static_cast<Uint128>(x.words[i]) * factor;
    x.words[i] = static_cast<uint32_t>(carry);
    carry >>= 32;
  }
  while (carry != 0) {
    CheckRoom(x.length + 1);
    x.words[x.length++] = static_cast<uint32_t>(carry);
    carry >>= 32;
  }
  Trim(x);
}

void Plus(SmallInt& x, uint64_t addend) {
  Uint128 carry = addend;
  for (int i = 0; i < x.length && carry != 0; ++i) {
    carry += x.words[i];
    x.words[i] = static_cast<uint32_t>(carry);
    carry >>= 32;
  }
  while (carry != 0) {
    CheckRoom(x.length + 1);
    x.words[x.length++] = static_cast<uint32_t>(carry);
    carry >>= 32;
  }
}

// |a| compared with |b|.
int CompareMagnitudes(const SmallInt& a, const SmallInt& b) {
  if (a.length != b.length) return a.length < b.length ? -1 : 1;
  for (int i = a.length - 1; i >= 0; --i) {
    if (a.words[i] != b.words[i]) return a.words[i] < b.words[i] ? -1 : 1;
  }
  return 0;
}

}  // namespace

namespace {

// x = value.
void SetWide(SmallInt& x, Uint128 value) {
  x.length = 0;
  x.negative = false;
  for (; value != 0; value >>= 32) x.words[x.length++] = static_cast<uint32_t>(value);
}

// x = x·Π factors. The factors of a term mostly fit a machine word by twos and threes: they
// multiply there and reach the words of x once per word-sized group.
void TimesAll(SmallInt& x, std::initializer_list<uint64_t> factors) {
  uint64_t group = 1;
  for (const uint64_t factor : factors) {
    uint64_t next;
    if (__builtin_mul_overflow(group, factor, &next)) {
      Times(x, group);
      next = factor;
    }
    group = next;
  }
  Times(x, group);
}

}  // namespace

void SmallSetProduct(SmallInt& out, std::initializer_list<uint64_t> factors) {
  SetWide(out, 1);
  TimesAll(out, factors);
}

void SmallSetPolynomialProduct(SmallInt& out, uint64_t x,
                               std::initializer_list<uint64_t> coefficients,
                               std::initializer_list<uint64_t> factors) {
  // Horner's rule in 128 bits while the value fits, in words from there on.
  Uint128 value = 0;
  bool wide = true;
  out.length = 0;
  out.negative = false;
  for (const uint64_t c : coefficients) {
    Uint128 next;
    if (wide && !__builtin_mul_overflow(value, static_cast<Uint128>(x), &next) &&
        !__builtin_add_overflow(next, static_cast<Uint128>(c), &next)) {
      value = next;
      continue;
    }
    if (wide) {
      SetWide(out, value);
      wide = false;
    }
    Times(out, x);
    Plus(out, c);
  }
  if (wide) SetWide(out, value);
  TimesAll(out, factors);
}

void SmallMultiply(const SmallInt& a, const SmallInt& b, SmallInt& out) {
  out.negative = a.negative != b.negative;
  if (a.length == 0 || b.length == 0) {
    out.length = 0;
    out.negative = false;
    return;
  }
  CheckRoom(a.length + b.length);
  // Pairs of words as 64-bit limbs: a quarter of the multiplications of a 32-bit schoolbook.
  constexpr int kLimbs = kSmallIntWords / 2 + 1;
  uint64_t x[kLimbs];
  uint64_t y[kLimbs];
  uint64_t z[2 * kLimbs];
  const int la = (a.length + 1) / 2;
  const int lb = (b.length + 1) / 2;
  x[la - 1] = 0;
  y[lb - 1] = 0;
  std::memcpy(x, a.words, a.length * sizeof(uint32_t));
  std::memcpy(y, b.words, b.length * sizeof(uint32_t));
  MulLimbs(x, static_cast<uint64_t>(la), y, static_cast<uint64_t>(lb), z);
  out.length = a.length + b.length;
  std::memcpy(out.words, z, out.length * sizeof(uint32_t));
  Trim(out);
}

void SmallAdd(const SmallInt& a, const SmallInt& b, SmallInt& out) {
  if (a.negative == b.negative) {
    const SmallInt& longer = a.length >= b.length ? a : b;
    const SmallInt& shorter = a.length >= b.length ? b : a;
    uint64_t carry = 0;
    for (int i = 0; i < longer.length; ++i) {
      carry += static_cast<uint64_t>(longer.words[i]) + (i < shorter.length ? shorter.words[i] : 0);
      out.words[i] = static_cast<uint32_t>(carry);
      carry >>= 32;
    }
    out.length = longer.length;
    if (carry != 0) {
      CheckRoom(out.length + 1);
      out.words[out.length++] = static_cast<uint32_t>(carry);
    }
    out.negative = a.negative;
    return;
  }
  // Different signs: the smaller magnitude from the larger, which gives the sign.
  const bool aLarger = CompareMagnitudes(a, b) >= 0;
  const SmallInt& larger = aLarger ? a : b;
  const SmallInt& smaller = aLarger ? b : a;
  int64_t borrow = 0;
  for (int i = 0; i < larger.length; ++i) {
    int64_t d = static_cast<int64_t>(larger.words[i]) -
                (i < smaller.length ? smaller.words[i] : 0) - borrow;
    borrow = d < 0 ? 1 : 0;
    out.words[i] = static_cast<uint32_t>(d + (borrow << 32));
  }
  out.length = larger.length;
  out.negative = larger.negative;
  Trim(out);
}

void SmallShiftLeft(SmallInt& x, uint64_t bits) {
  if (x.length == 0 || bits == 0) return;
  const int wordShift = static_cast<int>(bits / 32);
  const uint32_t bitShift = static_cast<uint32_t>(bits % 32);
  CheckRoom(x.length + wordShift + 1);
  x.words[x.length + wordShift] = 0;
  for (int i = x.length - 1; i >= 0; --i) {
    const uint64_t w = static_cast<uint64_t>(x.words[i]) << bitShift;
    x.words[i + wordShift + 1] |= static_cast<uint32_t>(w >> 32);
    x.words[i + wordShift] = static_cast<uint32_t>(w);
  }
  for (int i = 0; i < wordShift; ++i) x.words[i] = 0;
  x.length += wordShift + 1;
  Trim(x);
}

void StoreSmall(AllocationHeap* heap, const SmallInt& value, BigFloat& out) {
  BigFloatSetZero(out);
  if (value.length == 0) return;
  BigInt& m = out.magnitude;
  m.words = AllocWordsOrDie(heap, static_cast<uint64_t>(value.length) + 2);
  for (int i = 0; i < value.length; ++i) m.words[i] = value.words[i];
  m.length = static_cast<uint64_t>(value.length);
  m.capacity = static_cast<uint64_t>(value.length) + 2;
  out.sign = value.negative ? 0 : 1;
}

}  // namespace zx
