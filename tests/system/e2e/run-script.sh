#!/bin/sh
# Runs one end-to-end script through the korvan command, as a person would, against a fresh
# throw-away settings folder holding a copy of the example service "demo".
#
#   run-script.sh KORVAN SCRIPT DEMO_FOLDER [EXPECTED_EXIT_STATUS]
#
# The script runs in the settings folder, where this driver also writes e2e_port.k, a function
# file giving a free loopback port (the language has no text-to-number conversion). Exits 0
# when korvan's exit status is the expected one (0 unless given).
set -eu
korvan=$1
script=$2
demo=$3
expected=${4:-0}

prefdir=$(mktemp -d "${TMPDIR:-/tmp}/korvan-e2e.XXXXXX")
trap 'rm -rf "$prefdir"' EXIT INT TERM
mkdir -p "$prefdir/rest/services"
cp -r "$demo" "$prefdir/rest/services/"

# A port nobody listens on now: the kernel's choice when python3 is there, else a random one
# in the dynamic range.
port=$(python3 -c 'import socket
s = socket.socket()
s.bind(("127.0.0.1", 0))
print(s.getsockname()[1])' 2>/dev/null || echo $((49152 + $$ % 16000)))
printf 'function p = e2e_port()\n  p = %s;\nend\n' "$port" > "$prefdir/e2e_port.k"

cd "$prefdir"
status=0
env -u KORVAN_REST_CONSENT KORVAN_PREFDIR="$prefdir" "$korvan" "$script" || status=$?
if [ "$status" -ne "$expected" ]; then
  echo "run-script: $script ended with exit status $status, expected $expected" >&2
  exit 1
fi
