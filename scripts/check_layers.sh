#!/usr/bin/env bash
# Fails when a file under src/ includes a header of a subsystem above its own.
# The allowed direction is app -> install -> merge -> store -> xml -> log/trace
# -> platform; log and trace serve every layer above platform. Tests follow the
# rule of the folder they sit in.
set -euo pipefail
cd "$(dirname "$0")/../src"

declare -A allowed=(
  [platform]="platform"
  [trace]="platform trace"
  [log]="platform trace log"
  [xml]="platform trace log xml"
  [store]="platform trace log xml store"
  [merge]="platform trace log xml store merge"
  [install]="platform trace log xml store merge install"
  [app]="platform trace log xml store merge install app"
)

status=0
for layer in */; do
  layer="${layer%/}"
  if [ -z "${allowed[$layer]+set}" ]; then
    echo "src/$layer: a subsystem without a place in the layer order"
    status=1
    continue
  fi
  while IFS=: read -r file line include; do
    target="$(sed -E 's/.*#include "([^/"]+)\/.*/\1/' <<<"$include")"
    case " ${allowed[$layer]} " in
      *" $target "*) ;;
      *) echo "src/$file:$line: $layer may not include $target"; status=1 ;;
    esac
  done < <(grep -rnE '^#include "[a-z_]+/' "$layer" | sed -E "s#^#$layer/#; s#^$layer/$layer/#$layer/#")
done
[ "$status" -eq 0 ] && echo "layer order holds"
exit "$status"
