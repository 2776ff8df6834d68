// The reference digit files' hashes and the hash of a file or a text as sha256sum gives it.
#include "reference_digits.hpp"

#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "test_support.hpp"

namespace zx::test {

std::string ReferenceHash(const std::string& constant, const std::string& radix, uint64_t digits) {
  std::ifstream in(std::string(ZX_SOURCE_DIR) + "/tests/data/reference_hashes.txt");
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    char name[32], r[8], hash[65];
    unsigned long long d = 0;
    if (std::sscanf(line.c_str(), "%31s %7s %llu %64s", name, r, &d, hash) == 4 &&
        constant == name && radix == r && d == digits) {
      return hash;
    }
  }
  return "no reference for " + constant + " " + radix + " " + std::to_string(digits);
}

std::string Sha256OfFile(const std::string& path) {
  // Quoted for the shell: names hold blanks, parentheses and an apostrophe.
  std::string quoted = "'";
  for (const char c : path) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  const std::string command = "sha256sum " + quoted + "'";
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return "";
  char buffer[65] = {};
  const size_t read = std::fread(buffer, 1, 64, pipe);
  pclose(pipe);
  return std::string(buffer, read);
}

std::string Sha256OfText(const std::string& text) {
  char path[] = "/tmp/zx-hash-XXXXXX";
  const int descriptor = mkstemp(path);
  if (descriptor < 0) return "";
  close(descriptor);
  WriteFile(path, text);
  const std::string hash = Sha256OfFile(path);
  std::remove(path);
  return hash;
}

}  // namespace zx::test
