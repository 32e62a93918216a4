#!/usr/bin/env bash
# `info` on streams of an independent writer, sound and damaged.
# shellcheck source=tests/host/tool_common.sh
source "$(dirname "${BASH_SOURCE[0]}")/tool_common.sh"
need cjpeg

expect 0 "$tool" scene --size 70x50 --format ppm .
mv frame00000.ppm picture.ppm

info() { # CODE FILE NAME VALUE...
  local code=$1 file=$2
  shift 2
  expect "$code" "$tool" info "$file" --json
  while [ $# -gt 0 ]; do
    [ "$(json "$1" <out)" = "$2" ] || fail "$file: $1 is $(json "$1" <out), not $2"
    shift 2
  done
}

cjpeg -sample 2x2 picture.ppm >420.jpg
cjpeg -sample 2x1 -optimize picture.ppm >422.jpg
cjpeg -sample 1x1 -progressive picture.ppm >progressive.jpg
cjpeg -grayscale picture.ppm >gray.jpg
cjpeg -sample 1x2 picture.ppm >440.jpg
cjpeg -sample 1x1 -restart 7B picture.ppm >restart.jpg
cjpeg -sample 2x2 -restart 1 picture.ppm >rows.jpg
info 0 420.jpg mode baseline sampling 4:2:0 width 70 height 50 restart_markers 0
info 0 422.jpg mode baseline sampling 4:2:2
info 0 progressive.jpg mode progressive sampling 4:4:4
info 0 gray.jpg mode baseline sampling gray
info 0 440.jpg sampling '1x2 1x1 1x1'
info 0 restart.jpg restart_interval 7 restart_markers 8 # 9 * 7 MCUs
info 0 rows.jpg restart_interval 5 restart_markers 3

# Cut anywhere, an image is damaged; bytes behind its end are not damage.
bytes=$(stat -c %s 420.jpg)
for length in 0 1 2 3 20 100 300 607 620 700 $((bytes - 2)) $((bytes - 1)); do
  head -c "$length" 420.jpg >cut.jpg
  info 2 cut.jpg
done
(cat 420.jpg && echo more) >longer.jpg
info 0 longer.jpg bytes_after_end 5
# A lost restart interval: the markers are out of order and too few.
offset=$(LC_ALL=C grep -obUaP '\xFF\xD2' restart.jpg | head -n 1 | cut -d : -f 1)
next=$(LC_ALL=C grep -obUaP '\xFF\xD3' restart.jpg | head -n 1 | cut -d : -f 1)
(head -c "$offset" restart.jpg && tail -c +$((next + 1)) restart.jpg) >lost.jpg
expect 2 "$tool" info lost.jpg
grep -q 'damaged: restart markers are out of order' out || fail "order of restart markers"
grep -q 'damaged: 7 restart markers where there should be 8' out || fail "count of restart markers"
expect 2 "$tool" info "$script"

finish
