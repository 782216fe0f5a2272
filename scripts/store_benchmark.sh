#!/usr/bin/env bash
# Times Import and then Update of a generated store with the board simulator,
# against the floor: validating the Install tree once (xmllint --schema) plus
# one copy of it. Each figure is the median of three runs.
#
#   scripts/store_benchmark.sh [N ...]          default N: 1000 2000
#   Q9_BENCH_DIRS="/dev/shm /var/tmp" scripts/store_benchmark.sh 1000
#
# The store comes from tools/store-generator: N default log devices of 100
# parameters each, N/10 protocols and N/10 boards, plus the sample store's
# schemas, fixed files and TCP template. Build first (cmake --build --preset
# default).
set -euo pipefail
cd "$(dirname "$0")/.."
repo="$PWD"
tool="$repo/build/default/src/app/q9cfgImp64x"
generator="$repo/build/default/tools/store-generator/store-generator"
[ -x "$tool" ] && [ -x "$generator" ] ||
  { echo "build first: cmake --build --preset default" >&2; exit 1; }
sizes=("${@:-1000 2000}")
read -r -a sizes <<<"${sizes[*]}"
read -r -a dirs <<<"${Q9_BENCH_DIRS:-/dev/shm /var/tmp}"

source scripts/bench_common.sh

run_tool() {
  local work="$1" mode="$2" start end status
  start=$(now)
  status=0
  Q9_REGISTRY_FILE="$work/registry.reg" AutInstLog="$work/logs/" "$tool" "$mode" \
    >/dev/null 2>&1 || status=$?
  end=$(now)
  [ "$status" = 0 ] || { echo "$mode exited with $status; log in $work/logs" >&2; exit 1; }
  elapsed "$start" "$end"
}

printf '%-10s %6s %9s %9s %9s %8s %8s\n' where N floor_s import_s update_s imp/flr upd/flr
for dir in "${dirs[@]}"; do
  for n in "${sizes[@]}"; do
    work="$(mktemp -d "$dir/q9bench-XXXXXX")"
    "$generator" "$work/pristine" "$n"
    floors=() imports=() updates=()
    for run in 1 2 3; do
      floors+=("$(floor_once "$work/pristine")")
      rm -rf "$work/store" "$work/logs" && mkdir -p "$work/logs"
      cp -r "$work/pristine" "$work/store"
      printf 'Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Kestrel\\Shared Tools\\Q9NET64]\n"Corvane_Oam"="%s"\n"Corvane_Oam_Data"="%s"\n' \
        "$work/store" "$work/store" > "$work/registry.reg"
      sync_if_disk "$work"
      imports+=("$(run_tool "$work" -i)")
      updates+=("$(run_tool "$work" -up)")
    done
    f=$(median "${floors[@]}") i=$(median "${imports[@]}") u=$(median "${updates[@]}")
    printf '%-10s %6d %9s %9s %9s %8s %8s\n' "$dir" "$n" "$f" "$i" "$u" \
      "$(ratio "$i" "$f")" "$(ratio "$u" "$f")"
    rm -rf "$work"
  done
done
