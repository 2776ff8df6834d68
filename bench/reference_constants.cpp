// Loading FLINT 3 and Arb with dlopen and timing their constants. RTLD_LOCAL keeps each library's
// arb_* and flint_* names out of the global scope and RTLD_DEEPBIND makes each bind to its own
// first, so FLINT 3 and Arb's FLINT 2 never resolve into one another inside one process.
#include "reference_constants.hpp"

#include <dlfcn.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

#include "bench_constant.hpp"

namespace zx::bench {
namespace {

// ARB_STR_NO_RADIUS, 2 in both arb.h (FLINT 3 and Arb 2.x).
constexpr unsigned long kArbStrNoRadius = 2;
// An arb_struct is 48 bytes in both headers (arf: exponent, size, two limbs; mag: exponent, limb);
// the buffer leaves room for a layout that grows and is aligned for any limb type.
constexpr size_t kArbBufferBytes = 256;
// A copy that lost its symbolic links keeps "libflint.so" as a file holding the target's name;
// short files are followed as such a name, a few hops at most.
constexpr size_t kLinkTextBytes = 256;
constexpr int kLinkHops = 4;

using ArbConstFn = void (*)(void* x, long precisionBits);

// The name a flattened link file holds, or "" when the file is anything else.
std::string FlattenedLinkTarget(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  if (text.empty() || text.size() > kLinkTextBytes) return "";
  for (char c : text) {
    if (c <= ' ' || c > '~') return "";
  }
  if (text[0] == '/') return text;
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? text : path.substr(0, slash + 1) + text;
}

template <typename Fn>
bool Resolve(ReferenceLibrary& library, const char* name, Fn* pointer, bool required) {
  *pointer = reinterpret_cast<Fn>(dlsym(library.handle, name));
  if (*pointer == nullptr && required) {
    library.failure = std::string("no symbol ") + name;
    return false;
  }
  return true;
}

ReferenceLibrary Load(const char* label, std::string path) {
  ReferenceLibrary library;
  library.label = label;
  for (int hop = 0; hop <= kLinkHops && library.handle == nullptr; hop++) {
    library.path = path;
    library.handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND);
    if (library.handle != nullptr) break;
    const char* error = dlerror();
    library.failure = error != nullptr ? error : "dlopen failed";
    path = FlattenedLinkTarget(path);
    if (path.empty()) break;
  }
  if (library.handle == nullptr) return library;
  library.failure.clear();
  // arb_get_str's text is released with flint_free, the allocator that made it.
  const bool complete = Resolve(library, "arb_init", &library.init, true) &&
                        Resolve(library, "arb_clear", &library.clear, true) &&
                        Resolve(library, "arb_get_str", &library.getStr, true) &&
                        Resolve(library, "flint_free", &library.free, true) &&
                        Resolve(library, "flint_set_num_threads", &library.setNumThreads, true) &&
                        Resolve(library, "arb_log_ui", &library.logUi, false) &&
                        Resolve(library, "flint_cleanup", &library.cleanup, false) &&
                        Resolve(library, "flint_mpn_mul", &library.mpnMul, false) &&
                        Resolve(library, "flint_mpn_sqr", &library.mpnSqr, false);
  if (!complete) {
    dlclose(library.handle);
    library.handle = nullptr;
  }
  return library;
}

std::string EnvironmentOr(const char* name, std::string fallback) {
  const char* value = std::getenv(name);
  return value != nullptr && value[0] != '\0' ? std::string(value) : fallback;
}

}  // namespace

ReferenceLibrary ReferenceLoadFlint3() {
  return Load("flint3", EnvironmentOr("ZX_FLINT3_LIB", std::string(ZX_SOURCE_DIR) +
                                                           "/../shared/reference/flint3/lib/"
                                                           "libflint.so"));
}

ReferenceLibrary ReferenceLoadArb() {
  return Load("arb", EnvironmentOr("ZX_ARB_LIB", "libflint-arb.so.2"));
}

bool ReferenceHasConstant(const ReferenceLibrary& library, const BenchConstant& constant) {
  if (library.handle == nullptr) return false;
  if (dlsym(library.handle, constant.arbFunction) != nullptr) return true;
  return constant.arbLogArgument != 0 && library.logUi != nullptr;
}

double ReferenceConstantSeconds(const ReferenceLibrary& library, const BenchConstant& constant,
                                uint64_t digitCount, uint32_t threads, const std::string& path) {
  const auto compute = reinterpret_cast<ArbConstFn>(dlsym(library.handle, constant.arbFunction));
  const long precisionBits =
      static_cast<long>(std::ceil(static_cast<double>(digitCount) * 3.3219280948873626)) + 64;
  library.setNumThreads(static_cast<int>(threads));
  alignas(64) unsigned char x[kArbBufferBytes];
  library.init(x);
  const auto start = std::chrono::steady_clock::now();
  if (compute != nullptr) {
    compute(x, precisionBits);
  } else {
    library.logUi(x, constant.arbLogArgument, precisionBits);
  }
  char* text = library.getStr(x, static_cast<long>(digitCount) + 1, kArbStrNoRadius);
  if (FILE* file = std::fopen(path.c_str(), "wb")) {
    std::fwrite(text, 1, std::strlen(text), file);
    std::fclose(file);
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  library.free(text);
  library.clear(x);
  // The arb_const_* values are cached per thread; without this every later round is a copy.
  if (library.cleanup != nullptr) library.cleanup();
  return seconds;
}

}  // namespace zx::bench
