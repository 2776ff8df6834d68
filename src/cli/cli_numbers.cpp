// The count is read exactly as mantissa digits and a power of ten, never through a double, so
// 2.5G is 2,500,000,000 exactly and 1.0000000000000000001e19 is refused as too large, not rounded.
#include "cli/cli_numbers.hpp"

namespace zx {
namespace {

constexpr uint64_t kMaxCount = UINT64_MAX;
// Exponents past this give more than 2^64 for any mantissa that is not zero.
constexpr int64_t kLargestExponent = 40;

int MultiplierExponent(char suffix) {
  switch (suffix) {
    case 'k':
    case 'K':
      return 3;
    case 'M':
      return 6;
    case 'G':
      return 9;
    default:
      return -1;
  }
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

std::string ParseCount(std::string_view text, uint64_t* value) {
  size_t at = 0;
  // The mantissa's digits without the point, and how many of them followed the point.
  std::string mantissa;
  int64_t fractionDigits = 0;
  bool seenPoint = false;
  for (; at < text.size(); ++at) {
    if (IsDigit(text[at])) {
      mantissa += text[at];
      fractionDigits += seenPoint;
    } else if (text[at] == '.' && !seenPoint) {
      seenPoint = true;
    } else {
      break;
    }
  }
  if (mantissa.empty()) return "not a number";
  int64_t exponent = 0;
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    ++at;
    if (at == text.size()) return "not a number";
    for (; at < text.size() && IsDigit(text[at]); ++at) {
      exponent = exponent * 10 + (text[at] - '0');
      if (exponent > kLargestExponent) exponent = kLargestExponent + 1;
    }
  } else if (at + 1 == text.size() && MultiplierExponent(text[at]) >= 0) {
    exponent = MultiplierExponent(text[at]);
    ++at;
  }
  if (at != text.size()) return "not a number";

  // Digits that the power of ten moves behind the point must all be zero.
  int64_t shift = exponent - fractionDigits;
  size_t keptDigits = mantissa.size();
  for (; shift < 0 && keptDigits > 0; ++shift) {
    if (mantissa[keptDigits - 1] != '0') return "not a whole number";
    --keptDigits;
  }
  uint64_t result = 0;
  for (size_t i = 0; i < keptDigits; ++i) {
    const auto d = static_cast<uint64_t>(mantissa[i] - '0');
    if (result > (kMaxCount - d) / 10) return "too large";
    result = result * 10 + d;
  }
  for (; shift > 0 && result != 0; --shift) {
    if (result > kMaxCount / 10) return "too large";
    result *= 10;
  }
  *value = result;
  return "";
}

}  // namespace zx
