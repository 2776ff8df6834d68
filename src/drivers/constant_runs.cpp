#include "drivers/constant_runs.hpp"

#include "constants/catalan.hpp"
#include "constants/logarithms.hpp"
#include "constants/pi.hpp"
#include "constants/zeta3.hpp"

namespace zx {
namespace {

// Compute and Verify keeps the conversion table of the first result through the second
// computation: about two words per word of precision.
uint64_t PiVerifyMemory(uint64_t precisionWords, uint32_t threadExponent) {
  return PiMemoryRamanujan(precisionWords, threadExponent) + 8 * precisionWords;
}

}  // namespace

const ConstantRun kPiRun = {
    "Pi\n\n"
    "Option 1\n"
    "    Algorithm 1: Chudnovsky Formula (fastest)\n\n"
    "Option 2\n"
    "    Algorithm 2: Ramanujan Formula\n\n",
    nullptr,
    "Compute: Pi\n\n",
    "Compute and Verify: Pi\n\n",
    "Pi",
    {{"Chudnovsky", ComputePiChudnovsky, ComputePiChudnovskySwap, PiMemoryChudnovsky},
     {"Ramanujan", ComputePiRamanujan, ComputePiRamanujanSwap, PiMemoryRamanujan}},
    PiVerifyMemory,
    {},
    {},
    nullptr,
};

// The menu offers Formula 2 first; the files are named by formula number, and spell
// "Zeiberger" where the menu spells "Zeilberger".
const ConstantRun kZeta3Run = {
    "Zeta(3)\n\n"
    "Option 1\n"
    "    Algorithm 1: Amdeberhan-Zeilberger Formula 2 (fastest)\n\n"
    "Option 2\n"
    "    Algorithm 2: Amdeberhan-Zeilberger Formula 1 (slightly slower)\n\n",
    nullptr,
    "Compute: Zeta(3) (Apery's Constant)\n\n",
    "Compute and Verify: Zeta(3) (Apery's Constant)\n\n",
    "Zeta(3)",
    {{"Amdeberhan-Zeiberger Formula 2", ComputeZeta3Formula2, ComputeZeta3Formula2Swap,
      Zeta3Memory},
     {"Amdeberhan-Zeiberger Formula 1", ComputeZeta3Formula1, ComputeZeta3Formula1Swap,
      Zeta3Memory}},
    Zeta3VerifyMemory,
    {},
    {},
    nullptr,
};

const ConstantRun kLog2Run = {
    "Natural Logarithm of 2\n\n"
    "Option 1\n"
    "    Algorithm 1: 3-term Machin-like formula (fastest)\n"
    "    Log(2) = 18*ArcCoth(26) - 2*ArcCoth(4801) + 8*ArcCoth(8749)\n\n"
    "Option 2\n"
    "    Algorithm 2: 4-term Machin-like formula (slower)\n"
    "    Log(2) = 144*ArcCoth(251) + 54*ArcCoth(449) - 38*ArcCoth(4801) + 62*ArcCoth(8749)\n\n",
    "Option 3\n"
    "    Compute and Verify:\n"
    "        Use the following two formulas to compute and verify:\n"
    "     72*ArcCoth( 99) - 18*ArcCoth(449) + 34*ArcCoth(4801) - 10*ArcCoth(8749)\n"
    "    144*ArcCoth(251) + 54*ArcCoth(449) - 38*ArcCoth(4801) + 62*ArcCoth(8749)\n\n"
    "Enter your choice:\n",
    "Compute: Log(2)\n\n",
    "Compute and Verify: Log(2)\n\n",
    "Log(2)",
    {{"Machin1", ComputeLog2Machin1, ComputeLog2Machin1Swap, LogMemory},
     {"Machin2", ComputeLog2Machin2, ComputeLog2Machin2Swap, LogMemory}},
    LogVerifyMemory,
    {},
    {ComputeLog2Pair, ComputeLog2PairSwap},
    nullptr,
};

const ConstantRun kCatalanRun = {
    "Catalan's Constant\n\n"
    "Option 1\n"
    "    Algorithm 1: Lupas Formula (fastest)\n\n"
    "Option 2\n"
    "    Algorithm 2: Pi & Log-Term + Series\n\n",
    nullptr,
    "Compute: Catalan's Constant\n\n",
    "Compute and Verify: Catalan's Constant\n\n",
    "Catalan",
    {{"Lupas", ComputeCatalanLupas, ComputeCatalanLupasSwap, CatalanLupasMemory},
     {"LogSeries", ComputeCatalanLogSeries, ComputeCatalanLogSeriesSwap,
      CatalanLogSeriesMemory}},
    CatalanVerifyMemory,
    {},
    {},
    CatalanSwapMemory,
};

// Both formulas are headed "Log(2) = ", as the menu has always printed them.
const ConstantRun kLog10Run = {
    "Natural Logarithm of 10\n\n"
    "Option 1\n"
    "    Algorithm 1: 4-term Machin-like formula (fastest)\n"
    "    Log(2) = 478*ArcCoth(251) + 180*ArcCoth(449) - 126*ArcCoth(4801) + 206*ArcCoth(8749)\n\n"
    "Option 2\n"
    "    Algorithm 2: 4-term Machin-like formula (slower)\n"
    "    Log(2) = 239*ArcCoth( 99) -  59*ArcCoth(449) + 113*ArcCoth(4801) -  33*ArcCoth(8749)\n\n",
    nullptr,
    "Compute: Log(10)\n\n",
    "Compute and Verify: Log(10)\n\n",
    "Log(10)",
    {{"Machin1", ComputeLog10Machin1, ComputeLog10Machin1Swap, LogMemory},
     {"Machin2", ComputeLog10Machin2, ComputeLog10Machin2Swap, LogMemory}},
    LogVerifyMemory,
    {},
    {ComputeLog10Pair, ComputeLog10PairSwap},
    nullptr,
};

}  // namespace zx
