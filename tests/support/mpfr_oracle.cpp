#include "mpfr_oracle.hpp"

#include <gmp.h>

#include <cmath>

#include "bignum_oracle.hpp"

namespace zx::test {

void ToMpfr(mpfr_t out, AllocationHeap* heap, BigFloat& a) {
  mpz_t z;
  mpz_init(z);
  ToMpz(z, heap, a.magnitude);
  mpfr_set_prec(out, static_cast<mpfr_prec_t>(32 * a.magnitude.length + 64));
  mpfr_set_z(out, z, MPFR_RNDN);
  mpfr_mul_2si(out, out, 32 * a.exponent, MPFR_RNDN);
  if (a.sign == 0) mpfr_neg(out, out, MPFR_RNDN);
  mpz_clear(z);
}

double AgreeingWords(AllocationHeap* heap, BigFloat& a, const mpfr_t reference) {
  mpfr_t value, error;
  mpfr_init2(value, 64);
  mpfr_init2(error, mpfr_get_prec(reference) + 64);
  ToMpfr(value, heap, a);
  mpfr_sub(error, value, reference, MPFR_RNDN);
  double words = 1e9;
  if (!mpfr_zero_p(error)) {
    mpfr_div(error, error, reference, MPFR_RNDN);
    mpfr_abs(error, error, MPFR_RNDN);
    long exponent = 0;
    const double mantissa = mpfr_get_d_2exp(&exponent, error, MPFR_RNDN);
    words = -(std::log2(mantissa) + static_cast<double>(exponent)) / 32;
  }
  mpfr_clears(value, error, nullptr);
  return words;
}

}  // namespace zx::test
