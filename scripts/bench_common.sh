# Shared by the benchmark scripts (sourced): timing helpers and the floor,
# one schema validation of a store's Install templates plus one copy of them.

now() { date +%s.%N; }
elapsed() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.3f", b - a }'; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'; }
median() { printf '%s\n' "$@" | sort -g | sed -n "$(( ($# + 1) / 2 ))p"; }

# On disk a copy is only done when it is on the disk, as the tool's are.
sync_if_disk() { [ "${1#/dev/shm}" != "$1" ] || sync -f "$1"; }

# Seconds for one floor run over the program-files root $1.
floor_once() {
  local root="$1" start end
  start=$(now)
  xmllint --noout --schema "$root/Schemes/Corvane.Device.Driver.Logdevice.xsd" \
    "$root"/Install/DefaultLogdevices/*.xml 2>/dev/null
  xmllint --noout --schema "$root/Schemes/Protocols.Schema.xsd" "$root"/Install/Protocols/*.xml 2>/dev/null
  xmllint --noout --schema "$root/Schemes/Boards.Schema.xsd" "$root"/Install/Boards/*.xml 2>/dev/null
  xmllint --noout --schema "$root/Schemes/Corvane.Device.Driver.Logname.xsd" \
    "$root"/Install/LogNames/*.xml 2>/dev/null
  cp -r "$root/Install" "$root/Install.copy"
  sync_if_disk "$root"
  end=$(now)
  rm -rf "$root/Install.copy"
  elapsed "$start" "$end"
}
