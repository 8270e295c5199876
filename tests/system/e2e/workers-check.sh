#!/bin/bash
# Function workers seen from outside, as a person running korvan would: the script keeps
# printing while a CPU-bound call runs, a flip with a call in flight, and no worker process
# left after the script ends by itself or after korvan is killed with SIGKILL.
#
#   workers-check.sh KORVAN
#
# Every korvan started here is killed on the way out; every wait is bounded.
set -euo pipefail
korvan=$1
prefdir=$(mktemp -d "${TMPDIR:-/tmp}/korvan-workers.XXXXXX")
pid=
cleanup() {
  [ -n "$pid" ] && kill -KILL "$pid" 2>/dev/null || true
  pkill -KILL -f -- "--function-worker $prefdir/" 2>/dev/null || true
  rm -rf "$prefdir"
}
trap cleanup EXIT
fail() { echo "workers-check: $*" >&2; tail -n 20 "$prefdir"/out.txt >&2 || true; exit 1; }
workers() { pgrep -f -- "--function-worker $prefdir/" | wc -l; }
until_true() {  # seconds command...: retry for at most that long
  local limit=$1 i=0
  shift
  until "$@"; do
    i=$((i + 1))
    [ $i -gt $((limit * 10)) ] && return 1
    sleep 0.1
  done
}

mkdir -p "$prefdir/rest/services/lab"
cat > "$prefdir/rest/services/lab/spin.k" <<'K'
function r = spin()
  while true
  end
  r = 1;
end
K
cat > "$prefdir/rest/services/lab/hold.k" <<'K'
function r = hold(marker, s)
  system("touch " + marker);
  pause(s);
  r = s;
end
K
printf 'function s = plus(a, b)\n  s = a + b;\nend\n' > "$prefdir/rest/services/lab/plus.k"
echo '{"workers": 1, "callTimeoutSeconds": 3}' > "$prefdir/rest/services/lab/workers.json"
port=$(python3 -c 'import socket
s = socket.socket()
s.bind(("127.0.0.1", 0))
print(s.getsockname()[1])')

# Starts the connector, says how to reach it, flips when the marker appears, then ticks.
cat > "$prefdir/serve.k" <<K
c = restFunctionConnector();
c.Port = $port;
start(c);
print("token %s\n", c.RESTPersonalAccessToken);
print("certificate %s\n", c.Certificate);
i = 0;
while i < 600
  i = i + 1;
  print("tick %d\n", i);
  [flip, out] = system("test -e $prefdir/flip-now");
  if flip == 0
    system("rm $prefdir/flip-now");
    korvan.internal.servicehost.flip();
    print("flipped\n");
  end
  pause(0.05);
end
K
start_korvan() {
  : > "$prefdir/out.txt"
  (cd "$prefdir" && exec env KORVAN_PREFDIR="$prefdir" "$korvan" "$@" > "$prefdir/out.txt" 2>&1) &
  pid=$!
  until_true 30 grep -q '^tick' "$prefdir/out.txt" || fail "korvan did not start serving"
  token=$(sed -n 's/^token //p' "$prefdir/out.txt")
  cert=$(sed -n 's/^certificate //p' "$prefdir/out.txt")
}
call() {  # function json-args: prints the status and body
  curl -s --max-time 30 --cacert "$cert" -H "Authorization: Bearer $token" \
    -H 'Content-Type: application/json' -d "{\"args\":$2}" -w ' %{http_code}' \
    "https://localhost:$port/v1/services/lab/$1"
}
ticks() { grep -c '^tick' "$prefdir/out.txt"; }

# 1. The script keeps printing while a runaway call holds a worker.
start_korvan serve.k
[ "$(workers)" -ge 1 ] || fail "no worker process"
call spin '[]' > "$prefdir/spin.txt" &
curl_pid=$!
sleep 0.5
before=$(ticks)
sleep 1
after=$(ticks)
[ $((after - before)) -ge 8 ] || fail "the script printed $((after - before)) ticks in 1 s during a call"
wait $curl_pid || true
grep -q 'KORVAN:connector:TimedOut.* 503$' "$prefdir/spin.txt" || fail "spin: $(cat "$prefdir/spin.txt")"
[ "$(call plus '[1,2]')" = '{"results":[3]} 200' ] || fail "no call after the time-out"

# 2. A flip with a call in flight: the call is answered, the pool comes back with the
#    connector, and the old workers are gone.
old=$(pgrep -f -- "--function-worker $prefdir/" | sort)
call hold "[\"$prefdir/holding\", 1]" > "$prefdir/hold.txt" &
curl_pid=$!
until_true 10 test -e "$prefdir/holding" || fail "the held call did not start"
touch "$prefdir/flip-now"
until_true 20 grep -q '^flipped' "$prefdir/out.txt" || fail "no flip"
wait $curl_pid || true
[ "$(cat "$prefdir/hold.txt")" = '{"results":[1]} 200' ] || fail "in flight: $(cat "$prefdir/hold.txt")"
until_true 20 sh -c "[ \"\$(curl -s -o /dev/null -w '%{http_code}' --cacert '$cert' https://localhost:$port/v1/health)\" = 200 ]" \
  || fail "the connector did not come back after the flip"
[ "$(call plus '[2,3]')" = '{"results":[5]} 200' ] || fail "no call after the flip"
for p in $old; do
  ! kill -0 "$p" 2>/dev/null || fail "worker $p of before the flip still runs"
done

# 3. korvan killed with SIGKILL: its workers end with it.
kill -KILL "$pid"
wait "$pid" 2>/dev/null || true
pid=
until_true 3 test "$(workers)" -eq 0 || fail "$(workers) workers outlived korvan killed with SIGKILL"

# 4. A script that ends by itself (without stop) leaves no worker either.
cat > "$prefdir/short.k" <<K
c = restFunctionConnector();
c.Port = $port;
start(c);
print("token %s\n", c.RESTPersonalAccessToken);
print("certificate %s\n", c.Certificate);
print("tick\n");
pause(1);
K
start_korvan short.k
[ "$(workers)" -ge 1 ] || fail "no worker process in the short script"
wait "$pid" || fail "the short script failed"
pid=
[ "$(workers)" -eq 0 ] || fail "$(workers) workers outlived the script's end"
echo "workers-check: all passed"
