#!/usr/bin/env bash
# Every script under scripts/ prints its usage for --help and -h (exit 0) and refuses an option
# or argument it does not take with a usage line on standard error (exit 2). A script that
# started its work instead (installing, building, serving) would outlast the time limit or
# print something else, so each call is bounded and its output checked.
set -uo pipefail
dir=$1
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# script | refused arguments (one case per ';')
cases=(
  "run|--bogus;extra"
  "install-deps|--bogus;extra"
  "bench-http|--bogus;a b"
  "fuzz|--bogus;1 2"
  "test|--bogus;-L host --no-such-option"
  "coverage|--bogus;-L host --no-such-option"
  "coverage-unique|--bogus;extra"
  "check|--bogus"
  "probe-https|--bogus"
)
for row in "${cases[@]}"; do
  script=${row%%|*}
  [ -x "$dir/$script" ] || { fail "$script is not an executable script"; continue; }
  for flag in --help -h; do
    out=$(timeout 20 "$dir/$script" $flag 2>&1)
    rc=$?
    [ $rc -eq 0 ] || fail "$script $flag exited $rc"
    [[ $out == *"$script"* && $(wc -l <<<"$out") -ge 3 ]] ||
      fail "$script $flag did not print a usage naming the script: $out"
  done
  IFS=';' read -ra refused <<<"${row#*|}"
  for args in "${refused[@]}"; do
    # shellcheck disable=SC2086 # the case's words are separate arguments
    err=$(timeout 20 "$dir/$script" $args 2>&1 >/dev/null)
    rc=$?
    [ $rc -eq 2 ] || fail "$script $args exited $rc, not 2"
    [[ $err == *usage* ]] || fail "$script $args gave no usage line: $err"
  done
done
# Every script is covered: a new one without a case here fails.
for path in "$dir"/*; do
  [ -f "$path" ] || continue
  name=$(basename "$path")
  [[ " ${cases[*]} " == *" $name|"* ]] || fail "scripts/$name has no case here"
done
[ $failures -eq 0 ] && echo "all scripts answer --help and refuse unknown options"
exit $((failures > 0))
