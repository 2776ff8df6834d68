// Shared pieces of zentrix-bench: the parsed options, the command table entry, and the timer that
// repeats a call until a measurement is long enough and reports the median of several of them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace zx::bench {

struct Options {
  uint64_t words = 0;    // 0: the command's default sweep
  uint64_t digits = 0;   // decimal digits of a constant; 0: the command's default sweep
  uint32_t threads = 0;  // thread count (a power of two); 0: the command's default
  uint32_t runs = 5;     // measurements per size; the median is reported
  std::string name;      // constant name; empty: the command's default
  std::string against;   // constant: the comma-separated programs timed beside Zentrix; empty: all
};

struct Command {
  const char* name;
  const char* help;
  int (*run)(const Options& options);
};

// Seconds per call of body: each measurement repeats body until 0.05 s have passed (at least
// once), and the median of options.runs measurements is returned.
double MedianSeconds(const Options& options, const std::function<void()>& body);
// The middle value (the upper one of an even count).
double Median(std::vector<double> values);
// One of those measurements: seconds per call of body over at least 0.05 s.
double SampleSeconds(const std::function<void()>& body);

// log2 of a power-of-two thread count.
uint32_t ThreadExponent(uint32_t threads);
// The thread count a single-count command uses: the one given, else 1.
inline uint32_t ThreadsOrOne(const Options& options) {
  return options.threads == 0 ? 1 : options.threads;
}

// Seconds of a plain GMP Chudnovsky program for Pi to digits decimal digits, file at path included.
double GmpPiSeconds(uint64_t digits, const std::string& path);

int RunMultiply(const Options& options);
int RunSquare(const Options& options);
int RunCrossover(const Options& options);
int RunConvert(const Options& options);
int RunPi(const Options& options);
int RunConstant(const Options& options);

}  // namespace zx::bench
