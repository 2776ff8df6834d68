// The one menu every constant shares: its text comes from the constant's ConstantRun, then the
// option handler asks for the run settings (digits and threads, the memory mode, the disks) and
// starts the driver.
#pragma once

#include <cstdint>

#include "drivers/run_driver.hpp"
#include "menus/run_settings.hpp"

namespace zx {

// Prints the constant's menu, reads 1, 2 or 3 and runs that option.
void ConstantMenu(const ConstantRun& run);

// Option 0 or 1 computes with that algorithm, kVerifyOption computes and verifies.
void RunConstantOption(const ConstantRun& run, int option);

// Prints "option = " until a choice in [1, count] arrives; returns it.
uint32_t ReadMenuChoice(uint32_t count);

}  // namespace zx
