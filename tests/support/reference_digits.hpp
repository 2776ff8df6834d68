// Reference hashes of digit files (tests/data/reference_hashes.txt, made by
// scripts/gen_reference.py with Arb and checked against mpmath) and the hash of a file on disk.
#pragma once

#include <cstdint>
#include <string>

namespace zx::test {

// The SHA-256 of the file a run of `constant` ("pi", "zeta3", ...) asked for `digits` decimal
// digits writes, radix "hex" or "dec"; a text naming the missing line when none is listed.
std::string ReferenceHash(const std::string& constant, const std::string& radix, uint64_t digits);
std::string Sha256OfFile(const std::string& path);
std::string Sha256OfText(const std::string& text);

}  // namespace zx::test
