#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need; does nothing
# when they are all present. "fuzz" adds what the fuzz preset needs (clang
# and its libFuzzer runtime).
set -euo pipefail

packages=(cmake ninja-build g++ pkg-config libxml2-dev libxml2-utils
          libgtest-dev libgmock-dev libbenchmark-dev)
[ "${1:-}" = fuzz ] && packages+=(clang-14 libclang-rt-14-dev)
missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$package")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo_cmd=()
[ "$(id -u)" -ne 0 ] && sudo_cmd=(sudo)
"${sudo_cmd[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
