#!/usr/bin/env bash
# Runs a benchmark once, small, as a test: it must end with status 0 and print the line of
# figures that `FIGURES` (an extended regular expression) describes. Nothing is timed here: the
# figures are the benchmark's to print, not the test's to judge.
#   bench_smoke_test.sh FIGURES PROGRAM [ARG...]
set -u
figures=$1
shift
out=$(mktemp)
trap 'rm -f "$out"' EXIT
"$@" >"$out" 2>&1
status=$?
cat "$out"
if [ "$status" -ne 0 ]; then
  echo "bench smoke: $1 ended with status $status"
  exit 1
fi
if ! grep -Eq -- "$figures" "$out"; then
  echo "bench smoke: $1 printed no line matching: $figures"
  exit 1
fi
echo "bench smoke: $1 ran and printed its figures"
