// A plain GMP Chudnovsky program, the third column of the Pi benchmark: full binary splitting with
// mpz, the finish in mpf, the decimal digits converted by mpf_get_str and written to a file. The
// pi command is the constant command for Pi, its --words read as digits as it always was.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>

#include "bench.hpp"

#if defined(ZX_HAVE_GMP)
#include <gmp.h>
#endif

namespace zx::bench {

#if defined(ZX_HAVE_GMP)

namespace {

struct Split {
  mpz_t p, q, t;
};

void SplitRange(uint64_t a, uint64_t b, Split& out, bool wantP) {
  mpz_inits(out.p, out.q, out.t, nullptr);
  if (b - a == 1) {
    mpz_set_ui(out.p, 6 * b - 5);
    mpz_mul_ui(out.p, out.p, 2 * b - 1);
    mpz_mul_ui(out.p, out.p, 6 * b - 1);
    mpz_set_ui(out.q, b);
    mpz_mul_ui(out.q, out.q, b);
    mpz_mul_ui(out.q, out.q, b);
    mpz_mul_ui(out.q, out.q, 26726400u);  // 640320^3/24 = 10939058860032000 = 26726400·409297880
    mpz_mul_ui(out.q, out.q, 409297880u);
    mpz_set_ui(out.t, 545140134u);
    mpz_mul_ui(out.t, out.t, b);
    mpz_add_ui(out.t, out.t, 13591409u);
    mpz_mul(out.t, out.t, out.p);
    if (b % 2 == 1) mpz_neg(out.t, out.t);
    return;
  }
  const uint64_t m = (a + b) / 2;
  Split right;
  SplitRange(a, m, out, true);
  SplitRange(m, b, right, wantP);
  mpz_mul(out.t, out.t, right.q);
  mpz_mul(right.t, right.t, out.p);
  mpz_add(out.t, out.t, right.t);
  mpz_mul(out.q, out.q, right.q);
  if (wantP) mpz_mul(out.p, out.p, right.p);
  mpz_clears(right.p, right.q, right.t, nullptr);
}

}  // namespace

double GmpPiSeconds(uint64_t digits, const std::string& path) {
  const auto start = std::chrono::steady_clock::now();
  const uint64_t terms = static_cast<uint64_t>(static_cast<double>(digits) / 14.181647462725477) + 2;
  Split s;
  SplitRange(0, terms, s, false);
  const auto bits = static_cast<mp_bitcnt_t>(static_cast<double>(digits) * 3.3219280948873626) + 64;
  mpf_set_default_prec(bits);
  mpf_t q, t, root, pi;
  mpf_inits(q, t, root, pi, nullptr);
  mpf_set_z(q, s.q);
  mpf_set_z(t, s.t);
  mpz_clears(s.p, s.q, s.t, nullptr);
  mpf_mul_ui(pi, q, 13591409u);
  mpf_add(t, pi, t);               // 13591409·Q + T
  mpf_sqrt_ui(root, 10005);
  mpf_mul_ui(q, q, 426880u);
  mpf_mul(q, q, root);
  mpf_div(pi, q, t);
  mp_exp_t exponent = 0;
  char* text = mpf_get_str(nullptr, &exponent, 10, digits + 1, pi);
  if (FILE* file = std::fopen(path.c_str(), "wb")) {
    std::fwrite(text, 1, 1, file);
    std::fwrite(".", 1, 1, file);
    std::fwrite(text + 1, 1, std::strlen(text + 1), file);
    std::fclose(file);
  }
  void (*release)(void*, size_t) = nullptr;
  mp_get_memory_functions(nullptr, nullptr, &release);
  release(text, std::strlen(text) + 1);
  mpf_clears(q, t, root, pi, nullptr);
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

#endif  // ZX_HAVE_GMP

int RunPi(const Options& options) {
  Options piOptions = options;
  piOptions.name = "pi";
  if (piOptions.digits == 0) piOptions.digits = options.words;
  return RunConstant(piOptions);
}

}  // namespace zx::bench
