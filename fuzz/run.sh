#!/usr/bin/env bash
# Builds the libFuzzer targets with the "fuzz" preset and runs each for the
# given number of seconds (default 30) on a corpus under build/fuzz/corpus,
# seeded from examples/. New inputs stay in the corpus for the next run;
# crashes are written to build/fuzz/findings.
#   fuzz/run.sh [seconds] [target...]
set -euo pipefail
cd "$(dirname "$0")/.."

seconds="${1:-30}"
[ $# -gt 0 ] && shift
targets=("$@")
[ ${#targets[@]} -eq 0 ] && targets=(reg_file_parser_fuzzer streaming_lookup_fuzzer
                                     parameter_section_fuzzer validation_fuzzer whole_run_fuzzer)

scripts/bootstrap.sh fuzz
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

out=build/fuzz
templates=(examples/store/Install/*/*.xml examples/store/meta/*.xml)
mkdir -p "$out/findings"

# seed <target>: writes the target's seed inputs to $out/seeds/<target>.
seed() {
  local dir="$out/seeds/$1" i=0 file byte
  rm -rf "$dir"
  mkdir -p "$dir"
  case "$1" in
    reg_file_parser_fuzzer)
      printf 'Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Kestrel\\Shared Tools\\Q9NET64]\r\n"Corvane_Oam"="/opt/Kestrel/Automation/Corvane OAM"\r\n@="x"\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\KESTREL\\TELAN\\TrcParams]\r\n"Level"=dword:000000c8\r\n"Path"=hex(2):2f,00,74,00,\\\r\n  6d,00,70,00,00,00\r\n"Old"=-\r\n' >"$dir/reg"
      printf 'REGEDIT4\n[-HKEY_LOCAL_MACHINE\\SOFTWARE\\X]\n"a"=hex:01,02\n"b"=hex(7):61,00,00\n; comment\n' >"$dir/regedit4"
      ;;
    streaming_lookup_fuzzer)
      for file in "${templates[@]}" examples/invalid/*/*; do cp "$file" "$dir/$((i++))"; done
      ;;
    validation_fuzzer)
      for file in "${templates[@]}"; do
        for byte in 000 001 002 003 004; do
          { printf "\\$byte"; cat "$file"; } >"$dir/$((i++))"
        done
      done
      ;;
    parameter_section_fuzzer)
      for file in examples/store/Install/DefaultLogdevices/*.xml; do
        { printf '\003%s\000%s\000%s\000' DeviceName TCP string; cat "$file"; } >"$dir/$((i++))"
        { printf '\000%s\000%s\000%s\000' Timeout 42 int; cat "$file"; } >"$dir/$((i++))"
        { printf '\006%s\000%s\000%s\000' hidden TRUE bool; cat "$file"; } >"$dir/$((i++))"
        { printf '\013%s\000%s\000%s\000' DeviceName '' ''; cat "$file"; } >"$dir/$((i++))"
      done
      ;;
    whole_run_fuzzer)
      for args in -i -up -u 'i\000t=store\000d=store' '-e\000e=Automation-OnlineAccess-PT-TCPIP' \
                  '-e\000-e=PGSP'; do
        printf -- "$args" >"$dir/$((i++))"
      done
      ;;
  esac
}

for target in "${targets[@]}"; do
  seed "$target"
  mkdir -p "$out/corpus/$target"
  echo "== $target: $seconds s"
  "$out/fuzz/$target" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 \
      -print_final_stats=1 -artifact_prefix="$out/findings/$target-" \
      "$out/corpus/$target" "$out/seeds/$target"
done
