#!/usr/bin/env bash
# A result written by a process of one architecture reads the same in a process of another, in
# both directions, and both architectures serialise a table to the same bytes.
#   shared_result_across_test.sh HOST_PROBE TARGET_PROBE [EMULATOR ARG...]
# HOST_PROBE runs as it is; TARGET_PROBE runs through the emulator command when one is given.
set -euo pipefail
host=$1
target=$2
shift 2
[ -x "$host" ] || { echo "FAIL: no probe of the machine's own build at $host" >&2; exit 1; }
run_host() { "$host" "$@"; }
target_cmd=("$@" "$target")
trap 'rm -f /dev/shm/pelmo-across-$$-*' EXIT
run_target() { "${target_cmd[@]}" "$@"; }

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

[ "$(run_host bytes)" = "$(run_target bytes)" ] || fail "the two architectures serialise the table differently"
expected=$(run_host expect)
[ -n "$expected" ] || fail "the host probe reads nothing"
[ "$expected" = "$(run_target expect)" ] || fail "the two architectures' cursors report the same bytes differently"

key="/pelmo-across-$$-1"
size=$(run_host write "$key")
got=$(run_target read "$key" "$size") || fail "the target could not open the host's result"
[ "$got" = "$expected" ] || fail "the target reads the host's result differently:
$(diff <(echo "$expected") <(echo "$got") || true)"

key="/pelmo-across-$$-2"
size=$(run_target write "$key")
got=$(run_host read "$key" "$size") || fail "the host could not open the target's result"
[ "$got" = "$expected" ] || fail "the host reads the target's result differently:
$(diff <(echo "$expected") <(echo "$got") || true)"

echo "$(echo "$expected" | grep -c '^cell') cells read the same in both directions"
