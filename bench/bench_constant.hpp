// The constants the constant benchmark knows: for each, the arb function that computes it in the
// reference libraries and what Zentrix needs to run it, null where Zentrix has no run for it (then
// only the references are timed). Everything that touches Zentrix's drivers is in
// zentrix_constant.cpp, so a change of the driver interface is absorbed there.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace zx {
struct ConstantRun;
}

namespace zx::bench {

struct BenchConstant {
  const char* name;         // "pi", "log2", "log10", "zeta3", "catalan", "euler"
  const char* arbFunction;  // arb_const_*(x, precisionBits): the same name in FLINT 3 and Arb
  // Used where a library does not export arbFunction: arb_log_ui(x, arbLogArgument, bits); 0: none.
  unsigned long arbLogArgument;
  const ConstantRun* zentrixRun;  // null: Zentrix has no run of this constant
  int zentrixAlgorithm;           // the menu's option 1 or 2, as 0 or 1
};

std::span<const BenchConstant> BenchConstants();
// Null for an unknown name.
const BenchConstant* FindBenchConstant(std::string_view name);

bool ZentrixHasConstant(const BenchConstant& constant);
// Seconds of Zentrix's whole job at digits decimal digits with 2^threadExponent threads: the value,
// then its hexadecimal and decimal files in the current directory. *estimateBytes receives the heap
// the run reserved. Only for constants where ZentrixHasConstant holds.
double ZentrixConstantSeconds(const BenchConstant& constant, uint64_t digits,
                              uint32_t threadExponent, uint64_t* estimateBytes);
// The digit count Zentrix computes near digits: a constant offered in a table of sizes (the
// Euler-Mascheroni constant) runs at the row nearest that many digits, and every program of the
// series is timed at that row's count.
uint64_t ZentrixDigitsNear(const BenchConstant& constant, uint64_t digits);
// The heap peak of the last Zentrix run, in bytes.
uint64_t ZentrixLastPeakBytes();

}  // namespace zx::bench
