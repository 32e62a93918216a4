#!/usr/bin/env bash
# `decode` on streams of an independent writer, held against an independent reader; damaged streams
# and their exit codes.
# shellcheck source=tests/host/tool_common.sh
source "$(dirname "${BASH_SOURCE[0]}")/tool_common.sh"
need cjpeg
need djpeg

expect 0 "$tool" scene --size 333x251 --format ppm .
mv frame00000.ppm picture.ppm

# The inverse transforms differ in rounding, and below full resolution the up-sampling filters do.
against_reader() { # NAME LEAST-DB CJPEG-OPTIONS...
  local name=$1 least=$2
  shift 2
  cjpeg "$@" picture.ppm >"$name.jpg"
  djpeg -ppm "$name.jpg" >reader.ppm
  expect 0 "$tool" decode "$name.jpg" "$name.ppm" --json
  [ -s err ] && fail "$name: messages: $(cat err)"
  [ "$(json damaged <out)" = false ] || fail "$name: reported as damaged"
  expect 0 "$tool" psnr reader.ppm "$name.ppm"
  echo "$name: $(cat out) dB to the reader's picture"
  [ "$(cat out)" = inf ] || within "$(cat out)" '>=' "$least" || fail "$name: $(cat out) dB"
}
against_reader 444 55 -sample 1x1
against_reader 422 50 -sample 2x1 -optimize
against_reader 420 50 -sample 2x2 -restart 1
against_reader gray 55 -grayscale
against_reader fine 55 -sample 1x1 -quality 100 -restart 7B

# The output's forms agree, and every pixel is opaque.
expect 0 "$tool" decode 444.jpg picture.png
expect 0 "$tool" psnr 444.ppm picture.png
[ "$(cat out)" = inf ] || fail "PNG and PPM differ"
"$tool" decode - - --format ppm <444.jpg >stream.ppm 2>err || fail "decode from and to streams"
cmp -s stream.ppm 444.ppm || fail "a stream gives another picture than a file"
expect 64 "$tool" decode 444.jpg -

# All slots give the same pixels.
for slot in 0 1 2 3 4 5 6; do
  "$tool" decode 420.jpg slot.ppm --slot "$slot" >/dev/null 2>err || continue
  cmp -s slot.ppm 420.ppm || fail "slot $slot gives other pixels"
done

# A cut image gives its upper part and exit code 2, one without a scan no picture and 1.
bytes=$(stat -c %s 444.jpg)
head -c $((bytes / 2)) 444.jpg >cut.jpg
expect 2 "$tool" decode cut.jpg cut.ppm
grep -q 'damaged: ends without EOI' err || fail "no word about the missing end"
upper() { tail -c +16 "$1" | head -c $((333 * 3 * 60)); }
cmp -s <(upper cut.ppm) <(upper 444.ppm) || fail "the upper part of a cut image differs"
head -c 300 444.jpg >head.jpg
expect 1 "$tool" decode head.jpg none.ppm
[ -e none.ppm ] && fail "a picture of nothing"
expect 1 "$tool" decode picture.ppm none.ppm

finish
