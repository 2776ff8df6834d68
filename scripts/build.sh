#!/usr/bin/env bash
# Sets up and builds the program (Release, tuned for this machine) as build/zentrix.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh program
generator=()
command -v ninja >/dev/null && generator=(-G Ninja)
if [ -f build/CMakeCache.txt ] && ! grep -q "CMAKE_GENERATOR:INTERNAL=${generator[1]:-Unix Makefiles}" build/CMakeCache.txt; then
  rm -rf build
fi
cmake -S . -B build "${generator[@]}" -DCMAKE_BUILD_TYPE=Release -DZX_BUILD_TESTS=OFF -DZX_BUILD_BENCH=OFF >/dev/null
cmake --build build --target zentrix -j "$(nproc)"
