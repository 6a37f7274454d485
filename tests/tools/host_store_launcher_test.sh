#!/usr/bin/env bash
# pelmo-host-store runs a command against a private store, passes its exit status on, passes a
# terminate or a hangup on to it, and leaves no process and no bus directory behind.
set -u
launcher=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
fail() { echo "FAIL: $*"; exit 1; }

"$launcher" --db "$dir/store.db" --log "$dir/requests.log" -- sh -c '
  dbus-send --system --print-reply --dest=org.orvik.Feltrix.dbus /org/orvik/pelmo_service \
    org.orvik.pelmo_service.Call string:insert string:org.example.a \
    "string:{\"table_name\":\"content://org.orvik.pelmo/accelerators\"}" > "$0/reply.txt" || exit 3
  echo "$DBUS_SYSTEM_BUS_ADDRESS" > "$0/address.txt"
  echo "$$" > "$0/pid.txt"
  exit 7' "$dir"
rc=$?
[ "$rc" = 7 ] || fail "exit status $rc, wanted the command's 7"
grep -q "boolean true" "$dir/reply.txt" || fail "no true reply: $(cat "$dir/reply.txt")"
grep -q 'string "1"' "$dir/reply.txt" || fail "no row id 1: $(cat "$dir/reply.txt")"
grep -q "insert module=org.example.a ok rows=1" "$dir/requests.log" || fail "request not logged: $(cat "$dir/requests.log")"
sock=$(sed -n 's|^unix:path=\([^,]*\),.*|\1|p' "$dir/address.txt")
[ -n "$sock" ] || fail "no socket in $(cat "$dir/address.txt")"
[ ! -e "$(dirname "$sock")" ] || fail "bus directory $(dirname "$sock") left behind"
if pgrep -f "$(dirname "$sock")" >/dev/null; then fail "a daemon of that bus is still running"; fi
# The database outlives the store: it opens with the row in it.
"$launcher" --db "$dir/store.db" -- sh -c '
  dbus-send --system --print-reply --dest=org.orvik.Feltrix.dbus /org/orvik/pelmo_service \
    org.orvik.pelmo_service.Call string:insert string:org.example.a \
    "string:{\"table_name\":\"content://org.orvik.pelmo/accelerators\"}"' > "$dir/second.txt" 2>/dev/null \
  || fail "second run failed"
grep -q 'string "2"' "$dir/second.txt" || fail "the first row was not kept: $(cat "$dir/second.txt")"
# A terminate or a hangup of the launcher stops the command and the store, and is reported as
# the launcher's own end (128 + the signal), whatever the command made of it.
for sig in TERM HUP; do
  rm -f "$dir/ready" "$dir/command.pid" "$dir/address.txt"
  mkfifo "$dir/ready"
  "$launcher" -- sh -c '
    echo "$DBUS_SYSTEM_BUS_ADDRESS" > "$0/address.txt"
    echo "$$" > "$0/command.pid"
    echo up > "$0/ready"
    exec sleep 600' "$dir" 2>/dev/null &
  launcher_pid=$!
  timeout 30 cat "$dir/ready" >/dev/null || fail "the command did not start"
  kill -s "$sig" "$launcher_pid"
  wait "$launcher_pid"
  rc=$?
  want=$((128 + $(kill -l "$sig")))
  [ "$rc" = "$want" ] || fail "exit status $rc after SIG$sig, wanted $want"
  ! kill -0 "$(cat "$dir/command.pid")" 2>/dev/null || fail "the command outlived SIG$sig"
  sock=$(sed -n 's|^unix:path=\([^,]*\),.*|\1|p' "$dir/address.txt")
  [ ! -e "$(dirname "$sock")" ] || fail "bus directory left behind after SIG$sig"
  if pgrep -f "$(dirname "$sock")" >/dev/null; then fail "a daemon of that bus outlived SIG$sig"; fi
done
# A service that cannot start is reported, not waited for.
"$launcher" --db /nonexistent/dir/store.db -- true 2>"$dir/err.txt" && fail "a bad database path was accepted"
grep -q "pelmo-host-store:" "$dir/err.txt" || fail "no reason given: $(cat "$dir/err.txt")"
echo "ok"
