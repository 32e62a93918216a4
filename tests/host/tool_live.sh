#!/usr/bin/env bash
# serve, relay and view against each other over real sockets: what was lost has to come back, the
# repaired picture has to be the one of a network that loses nothing, and whatever goes wrong is
# told in words, soon, with an exit code.
# shellcheck source=tests/host/tool_common.sh
source "$(dirname "${BASH_SOURCE[0]}")/tool_common.sh"

# The port in a message "listening on ADDRESS:PORT", once it is there.
port_of() {
  for _ in {1..200}; do
    sed -nE 's/^listening on .*:([0-9]+)$/\1/p' "$1" 2>/dev/null | grep . && return
    sleep 0.05
  done
  fail "no port in $1"
}

now_ms() { date +%s%3N; }

# told FILE TEXT [MS]: the text comes within two seconds.
told() {
  local end=$(($(now_ms) + ${3:-2000}))
  until grep -qF -- "$2" "$1"; do
    [ "$(now_ms)" -lt $end ] || { fail "not told: $2: $(cat "$1")"; return; }
    sleep 0.05
  done
}

# How long the program takes to start and to end: a sanitizer's on a busy machine most of a second.
started=$(now_ms)
"$tool" --version >/dev/null
soon_ms=$((2500 + 4 * ($(now_ms) - started)))

# soon CODE TEXT COMMAND...: ends within two and a half seconds, beside its start.
soon() {
  local wanted=$1 text=$2 start
  shift 2
  start=$(now_ms)
  expect "$wanted" "$@"
  [ $(($(now_ms) - start)) -lt $soon_ms ] || fail "took $(($(now_ms) - start)) ms: $*"
  grep -qF -- "$text" err || fail "no word of '$text': $*: $(cat err)"
}

serving=() # options of a session's server
session() { # NAME RELAY-OPTIONS...
  local name=$1 server relay
  shift
  "$tool" serve --listen :0 --size 400x300 --tile 64 --frames 20 --fps 20 --wait 30 --json \
    "${serving[@]}" >"$name.serve" 2>"$name.serve.err" &
  server=$!
  "$tool" relay --listen :0 --to "localhost:$(port_of "$name.serve.err")" --json "$@" \
    >"$name.relay" 2>"$name.relay.err" &
  relay=$!
  expect 0 "$tool" view --connect ":$(port_of "$name.relay.err")" --threads 3 --wait 10 \
    --repaired "$name.png" --timeout 60 --json
  cp out "$name.view"
  wait $server || fail "$name: serve ended with $?"
  kill $relay
  wait $relay || fail "$name: relay ended with $?"
}

session clean
[ "$(json packets_lost <clean.view)" = 0 ] || fail "packets lost on a clean line: $(cat clean.view)"
grep -qE '"coverage":100.000,"complete":true' clean.view || fail "clean: $(cat clean.view)"
session lossy --loss 20% --burst 4 --reorder 10% --duplicate 2% --delay 5ms --seed 5
[ "$(json packets_lost <lossy.view)" -gt 0 ] || fail "no packets lost: $(cat lossy.view)"
[ "$(json packets_replayed <lossy.view)" -gt 0 ] || fail "none came twice: $(cat lossy.view)"
[ "$(json rectangles_repaired <lossy.serve)" -gt 0 ] || fail "no repair: $(cat lossy.serve)"
session corrupt --corrupt 30% --seed 3
[ "$(json packets_corrupted <corrupt.view)" -gt 20 ] || fail "corrupted: $(cat corrupt.view)"
# With hardly any bandwidth the picture gets as sharp in the end.
serving=(--rate 0.5)
session narrow --rate 0.6 --loss 2% --seed 4
awk -v bits="$(json megabits_per_second_most <narrow.view)" 'BEGIN { exit !(bits < 0.6) }' ||
  fail "rate: $(cat narrow.view)"
serving=()
for name in lossy corrupt narrow; do
  cmp -s clean.png $name.png || fail "the repaired picture differs from the loss-free one: $name"
  for count in not_a_packet other_window bad_head undecodable; do
    [ "$(json packets_$count <$name.view)" = 0 ] || fail "$name: bad ones went through: $count"
  done
done

# What is refused before anything begins.
head -c 32 /dev/urandom >key
head -c 15 key >short
while IFS='|' read -r code text arguments; do
  # shellcheck disable=SC2086
  soon "$code" "$text" "$tool" $arguments
done <<'CASES'
64|give --key FILE|serve --listen 0.0.0.0:0
64|give --key FILE|serve --listen [::]:0
64|port 99999 is out of range: give 0 to 65535|serve --listen :99999
64|give HOST:PORT|view --connect ::1:5600 --headless
1|no such host|view --connect nobody.invalid:5600 --headless
1|no answer from :1: is a server running|view --connect :1 --headless
1|short: no key|serve --listen :0 --key short
1|missing: |serve --listen :0 --key missing
64|give milliseconds, as in 20ms|relay --delay 20s
64|give 0% to 100%|relay --loss 20ms
CASES
soon 1 'no display' env -u DISPLAY -u WAYLAND_DISPLAY -u SDL_VIDEODRIVER "$tool" view --connect :1

# serve SIZE OPTIONS...: a server in the background, $server, at $port, its messages in serve.err.
serve() {
  : >serve.err # no port of an earlier one
  "$tool" serve --fps 50 --size "$@" >serve.out 2>serve.err &
  server=$!
  port=$(port_of serve.err)
}
# watch ARGUMENTS...: a viewer without a window in the background, $viewer.
watch() {
  : >view.err
  "$tool" view --headless --timeout 20 "$@" >view.out 2>view.err &
  viewer=$!
}
ends() { # NAME PID CODES...: it ends soon with one of the codes
  local name=$1 pid=$2 code=0 start
  shift 2
  start=$(now_ms)
  wait "$pid" || code=$?
  [ $(($(now_ms) - start)) -lt $soon_ms ] || fail "$name took $(($(now_ms) - start)) ms to end"
  [[ " $* " == *" $code "* ]] || fail "$name: exit code $code"
}

# Pictures of one's own: a JPEG, turned as its Exif data tells, and raw pixels.
"$tool" scene --size 96x160 --format ppm . >/dev/null 2>&1
tail -c $((96 * 160 * 3)) frame00000.ppm >window.raw
"$tool" encode frame00000.ppm still.jpg -q 97 >/dev/null
{
  head -c 2 still.jpg
  printf '\xff\xe1\0\x22Exif\0\0MM\0\x2a\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0\x03\0\0\0\0\0\0'
  tail -c +3 still.jpg
} >turned.jpg
for picture in turned.jpg frame00000.ppm window.raw; do
  wanted=$picture options=()
  [ $picture = window.raw ] && wanted=frame00000.ppm options=(--size 96x160)
  : >serve.err
  "$tool" serve --listen :0 -q 97 --sampling 444 --frames 3 --wait 8 "${options[@]}" $picture \
    >serve.out 2>serve.err &
  server=$!
  expect 0 "$tool" view --connect ":$(port_of serve.err)" --wait 8 --timeout 20 --repaired served.ppm
  wait $server || fail "serve $picture: $? $(cat serve.err)"
  expect 0 "$tool" psnr served.ppm $wanted
  awk -v db="$(cat out)" 'BEGIN { exit !(db > 38) }' || fail "serve $picture: $(cat out) dB"
done

# A viewer comes, a second one is told that it comes too late, the first one leaves, another is
# lost, and the server ends.
serve 320x200 --listen localhost:0
soon 1 'the port is taken' "$tool" serve --listen ":$port"
watch --connect ":$port"
told view.err "connected to 127.0.0.1:$port"
told serve.err 'came'
soon 1 'is busy with another viewer' "$tool" view --connect "localhost:$port" --headless
kill -INT $viewer
told serve.err 'left'
ends 'the viewer that leaves' $viewer 0 2
watch --connect ":$port"
told view.err connected
{ kill -KILL $viewer && wait $viewer; } 2>/dev/null
told serve.err 'fell silent'
watch --connect ":$port"
told view.err connected
kill -INT $viewer
ends 'the next viewer' $viewer 0 2
# A viewer that comes late counts from its own first frame: 40 frames take 0.8 seconds.
start=$(now_ms)
expect 0 "$tool" view --connect ":$port" --snapshot late.ppm --after 40 --timeout 20
[ $(($(now_ms) - start)) -ge 700 ] || fail "a snapshot after $(($(now_ms) - start)) ms"
watch --connect ":$port"
told view.err connected
kill -INT $server
told view.err "the server at 127.0.0.1:$port has ended"
ends 'the viewer of a server that ends' $viewer 0 2
ends 'the server' $server 0

# A server that is lost, and started again with another size: the session goes on.
serve 320x200 --listen :0
: >view.err # no word of an earlier one
"$tool" view --connect ":$port" --timeout 20 --snapshot again.ppm --after 100000 >view.out \
  2>view.err &
viewer=$!
told view.err connected
{ kill -KILL $server && wait $server; } 2>/dev/null
told view.err 'fell silent'
serve 200x120 --listen ":$port"
told view.err 'started again'
told serve.err 'came'
sleep 0.3
kill -INT $server
ends 'the viewer of a server that was started again' $viewer 2
ends 'the server' $server 0
[ "$(head -n 2 again.ppm | tail -n 1)" = '200 120' ] || fail 'another size after a new start'
grep -qF 'the picture was not there after 100000 frames' view.err || fail "frames: $(cat view.err)"

# With a key: both ends need it. IPv6 where there is any.
address=127.0.0.1
if [ -s /proc/net/if_inet6 ]; then address='[::1]'; fi
serve 320x200 --listen "${address/127.0.0.1/0.0.0.0}:0" --key key --wait 8
soon 1 'the same --key' "$tool" view --connect "$address:$port" --headless
expect 0 "$tool" view --connect "$address:$port" --key key --snapshot one.png --timeout 5
kill -INT $server
ends 'the server' $server 0

# A snapshot of a picture with holes says so. The line is so long that several frames are always on
# their way to being repaired.
serve 640x400 --listen :0
"$tool" relay --listen :0 --to ":$port" --loss 40% --delay 150ms --seed 2 >relay.out 2>relay.err &
relay=$!
expect 2 "$tool" view --connect ":$(port_of relay.err)" --wait 10 --snapshot holes.png --after 30
grep -qE 'holes.png: incomplete: [0-9.]+% of it is up to date' err || fail "holes: $(cat err)"
kill -INT $server $relay
wait $server $relay || fail "ended with $?"

# A window that is larger than the viewer allows is told, and no room is taken for it.
serve 640x400 --listen :0
for limit in --max-pixels --max-memory; do
  soon 1 "and $limit allows 1000" "$tool" view --connect ":$port" $limit 1000 --headless
done
kill -INT $server
ends 'the server' $server 0

# A rate is held; where the line takes less than that, the rate comes down before frames come late.
# The bounds leave room for a machine that is busy with other things.
between() { # NAME LOW HIGH <JSON
  awk -v x="$(json "$1" <out)" -v low="$2" -v high="$3" 'BEGIN { exit !(low <= x && x <= high) }' ||
    fail "$1 is not between $2 and $3: $(cat out)"
}
serve 640x400 --listen :0 --changing 100 --rate 6
"$tool" view --connect ":$port" --wait 10 --headless --timeout 5 --json >out
# A build that makes few frames a second does not fill the rate at full quality.
frames=$(json frames_per_second <out)
between megabits_per_second_most "$([ "${frames%.*}" -lt 20 ] && echo 0.1 || echo 4.5)" 7.5
between latency_ms_99 0 "$([ "${frames%.*}" -lt 20 ] && echo 1000 || echo 200)"
: >relay.err # no port of an earlier one
"$tool" relay --listen :0 --to ":$port" --rate 3 >relay.out 2>relay.err &
relay=$!
"$tool" view --connect ":$(port_of relay.err)" --wait 10 --headless --timeout 6 --json >out
between megabits_per_second_most 1.2 3.3
between latency_ms_99 0 "$([ "${frames%.*}" -lt 20 ] && echo 2000 || echo 400)"
[ $(($(json packets_lost <out) * 10)) -lt "$(json packets <out)" ] || fail "much was lost: $(cat out)"
kill -INT $server $relay
wait $server $relay || fail "ended with $?"

# Packets without a network: all of them, some of them, and films of several frames.
expect 0 "$tool" scene --frames 3 --size 320x200 frames
expect 0 "$tool" packets frames/*.png --join film.qpk --sampling 444
for n in 0 2; do
  expect 0 "$tool" packets frames/frame0000$n.png frame$n.qpk --sampling 444
  expect 0 "$tool" unpack frame$n.qpk frame$n.ppm
done
while IFS='|' read -r code arguments pattern; do
  # shellcheck disable=SC2086
  expect "$code" "$tool" unpack $arguments --json
  grep -qE "$pattern" out || fail "unpack $arguments: $(cat out)"
done <<'CASES'
0|film.qpk all.ppm|"frames":3,.*"packets_lost":0,.*"coverage":100.000,"right":100.000}
0|film.qpk first.ppm --after 1|"frames":1,.*"coverage":100.000,"right":100.000}
0|film.qpk reorder.ppm --reorder 50% --seed 3|"packets_reordered":[1-9].*"coverage":100.000,"right":100.000}
2|film.qpk loss.ppm --loss 30% --burst 3 --seed 6|"packets_lost":[1-9].*"coverage":[0-9.]+,"right":[0-9]{1,2}\.
2|film.qpk again.ppm --loss 30% --burst 3 --seed 6|"right":[0-9]{1,2}\.
2|film.qpk tint.ppm --loss 30% --burst 3 --seed 6 --tint|"right":[0-9]{1,2}\.
CASES
cmp -s all.ppm frame2.ppm || fail 'unpack: a film ends with another picture'
cmp -s first.ppm frame0.ppm || fail 'unpack: --after 1 is not the first picture'
cmp -s reorder.ppm frame2.ppm || fail 'unpack: order matters'
cmp -s loss.ppm again.ppm || fail 'unpack: the same seed loses other packets'
expect 64 "$tool" unpack film.qpk packets.ppm --packets --tint
expect 0 "$tool" unpack film.qpk packets.ppm --packets
cmp -s all.ppm packets.ppm && fail 'unpack: no colours of packets'
cmp -s loss.ppm tint.ppm && fail 'unpack: no tint'
head -c -5 film.qpk >cut.qpk
expect 2 "$tool" unpack cut.qpk cut.ppm
soon 1 'holes.png: a PNG, not a file of packets' "$tool" unpack holes.png x.png
soon 64 'the output is an input' "$tool" packets frames/*.png --join frames/frame00001.png --force

finish
