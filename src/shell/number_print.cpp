#include "shell/number_print.hpp"

#include <string>

#include "shell/console.hpp"

namespace zx {

std::string FormatCommas(uint64_t value) {
  std::string digits = std::to_string(value);
  std::string out;
  out.reserve(digits.size() + digits.size() / 3);
  const size_t lead = digits.size() % 3 == 0 ? 3 : digits.size() % 3;
  for (size_t i = 0; i < digits.size(); ++i) {
    if (i != 0 && i >= lead && (i - lead) % 3 == 0) out.push_back(',');
    out.push_back(digits[i]);
  }
  return out;
}

int PrintU32(uint32_t value) { return PrintU64(value); }

int PrintU64(uint64_t value) {
  const std::string text = std::to_string(value);
  ConsoleWrite(text);
  return static_cast<int>(text.size());
}

int PrintCommas(uint64_t value, int widthChars) {
  std::string text = FormatCommas(value);
  if (static_cast<int>(text.size()) < widthChars) {
    text.insert(0, static_cast<size_t>(widthChars) - text.size(), ' ');
  }
  ConsoleWrite(text);
  return static_cast<int>(text.size());
}

// Deliberately truncating at every step: a size never reads larger than it is.
std::string FormatBytes(uint64_t bytes) {
  std::string out;
  const auto put = [&out](uint64_t value) { out += std::to_string(value); };
  if (bytes < 1024) {
    if (bytes >= 1000) {
      out.append("0.");
      put(bytes * 100 >> 10);
      out += kSizeUnits[1];
    } else {
      put(bytes);
      out += kSizeUnits[0];
    }
    return out;
  }
  int unit = 1;
  uint64_t v = bytes;
  while (v >= 1048576) {
    v >>= 10;
    ++unit;
  }
  // v < 2^20 now counts units of index unit - 1; v / 1024 is the value in unit.
  if (v >= 1024000) {
    out.append("0.");
    put(((v >> 10) * 100) >> 10);
    out += kSizeUnits[unit + 1];
  } else if (v >= 102400) {
    out.push_back(' ');
    put(v >> 10);
    out += kSizeUnits[unit];
  } else if (v >= 10240) {
    const uint64_t tenths = (v * 10) >> 10;
    put(tenths / 10);
    out += '.';
    put(tenths % 10);
    out += kSizeUnits[unit];
  } else {
    const uint64_t hundredths = (v * 100) >> 10;
    put(hundredths / 100);
    out += hundredths % 100 < 10 ? ".0" : ".";
    put(hundredths % 100);
    out += kSizeUnits[unit];
  }
  return out;
}

void PrintBytes(uint64_t bytes) { ConsoleWrite(FormatBytes(bytes)); }

std::string FormatBytesInText(uint64_t bytes) {
  std::string text = FormatBytes(bytes);
  return text.substr(text.find_first_not_of(' '));
}

}  // namespace zx
