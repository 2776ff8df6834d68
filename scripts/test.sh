#!/usr/bin/env bash
# Sets up, builds and runs every test: once in the Release build (build/), once under
# AddressSanitizer and UndefinedBehaviorSanitizer (build-sanitize/), then builds the program as
# shipped (build-ship/: no test hooks, no internal checks) and checks that it writes the same
# files as the tested build.
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

# The tests run with internal checks compiled in; the shipped program has none, so code that
# behaves differently without them shows only here. Runs that cover the conversion's ring
# products, the threaded series and the Newton finishes, compared file for file.
if [ $# -eq 0 ]; then
  echo "== The program as shipped"
  configure build-ship -DCMAKE_BUILD_TYPE=Release -DZX_BUILD_TESTS=OFF -DZX_BUILD_BENCH=OFF
  cmake --build build-ship --target zentrix -j "$jobs"
  scratch=$(mktemp -d)
  trap 'rm -rf "$scratch"' EXIT
  for run in "pi -d 1e6 -t 2" "pi -d 3e5 -t 1 -a ramanujan" "zeta3 -d 2e5 -t 2" "log2 -d 2e5 -t 1"; do
    mkdir -p "$scratch/tested" "$scratch/shipped"
    # shellcheck disable=SC2086
    timeout 300 build/zentrix $run -q -o "$scratch/tested" >/dev/null
    # shellcheck disable=SC2086
    timeout 300 build-ship/zentrix $run -q -o "$scratch/shipped" >/dev/null
    if ! diff -r -q "$scratch/tested" "$scratch/shipped"; then
      echo "The shipped program's files differ from the tested build's: zentrix $run" >&2
      exit 1
    fi
    rm -rf "$scratch/tested" "$scratch/shipped"
    echo "same files: zentrix $run"
  done
fi
