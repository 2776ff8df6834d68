// Expected digit-file texts computed by GMP from the exact value of a number, so the tests never
// lean on the conversion they check. A value is a fraction num/den; the file's radix is 2^32
// (hexadecimal, 8 digits a word) or 10^9 (decimal, 9 digits a word).
#pragma once

#include <gmp.h>

#include <cstdint>
#include <string>

#include "radix/radix_constants.hpp"

namespace zx::test {

// The digits of z in base 10 or 16 (lower case), without leading zeros ("0" for zero).
std::string MpzText(const mpz_t z, int base);

// The whole file for num/den written to digitCount digits: the lead-in by the number of radix
// words W before the point, then the first digits of the exact expansion.
std::string ExpectedDigitText(const mpz_t num, const mpz_t den, DigitRadix radix,
                              uint64_t digitCount);

// The same for m·2^(32·exponentWords) and for n·10^(9·exponentBillions).
std::string ExpectedTextOfBinary(const mpz_t m, int64_t exponentWords, DigitRadix radix,
                                 uint64_t digitCount);
std::string ExpectedTextOfBillions(const mpz_t n, int64_t exponentBillions, uint64_t digitCount);

}  // namespace zx::test
