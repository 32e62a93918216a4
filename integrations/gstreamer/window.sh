#!/usr/bin/env bash
# What the window of a pipeline shows after three seconds of the sample host's frames, or after the
# last of FRAMES, on a screen that is not there (Debian's xvfb, imagemagick and gstreamer1.0-x):
#
#   window.sh QRX-JPEG FOLDER-OF-THE-PLUGIN PICTURE [LOSS [FRAMES]]
set -euo pipefail

tool=$(realpath "$1") picture=$3 loss=${4:-5%} frames=${5:-}
GST_PLUGIN_PATH=$(realpath "$2")
work=$(mktemp -d)
export GST_PLUGIN_PATH GST_REGISTRY=$work/registry.bin
from=127.0.0.1:$((20000 + $$ % 20000)) to=127.0.0.1:$((20001 + $$ % 20000))

# As large as the window, which has no frame, since there is no window manager.
mkfifo "$work/display"
Xvfb -displayfd 3 -screen 0 640x480x24 -nolisten tcp 3>"$work/display" 2>/dev/null &
screen=$!
# The screen last: its clients complain when it goes.
finish() {
  # shellcheck disable=SC2046
  kill $(jobs -pr | grep -vx $screen) 2>/dev/null
  sleep 0.2
  kill $screen
  wait
  rm -rf "$work"
}
trap 'set +e; finish' EXIT
read -r display <"$work/display"
export DISPLAY=:$display

gst-launch-1.0 -q udpsrc uri=udp://$to ! qrxdepay ! videoconvert ! ximagesink sync=false &
"$tool" relay --listen $from --to $to --loss "$loss" --seed 7 &>"$work/relay" &
sleep 2
"$tool" serve --to $from --size 640x480 --fps 30 --frames "${frames:-300}" &>"$work/serve" &
[ -z "$frames" ] || wait $!
sleep $((frames ? 1 : 3))
import -silent -window root "$picture"
