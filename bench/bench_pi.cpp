// Whole Pi runs: Zentrix's compute driver (series, finish, both digit files written) beside a
// plain GMP Chudnovsky program (full binary splitting with mpz, the finish in mpf, the decimal
// digits converted by mpf_get_str and written to a file), for the same digit count.
#include <gmp.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "bench.hpp"
#include "constants/pi.hpp"
#include "drivers/pi_menu.hpp"
#include "drivers/run_driver.hpp"
#include "shell/console.hpp"
#include "shell/dialogues.hpp"

namespace zx::bench {
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

double ZentrixPiSeconds(uint64_t digits, uint32_t threadExponent, uint64_t* estimateBytes) {
  RunSettings settings;
  settings.decimalDigits = digits;
  settings.hexDigits = HexDigitsFor(digits);
  settings.precisionWords = WordsFor(settings.hexDigits);
  settings.threadExponent = threadExponent;
  settings.memoryBytes = PiMemoryChudnovsky(settings.precisionWords, threadExponent);
  *estimateBytes = settings.memoryBytes;
  std::string transcript;
  ConsoleCaptureTo(&transcript);
  const auto start = std::chrono::steady_clock::now();
  RunCompute(kPiRun, 0, settings);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  ConsoleCaptureTo(nullptr);
  return seconds;
}

}  // namespace

int RunPi(const Options& options) {
  const uint64_t digits = options.words == 0 ? 10000000 : options.words;
  const uint32_t k = ThreadExponent(options.threads);
  // Both programs write into the current directory; the files are compared by the caller if wanted.
  uint64_t estimate = 0;
  const double zentrix = ZentrixPiSeconds(digits, k, &estimate);
  ConsolePrintf("pi digits=%llu threads=%u zentrix_s=%.3f heap_estimate=%llu heap_peak=%llu",
                static_cast<unsigned long long>(digits), options.threads, zentrix,
                static_cast<unsigned long long>(estimate),
                static_cast<unsigned long long>(LastRunPeakBytes()));
  ConsoleFlush();
  const double gmp = GmpPiSeconds(digits, "Pi - Dec - GMP.txt");
  ConsolePrintf(" gmp_s=%.3f ratio=%.3f\n", gmp, zentrix / gmp);
  ConsoleFlush();
  return 0;
}

}  // namespace zx::bench
