#!/usr/bin/env bash
# `encode --mode`: progressive streams are read by an independent reader as by our own decoder, show
# more with each scan; lossless ones come back bit for bit.
# shellcheck source=tests/host/tool_common.sh
source "$(dirname "${BASH_SOURCE[0]}")/tool_common.sh"
need djpeg

expect 0 "$tool" scene --size 333x251 --format ppm .
mv frame00000.ppm picture.ppm

for sampling in 444 422 420; do
  expect 0 "$tool" encode picture.ppm "$sampling.jpg" --mode progressive --sampling "$sampling"
  djpeg -ppm "$sampling.jpg" >reader.ppm 2>warnings || fail "$sampling: not readable"
  [ -s warnings ] && fail "$sampling: $(cat warnings)"
  expect 0 "$tool" decode "$sampling.jpg" ours.ppm
  expect 0 "$tool" psnr reader.ppm ours.ppm
  within "$(cat out)" '>=' 55 || fail "$sampling: $(cat out) dB between the readers"
  expect 0 "$tool" info "$sampling.jpg"
  [ "$(grep -c 'SOS, then' out)" = 10 ] || fail "$sampling: not ten scans"
done

# A few bytes into each scan the picture is nearer than before.
last=0
while read -r offset bytes; do
  head -c $((offset + bytes + 16)) 420.jpg >part.jpg
  "$tool" decode part.jpg part.ppm >/dev/null 2>&1
  now=$("$tool" psnr picture.ppm part.ppm)
  within "$now" '>=' "$last" || fail "a scan made the picture worse: $last, then $now dB"
  last=$now
done < <("$tool" info 420.jpg | awk '$3 ~ /^SOS/ { print $1, $2 }' | sed 1d)

djpeg -grayscale 444.jpg >gray.pgm
expect 0 "$tool" encode gray.pgm lossless.jpg --mode lossless
expect 0 "$tool" decode lossless.jpg back.ppm
expect 0 "$tool" psnr gray.pgm back.ppm
[ "$(cat out)" = inf ] || fail "lossless is not: $(cat out) dB"
expect 1 "$tool" encode picture.ppm colour.jpg --mode lossless
[ -e colour.jpg ] && fail "a lossless picture with colours"
expect 64 "$tool" encode picture.ppm none.jpg --mode hierarchical

finish
