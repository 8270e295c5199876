#!/bin/bash
# The page to try functions in a real browser: korvan serves the demo service on a free
# loopback port, and try-plus.mjs drives Debian's chromium through /v1/docs (token entered,
# demo/plus called with 1 and 2, 3 seen).
#
#   docs-page-check.sh KORVAN NODE EXAMPLES_SERVICES
#
# korvan is killed on the way out, its workers with it; every wait is bounded.
set -euo pipefail
korvan=$1 node=$2 examples=$3
here=$(cd "$(dirname "$0")" && pwd)
prefdir=$(mktemp -d "${TMPDIR:-/tmp}/korvan-docs.XXXXXX")
pid=
cleanup() {
  [ -n "$pid" ] && kill -KILL "$pid" 2>/dev/null || true
  pkill -KILL -f -- "--function-worker $prefdir/" 2>/dev/null || true
  rm -rf "$prefdir"
}
trap cleanup EXIT
fail() { echo "docs-page-check: $*" >&2; tail -n 20 "$prefdir/out.txt" >&2 || true; exit 1; }
[ -x /usr/bin/chromium ] || fail "Debian's chromium is missing (scripts/install-deps installs it)"
[ -d "$here/node_modules/playwright-core" ] || fail "playwright-core is missing (scripts/install-deps)"

mkdir -p "$prefdir/rest/services"
cp -r "$examples/demo" "$prefdir/rest/services/"
port=$(python3 -c 'import socket
s = socket.socket()
s.bind(("127.0.0.1", 0))
print(s.getsockname()[1])')
cat > "$prefdir/serve.k" <<K
c = restFunctionConnector();
c.Port = $port;
start(c);
print("token %s\n", c.RESTPersonalAccessToken);
pause(120);
K
(cd "$prefdir" && exec env KORVAN_PREFDIR="$prefdir" "$korvan" serve.k) \
  > "$prefdir/out.txt" 2>&1 &
pid=$!
for _ in $(seq 300); do
  grep -q '^token ' "$prefdir/out.txt" 2>/dev/null && break
  kill -0 "$pid" 2>/dev/null || fail "korvan ended before the connector started"
  sleep 0.1
done
token=$(awk '/^token / { print $2 }' "$prefdir/out.txt")
[ -n "$token" ] || fail "no token within 30 s"
timeout 120 "$node" "$here/try-plus.mjs" "https://localhost:$port/v1" "$token"
