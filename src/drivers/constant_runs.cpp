#include "drivers/constant_runs.hpp"

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
};

}  // namespace zx
