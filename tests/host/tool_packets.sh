#!/usr/bin/env bash
# `packets` and `inspect`: the fields of a picture's packets against the rules that tie them.
# shellcheck source=tests/host/tool_common.sh
source "$(dirname "${BASH_SOURCE[0]}")/tool_common.sh"

expect 0 "$tool" scene --size 333x251 .
check() { # SAMPLING MCU-WIDTH MCU-HEIGHT
  expect 0 "$tool" packets frame00000.png "$1.qpk" --sampling "$1" --quality 75 --index 9
  expect 0 "$tool" inspect "$1.qpk"
  # Columns: offset bytes x y width height MCUs coverage last.
  tail -n +2 out | awk -v mw="$2" -v mh="$3" -v columns=$(((333 + $2 - 1) / $2)) \
    -v rows=$(((251 + $3 - 1) / $3)) '
    function bad(text) { print "line " NR ": " text ": " $0; wrong = 1 }
    {
      row = int(mcus / columns)
      edge = 251 - (row + 1) * mh
      if ($3 != mcus % columns * mw) bad("x")
      if ($4 != (edge > 0 ? edge : 0)) bad("y")
      mcus += $7
      coverage += $8
      if (last) bad("a packet behind the last")
      last = $9 == "last"
      if (!last && $2 < 1253) bad("a short packet")
      if ($1 != offset + 8 && NR > 1) bad("offset")
      if (NR == 1 && $1 != 8) bad("offset")
      offset = $1 + $2 - 4
    }
    END {
      if (mcus != columns * rows) bad(mcus " MCUs")
      if (!last) bad("no last packet")
      if (coverage < 99.9 || coverage > 100.1) bad("coverage " coverage)
      exit wrong
    }' >report || fail "$1: $(cat report)"
}
check 444 8 8
check 422 16 8
check 420 16 16

head -c -1 420.qpk >cut.qpk
expect 2 "$tool" inspect cut.qpk --json
expect 1 "$tool" inspect frame00000.png

finish
