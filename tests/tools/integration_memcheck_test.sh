#!/usr/bin/env bash
# Runs integration test programs under valgrind memcheck: the library against the real store
# (publish, exact requests, store requests) and the read-back against the scripted service.
# Fails on any memory error or definite leak, and when a program's own tests fail.
# Usage: integration_memcheck_test.sh VALGRIND PROGRAM...
#
# Leaks "possibly lost" are not counted: GLib's worker thread keeps its thread-local state and
# type registrations for the life of the process, which memcheck reports that way. Nothing is
# suppressed.
set -u
valgrind=$1
shift
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
status=0
for program in "$@"; do
  name=$(basename "$program")
  PELMO_LOG_LEVEL=none "$valgrind" --leak-check=full --errors-for-leak-kinds=definite --error-exitcode=9 \
    --log-file="$dir/$name.vg" "$program" > "$dir/$name.out" 2>&1
  rc=$?
  summary=$(grep -h "ERROR SUMMARY" "$dir/$name.vg" | tail -1 | sed 's/^==[0-9]*== //')
  definite=$(grep -h "definitely lost:" "$dir/$name.vg" | tail -1 | sed 's/^==[0-9]*== *//')
  echo "$name: exit $rc; ${summary:-no summary}; ${definite:-definitely lost: 0 bytes}"
  if [ "$rc" != 0 ]; then
    status=1
    grep -E "FAILED|Invalid|uninitialised|definitely lost in" -A12 "$dir/$name.vg" "$dir/$name.out" | head -80
  fi
done
[ "$status" = 0 ] && echo ok
exit $status
