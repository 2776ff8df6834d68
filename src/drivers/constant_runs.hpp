// The table of constants: one ConstantRun per constant, with its menu text, banner lines, file
// names, algorithms and memory estimates. Adding a constant adds one record here.
#pragma once

#include "drivers/run_driver.hpp"

namespace zx {

extern const ConstantRun kPiRun;
extern const ConstantRun kZeta3Run;
extern const ConstantRun kLog2Run;
extern const ConstantRun kLog10Run;
extern const ConstantRun kCatalanRun;
extern const ConstantRun kEulerRun;

}  // namespace zx
