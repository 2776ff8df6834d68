// Shared pieces of zentrix-bench: the parsed options, the command table entry, and the timer that
// repeats a call until a measurement is long enough and reports the median of several of them.
#pragma once

#include <cstdint>
#include <functional>

namespace zx::bench {

struct Options {
  uint64_t words = 0;    // 0: the command's default sweep
  uint32_t threads = 1;  // thread count (a power of two)
  uint32_t runs = 5;     // measurements per size; the median is reported
};

struct Command {
  const char* name;
  const char* help;
  int (*run)(const Options& options);
};

// Seconds per call of body: each measurement repeats body until 0.05 s have passed (at least
// once), and the median of options.runs measurements is returned.
double MedianSeconds(const Options& options, const std::function<void()>& body);

// log2 of a power-of-two thread count.
uint32_t ThreadExponent(uint32_t threads);

int RunMultiply(const Options& options);
int RunSquare(const Options& options);
int RunConvert(const Options& options);
int RunPi(const Options& options);

}  // namespace zx::bench
