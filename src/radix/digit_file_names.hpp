// Names of the digit files: "<constant> - <Hex|Dec> - <label>.txt" in the current directory, as
// UTF-8 byte strings passed to the file system unchanged (they hold blanks, parentheses and an
// apostrophe). The labels name the algorithm, or the role in a compute-and-verify run.
#pragma once

#include <string>
#include <string_view>

#include "radix/radix_constants.hpp"

namespace zx {

// The constant's name and the labels of its two algorithms, as the files spell them.
struct ConstantFileNames {
  const char* constantName;
  const char* algorithm1Label;
  const char* algorithm2Label;
};

inline constexpr ConstantFileNames kPiFiles{"Pi", "Chudnovsky", "Ramanujan"};
inline constexpr ConstantFileNames kLog2Files{"Log(2)", "Machin1", "Machin2"};
inline constexpr ConstantFileNames kLog10Files{"Log(10)", "Machin1", "Machin2"};
// Named by formula number, not by menu position; "Zeiberger" is the files' spelling.
inline constexpr ConstantFileNames kZeta3Files{"Zeta(3)", "Amdeberhan-Zeiberger Formula 1",
                                               "Amdeberhan-Zeiberger Formula 2"};
inline constexpr ConstantFileNames kCatalanFiles{"Catalan", "Lupas", "LogSeries"};
inline constexpr ConstantFileNames kEulerFiles{"Euler's Constant", "Brent-McMillan",
                                               "Brent-McMillan (Refined)"};

inline constexpr const char* kComputationLabel = "Computation";
inline constexpr const char* kVerificationLabel = "Verification";
// The Log(2) an Euler-Mascheroni run computes on the way (hexadecimal only).
inline constexpr const char* kEulerRunLabel = "Euler Run";

// "Pi - Dec - Chudnovsky.txt" from ("Pi", kDecimal, "Chudnovsky").
std::string DigitFileName(std::string_view constantName, DigitRadix radix, std::string_view label);

}  // namespace zx
