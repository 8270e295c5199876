#!/bin/sh
# The quickstart as a person runs it: start korvan on examples/quickstart.k with a throw-away
# settings folder holding the demo service, paste the curl command it prints, expect
# {"results":[3]}, press Ctrl-C (SIGINT), expect a clean stop and exit status 0.
#
#   quickstart-check.sh KORVAN QUICKSTART DEMO_FOLDER
#
# The quickstart uses the default port 9920; when something else listens there the check is
# skipped (exit status 77); without python3 to look, the check just runs.
set -u
korvan=$1
quickstart=$2
demo=$3

python3 -c 'import socket, sys
s = socket.socket()
try:
    s.bind(("127.0.0.1", 9920))
except OSError:
    sys.exit(3)' 2>/dev/null
if [ $? -eq 3 ]; then
  echo "quickstart-check: port 9920 is in use here; skipped"
  exit 77
fi

prefdir=$(mktemp -d "${TMPDIR:-/tmp}/korvan-quickstart.XXXXXX")
pid=
cleanup() {
  [ -n "$pid" ] && kill "$pid" 2>/dev/null
  rm -rf "$prefdir"
}
trap cleanup EXIT
mkdir -p "$prefdir/rest/services"
cp -r "$demo" "$prefdir/rest/services/"
out="$prefdir/out.txt"

KORVAN_PREFDIR="$prefdir" "$korvan" "$quickstart" >"$out" 2>&1 &
pid=$!

# Wait (bounded) for the curl line.
i=0
while ! grep -q '^curl ' "$out" 2>/dev/null; do
  i=$((i + 1))
  if [ $i -gt 300 ] || ! kill -0 "$pid" 2>/dev/null; then
    echo "quickstart-check: no curl command printed"; cat "$out"; exit 1
  fi
  sleep 0.1
done

answer=$(eval "$(grep '^curl ' "$out") -s --max-time 20")
if [ "$answer" != '{"results":[3]}' ]; then
  echo "quickstart-check: the printed curl command answered: $answer"; cat "$out"; exit 1
fi

kill -INT "$pid"
i=0
while kill -0 "$pid" 2>/dev/null; do
  i=$((i + 1))
  if [ $i -gt 200 ]; then echo "quickstart-check: still running after Ctrl-C"; exit 1; fi
  sleep 0.1
done
wait "$pid"
status=$?
pid=
cat "$out"
if [ $status -ne 0 ] || ! grep -q '^Stopped' "$out"; then
  echo "quickstart-check: exit status $status after Ctrl-C, or no clean stop"; exit 1
fi
