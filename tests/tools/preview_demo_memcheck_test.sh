#!/usr/bin/env bash
# Registers, publishes two documents and reads back under valgrind memcheck, against the real
# store on a private bus. Fails on any memory error or definite leak, or if the read-back is
# not the changed document's sections.
set -u
launcher=$1 demo=$2 valgrind=$3 examples=$4
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
PELMO_LOG_LEVEL=none "$launcher" --db "$dir/store.db" -- "$valgrind" --quiet --leak-check=full \
  --errors-for-leak-kinds=definite --error-exitcode=9 "$demo" org.example.player \
  "$examples/first.json" "$examples/changed.json" > "$dir/out.txt" 2> "$dir/err.txt"
rc=$?
if [ "$rc" != 0 ]; then echo "FAIL: exit status $rc"; cat "$dir/err.txt"; exit 1; fi
for title in "Continue watching" "Recommended" "Because you watched Night Trains"; do
  grep -q "\"section_title\" : \"$title\"" "$dir/out.txt" || { echo "FAIL: no section $title"; exit 1; }
done
if grep -q "New this week" "$dir/out.txt"; then echo "FAIL: a dropped section was read back"; exit 1; fi
echo ok
