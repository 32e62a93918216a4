#!/usr/bin/env bash
# `encode`, `decode`, `info`, `packets` and `inspect`, held against an independent JPEG codec.
# shellcheck source=tests/host/tool_common.sh
source "$(dirname "${BASH_SOURCE[0]}")/tool_common.sh"
command -v cjpeg >/dev/null && command -v djpeg >/dev/null || exit 77

expect 0 "$tool" scene --size 333x251 --format ppm .
mv frame00000.ppm picture.ppm

alike() { # LEAST-DB PICTURE PICTURE
  expect 0 "$tool" psnr "$2" "$3"
  awk -v a="$(cat out)" -v b="$1" 'BEGIN { exit !(a == "inf" || a >= b) }' || fail "$*: $(cat out) dB"
}
# The inverse transforms differ in rounding, and below full resolution the up-sampling filters do.
as_the_reader() { # LEAST-DB NAME: the two readers' pictures of NAME.jpg
  djpeg -ppm "$2.jpg" >reader.ppm 2>warnings || fail "$2: not readable"
  [ -s warnings ] && fail "$2: $(cat warnings)"
  expect 0 "$tool" decode "$2.jpg" "$2.ppm" --json
  [ "$(json damaged <out)$(cat err)" = false ] || fail "$2: reported as damaged"
  alike "$1" reader.ppm "$2.ppm"
}

# Ours, for both readers; slots that do not run here are refused.
for sampling in 444 422 420; do
  for mode in baseline progressive; do
    name=$mode-$sampling
    expect 0 "$tool" encode picture.ppm $name.jpg --sampling $sampling --mode $mode --json
    [ "$(json bytes <out)" = "$(stat -c %s $name.jpg)" ] || fail "$name: bytes in the report"
    as_the_reader 50 $name
    alike 30 picture.ppm reader.ppm
    expect 0 "$tool" info $name.jpg --json
    [ "$(json mode <out)$(json sampling <out | tr -d :)" = "$mode$sampling" ] || fail "$name: info"
    for slot in 0 1 2 3 4 5 6; do
      if "$tool" encode picture.ppm slot.jpg --sampling $sampling --mode $mode --slot $slot \
        >/dev/null 2>err; then
        cmp -s slot.jpg $name.jpg || fail "$name: slot $slot gives other bytes"
        expect 0 "$tool" decode $name.jpg slot.ppm --slot $slot
        cmp -s slot.ppm $name.ppm || fail "$name: slot $slot gives other pixels"
      else
        grep -q 'needs a processor with' err || fail "$name: slot $slot: $(cat err)"
      fi
    done
  done
done

# Theirs.
while read -r name least options; do
  # shellcheck disable=SC2086
  cjpeg $options picture.ppm >"$name.jpg"
  as_the_reader "$least" "$name"
done <<'WRITER'
444 55 -sample 1x1
422 50 -sample 2x1 -optimize
420 50 -sample 2x2 -restart 1
gray 55 -grayscale
fine 55 -sample 1x1 -quality 100 -restart 7B
WRITER

# A cut image gives its upper part and exit code 2, one without a scan no picture and 1.
head -c $(($(stat -c %s 444.jpg) / 2)) 444.jpg >cut.jpg
expect 2 "$tool" info cut.jpg
expect 2 "$tool" decode cut.jpg cut.ppm
grep -q 'damaged: ends without EOI' err || fail "no word about the missing end"
upper() { tail -c +16 "$1" | head -c $((333 * 3 * 60)); }
cmp -s <(upper cut.ppm) <(upper 444.ppm) || fail "the upper part of a cut image differs"
head -c 300 444.jpg >head.jpg
expect 1 "$tool" decode head.jpg none.ppm
[ -e none.ppm ] && fail "a picture of nothing"

# Lossless is gray only, and comes back bit for bit.
djpeg -grayscale 444.jpg >gray.pgm
expect 0 "$tool" encode gray.pgm lossless.jpg --mode lossless
expect 0 "$tool" decode lossless.jpg back.ppm
alike inf gray.pgm back.ppm
expect 1 "$tool" encode picture.ppm none.jpg --mode lossless

# 42 * 32 MCUs in packets, of which none but the last is short; a cut file is damaged.
expect 0 "$tool" packets picture.ppm all.qpk --sampling 444 --index 9
expect 0 "$tool" inspect all.qpk
# Columns: offset bytes x y width height MCUs coverage last.
tail -n +2 out | awk '
  { mcus += $7; coverage += $8; wrong += last || ($9 != "last" && $2 < 1253); last = $9 == "last" }
  END { exit wrong || !last || mcus != 42 * 32 || coverage < 99.9 || coverage > 100.1 }' ||
  fail "packets: $(cat out)"
head -c -1 all.qpk >cut.qpk
expect 2 "$tool" inspect cut.qpk --json
expect 1 "$tool" inspect picture.ppm

finish
