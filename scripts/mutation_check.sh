#!/usr/bin/env bash
# Plants each of a list of deliberate faults in a scratch copy of the tree, one at a time, rebuilds
# it and runs the default suite; a fault no test notices is MISSED. A fault whose substitution
# does not match exactly once, or that does not build, is INVALID: the list must follow the code.
# Usage: scripts/mutation_check.sh [N...]   (no arguments: every fault)
# ZX_MUTATION_DIR sets the scratch directory (default /tmp/zx-mutation-$USER).
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
scratch=${ZX_MUTATION_DIR:-/tmp/zx-mutation-${USER:-user}}

# One fault a line: module | file | text | replacement. In the texts \n stands for a line break.
faults=$(cat <<'LIST'
heap join|src/runtime/heap_split.cpp|heap->savedTop + needed);|heap->savedTop + needed / 2);
thread exit code|src/runtime/threads.cpp|  CheckExitCode(exitCode);|  CheckExitCode(exitCode * 0);
raid disk|src/runtime/raid_file.cpp|SwapFileRead(raid.files[file],|SwapFileRead(raid.files[firstFile],
swap chunk|src/runtime/swap_file.cpp|    offsetBytes += chunkBytes;|    offsetBytes += chunkBytes - 4;
output buffer|src/runtime/output_file.cpp|    bytes += takeBytes;|    bytes += takeBytes + (count > takeBytes ? 1 : 0);
add carry|src/bignum/bigfloat_add.cpp|                       carry += s[i];|                       carry = s[i];
word product carry|src/bignum/bigint_linear.cpp|w) * in[i] + (acc >> 32);|w) * in[i];
basecase square|src/multiply/basecase/basecase_schoolbook.cpp|    r[i] = (word << 1) \| shifted;|    r[i] = (word << 1) \| (shifted & 0);
toom-3 borrow|src/multiply/basecase/toom3.cpp|x - y + differenceCarry;|x - y + differenceCarry * 0;
fft twiddle|src/multiply/fft/fft_transform.cpp|    ForwardButterfly(a, b, c, d);\n    const double* w = twiddles + 6 * j;\n    Put(x, j, a);\n    Put(x1, j, MulScalar(b, w[0], w[1]));|    ForwardButterfly(a, b, c, d);\n    const double* w = twiddles + 6 * j;\n    Put(x, j, a);\n    Put(x1, j, MulScalar(b, w[1], w[0]));
fft size row|src/multiply/fft/fft_size_table.cpp|{1, 10, 20},|{1, 10, 23},
hybrid butterfly|src/multiply/hybrid/hybrid_butterfly.cpp|  borrow = ChainSub(p, r, Limbs(out, q), limbs - q, borrow);|  borrow = ChainSub(p, r, Limbs(out, q), limbs - q, 0);
out-of-core block|src/multiply/out_of_core/out_of_core_lean.cpp|    return i + 1 < count ? blockWords : lengthWords - (count - 1) * blockWords;|    return i + 1 < count ? blockWords : lengthWords - (count - 1) * blockWords - (i > 0 ? 1 : 0);
reciprocal step|src/newton/reciprocal.cpp|  BigFloatAdd(heap, r, u, x, n + 3);|  BigFloatAdd(heap, r, u, x, n / 2);
inverse square root|src/newton/inv_sqrt.cpp|  out.exponent -= wordExponent >> 1;|  out.exponent -= (wordExponent + 1) >> 1;
agm mean|src/newton/agm.cpp|BigIntShiftRightBits(heap, sum.magnitude, 1);|BigIntShiftRightBits(heap, sum.magnitude, 2);
leaf sign|src/constants/pi.cpp|  leaf.t.negative = k % 2 == 1;|  leaf.t.negative = k % 2 == 0;
series merge|src/constants/hypergeometric.cpp|BigFloatMultiplyKeep(heap, t1, q2, t1q2,|BigFloatMultiplyKeep(heap, t1, q1, t1q2,
product truncation|src/multiply/multiply.cpp|b.magnitude, out.magnitude, truncation, 0, threadExponent);|b.magnitude, out.magnitude, truncation + 1, 0, threadExponent);
term count|src/constants/logarithms.cpp|static_cast<double>(precisionWords) / wordsPerTerm)|static_cast<double>(precisionWords) / wordsPerTerm * 0.97)
euler size table|src/constants/euler.cpp|std::ldexp(1.0, static_cast<int>(row) + 3) * 0.43429448190325176|std::ldexp(1.0, static_cast<int>(row) + 4) * 0.43429448190325176
pi finish|src/constants/pi.cpp|1103, 9801, 8}|1103, 9802, 8}
catalan finish|src/constants/catalan.cpp|kTimeLabel, {19, 18}}|kTimeLabel, {19, 17}}
zeta3 finish|src/constants/zeta3.cpp|kTimeLabel, {77, 64}}|kTimeLabel, {77, 63}}
log finish|src/constants/logarithms.cpp|{72, 0, -18, 34, -10}|{72, 0, -18, 34, -11}
euler finish|src/constants/euler.cpp|  BigFloatAdd(heap, x2sq, x3, s, w);|  BigFloatAdd(heap, x2sq, x2, s, w);
conversion power|src/radix/conversion_table.cpp|PowerOfBillion(heap, shape.baseExponent, table.powers[0]|PowerOfBillion(heap, shape.baseExponent + 1, table.powers[0]
digit file tail|src/radix/digit_text.cpp|  OutputFileAppend(file, stage + used, tail);|  OutputFileAppend(file, stage + used, tail - 1);
digit file name|src/radix/digit_file_names.cpp|" - Dec - "|" - Dec -"
driver hex count|src/drivers/run_driver.cpp|double seconds = WriteHexDigits(heap, result, settings.hexDigits + 1,|double seconds = WriteHexDigits(heap, result, settings.hexDigits,
euler row menu|src/menus/constant_menu.cpp|"%3u%22llu|"%3u%21llu
swap mode offer|src/menus/dialogues.cpp|if (decimalDigits >= kSwapModeMinDigits) high = 3;|if (decimalDigits >= kSwapModeMinDigits) high = 1;
viewer start|src/tools/digit_viewer.cpp|  return point + 1;\n}|  return point + 2;\n}
compare digits|src/tools/digit_files.cpp|matchedBytes < 2 ? 0 : matchedBytes - 2;|matchedBytes < 2 ? 0 : matchedBytes - 1;
truncate count|src/tools/file_truncate.cpp|  TruncateCopy(source, target, keepBytes);|  TruncateCopy(source, target, keepBytes - 1);
number commas|src/shell/number_print.cpp|(i - lead) % 3 == 0|(i - lead) % 4 == 0
cli multiplier|src/cli/cli_numbers.cpp|    case 'M':\n      return 6;|    case 'M':\n      return 5;
LIST
)

mapfile -t rows <<<"$faults"
selected=("$@")
[ ${#selected[@]} -eq 0 ] && selected=($(seq 1 ${#rows[@]}))

# apply FILE TEXT REPLACEMENT: substitutes in place, exit 3 unless TEXT occurs exactly once.
apply() {
  python3 - "$@" <<'PY'
import sys
path, old, new = sys.argv[1], sys.argv[2].replace("\\n", "\n"), sys.argv[3].replace("\\n", "\n")
text = open(path).read()
if text.count(old) != 1:
    print(f"{path}: the text occurs {text.count(old)} times")
    sys.exit(3)
open(path, "w").write(text.replace(old, new))
PY
}

# parse N: sets name, file, old and new from fault N ("\|" inside a text is a literal bar).
parse() {
  local row=${rows[$(($1 - 1))]}
  IFS='|' read -r name file old new <<<"${row//\\|/$'\x01'}"
  old=${old//$'\x01'/|}
  new=${new//$'\x01'/|}
}

echo "== scratch copy in $scratch"
# The build lives beside the tree, so a second run rebuilds only what changed since the first.
rm -rf "$scratch/tree"
mkdir -p "$scratch/tree"
tar -C "$root" --exclude='./build*' --exclude=./.git -cf - . | tar -C "$scratch/tree" -xf -
cd "$scratch/tree" || exit 1
if [ -n "${ZX_MUTATION_DRY:-}" ]; then  # only checks that every text matches once
  for n in "${selected[@]}"; do
    parse "$n"
    cp "$file" "$scratch/original"
    apply "$file" "$old" "$new" || echo "fault $n ($name): INVALID"
    cp "$scratch/original" "$file"
  done
  exit 0
fi
# An earlier run may have left an object built from a fault behind a file whose copy is now
# older than it, so every file the list touches is compiled afresh.
for n in $(seq 1 ${#rows[@]}); do
  parse "$n"
  touch "$file"
done
cmake -S . -B ../build -G Ninja -DZX_BUILD_TESTS=ON -DZX_BUILD_BENCH=OFF -DZX_WERROR=ON \
  -DCMAKE_BUILD_TYPE=Release >/dev/null || exit 1
if ! cmake --build ../build -j2 >"$scratch/build.log" 2>&1; then
  echo "the unchanged tree does not build (see $scratch/build.log)"
  exit 1
fi

caught=0 missed=() invalid=()
for n in "${selected[@]}"; do
  parse "$n"
  cp -p "$file" "$scratch/original"
  if ! apply "$file" "$old" "$new"; then
    echo "fault $n ($name): INVALID (no single match)"
    invalid+=("$n")
    continue
  fi
  if ! cmake --build ../build -j2 >"$scratch/fault_$n.build.log" 2>&1; then
    echo "fault $n ($name): INVALID (does not build, see $scratch/fault_$n.build.log)"
    invalid+=("$n")
  elif (cd ../build && ctest -j2 -LE long --timeout 120 --stop-on-failure >"$scratch/fault_$n.log" 2>&1); then
    echo "fault $n ($name): MISSED"
    missed+=("$n")
  else
    failed=$(grep -A1 'tests FAILED' "$scratch/fault_$n.log" | tail -1 | sed 's/^[[:space:]]*//')
    echo "fault $n ($name): CAUGHT ($failed)"
    caught=$((caught + 1))
  fi
  # The original goes back with a new time, so that the next build recompiles it.
  cp "$scratch/original" "$file"
done
echo "== $caught caught, ${#missed[@]} missed (${missed[*]:-none}), ${#invalid[@]} invalid (${invalid[*]:-none}) of ${#selected[@]} faults"
[ ${#missed[@]} -eq 0 ] && [ ${#invalid[@]} -eq 0 ]
