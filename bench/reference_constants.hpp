// The reference libraries of the constant benchmark, FLINT 3 and Debian's Arb, loaded at run time.
// Both export arb_* under the same names (Arb through FLINT 2), so neither is ever linked: each is
// opened on its own, locally and deep-bound, and called through pointers; either may be missing.
#pragma once

#include <cstdint>
#include <string>

namespace zx::bench {

struct BenchConstant;

// The entry points of one loaded library; handle is null when it could not be loaded.
struct ReferenceLibrary {
  const char* label = "";  // column name: "flint3", "arb"
  std::string path;        // the file opened, or the last one tried
  std::string failure;     // why it could not be loaded; empty when handle is set
  void* handle = nullptr;
  void (*init)(void* x) = nullptr;
  void (*clear)(void* x) = nullptr;
  void (*logUi)(void* x, unsigned long argument, long precisionBits) = nullptr;
  char* (*getStr)(const void* x, long digitCount, unsigned long flags) = nullptr;
  void (*free)(void* pointer) = nullptr;
  void (*setNumThreads)(int threads) = nullptr;
  void (*cleanup)() = nullptr;  // absent in some builds: cached constants then stay cached
  // Products of 64-bit limb arrays (r gets an + bn limbs, an >= bn); absent in Arb.
  unsigned long (*mpnMul)(unsigned long* r, const unsigned long* a, long an, const unsigned long* b,
                          long bn) = nullptr;
  void (*mpnSqr)(unsigned long* r, const unsigned long* a, long n) = nullptr;
};

// FLINT 3: $ZX_FLINT3_LIB, else the prebuilt copy beside the source tree.
ReferenceLibrary ReferenceLoadFlint3();
// Debian's Arb: $ZX_ARB_LIB, else libflint-arb.so.2 from the system's library path.
ReferenceLibrary ReferenceLoadArb();

// Whether the library exports what constant needs (its arb_const_* or arb_log_ui).
bool ReferenceHasConstant(const ReferenceLibrary& library, const BenchConstant& constant);

// Seconds for the whole job at digitCount decimal digits with threads threads: the constant at
// digitCount·log2(10) + 64 bits, its digitCount + 1 digit string, and the string written to path.
double ReferenceConstantSeconds(const ReferenceLibrary& library, const BenchConstant& constant,
                                uint64_t digitCount, uint32_t threads, const std::string& path);

}  // namespace zx::bench
