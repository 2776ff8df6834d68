#include "drivers/constant_runs.hpp"

#include "runtime/run_record.hpp"

#include "constants/catalan.hpp"
#include "constants/euler.hpp"
#include "constants/logarithms.hpp"
#include "constants/pi.hpp"
#include "constants/zeta3.hpp"
#include "multiply/out_of_core/swap_memory.hpp"

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
    false,
    {},
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
    false,
    {},
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
    false,
    {},
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
    // The AGM keeps its pair, their sum, a product and an inverse square root's numbers at once.
    SwapModeMemoryBytesHalfAgain,
    false,
    {},
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
    false,
    {},
};

namespace {

// The refined method runs with n = 2^k for the table's row k, the plain one with n = 2^(k+1):
// both then reach about 2^(k+3) nats, so a verify run compares the two at the same size.
void EulerRefined(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords, uint32_t flag,
                  uint32_t threadExponent) {
  EulerBrentMcMillanRefined(heap, result, nullptr, CurrentRun().sizeTableRow, precisionWords, flag,
                            threadExponent);
}
void EulerRefinedSwap(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords,
                      uint32_t flag, uint32_t threadExponent) {
  EulerBrentMcMillanRefinedSwap(heap, result, nullptr, CurrentRun().sizeTableRow, precisionWords,
                                flag, threadExponent);
}
void EulerPlain(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords, uint32_t flag,
                uint32_t threadExponent) {
  EulerBrentMcMillan(heap, result, nullptr, CurrentRun().sizeTableRow + 1, precisionWords, flag,
                     threadExponent);
}
void EulerPlainSwap(AllocationHeap* heap, BigFloat& result, uint64_t precisionWords, uint32_t flag,
                    uint32_t threadExponent) {
  EulerBrentMcMillanSwap(heap, result, nullptr, CurrentRun().sizeTableRow + 1, precisionWords,
                         flag, threadExponent);
}
// The verify run's first computation also hands over its Log(2).
void EulerRefinedWithLog2(AllocationHeap* heap, BigFloat& result, BigFloat* log2,
                          uint64_t precisionWords, uint32_t flag, uint32_t threadExponent) {
  EulerBrentMcMillanRefined(heap, result, log2, CurrentRun().sizeTableRow, precisionWords, flag,
                            threadExponent);
}
void EulerRefinedWithLog2Swap(AllocationHeap* heap, BigFloat& result, BigFloat* log2,
                              uint64_t precisionWords, uint32_t flag, uint32_t threadExponent) {
  EulerBrentMcMillanRefinedSwap(heap, result, log2, CurrentRun().sizeTableRow, precisionWords,
                                flag, threadExponent);
}

}  // namespace

// The compute driver says "Computing:" where the others say "Compute:".
const ConstantRun kEulerRun = {
    "Euler-Mascheroni Constant\n\n"
    "Option 1\n"
    "    Algorithm 1: Brent-McMillan Formula with Refinement (fastest)\n\n"
    "Option 2\n"
    "    Algorithm 2: Brent-McMillan Formula alone (slower)\n\n",
    nullptr,
    "Computing: Euler-Mascheroni Constant\n\n",
    "Computing: Euler-Mascheroni Constant and Log(2)\n\n",
    "Euler's Constant",
    {{"Brent-McMillan (Refined)", EulerRefined, EulerRefinedSwap, EulerMemory},
     {"Brent-McMillan", EulerPlain, EulerPlainSwap, EulerMemory}},
    EulerVerifyMemory,
    {"Log(2)\n", "Log(2)", "Euler Run", EulerRefinedWithLog2, EulerRefinedWithLog2Swap},
    {},
    // A merge of two segments holds four full-precision parts and their products (row 21 peaked
    // at 1.17 times the common model).
    SwapModeMemoryBytesHalfAgain,
    true,
    {"Computing...\n", "Verifying...\n", "\nCompute Time: ", "\nVerify Time: "},
};

}  // namespace zx
