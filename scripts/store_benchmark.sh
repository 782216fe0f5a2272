#!/usr/bin/env bash
# Times Import and then Update of a generated store with the board simulator,
# against the floor: validating the Install tree once (xmllint --schema) plus
# one copy of it. Each figure is the median of three runs.
#
#   scripts/store_benchmark.sh [N ...]          default N: 1000 2000
#   Q9_BENCH_DIRS="/dev/shm /var/tmp" scripts/store_benchmark.sh 1000
#
# A store of N has N default log devices of 100 parameters each, N/10
# protocols and N/10 boards, plus the sample store's schemas, fixed files
# and TCP template. Build first (cmake --build --preset default).
set -euo pipefail
cd "$(dirname "$0")/.."
repo="$PWD"
tool="$repo/build/default/src/app/q9cfgImp64x"
[ -x "$tool" ] || { echo "build the tool first: cmake --build --preset default" >&2; exit 1; }
sizes=("${@:-1000 2000}")
read -r -a sizes <<<"${sizes[*]}"
read -r -a dirs <<<"${Q9_BENCH_DIRS:-/dev/shm /var/tmp}"

# Writes a store of $2 default log devices into $1.
generate() {
  local root="$1" n="$2" sample="$repo/examples/store"
  local kinds=$(( n / 10 > 0 ? n / 10 : 1 ))
  mkdir -p "$root/Install/DefaultLogdevices" "$root/Install/Protocols" "$root/Install/Boards" \
           "$root/Install/LogNames" "$root/meta"
  cp -r "$sample/Schemes" "$root/"
  cp "$sample"/meta/*.xml "$root/meta/"
  cp "$sample"/Install/LogNames/*.xml "$root/Install/LogNames/"
  cp "$sample/Install/DefaultLogdevices/Automation-OnlineAccess-LDT-Loomnet.TCPIP.xml" \
     "$root/Install/DefaultLogdevices/"
  local i
  for (( i = 0; i < kinds; i++ )); do
    sed "s/Name=\"KBUS\"/Name=\"P$i\"/" "$sample/Install/Protocols/Automation-OnlineAccess-PT-KBUS.xml" \
      > "$root/Install/Protocols/Automation-OnlineAccess-PT-P$i.xml"
    sed "s/DeviceID=\"ETH\" CP_TYPE=\"TCPIP\"/DeviceID=\"B$i\" CP_TYPE=\"P$i\"/" \
      "$sample/Install/Boards/Automation-OnlineAccess-BT-Ethernet.xml" \
      > "$root/Install/Boards/Automation-OnlineAccess-BT-B$i.xml"
  done
  awk -v n="$n" -v kinds="$kinds" -v dir="$root/Install/DefaultLogdevices" 'BEGIN {
    ns = "http://www.kestrel.example/Automation/Corvane.Device.Driver/LogDevice"
    for (i = 0; i < n; i++) {
      f = sprintf("%s/Automation-OnlineAccess-LDT-Gen%05d.xml", dir, i)
      printf "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" > f
      printf "<LogDevice xmlns=\"%s\" DeviceID=\"B%d\" CP_TYPE=\"P%d\" MajorVersion=\"1\" MinorVersion=\"0\">\n", ns, i % kinds, i % kinds > f
      printf "  <DeviceHeader>\n    <Parameter><Name>DeviceName</Name><Value>Gen%05d</Value></Parameter>\n  </DeviceHeader>\n", i > f
      printf "  <LocalSettings>\n" > f
      for (p = 0; p < 50; p++) printf "    <ParameterInt><Name>Local%02d</Name><Value>%d</Value></ParameterInt>\n", p, p > f
      printf "  </LocalSettings>\n  <NetworkSettings>\n" > f
      for (p = 0; p < 48; p++) printf "    <Parameter><Name>Net%02d</Name><Value>value %d</Value></Parameter>\n", p, p > f
      printf "  </NetworkSettings>\n  <Ndi>\n    <ParameterBool><Name>hidden</Name><Value>false</Value></ParameterBool>\n  </Ndi>\n</LogDevice>\n" > f
      close(f)
    }
  }'
}

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
    generate "$work/pristine" "$n"
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
