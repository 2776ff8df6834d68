#include "constants/leaf_terms.hpp"

#include "shell/fatal.hpp"

namespace zx {
namespace {

constexpr int kMaxLeafWords = 24;

__extension__ typedef unsigned __int128 Uint128;

struct SmallNumber {
  uint32_t words[kMaxLeafWords];
  int length;
};

void Times(SmallNumber& x, uint64_t factor) {
  Uint128 carry = 0;
  for (int i = 0; i < x.length; ++i) {
    carry += static_cast<Uint128>(x.words[i]) * factor;
    x.words[i] = static_cast<uint32_t>(carry);
    carry >>= 32;
  }
  while (carry != 0) {
    ZX_ASSERT(x.length < kMaxLeafWords);
    x.words[x.length++] = static_cast<uint32_t>(carry);
    carry >>= 32;
  }
}

void Plus(SmallNumber& x, uint64_t addend) {
  Uint128 carry = addend;
  for (int i = 0; i < x.length && carry != 0; ++i) {
    carry += x.words[i];
    x.words[i] = static_cast<uint32_t>(carry);
    carry >>= 32;
  }
  while (carry != 0) {
    ZX_ASSERT(x.length < kMaxLeafWords);
    x.words[x.length++] = static_cast<uint32_t>(carry);
    carry >>= 32;
  }
}

void Store(AllocationHeap* heap, BigFloat& out, const SmallNumber& x) {
  int length = x.length;
  while (length > 0 && x.words[length - 1] == 0) --length;
  BigFloatSetZero(out);
  if (length == 0) return;
  BigInt& m = out.magnitude;
  m.words = AllocWordsOrDie(heap, static_cast<uint64_t>(length) + 2);
  for (int i = 0; i < length; ++i) m.words[i] = x.words[i];
  m.length = static_cast<uint64_t>(length);
  m.capacity = static_cast<uint64_t>(length) + 2;
}

SmallNumber Load(const BigFloat& a) {
  SmallNumber x{};
  x.length = static_cast<int>(a.magnitude.length);
  for (int i = 0; i < x.length; ++i) x.words[i] = a.magnitude.words[i];
  return x;
}

}  // namespace

void SetProduct(AllocationHeap* heap, BigFloat& out, std::initializer_list<uint64_t> factors) {
  SmallNumber x{{1}, 1};
  for (uint64_t factor : factors) Times(x, factor);
  Store(heap, out, x);
}

void SetPolynomialProduct(AllocationHeap* heap, BigFloat& out, uint64_t x,
                          std::initializer_list<uint64_t> coefficients,
                          std::initializer_list<uint64_t> factors) {
  SmallNumber value{{0}, 0};
  for (uint64_t c : coefficients) {
    Times(value, x);
    Plus(value, c);
  }
  for (uint64_t factor : factors) Times(value, factor);
  Store(heap, out, value);
}

void MultiplySmall(AllocationHeap* heap, BigFloat& out, uint64_t factor) {
  SmallNumber x = Load(out);
  Times(x, factor);
  const uint32_t sign = out.sign;
  BigFloatRelease(out);
  Store(heap, out, x);
  out.sign = sign;
}

}  // namespace zx
