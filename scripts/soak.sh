#!/usr/bin/env bash
# A window of 1920x1080 at 30 frames a second for some minutes, over sockets of this machine, through
# a network that loses in bursts, reorders, duplicates and damages. Fails unless
#  - every packet that came through whole was taken, or had come before, or was too late;
#  - the picture, repaired, is to the byte the one of a network without faults;
#  - the descriptors of the three programs are as many in the end as before;
#  - in ten minutes and more, memory of none of them grows: the most in the last quarter of the time is
#    at most 1% (and 256 KiB) above the most in the second quarter. In less it is told only.
#
#   scripts/soak.sh MINUTES [PRESET]    PRESET: release, or asan-ubsan
#
# SOAK_SIZE and SOAK_FPS take the place of 1920x1080 and 30. What was sampled once a second stays in
# build/soak.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/packages.sh
source "$root/scripts/packages.sh"
cd "$root"

minutes=${1:?give the minutes to run}
preset=${2:-release}
size=${SOAK_SIZE:-1920x1080}
fps=${SOAK_FPS:-30}
network=(--loss 3% --burst 6 --reorder 5% --duplicate 1% --corrupt 1% --delay 5ms --seed 1)
seconds=$((minutes * 60))
frames=$((seconds * fps))

need_build_packages
note "building (build/$preset)"
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" --parallel "$(nproc)" --target qrx-jpeg >/dev/null

tool=$root/build/$preset/qrx-jpeg
work=$root/build/soak
rm -rf "$work"
mkdir -p "$work/empty/root" "$work/empty/user"
export QRX_ROOT=$work/empty/root QRX_USER_CONFIG_DIR=$work/empty/user
unset ZMT_SUBSAMPLING
# What the sanitizer keeps of freed memory, 256 MiB by itself, would grow for longer than that.
export ASAN_OPTIONS=${ASAN_OPTIONS:-quarantine_size_mb=16}
failures=0
fail() {
  echo "FAILED: $*" >&2
  failures=$((failures + 1))
}

server='' relay='' viewer=''
end_all() {
  local process
  for process in $server $relay $viewer; do kill "$process" 2>/dev/null || true; done
}
trap end_all EXIT

# The port in the message "listening on ADDRESS:PORT" in file $1.
port_of() {
  local tries=200
  while ! sed -nE 's/^listening on .*:([0-9]+)$/\1/p' "$1" 2>/dev/null | grep .; do
    [ $((tries--)) -gt 0 ] || return 1
    sleep 0.1
  done
}

# json NAME FILE
json() { sed -nE "s/.*\"$1\":([^,}]*).*/\\1/p" "$2"; }

# The last frame over a line without faults: what the viewer has to show in the end.
"$tool" scene --first $((frames - 1)) --size "$size" "$work" >"$work/last.name"
"$tool" serve "$(cat "$work/last.name")" --listen :0 --frames 1 --wait 30 >/dev/null \
  2>"$work/clean.err" &
server=$!
"$tool" view --connect ":$(port_of "$work/clean.err")" --repaired "$work/right.ppm" --wait 10 \
  --timeout 60 >/dev/null 2>&1
wait "$server"

note "$minutes minutes of $size at $fps frames a second: ${network[*]}"
"$tool" serve --listen :0 --size "$size" --frames "$frames" --fps "$fps" --wait 60 --json \
  >"$work/serve.json" 2>"$work/serve.err" &
server=$!
"$tool" relay --listen :0 --to ":$(port_of "$work/serve.err")" "${network[@]}" --json \
  >"$work/relay.json" 2>"$work/relay.err" &
relay=$!
"$tool" view --connect ":$(port_of "$work/relay.err")" --repaired "$work/seen.ppm" --wait 30 \
  --timeout $((seconds * 3 + 60)) --json >"$work/view.json" 2>"$work/view.err" &
viewer=$!

# sample PROCESS: resident KiB and open descriptors; false where it has ended.
sample() {
  local kib
  kib=$(sed -nE 's/^VmRSS:\s+([0-9]+) kB$/\1/p' "/proc/$1/status" 2>/dev/null) && [ -n "$kib" ] &&
    echo "$kib $(find "/proc/$1/fd" -mindepth 1 2>/dev/null | wc -l)"
}
SECONDS=0
while a=$(sample $server) && b=$(sample $relay) && c=$(sample $viewer); do
  echo "$SECONDS $a $b $c" >>"$work/samples"
  sleep 1
done
took=$SECONDS
# In the end the viewer goes first; it need not wait for a server that went before.
status=0
sample $server >/dev/null || kill $viewer 2>/dev/null || true
wait $viewer || status=$?
viewer=''
[ $status -eq 0 ] || fail "view ended with $status: $(cat "$work/view.err")"
wait $server || fail "serve ended with $?: $(cat "$work/serve.err")"
server=''
kill $relay
wait $relay || fail "relay ended with $?"
relay=''

# growth NAME COLUMN: memory in KiB in the second and in the last quarter of the samples, and the
# descriptors in the column behind it. The last two seconds are the programs' way out.
growth() {
  awk -v name="$1" -v column="$2" -v minutes="$minutes" '
    { kib[NR] = $column; files[NR] = $(column + 1) }
    END {
      last = NR - 2
      for (i = int(last / 4) + 1; i <= last; ++i) {
        if (i <= last / 2 && kib[i] > before) before = kib[i]
        if (i > last * 3 / 4 && kib[i] > after) after = kib[i]
        if (i == int(last / 4) + 1) low = high = files[i]
        if (files[i] < low) low = files[i]
        if (files[i] > high) high = files[i]
      }
      printf "%-6s %d KiB, then %d KiB (%+.2f%%), %d to %d descriptors\n", name, before, after,
             before ? 100 * (after - before) / before : 0, low, high
      allowed = before / 100 > 256 ? before / 100 : 256
      exit !(last >= 20 && low == high && (minutes < 10 || after - before <= allowed))
    }' "$work/samples"
}
growth serve 2 || fail 'memory or descriptors of serve'
growth relay 4 || fail 'memory or descriptors of relay'
growth view 6 || fail 'memory or descriptors of view'

cat "$work/serve.json" "$work/relay.json" "$work/view.json"
packets=$(json packets "$work/view.json")
taken=0
for verdict in placed duplicate late; do
  taken=$((taken + $(json "packets_$verdict" "$work/view.json")))
done
[ "${packets:-0}" -gt 0 ] || fail 'no packets came'
[ "$taken" = "$packets" ] || fail "$taken packets of $packets were good"
[ "$(json packets_lost "$work/view.json")" -gt 0 ] || fail 'the network lost nothing'
cmp "$work/seen.ppm" "$work/right.ppm" || fail 'the picture is not the one without faults'
sent=$(json frames "$work/serve.json")
dropped=$(json frames_dropped "$work/serve.json")
[ $((sent + dropped)) = "$frames" ] || fail 'frames are missing'
note "$sent frames in $took s, $dropped that came too late, $packets packets, all good; failures: $failures"
[ $failures -eq 0 ]
