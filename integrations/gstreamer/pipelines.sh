#!/usr/bin/env bash
# Real pipelines beside the sample host: pipelines.sh QRX-JPEG FOLDER-OF-THE-PLUGIN.
set -uo pipefail

plugin=$(realpath "$2")
# shellcheck source=tests/host/tool_common.sh
source "$(dirname "$0")/../../tests/host/tool_common.sh"
docs=$(dirname "$script")/../../docs
export PATH; PATH=$(dirname "$tool"):$PATH
export GST_PLUGIN_PATH=$plugin GST_REGISTRY=$work/registry.bin SDL_VIDEODRIVER=dummy
port=$((20000 + $$ % 20000))

for element in qrxpay qrxdepay; do
  expect 0 gst-inspect-1.0 $element
  [ ! -s err ] || fail "inspection of $element is not clean: $(cat err)"
done

# No object is left behind.
GST_TRACERS=leaks GST_DEBUG=GST_TRACER:7 gst-launch-1.0 -q videotestsrc num-buffers=10 ! qrxpay ! \
  qrxdepay ! fakesink >out 2>&1 || fail "$(cat out)"
! grep "object-alive, type-name=(string)[A-Z]" out || fail "that is left behind"

# {qrxpay, serve} x {qrxdepay, view}.
send_by_qrxpay() {
  gst-launch-1.0 -q videotestsrc is-live=true num-buffers=40 pattern=smpte100 ! \
    video/x-raw,format=BGRx,width=640,height=480,framerate=20/1 ! \
    qrxpay ! udpsink host=127.0.0.1 port=$port
}
send_by_serve() {
  "$tool" serve --to "127.0.0.1:$port" --size 640x480 --frames 40 --fps 20 >/dev/null
}
# The queue: a slow machine writes pictures for longer than the socket has room.
take_by_qrxdepay() {
  timeout --signal=INT 30 gst-launch-1.0 -q udpsrc address=127.0.0.1 port=$port ! qrxdepay ! \
    queue max-size-buffers=0 max-size-bytes=0 max-size-time=0 ! videoconvert ! pngenc ! \
    multifilesink location="$1"
}
# Until nothing has been written to the file for a second, or 20 have passed.
wait_for_quiet() {
  for _ in $(seq 100); do
    [ -z "$(find . -name "$1" -newermt '-1 second')" ] && return
    sleep 0.2
  done
}
take_by_view() {
  # serve says which frame is its last; what sharpens it comes after.
  local until=(--snapshot "$1" --after 40)
  [ "$sender" = qrxpay ] || until=(--repaired "$1")
  "$tool" view --listen "127.0.0.1:$port" --wait 10 "${until[@]}"
}
for sender in qrxpay serve; do
  for receiver in qrxdepay view; do
    port=$((port + 1))
    "take_by_$receiver" "$sender-$receiver.png" >out 2>err &
    sleep 1.5
    "send_by_$sender" 2>send.err || fail "$sender: $(cat send.err)"
    sleep 0.5
    wait_for_quiet "$sender-$receiver.png"
    pkill -INT -P $! 2>/dev/null
    wait $!
    [ -s "$sender-$receiver.png" ] || fail "$sender to $receiver: no picture: $(cat err)"
  done
  # Both saw the last frame, and nothing was lost on the way.
  expect 0 "$tool" psnr "$sender-qrxdepay.png" "$sender-view.png" --json
  grep -q '"identical":true\|"psnr":null\|inf' out || fail "$sender: two receivers, two pictures: $(cat out)"
done

# A window shows the frame that the others saw last.
if command -v Xvfb >/dev/null && command -v import >/dev/null; then
  expect 0 "$(dirname "$script")/window.sh" "$tool" "$plugin" window.png 0% 40
  expect 0 "$tool" psnr window.png serve-view.png --json
  grep -q '"identical":true' out || fail "the window shows something else: $(cat out)"
else
  echo "not tried: a window, as xvfb and imagemagick are not there"
fi

# The blocks of the guide, as they stand.
block=0
while IFS= read -r line; do
  case $line in
    '```sh') block=$((block + 1)); : >"block$block.sh"; inside=1 ;;
    '```') inside=0 ;;
    *) [ "${inside:-0}" -eq 0 ] || echo "$line" >>"block$block.sh" ;;
  esac
done <"$docs/sessions.md"
[ $block -ge 2 ] || fail "no blocks in sessions.md"
for n in $(seq $block); do
  if grep -q qrx-jpeg-web "block$n.sh" && ! command -v qrx-jpeg-web >/dev/null; then
    echo "not tried: block $n, as qrx-jpeg-web is not built"
    continue
  fi
  rm -f last.png
  timeout 60 bash -m "block$n.sh" >out 2>err
  [ -s last.png ] || fail "block $n of sessions.md leaves no picture: $(cat err)"
  expect 0 "$tool" psnr last.png last.png --json  # a whole file
done

finish
