#!/usr/bin/env bash
# Sets up, builds and runs every test: once in the Release build (build/), once under
# AddressSanitizer and UndefinedBehaviorSanitizer (build-sanitize/).
# Extra arguments go to ctest, e.g. scripts/test.sh -R Heap. ZX_SKIP_SANITIZE=1 skips the second build.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh all
jobs=$(nproc)
generator=()
command -v ninja >/dev/null && generator=(-G Ninja)
werror=OFF
[ "${CI:-}" = true ] && werror=ON

configure() {  # dir, extra cmake arguments...
  local dir=$1
  shift
  if [ -f "$dir/CMakeCache.txt" ] && ! grep -q "CMAKE_GENERATOR:INTERNAL=${generator[1]:-Unix Makefiles}" "$dir/CMakeCache.txt"; then
    rm -rf "$dir"
  fi
  cmake -S . -B "$dir" "${generator[@]}" -DZX_BUILD_TESTS=ON -DZX_BUILD_BENCH=ON -DZX_WERROR=$werror "$@" >/dev/null
}

echo "== Release build"
configure build -DCMAKE_BUILD_TYPE=Release
cmake --build build -j "$jobs"
(cd build && ctest --output-on-failure -j "$jobs" -LE long "$@")

if [ "${ZX_SKIP_SANITIZE:-0}" != 1 ]; then
  echo "== AddressSanitizer + UndefinedBehaviorSanitizer build"
  configure build-sanitize -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZX_SANITIZE=ON -DZX_NATIVE=ON
  cmake --build build-sanitize -j "$jobs"
  (cd build-sanitize && ZX_SANITIZED=1 ctest --output-on-failure -j "$jobs" -LE long "$@")
fi
