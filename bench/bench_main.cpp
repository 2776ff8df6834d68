// zentrix-bench: times the engine's operations against GMP, and whole constants against FLINT 3
// and Arb.  zentrix-bench <command> [--words N] [--digits N] [--name C] [--threads T] [--runs R]
// To add a command: write its handler (int(const Options&)), declare it in bench.hpp and add a
// row to kCommands with its help line; options are shared by all commands.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench.hpp"
#include "bench_constant.hpp"
#include "shell/console.hpp"

namespace zx::bench {
namespace {

// The program's ceiling on decimal digits of a memory-only run, the only mode the bench starts.
constexpr uint64_t kMaxDigits = 3220714136;

const Command kCommands[] = {
    {"mul",
     "products of random N-word numbers beside GMP and FLINT 3, alternating in one series\n"
     "           (default: N from 10,000 to 10,240,000, doubling)",
     RunMultiply},
    {"square", "squares of random N-word numbers (same sizes)", RunSquare},
    {"crossover",
     "products and squares by the FFT, the hybrid transform and the number-theoretic\n"
     "           transforms directly, alternating (default: N from 8,000 to 2,000,000, factor 1.41)",
     RunCrossover},
    {"convert", "decimal conversion of random N-word integers (default N = 1,000,000)", RunConvert},
    {"constant",
     "whole constants (value and digit files) beside FLINT 3 and Arb, alternating in one series",
     RunConstant},
    {"pi", "the constant command for Pi, with --words N read as --digits N", RunPi},
};

void PrintHelp() {
  ConsoleWrite(
      "Usage: zentrix-bench <command> [--words N] [--digits N] [--name C] [--threads T] "
      "[--runs R] [--against P,...]\n\nCommands:\n");
  for (const Command& command : kCommands) ConsolePrintf("  %-8s %s\n", command.name, command.help);
  ConsoleWrite(
      "\nOptions:\n"
      "  --words N    operand length in 32-bit words (default: the command's sweep)\n"
      "  --digits N   decimal digits of a constant (default: 1,000,000 and 10,000,000)\n"
      "  --name C     constant: pi, log2, log10, zeta3, catalan, euler, or all (default: those\n"
      "               Zentrix computes)\n"
      "  --threads T  threads, a power of two (default 1; constant: 1 and 2)\n"
      "  --runs R     measurements per size, the median is printed (default 5, at least 3)\n"
      "  --against P  constant: only these programs beside Zentrix, from flint3, arb and gmp\n"
      "               (comma-separated; default all, which is slow at 10^8 digits)\n"
      "\nFLINT 3 is loaded from $ZX_FLINT3_LIB or the prebuilt copy beside the source tree, Arb\n"
      "from $ZX_ARB_LIB or libflint-arb.so.2; a library that cannot be loaded is left out.\n");
}

int Fail(const std::string& message) {
  ConsolePrintf("zentrix-bench: %s\nTry 'zentrix-bench --help'.\n", message.c_str());
  ConsoleFlush();
  return 1;
}

// A decimal number without overflow; false on anything else.
bool ParseNumber(const std::string& text, uint64_t limit, uint64_t* value) {
  if (text.empty() || text.size() > 19) return false;
  uint64_t result = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    result = result * 10 + static_cast<uint64_t>(c - '0');
  }
  if (result > limit) return false;
  *value = result;
  return true;
}

}  // namespace

double SampleSeconds(const std::function<void()>& body) {
  using Clock = std::chrono::steady_clock;
  uint64_t calls = 0;
  uint64_t batch = 1;
  const Clock::time_point start = Clock::now();
  double elapsed = 0;
  // Batches double while short, so that reading the clock costs nothing next to small bodies.
  do {
    for (uint64_t i = 0; i < batch; i++) body();
    calls += batch;
    elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    if (elapsed < 0.005) batch *= 2;
  } while (elapsed < 0.05);
  return elapsed / static_cast<double>(calls);
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

double MedianSeconds(const Options& options, const std::function<void()>& body) {
  std::vector<double> samples;
  for (uint32_t run = 0; run < options.runs; run++) samples.push_back(SampleSeconds(body));
  return Median(samples);
}

uint32_t ThreadExponent(uint32_t threads) {
  uint32_t exponent = 0;
  while ((uint32_t{2} << exponent) <= threads) exponent++;
  return exponent;
}

}  // namespace zx::bench

int main(int argc, char** argv) {
  using namespace zx::bench;
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty() || args[0] == "-h" || args[0] == "--help") {
    PrintHelp();
    zx::ConsoleFlush();
    return args.empty() ? 1 : 0;
  }
  const Command* command = nullptr;
  for (const Command& candidate : kCommands) {
    if (args[0] == candidate.name) command = &candidate;
  }
  if (command == nullptr) return Fail("unknown command '" + args[0] + "'");
  Options options;
  for (size_t i = 1; i < args.size(); i++) {
    std::string name = args[i];
    std::string value;
    const size_t equals = name.find('=');
    if (equals != std::string::npos) {
      value = name.substr(equals + 1);
      name = name.substr(0, equals);
    } else if (i + 1 < args.size()) {
      value = args[++i];
    }
    uint64_t number = 0;
    if (name == "-h" || name == "--help") {
      PrintHelp();
      zx::ConsoleFlush();
      return 0;
    }
    if (name == "--words" && ParseNumber(value, uint64_t{1} << 32, &number) && number > 0) {
      options.words = number;
    } else if (name == "--digits" && ParseNumber(value, kMaxDigits, &number) && number >= 20) {
      options.digits = number;
    } else if (name == "--name" && (value == "all" || FindBenchConstant(value) != nullptr)) {
      options.name = value;
    } else if (name == "--threads" && ParseNumber(value, 1024, &number) && number > 0 &&
               (number & (number - 1)) == 0) {
      options.threads = static_cast<uint32_t>(number);
    } else if (name == "--runs" && ParseNumber(value, 1000, &number) && number >= 3) {
      options.runs = static_cast<uint32_t>(number);
    } else if (name == "--against" && !value.empty()) {
      options.against = value;
    } else {
      return Fail("invalid option '" + args[i] + "'");
    }
  }
  const int status = command->run(options);
  zx::ConsoleFlush();
  return status;
}
