#!/bin/sh
# The korvan command started over a corrupt settings file: a warning naming the file and where
# it was moved at start, the broken file kept aside as it was, the connector usable with the
# default settings, and a fresh, valid settings file written by the first change.
#
#   corrupt-settings.sh KORVAN SCRIPT DEMO_FOLDER
set -eu
korvan=$1
script=$2
demo=$3

prefdir=$(mktemp -d "${TMPDIR:-/tmp}/korvan-faults.XXXXXX")
trap 'rm -rf "$prefdir"' EXIT INT TERM
mkdir -p "$prefdir/rest/services"
cp -r "$demo" "$prefdir/rest/services/"
broken='{"version": 1, "port": 8443, "token": "abc'
printf '%s' "$broken" > "$prefdir/rest/connector.json"

port=$(python3 -c 'import socket
s = socket.socket()
s.bind(("127.0.0.1", 0))
print(s.getsockname()[1])' 2>/dev/null || echo $((49152 + $$ % 16000)))
printf 'function p = e2e_port()\n  p = %s;\nend\n' "$port" > "$prefdir/e2e_port.k"

fail() {
  echo "corrupt-settings: $*" >&2
  exit 1
}

cd "$prefdir"
status=0
env -u KORVAN_REST_CONSENT KORVAN_PREFDIR="$prefdir" timeout 90 "$korvan" "$script" \
  >"$prefdir/out.txt" 2>"$prefdir/err.txt" || status=$?
cat "$prefdir/out.txt"
cat "$prefdir/err.txt" >&2
[ "$status" -eq 0 ] || fail "korvan ended with exit status $status"
grep -q "corrupt_settings: all checks passed" "$prefdir/out.txt" || fail "the script did not finish"

# One warning, at start, naming the file and where it went.
grep -q "^Warning: The settings file $prefdir/rest/connector.json .*moved to .*connector.json.corrupt-" \
  "$prefdir/err.txt" || fail "no warning about the corrupt settings file"
[ "$(grep -c 'The settings file' "$prefdir/err.txt")" -eq 1 ] || fail "warned more than once"

# The broken file kept as it was; a fresh file with the new port.
aside=$(ls "$prefdir"/rest/connector.json.corrupt-* 2>/dev/null | head -n 1)
[ -n "$aside" ] || fail "the broken file was not kept"
[ "$(cat "$aside")" = "$broken" ] || fail "the kept file differs from the broken one"
grep -q "\"port\": *$port" "$prefdir/rest/connector.json" ||
  fail "the new settings file does not hold the port: $(cat "$prefdir/rest/connector.json")"
echo "corrupt-settings: passed"
