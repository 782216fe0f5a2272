#!/usr/bin/env bash
# Times MergeAndCopyTemplates (src/merge/merge_and_copy_benchmark) into an
# empty and into a filled meta tree, next to the floor for the same store
# (tools/store-generator): one schema validation of the Install templates
# plus one copy of them. Each figure is the median of three runs.
#
#   scripts/merge_benchmark.sh [N ...]          default N: 1000 2000
#   Q9_BENCH_DIRS="/dev/shm /var/tmp" scripts/merge_benchmark.sh 1000
#
# Build first (cmake --build --preset default).
set -euo pipefail
cd "$(dirname "$0")/.."
build="$PWD/build/default"
bench="$build/src/merge/merge_and_copy_benchmark"
generator="$build/tools/store-generator/store-generator"
[ -x "$bench" ] && [ -x "$generator" ] || { echo "build first: cmake --build --preset default" >&2; exit 1; }
sizes=("${@:-1000 2000}")
read -r -a sizes <<<"${sizes[*]}"
read -r -a dirs <<<"${Q9_BENCH_DIRS:-/dev/shm /var/tmp}"
source scripts/bench_common.sh

# Median seconds of the benchmark case $2 (into_empty_meta, into_filled_meta)
# at N=$3 on the folder $1, and its count of atomic saves.
program() {
  Q9_BENCH_DIR="$1" "$bench" --benchmark_filter="$2/$3/" --benchmark_repetitions=3 \
    --benchmark_format=csv 2>/dev/null |
    awk -F, '/_median"/ { printf "%.3f %d\n", $3 / 1000, $NF }'
}

printf '%-10s %6s %8s %9s %9s %8s %8s %7s\n' where N floor_s empty_s filled_s emp/flr fil/flr saves
for dir in "${dirs[@]}"; do
  for n in "${sizes[@]}"; do
    work="$(mktemp -d "$dir/q9merge-XXXXXX")"
    "$generator" "$work" "$n"
    floors=()
    for run in 1 2 3; do floors+=("$(floor_once "$work")"); done
    f=$(median "${floors[@]}")
    read -r empty saves < <(program "$dir" into_empty_meta "$n")
    read -r filled _ < <(program "$dir" into_filled_meta "$n")
    printf '%-10s %6d %8s %9s %9s %8s %8s %7s\n' "$dir" "$n" "$f" "$empty" "$filled" \
      "$(ratio "$empty" "$f")" "$(ratio "$filled" "$f")" "$saves"
    rm -rf "$work"
  done
done
