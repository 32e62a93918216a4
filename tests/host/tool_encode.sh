#!/usr/bin/env bash
# Pictures of odd and usual sizes through `encode`, read back by an independent JPEG reader.
# shellcheck source=tests/host/tool_common.sh
source "$(dirname "${BASH_SOURCE[0]}")/tool_common.sh"
need djpeg
need cjpeg

# dB that a sound JPEG of this picture has: what an independent writer reaches at the same quality
# and sampling, less what rounding may cost (most at high quality).
least_psnr() { # PICTURE SAMPLING QUALITY
  local factors=1x1
  [ "$2" = 422 ] && factors=2x1
  [ "$2" = 420 ] && factors=2x2
  cjpeg -quality "$3" -baseline -sample $factors "$1" | djpeg -ppm >peer.ppm
  "$tool" psnr "$1" peer.ppm | awk '{ print $1 - 0.6 }'
}

check() { # SIZE SAMPLING QUALITY
  local picture=$1/frame00003.ppm name=$1-$2-$3 psnr
  expect 0 "$tool" encode "$picture" "$name.jpg" --sampling "$2" --quality "$3" --json
  [ -s err ] && fail "$name: messages from encode: $(cat err)"
  [ "$(json bytes <out)" = "$(stat -c %s "$name.jpg")" ] || fail "$name: bytes in the report"
  [ "$(json sampling <out | tr -d :)" = "$2" ] || fail "$name: sampling in the report"
  expect 0 "$tool" info "$name.jpg" --json
  [ "$(json mode <out)" = baseline ] || fail "$name: not a baseline image"
  djpeg -ppm "$name.jpg" >"$name.ppm" 2>err || fail "$name: unreadable"
  [ -s err ] && fail "$name: the reader complains: $(cat err)"
  expect 0 "$tool" psnr "$picture" "$name.ppm"
  psnr=$(cat out)
  within "$psnr" '>=' "$(least_psnr "$picture" "$2" "$3")" || fail "$name: $psnr dB"
}

for size in 1x1 7x5 17x33 641x479 1920x1080; do
  expect 0 "$tool" scene --first 3 --size "$size" --format ppm "$size"
  for sampling in 444 422 420; do
    for quality in 1 50 97; do check "$size" "$sampling" "$quality"; done
  done
done

# Every slot that this processor can run gives the same bytes; the others are refused.
slots=0
for slot in 0 1 2 3 4 5 6; do
  if "$tool" encode 641x479/frame00003.ppm slot.jpg --sampling 420 --quality 50 --slot "$slot" \
    >/dev/null 2>err; then
    slots=$((slots + 1))
    cmp -s slot.jpg 641x479-420-50.jpg || fail "slot $slot gives other bytes"
  else
    grep -q 'needs a processor with' err || fail "slot $slot: $(cat err)"
  fi
done
echo "slots that run here: $slots of 7"

# The administrator's file outranks the environment: the image comes out, with a warning.
mkdir -p admin/conf
printf '[JPEG]\nsubsampling=4\n' >admin/conf/qrx.conf.admin
QRX_ROOT=$work/admin expect 0 "$tool" encode 7x5/frame00003.ppm admin.jpg --sampling 420
grep -q 'warning: the image is 4:4:4, not 4:2:0' err || fail "no warning about the sampling"

finish
