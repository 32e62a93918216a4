#!/usr/bin/env bash
# Our packets beside RTP/JPEG and whole JPEGs over a network that loses datagrams: the same frames,
# the same losses. Leaves every figure in build/loss/loss.json, draws docs/loss.svg and fills the
# figures in docs/loss.md and README.md.
#
#   scripts/loss_chart.sh [FRAMES]     60 by default; with another number only build/loss/loss.svg
#
# RTP/JPEG is GStreamer's own payloader and depayloader, of Debian's packages.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/packages.sh
source "$root/scripts/packages.sh"
cd "$root"
frames=${1:-60}

need_build_packages
need_packages gstreamer1.0-plugins-base gstreamer1.0-plugins-good gir1.2-gst-plugins-base-1.0 \
  python3-gst-1.0 python3-numpy

note "building (build/release)"
cmake --preset release >/dev/null
cmake --build --preset release --parallel "$(nproc)" --target qrx-jpeg loss_pattern

work=$root/build/loss
tool=$root/build/release/qrx-jpeg
rm -rf "$work"
mkdir -p "$work"
note "drawing the frames"
"$tool" scene --frames $((frames + 1)) --size 1280x720 --format ppm "$work/frames" >/dev/null
for sampling in 420 422; do # a restart marker behind each row of 80 MCUs
  "$tool" encode "$work"/frames/*.ppm -o "$work/restarts/$sampling" --sampling $sampling -q 80 \
    --restart 80 --quiet
done

note "measuring"
# The depayloader complains of a buffer where a frame breaks off; the result is as it should be.
QRX_JPEG_LIBRARY=$root/build/release/libqrx_jpeg.so PYTHONPATH=$root/python \
  /usr/bin/python3 scripts/loss_roads.py "$work/frames" "$work/restarts" \
  "$root/build/release/bench/loss_pattern" "$work/loss.json" \
  2> >(grep -v 'gst_buffer_unmap\|^$' >&2)
note "figures: build/loss/loss.json"
if [ "$frames" -eq 60 ]; then
  scripts/loss_report.py "$work/loss.json"
else
  scripts/loss_report.py "$work/loss.json" "$work/loss.svg"
fi
