// The Pi menu: Chudnovsky, Ramanujan, or both to compute and verify.
#pragma once

#include "drivers/run_driver.hpp"

namespace zx {

extern const ConstantRun kPiRun;

void PiMenu();

}  // namespace zx
