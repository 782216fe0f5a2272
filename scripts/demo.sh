#!/usr/bin/env bash
# Installs what is missing, builds, and runs the tool on a temporary copy of
# examples/store: Import, then Update, as a setup program would. Prints the
# exit codes, the install logs and the resulting tree.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/bootstrap.sh
cmake --preset default >/dev/null
cmake --build --preset default --target q9cfgImp64x

work="$(mktemp -d -t q9demo-XXXXXX)"
trap 'rm -rf "$work"' EXIT
store="$work/Corvane OAM"
mkdir -p "$store" "$work/logs"
cp -r examples/store/. "$store/"
mkdir -p "$store/data"

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
}

run Import -i
run Update -up

echo "=== resulting store ($store)"
(cd "$store" && find . -path ./Schemes -prune -o -type f -print | sort)
