#!/usr/bin/env bash
# Times whole runs of two commits' programs, alternating them in one series (the machines are
# shared and noisy), and prints the medians and the median of the same-round ratios new/old.
# Fails when that ratio passes the allowed slowdown.
#   scripts/compare_commits.sh OLD NEW "MENU ANSWERS" [ROUNDS] [MAX_RATIO]
#   scripts/compare_commits.sh HEAD~1 HEAD '3\n1\n10000000\n1\n1\n' 5 1.02
set -euo pipefail
cd "$(dirname "$0")/.."
old=$1 new=$2 input=$3 rounds=${4:-5} limit=${5:-1.02}
work=$(mktemp -d)
trap 'git worktree remove --force "$work/old" >/dev/null 2>&1 || true;
      git worktree remove --force "$work/new" >/dev/null 2>&1 || true; rm -rf "$work"' EXIT

build() {  # commit, dir
  git worktree add -q --detach "$2" "$1"
  cmake -S "$2" -B "$2/build" -DCMAKE_BUILD_TYPE=Release -DZX_BUILD_TESTS=OFF -DZX_BUILD_BENCH=OFF \
    >/dev/null
  cmake --build "$2/build" --target zentrix -j "$(nproc)" >/dev/null
}
build "$old" "$work/old"
build "$new" "$work/new"

# Seconds of one run: the program's own "Total Time" line.
run() {  # dir
  mkdir -p "$work/run" && cd "$work/run"
  printf "$input" | "$1/build/zentrix" | tr '\r' '\n' |
    sed -n 's/^Total Time (including writing digits):  \([0-9.]*\) seconds.*/\1/p'
  cd - >/dev/null && rm -rf "$work/run"
}

olds=() news=() ratios=()
for ((i = 0; i < rounds; i++)); do
  o=$(run "$work/old")
  n=$(run "$work/new")
  olds+=("$o") news+=("$n") ratios+=("$(awk -v n="$n" -v o="$o" 'BEGIN { print n / o }')")
  echo "round $((i + 1)): old ${o} s, new ${n} s"
done
median() { printf '%s\n' "$@" | sort -g | awk '{v[NR]=$1} END {print v[int((NR + 1) / 2)]}'; }
ratio=$(median "${ratios[@]}")
printf 'old %s s  new %s s  new/old %.3f\n' "$(median "${olds[@]}")" "$(median "${news[@]}")" "$ratio"
awk -v r="$ratio" -v l="$limit" 'BEGIN { exit !(r <= l) }' || { echo "slower than $limit"; exit 1; }
