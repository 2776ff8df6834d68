// Counts typed on the command line: plain integers, powers of ten (1e6) and decimal multipliers
// (k, M, G: 2.5G is 2,500,000,000). The result must be a whole number, and nothing wraps: a value
// past 2^64 − 1 is refused rather than reduced.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zx {

// Empty on success; otherwise what is wrong with text ("not a number", "not a whole number",
// "too large").
std::string ParseCount(std::string_view text, uint64_t* value);

}  // namespace zx
