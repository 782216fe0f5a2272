#!/usr/bin/env bash
# Installs what is missing, builds, and runs the tool on a temporary copy of
# examples/store as a setup program would: Import, then Update, with the board
# simulator standing in for the board-control library. Between the two runs a
# user's change is made in a generated log device; the demo shows that the
# update keeps it. Prints the exit codes, the install logs and the tree.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/bootstrap.sh
cmake --preset default >/dev/null
# The program's target also builds the simulator library beside it.
cmake --build --preset default --target q9cfgImp64x

work="$(mktemp -d -t q9demo-XXXXXX)"
trap 'rm -rf "$work"' EXIT
store="$work/Corvane OAM"
mkdir -p "$store" "$work/logs"
cp -r examples/store/. "$store/"

cat > "$work/registry.reg" <<REG
Windows Registry Editor Version 5.00

[HKEY_LOCAL_MACHINE\\SOFTWARE\\Kestrel\\Shared Tools\\Q9NET64]
"Corvane_Oam"="$store"
"Corvane_Oam_Data"="$store"
REG

export Q9_REGISTRY_FILE="$work/registry.reg"

run() {
  local title="$1"; shift
  echo "=== $title: q9cfgImp64x $*"
  rm -rf "$work/logs" && mkdir "$work/logs"
  set +e
  AutInstLog="$work/logs/" build/default/src/app/q9cfgImp64x "$@"
  local status=$?
  set -e
  echo "exit status: $status"
  echo "--- install log"
  cat "$work"/logs/*.log
  echo
  return "$status"
}

# The value a user changes in a generated log device between the two runs.
device="$store/data/LogDevices/CL1613.H1.xml"
value_of_timeout() {
  grep -o '<Name>ConnectTimeout</Name><Value>[^<]*</Value>' "$device" |
    sed 's/.*<Value>\(.*\)<\/Value>/\1/'
}

import_status=0
run Import -i || import_status=$?
echo "=== a user sets ConnectTimeout of CL1613.H1 from $(value_of_timeout) to 45"
sed -i 's|<Name>ConnectTimeout</Name><Value>[^<]*</Value>|<Name>ConnectTimeout</Name><Value>45</Value>|' "$device"
update_status=0
run Update -up || update_status=$?

echo "=== resulting store ($store)"
(cd "$store" && find . -path ./Schemes -prune -o -type f -print | sort)
echo
echo "Import exited with $import_status, Update with $update_status."
kept="$(value_of_timeout)"
if [ "$kept" = 45 ]; then
  echo "The changed value survived the update: ConnectTimeout of CL1613.H1 is $kept."
else
  echo "The changed value was lost: ConnectTimeout of CL1613.H1 is $kept, not 45." >&2
  exit 1
fi
[ "$import_status" = 0 ] && [ "$update_status" = 0 ]
