#include "radix_oracle.hpp"

#include <vector>

namespace zx::test {
namespace {

struct RadixInfo {
  unsigned digitBase;     // 10 or 16
  unsigned wordDigits;    // digits per radix word
  const char* powerText;  // the radix in decimal
};

RadixInfo InfoOf(DigitRadix radix) {
  return radix == DigitRadix::kHex ? RadixInfo{16, 8, "4294967296"}
                                   : RadixInfo{10, 9, "1000000000"};
}

// num/den scaled by base^power: num·base^power / den, or num / (den·base^−power).
void Scaled(mpz_t outNum, mpz_t outDen, const mpz_t num, const mpz_t den, unsigned base,
            int64_t power) {
  mpz_t scale;
  mpz_init(scale);
  mpz_ui_pow_ui(scale, base, static_cast<unsigned long>(power < 0 ? -power : power));
  mpz_set(outNum, num);
  mpz_set(outDen, den);
  if (power >= 0) {
    mpz_mul(outNum, outNum, scale);
  } else {
    mpz_mul(outDen, outDen, scale);
  }
  mpz_clear(scale);
}

// floor(num/den · base^power).
void FloorScaled(mpz_t out, const mpz_t num, const mpz_t den, unsigned base, int64_t power) {
  mpz_t n, d;
  mpz_inits(n, d, nullptr);
  Scaled(n, d, num, den, base, power);
  mpz_fdiv_q(out, n, d);
  mpz_clears(n, d, nullptr);
}

// True when num/den >= base^power.
bool AtLeastPower(const mpz_t num, const mpz_t den, unsigned base, int64_t power) {
  mpz_t n, d;
  mpz_inits(n, d, nullptr);
  Scaled(n, d, num, den, base, -power);
  const bool atLeast = mpz_cmp(n, d) >= 0;
  mpz_clears(n, d, nullptr);
  return atLeast;
}

std::string PadLeft(const std::string& text, uint64_t width) {
  return text.size() >= width ? text : std::string(width - text.size(), '0') + text;
}

}  // namespace

std::string MpzText(const mpz_t z, int base) {
  std::vector<char> buffer(mpz_sizeinbase(z, base) + 2);
  mpz_get_str(buffer.data(), base, z);
  return buffer.data();
}

std::string ExpectedDigitText(const mpz_t num, const mpz_t den, DigitRadix radix,
                              uint64_t digitCount) {
  if (mpz_sgn(num) == 0) return "0";
  const RadixInfo info = InfoOf(radix);
  // W is the least whole number with num/den < radix^W, found from the bit lengths and adjusted.
  const double bitsPerWord = info.digitBase == 16 ? 32.0 : 29.897352853986263;
  const double bits =
      static_cast<double>(mpz_sizeinbase(num, 2)) - static_cast<double>(mpz_sizeinbase(den, 2));
  int64_t w = static_cast<int64_t>(bits / bitsPerWord);
  while (AtLeastPower(num, den, info.digitBase, info.wordDigits * w)) ++w;
  while (!AtLeastPower(num, den, info.digitBase, info.wordDigits * (w - 1))) --w;

  mpz_t digits;
  mpz_init(digits);
  std::string text;
  if (w == 1) {
    FloorScaled(digits, num, den, info.digitBase, 0);
    const std::string integer = MpzText(digits, static_cast<int>(info.digitBase));
    const uint64_t fractionCount = digitCount > integer.size() ? digitCount - integer.size() : 0;
    FloorScaled(digits, num, den, info.digitBase, static_cast<int64_t>(fractionCount));
    const std::string all = MpzText(digits, static_cast<int>(info.digitBase));
    text = integer + "." + all.substr(integer.size());
  } else {
    FloorScaled(digits, num, den, info.digitBase,
                static_cast<int64_t>(digitCount) - static_cast<int64_t>(info.wordDigits) * w);
    const std::string fraction =
        digitCount == 0 ? ""
                        : PadLeft(MpzText(digits, static_cast<int>(info.digitBase)), digitCount);
    if (w == 0) {
      text = "0." + fraction;
    } else {
      text = std::string(info.powerText) + "^" + std::to_string(w) + " * 0." + fraction;
    }
  }
  mpz_clear(digits);
  return text;
}

std::string ExpectedTextOfBinary(const mpz_t m, int64_t exponentWords, DigitRadix radix,
                                 uint64_t digitCount) {
  mpz_t num, den;
  mpz_inits(num, den, nullptr);
  mpz_set_ui(den, 1);
  Scaled(num, den, m, den, 2, 32 * exponentWords);
  std::string text = ExpectedDigitText(num, den, radix, digitCount);
  mpz_clears(num, den, nullptr);
  return text;
}

std::string ExpectedTextOfBillions(const mpz_t n, int64_t exponentBillions, uint64_t digitCount) {
  mpz_t num, den;
  mpz_inits(num, den, nullptr);
  mpz_set_ui(den, 1);
  Scaled(num, den, n, den, 10, 9 * exponentBillions);
  std::string text = ExpectedDigitText(num, den, DigitRadix::kDecimal, digitCount);
  mpz_clears(num, den, nullptr);
  return text;
}

}  // namespace zx::test
