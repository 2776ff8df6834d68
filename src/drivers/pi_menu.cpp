#include "drivers/pi_menu.hpp"

#include "constants/pi.hpp"
#include "drivers/constant_menu.hpp"
#include "shell/console.hpp"

namespace zx {
namespace {

// Compute and Verify keeps the conversion table of the first result through the second
// computation: about two words per word of precision.
uint64_t PiVerifyMemory(uint64_t precisionWords, uint32_t threadExponent) {
  return PiMemoryRamanujan(precisionWords, threadExponent) + 8 * precisionWords;
}

}  // namespace

const ConstantRun kPiRun = {
    "Compute: Pi\n\n",
    "Compute and Verify: Pi\n\n",
    kPiFiles,
    {ComputePiChudnovsky, ComputePiRamanujan},
    {ComputePiChudnovskySwap, ComputePiRamanujanSwap},
};

void PiMenu() {
  ConsoleWrite(
      "Pi\n\n"
      "Option 1\n"
      "    Algorithm 1: Chudnovsky Formula (fastest)\n\n"
      "Option 2\n"
      "    Algorithm 2: Ramanujan Formula\n\n"
      "Option 3\n"
      "    Compute and Verify:\n"
      "        Use both formulas to compute and verify. (great for stress-testing)\n\n"
      "Enter your choice:\n");
  switch (ReadMenuChoice(3)) {
    case 1:
      RunConstantOption(kPiRun, 0, PiMemoryChudnovsky);
      break;
    case 2:
      RunConstantOption(kPiRun, 1, PiMemoryRamanujan);
      break;
    default:
      RunConstantOption(kPiRun, kVerifyOption, PiVerifyMemory);
      break;
  }
}

}  // namespace zx
