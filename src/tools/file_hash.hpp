// SHA-256 of whole files, so that the paths a scripted run reports can be checked with any
// sha256sum; the digit files of the tests' references are recorded the same way.
#pragma once

#include <string>

namespace zx {

// The 64 lowercase hexadecimal digits of the file's SHA-256; empty when it cannot be read.
std::string Sha256OfFile(const std::string& path);

#if defined(ZX_TEST_HOOKS)
// Hash with the portable rounds even where the SHA instructions are there.
void Sha256UsePortableRounds(bool portable);
#endif

}  // namespace zx
