// Reference hashes of Pi digit files (tests/data/pi_reference.txt, made by
// scripts/gen_pi_reference.py with mpmath) and the hash of a file on disk.
#pragma once

#include <cstdint>
#include <string>

namespace zx::test {

// The SHA-256 of the file a run asked for `digits` decimal digits writes; "" when not listed.
std::string PiReferenceHash(const std::string& radix, uint64_t digits);
std::string Sha256OfFile(const std::string& path);

}  // namespace zx::test
