#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test. Pass "asan" to run
# the tests under AddressSanitizer and UndefinedBehaviorSanitizer instead.
set -euo pipefail
cd "$(dirname "$0")/.."

preset="${1:-default}"
scripts/bootstrap.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset"
