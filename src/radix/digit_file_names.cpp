// The digit files' names.
#include "radix/digit_file_names.hpp"

namespace zx {

std::string DigitFileName(std::string_view constantName, DigitRadix radix, std::string_view label) {
  std::string name(constantName);
  name += radix == DigitRadix::kHex ? " - Hex - " : " - Dec - ";
  name += label;
  name += ".txt";
  return name;
}

}  // namespace zx
