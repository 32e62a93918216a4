#!/usr/bin/env bash
# serve, relay and view against each other over real sockets: what was lost has to come back, and
# the repaired picture has to be the one of a network that loses nothing.
# shellcheck source=tests/host/tool_common.sh
source "$(dirname "${BASH_SOURCE[0]}")/tool_common.sh"

# The port in a message "listening on 127.0.0.1:PORT", once it is there.
port_of() {
  for _ in {1..200}; do
    sed -nE 's/^listening on .*:([0-9]+)$/\1/p' "$1" 2>/dev/null | grep . && return
    sleep 0.05
  done
  fail "no port in $1"
}

session() { # NAME RELAY-OPTIONS...
  local name=$1 server relay
  shift
  "$tool" serve --listen :0 --size 400x300 --tile 64 --frames 20 --fps 20 --wait 30 --json \
    >"$name.serve" 2>"$name.serve.err" &
  server=$!
  "$tool" relay --listen :0 --to ":$(port_of "$name.serve.err")" --json "$@" >"$name.relay" \
    2>"$name.relay.err" &
  relay=$!
  expect 0 "$tool" view --connect ":$(port_of "$name.relay.err")" --threads 3 \
    --repaired "$name.png" --timeout 60 --json
  cp out "$name.view"
  wait $server || fail "$name: serve ended with $?"
  kill $relay
  wait $relay || fail "$name: relay ended with $?"
}

session clean
[ "$(json packets_lost <clean.view)" = 0 ] || fail "packets lost on a clean line: $(cat clean.view)"
session lossy --loss 20% --burst 4 --reorder 10% --duplicate 2% --delay 5ms --seed 5
[ "$(json packets_lost <lossy.view)" -gt 0 ] || fail "no packets lost: $(cat lossy.view)"
[ "$(json rectangles_repaired <lossy.serve)" -gt 0 ] || fail "no repair: $(cat lossy.serve)"
cmp -s clean.png lossy.png || fail "the repaired picture differs from the loss-free one"

expect 1 "$tool" view --connect :1 --headless --timeout 0.3 # nobody there

finish
