#!/usr/bin/env bash
# Checks the sample store under EXAMPLES_DIR/store:
#  - each schema's targetNamespace is the namespace that its name selects;
#  - every template of Install and meta validates against the schema of its folder;
#  - the store holds the templates that the program and the tests rely on, with
#    identities that differ where the merge needs them to differ;
#  - no default log device repeats a parameter (the merge would skip that file);
#  - each broken copy under EXAMPLES_DIR/invalid fails for the reason it names;
#  - a template fails against the schema of every other kind;
#  - templates changed the way the program changes them still validate.
#
# Usage: validate_store.sh EXAMPLES_DIR [NAMESPACE_HOST]
# The xmllint to use may be given in the environment variable XMLLINT.
set -uo pipefail

examples=${1:?usage: validate_store.sh EXAMPLES_DIR [NAMESPACE_HOST]}
host=${2:-http://www.kestrel.example}
xmllint=${XMLLINT:-xmllint}
store="$examples/store"
schemes="$store/Schemes"
base="$host/Automation/Corvane.Device.Driver"

failures=0
validated=0
rejected=0
fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}

work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT

lower() { tr '[:upper:]' '[:lower:]'; }

# The namespace that the program adds a schema under, chosen by the schema's name.
namespace_for_schema() {
  case "$1" in
    Corvane.Device.Driver.Logdevice | DefaultLogDevices.Schema) echo "$base/LogDevice" ;;
    Corvane.Device.Driver.Logname) echo "$base/LogName" ;;
    Protocols.Schema) echo "$base/Protocols" ;;
    Boards.Schema) echo "$base/Boards" ;;
    DriverInfo.Schema) echo "$base/DriverInfo" ;;
    *) return 1 ;;
  esac
}

xpath() { "$xmllint" --nonet --xpath "$1" "$2" 2>/dev/null </dev/null; }
root_attribute() { xpath "string(/*/@$1)" "$2"; }
device_name() {
  xpath 'string(//*[local-name()="DeviceHeader"]/*[starts-with(local-name(),"Parameter")][*[local-name()="Name"]="DeviceName"]/*[local-name()="Value"])' "$1"
}

# validate FILE SCHEMA_NAME: xmllint's exit code; its messages are left in $work/out.
validate() {
  "$xmllint" --noout --nonet --schema "$schemes/$2.xsd" "$1" >"$work/out" 2>&1 </dev/null
}

expect_valid() {
  if validate "$1" "$2"; then
    validated=$((validated + 1))
  else
    fail "$3 does not validate against $2:"$'\n'"$(cat "$work/out")"
  fi
}

# expect_rejected FILE SCHEMA_NAME DESCRIPTION REASON: a validation error (xmllint's
# code 3, not a parse or schema error) whose messages contain REASON.
expect_rejected() {
  validate "$1" "$2"
  local code=$?
  if [ "$code" -ne 3 ]; then
    fail "$3 against $2: xmllint returned $code where a validation error (3) was expected:"$'\n'"$(cat "$work/out")"
  elif ! grep -qF -- "$4" "$work/out"; then
    fail "$3 against $2 is rejected, but not for \"$4\":"$'\n'"$(cat "$work/out")"
  else
    rejected=$((rejected + 1))
  fi
}

# changed_copy SOURCE SED_EXPRESSION...: writes $work/changed.xml, the source with
# every expression applied; an expression that changes nothing is a failure.
changed_copy() {
  local source=$1 expression
  shift
  cp "$source" "$work/changed.xml"
  for expression in "$@"; do
    sed -e "$expression" "$work/changed.xml" >"$work/next.xml"
    if cmp -s "$work/changed.xml" "$work/next.xml"; then
      fail "$(basename "$source"): the change '$expression' matches nothing"
    fi
    mv "$work/next.xml" "$work/changed.xml"
  done
}

# The parameters of the sections 0 to 7 that occur twice with the same kind, Name
# and Value; the merge skips a default log device that has any.
repeated_parameters() {
  local section='translate(local-name(),"ABCDEFGHIJKLMNOPQRSTUVWXYZ","abcdefghijklmnopqrstuvwxyz")'
  local sections="$section=\"localsettings\" or $section=\"networksettings\" or $section=\"bindings\""
  sections+=" or $section=\"ndi\" or $section=\"deviceheader\" or $section=\"sparesection\""
  sections+=" or $section=\"boardattributes\" or $section=\"install\""
  local kinds='local-name()="Parameter" or local-name()="ParameterInt" or local-name()="ParameterBool"'
  xpath "//*[$sections]/*[$kinds]" "$1" | tr -d '\n' |
    sed -e 's/>[[:space:]]*</></g' -e 's#</Parameter\(Int\|Bool\)\{0,1\}>#&\n#g' |
    sed '/^$/d' | sort | uniq -d
}

# --- Schemas -----------------------------------------------------------------

for name in Corvane.Device.Driver.Logdevice Corvane.Device.Driver.Logname \
            Protocols.Schema Boards.Schema DriverInfo.Schema; do
  [ -f "$schemes/$name.xsd" ] || fail "Schemes/$name.xsd is missing"
done
for xsd in "$schemes"/*.xsd; do
  name=$(basename "$xsd" .xsd)
  if ! expected=$(namespace_for_schema "$name"); then
    fail "Schemes/$name.xsd: no namespace belongs to the schema name $name"
    continue
  fi
  actual=$(xpath 'string(/*[local-name()="schema"]/@targetNamespace)' "$xsd")
  [ "$actual" = "$expected" ] ||
    fail "Schemes/$name.xsd: targetNamespace is \"$actual\", its name selects \"$expected\""
done
# The program's schema check wants exactly one schema for each of these prefixes.
for prefix in Corvane.Device.Driver.Logdevice Boards.Schema Protocols.Schema; do
  count=$(find "$schemes" -maxdepth 1 -name "$prefix*.xsd" | wc -l)
  [ "$count" -eq 1 ] || fail "Schemes holds $count schemas whose names begin with $prefix"
done

# --- Every template against the schema of its folder ---------------------------

while read -r folder schema minimum; do
  count=0
  for file in "$store/$folder"/*.xml; do
    [ -e "$file" ] || continue
    count=$((count + 1))
    expect_valid "$file" "$schema" "$folder/$(basename "$file")"
  done
  [ "$count" -ge "$minimum" ] || fail "$folder holds $count templates, at least $minimum expected"
done <<'EOF'
Install/DefaultLogdevices Corvane.Device.Driver.Logdevice 6
Install/Protocols Protocols.Schema 3
Install/Boards Boards.Schema 3
Install/LogNames Corvane.Device.Driver.Logname 2
meta DriverInfo.Schema 4
EOF

# --- The templates the program and the tests rely on ---------------------------

for file in Install/DefaultLogdevices/Automation-OnlineAccess-LDT-Loomnet.TCPIP.xml \
            meta/LLDP.xml meta/PGSP.xml meta/DCP_Server.xml meta/TCP_Adapter.xml; do
  [ -f "$store/$file" ] || fail "$file is missing"
done

# Identities compare without regard to case, as the merge compares them.
: >"$work/devices"
: >"$work/extensions"
: >"$work/device_ids"
: >"$work/cp_types"
h1_devices=0
for file in "$store"/Install/DefaultLogdevices/*.xml; do
  device_id=$(root_attribute DeviceID "$file")
  cp_type=$(root_attribute CP_TYPE "$file")
  name=$(device_name "$file")
  [ -n "$name" ] || fail "$(basename "$file") has no DeviceName in DeviceHeader"
  [ "$cp_type" = H1 ] && h1_devices=$((h1_devices + 1))
  identity=$(printf '%s|%s|%s' "$device_id" "$cp_type" "$name" | lower)
  if [ "$(root_attribute Extension "$file" | lower)" = true ]; then
    echo "$identity" >>"$work/extensions"
  else
    echo "$identity" >>"$work/devices"
  fi
  echo "$device_id" | lower >>"$work/device_ids"
  echo "$cp_type" | lower >>"$work/cp_types"
  repeats=$(repeated_parameters "$file")
  [ -z "$repeats" ] || fail "$(basename "$file") repeats parameters: $repeats"
done
[ "$h1_devices" -ge 1 ] || fail "no default log device has the CP_TYPE H1"
repeats=$(sort "$work/devices" | uniq -d)
[ -z "$repeats" ] || fail "default log devices share the identity: $repeats"
while read -r identity; do
  grep -qxF "$identity" "$work/devices" || fail "the extension $identity extends no default log device"
done <"$work/extensions"

: >"$work/protocols"
for file in "$store"/Install/Protocols/*.xml; do
  name=$(root_attribute Name "$file" | lower)
  echo "$name" >>"$work/protocols"
  grep -qxF "$name" "$work/cp_types" || fail "$(basename "$file"): no default log device speaks $name"
done
repeats=$(sort "$work/protocols" | uniq -d)
[ -z "$repeats" ] || fail "protocols share the Name: $repeats"

: >"$work/boards"
for file in "$store"/Install/Boards/*.xml; do
  device_id=$(root_attribute DeviceID "$file" | lower)
  echo "$device_id|$(root_attribute CP_TYPE "$file" | lower)" >>"$work/boards"
  grep -qxF "$device_id" "$work/device_ids" || fail "$(basename "$file"): no default log device uses $device_id"
done
repeats=$(sort "$work/boards" | uniq -d)
[ -z "$repeats" ] || fail "boards share the identity: $repeats"

# The repeat check itself finds a repeated parameter.
changed_copy "$store/Install/DefaultLogdevices/Automation-OnlineAccess-LDT-Loomnet.TCPIP.xml" \
  's#</SpareSection>#<ParameterInt><Name>ConnectTimeout</Name><Value>30</Value></ParameterInt></SpareSection>#'
[ -n "$(repeated_parameters "$work/changed.xml")" ] ||
  fail "a ConnectTimeout of 30 in LocalSettings and in SpareSection is not reported as repeated"

# --- Broken copies ----------------------------------------------------------------

for xsd in "$schemes"/*.xsd; do
  name=$(basename "$xsd" .xsd)
  compgen -G "$examples/invalid/$name/*.xml" >/dev/null || fail "invalid/$name holds no broken copy"
done
for directory in "$examples"/invalid/*/; do
  schema=$(basename "$directory")
  if [ ! -f "$schemes/$schema.xsd" ]; then
    fail "invalid/$schema names no schema of the store"
    continue
  fi
  for file in "$directory"*.xml; do
    [ -e "$file" ] || continue
    reason=$(sed -n 's/^<!-- rejected: \(.*\) -->$/\1/p' "$file")
    if [ -z "$reason" ]; then
      fail "invalid/$schema/$(basename "$file") has no \"<!-- rejected: ... -->\" line"
      continue
    fi
    expect_rejected "$file" "$schema" "invalid/$schema/$(basename "$file")" "$reason"
  done
done

# Each kind lives in its own namespace: a template fails against every other kind's schema.
while read -r folder own_schema; do
  for file in "$store/$folder"/*.xml; do
    for xsd in "$schemes"/*.xsd; do
      schema=$(basename "$xsd" .xsd)
      [ "$schema" = "$own_schema" ] && continue
      expect_rejected "$file" "$schema" "$folder/$(basename "$file")" "No matching global declaration"
    done
    break
  done
done <<'EOF'
Install/DefaultLogdevices Corvane.Device.Driver.Logdevice
Install/Protocols Protocols.Schema
Install/Boards Boards.Schema
Install/LogNames Corvane.Device.Driver.Logname
meta DriverInfo.Schema
EOF

# --- What the program writes into templates still validates ----------------------

pnio='<Subdevice SubdevName="PNIO"><Parameter><Name>L4DRIVER</Name><Value>q9opnio64x.dll</Value></Parameter></Subdevice>'

# The standard TCP device: marked static and hidden, a PNIO subdevice, a parameter
# appended to a subdevice that already has one of that name, a parameter appended
# behind Subdevices, a parameter of another kind under an existing name, a new
# user-interface entry without ResourceId or Function, a Load entry, a version stamp.
changed_copy "$store/Install/DefaultLogdevices/Automation-OnlineAccess-LDT-Loomnet.TCPIP.xml" \
  's#<Name>static_logdevice</Name><Value>false</Value>#<Name>static_logdevice</Name><Value>true</Value>#' \
  's#<Name>hidden</Name><Value>false</Value>#<Name>hidden</Name><Value>true</Value>#' \
  "s#</Subdevices>#$pnio</Subdevices>#" \
  's#</Subdevice>#<ParameterInt><Name>Priority</Name><Value>5</Value></ParameterInt></Subdevice>#' \
  's#</Bindings>#<Parameter><Name>BindingAddedLater</Name><Value>x</Value></Parameter></Bindings>#' \
  's#</LocalSettings>#<Parameter><Name>ConnectTimeout</Name><Value>45</Value></Parameter></LocalSettings>#' \
  's#</NetworkSettings>#<ParameterInt><Name>Offset</Name><Value> -5</Value></ParameterInt></NetworkSettings>#' \
  's#</UserInterface>#<Resource><Name>HelpFile</Name><Assembly>Kestrel.Corvane.Help.dll</Assembly><Path></Path></Resource></UserInterface>#' \
  's#</Load>#<RelevantSection>Ndi</RelevantSection></Load>#' \
  's#MajorVersion="5" MinorVersion="2"#MajorVersion="6" MinorVersion="10"#'
expect_valid "$work/changed.xml" Corvane.Device.Driver.Logdevice "Loomnet.TCPIP as the program changes it"

# A device without Subdevices and without hidden gets both created.
changed_copy "$store/Install/DefaultLogdevices/Automation-OnlineAccess-LDT-Loomnet.ISO.xml" \
  "s#</Bindings>#<Subdevices>$pnio</Subdevices></Bindings>#" \
  's#</Ndi>#<ParameterBool><Name>hidden</Name><Value>true</Value></ParameterBool></Ndi>#'
expect_valid "$work/changed.xml" Corvane.Device.Driver.Logdevice "Loomnet.ISO as the program changes it"

# Parameters created in BoardAttributes and Install land in the log-device namespace.
changed_copy "$store/Install/Boards/Automation-OnlineAccess-BT-Ethernet.xml" \
  "s#</BoardAttributes>#<ParameterInt xmlns=\"$base/LogDevice\"><Name>MaxPorts</Name><Value>4</Value></ParameterInt></BoardAttributes>#" \
  "s#</Install>#<Parameter xmlns=\"$base/LogDevice\"><Name>CatalogFile</Name><Value>q9lndis64x.cat</Value></Parameter></Install>#" \
  's#</NotSupported>#<Value>PNIO</Value></NotSupported>#' \
  's#</Constraints>#<Param Name="Baudrate"><Constraint Name="Max" Value="1000000000"/></Param></Constraints>#'
expect_valid "$work/changed.xml" Boards.Schema "Ethernet board as the program changes it"

# A protocol whose major version is present but empty.
changed_copy "$store/Install/Protocols/Automation-OnlineAccess-PT-TCPIP.xml" \
  's#MajorVersion="4"#MajorVersion=""#' \
  's#</ValueCollection>#<Value>ISO-on-TCP</Value></ValueCollection>#'
expect_valid "$work/changed.xml" Protocols.Schema "TCPIP protocol as the program changes it"

# Driver information: each section takes the namespace its name selects.
changed_copy "$store/meta/PGSP.xml" \
  "s#</DeviceHeader>#<Parameter xmlns=\"$base/LogDevice\"><Name>Build</Name><Value>6.0.118</Value></Parameter></DeviceHeader>#" \
  "s#</Updates>#<ParameterInt xmlns=\"$base/PGSP\"><Name>PendingUpdates</Name><Value>0</Value></ParameterInt></Updates>#" \
  "s#</NotificationSection>#<ParameterBool xmlns=\"$base/Notification\"><Name>NotifyUpdate</Name><Value>true</Value></ParameterBool></NotificationSection>#"
expect_valid "$work/changed.xml" DriverInfo.Schema "PGSP as the program changes it"

changed_copy "$store/Install/LogNames/Automation-OnlineAccess-LN-CORVANE_ONLINE.xml" \
  's#</Parameters>#<ParameterBool><Name>Default</Name><Value>true</Value></ParameterBool></Parameters>#'
expect_valid "$work/changed.xml" Corvane.Device.Driver.Logname "CORVANE_ONLINE as the program changes it"

# --- Result ------------------------------------------------------------------

echo "sample store: $validated files valid, $rejected broken files rejected, $failures failures"
[ "$failures" -eq 0 ]
