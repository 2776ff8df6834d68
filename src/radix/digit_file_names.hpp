// Names of the digit files: "<constant> - <Hex|Dec> - <label>.txt" in the current directory, as
// UTF-8 byte strings passed to the file system unchanged (they hold blanks, parentheses and an
// apostrophe). The labels name the algorithm, or the role in a compute-and-verify run.
#pragma once

#include <string>
#include <string_view>

#include "radix/radix_constants.hpp"

namespace zx {

// The labels of a compute-and-verify run's two results (a plain run's files carry the
// algorithm's label instead).
inline constexpr const char* kComputationLabel = "Computation";
inline constexpr const char* kVerificationLabel = "Verification";

// "Pi - Dec - Chudnovsky.txt" from ("Pi", kDecimal, "Chudnovsky").
std::string DigitFileName(std::string_view constantName, DigitRadix radix, std::string_view label);

}  // namespace zx
