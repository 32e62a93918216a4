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

# The short word for a mode.
expect 0 "$tool" encode picture.ppm short.jpg --sampling 422 --progressive
cmp -s short.jpg progressive-422.jpg || fail "--progressive is something else"

# Lossless is gray only, and comes back bit for bit.
djpeg -grayscale 444.jpg >gray.pgm
expect 0 "$tool" encode gray.pgm lossless.jpg --mode lossless
expect 0 "$tool" decode lossless.jpg back.ppm
alike inf gray.pgm back.ppm
expect 1 "$tool" encode picture.ppm none.jpg --mode lossless

# What is gray stays so, in every format, and colour can be taken away.
expect 0 "$tool" encode gray.pgm gray.jpg
[ "$(djpeg gray.jpg | head -c 2)" = P5 ] || fail "a gray picture becomes one in colour"
for name in back.pgm back.pnm; do
  expect 0 "$tool" decode gray.jpg $name
  [ "$(head -c 2 $name)" = P5 ] || fail "$name is not gray"
done
expect 0 "$tool" decode gray.jpg back.png
[ "$(head -c 26 back.png | tail -c 1 | od -An -tu1 | tr -d ' ')" = 0 ] || fail "no gray PNG"
alike inf back.png back.pgm
cjpeg -grayscale -quality 80 picture.ppm >reader.jpg
expect 0 "$tool" encode picture.ppm back.jpg --gray
alike 40 reader.jpg back.jpg
expect 0 "$tool" encode picture.ppm lossless.jpg --mode lossless --gray --json
[ "$(json sampling <out)$(json quality <out)" = gray ] || fail "lossless: $(cat out)"

# Restart markers change no pixel; a size that is asked for is kept, and not undercut much.
for mode in baseline progressive; do
  expect 0 "$tool" encode picture.ppm restart.jpg --restart 5 --sampling 420 --mode $mode
  as_the_reader 50 restart
  alike inf restart.jpg $mode-420.jpg
  expect 0 "$tool" info restart.jpg --json
  [ "$(json restart_interval <out)" = 5 ] || fail "$mode: restart interval"
  expect 0 "$tool" encode picture.ppm small.jpg --target-size 15k --mode $mode --json
  [ "$(stat -c %s small.jpg)" -le 15000 ] || fail "$mode: target size"
  expect 0 "$tool" encode picture.ppm next.jpg -q $(($(json quality <out) + 1)) --mode $mode
  [ "$(stat -c %s next.jpg)" -gt 15000 ] || fail "$mode: a better quality fits too"
done
expect 1 "$tool" encode picture.ppm none.jpg --target-size 100
grep -q '^qrx-jpeg: picture.ppm: more than 100 bytes even at quality 1' err || fail "$(cat err)"

# Inputs of every kind are the same picture.
expect 0 "$tool" encode picture.ppm wanted.jpg
tail -c $((333 * 251 * 3)) picture.ppm >picture.raw
{
  printf 'P7\nWIDTH 333\nHEIGHT 251\nDEPTH 3\nMAXVAL 255\nTUPLTYPE RGB\nENDHDR\n'
  cat picture.raw
} >picture.pam
for input in picture.pam 'picture.raw --size 333x251' 'picture.raw --size 333x251 --pixels rgb'; do
  # shellcheck disable=SC2086
  expect 0 "$tool" encode $input same.jpg
  cmp -s wanted.jpg same.jpg || fail "$input: another picture"
done
expect 1 "$tool" encode picture.raw none.jpg --size 333x250
printf 'P1 10 2 1010101010\n0000000000' >plain.pbm
printf 'P4 10 2 \252\200\000\000' >raw.pbm
printf 'P2 10 2 1 0 1 0 1 0 1 0 1 0 1 1 1 1 1 1 1 1 1 1 1' >plain.pgm
alike inf plain.pbm raw.pbm
alike inf plain.pbm plain.pgm
alike inf 444.jpg 444.ppm

# Orientation: what Exif data tells is what jpegtran does.
bytes() { printf '%b' "$(sed 's/ //g; s/../\\x&/g' <<<"$1")"; }
with_segment() { # NAME BYTES: NAME with them behind SOI
  head -c 2 "$1" && bytes "$2" && tail -c +3 "$1"
}
exif() { # ORIENTATION
  echo "ffe10022 457869660000 4d4d002a00000008 0001 0112 0003 00000001 000$1 0000 00000000"
}
"$tool" scene --size 160x96 --format ppm . >/dev/null
cjpeg -sample 1x1 frame00000.ppm >flat.jpg
orientation=1
for operation in '-flip horizontal' '-rotate 180' '-flip vertical' -transpose '-rotate 90' \
  -transverse '-rotate 270'; do
  orientation=$((orientation + 1))
  # shellcheck disable=SC2086
  jpegtran $operation flat.jpg >turned.jpg
  with_segment flat.jpg "$(exif $orientation)" >exif.jpg
  alike 50 exif.jpg turned.jpg
done
expect 0 "$tool" decode exif.jpg stored.ppm --no-orient
alike inf stored.ppm flat.jpg
expect 0 "$tool" decode exif.jpg exif.png
alike inf exif.png exif.jpg
expect 0 "$tool" encode exif.png copy.jpg
expect 0 "$tool" info copy.jpg --json
[ "$(json orientation <out)$(json exif_bytes <out)" = 126 ] || fail "copied Exif: $(cat out)"
expect 0 "$tool" encode exif.jpg bare.jpg --metadata none
expect 0 "$tool" info bare.jpg
grep -qE 'Exif|comment|COM' out && fail "metadata left: $(cat out)"
expect 0 "$tool" decode bare.jpg bare.ppm
cmp -s bare.ppm <("$tool" decode copy.jpg - --format ppm 2>err) || fail "metadata changed pixels"

# A colour profile is shown, carried and left out as asked.
icc="ffe20090 4943435f50524f46494c4500 0101 00000080$(printf '00%.0s' {1..12})52474220"
icc+=$(printf '00%.0s' {1..108})
with_segment exif.jpg "$icc" >both.jpg
while read -r choice exif profile; do
  expect 0 "$tool" encode both.jpg copy.jpg --metadata "$choice"
  expect 0 "$tool" info copy.jpg --json
  [ "$(json exif_bytes <out) $(json icc_bytes <out)" = "$exif $profile" ] ||
    fail "--metadata $choice: $(cat out)"
done <<'METADATA'
all 26 128
exif 26 0
icc 0 128
none 0 0
METADATA


# One that cannot be carried is told of: a part is missing, libpng does not take it, either way; it is
# for other colours, or not asked for.
with_segment flat.jpg "${icc/0101 /0103 }" >part.jpg
with_segment flat.jpg "${icc/52474220/47524159}" >other.jpg
expect 0 "$tool" decode exif.jpg plain.png --metadata none
{
  head -c 33 plain.png
  bytes '00000009 69434350 490000010203040506 00000000'
  tail -c +34 plain.png
} >profile.png
while IFS='|' read -r arguments text; do
  # shellcheck disable=SC2086
  expect 0 "$tool" $arguments
  input=$(cut -d' ' -f2 <<<"$arguments")
  grep -qE "^qrx-jpeg: note: $input: the colour profile is $text" err || fail "$input: $(cat err)"
  # shellcheck disable=SC2086
  expect 0 "$tool" $arguments --metadata exif
  [ -s err ] && fail "$input: not asked for: $(cat err)"
done <<'PROFILES'
encode part.jpg none.jpg|broken and left out: part 2 of 3 is missing$
decode part.jpg none.png|broken and left out: part 2 of 3 is missing$
encode profile.png none.jpg|broken and left out: .
decode both.jpg none.png|broken and left out: .
encode other.jpg none.jpg|left out: it is for other colours
PROFILES
expect 0 "$tool" info part.jpg --json
[ "$(json icc_bytes <out)$(json icc_fault <out)" = '0part 2 of 3 is missing' ] || fail "$(cat out)"
expect 0 "$tool" info part.jpg
grep -q '^colour profile, broken: part 2 of 3 is missing$' out || fail "info: $(cat out)"

# Several files: a report of each in order, what fails by itself.
expect 2 "$tool" info part.jpg missing.jpg flat.jpg --json
[ "$(grep -o '"input":"[a-z.]*"' out | tr -d '\n')$(json failed <out)" = \
  '"input":"part.jpg""input":"flat.jpg"1' ] || fail "info of three: $(cat out)"
expect 0 "$tool" info part.jpg flat.jpg
[ "$(grep -c 'bytes$' out)" = 2 ] || fail "info of two: $(cat out)"

# Standard output takes the format of djpeg.
for name in 444 gray; do
  "$tool" decode $name.jpg - >stream.pnm 2>err || fail "$name to standard output: $(cat err)"
  "$tool" decode $name.jpg named.pnm >out
  cmp -s stream.pnm named.pnm || fail "$name: another picture than a file's"
done
[ "$(head -c 2 stream.pnm)" = P5 ] || fail "gray comes as $(head -c 2 stream.pnm)"

# Reasons: what a file is, or what of a JPEG is not taken.
cjpeg -sample 1x2 picture.ppm >440.jpg
cjpeg -sample 4x1 picture.ppm >411.jpg
cjpeg -arithmetic picture.ppm >arithmetic.jpg
printf '0;1;2;\n' >scans.txt
cjpeg -scans scans.txt picture.ppm >apart.jpg
printf '0: 0-0, 0, 0;\n1: 0-0, 0, 0;\n2: 0-0, 0, 0;\n0: 1-63, 0, 0;\n1: 1-63, 0, 0;\n2: 1-63, 0, 0;' >scans.txt
cjpeg -scans scans.txt picture.ppm >partial.jpg
bytes 'ffd8 ffc1000b0c0010001001011100 ffd9' >12.jpg
bytes 'ffd8 ffc0000b08ffffffff01011100 ffd9' >huge.jpg
: >empty
echo hello >text
"$tool" packets picture.ppm some.qpk >out
while IFS='|' read -r name text; do
  expect 1 "$tool" decode "$name" none.ppm --json
  grep -qE "^qrx-jpeg: $name: .*$text.*: " err || fail "$name: $(cat err)"
  grep -qE "^\{\"error\":\"$name: .*$text.*\",\"exit_code\":1\}$" out || fail "$name: $(cat out)"
done <<'REASONS'
440.jpg|4:4:0
411.jpg|4:1:1
arithmetic.jpg|arithmetic
apart.jpg|not interleaved
12.jpg|12 bits
huge.jpg|65535x65535 is too large, 4294836225 pixels, and --max-pixels allows 200000000
empty|an empty file
text|a text
exif.png|a PNG
some.qpk|a file of packets
missing|No such file
REASONS
# Limits, each by its name, before anything is decoded.
while IFS='|' read -r arguments text; do
  # shellcheck disable=SC2086
  expect 1 "$tool" $arguments
  grep -qE -- "$text" err || fail "limits: $arguments: $(cat err)"
done <<'LIMITS'
decode 444.jpg none.ppm --max-pixels 83k|333x251 is too large, 83583 pixels, and --max-pixels allows 83000:
encode exif.png none.jpg --max-pixels 15k|exif.png: 96x160 is too large, .*--max-pixels allows 15000:
encode picture.ppm none.jpg --max-memory 300Ki|too much memory, 334332 bytes, and --max-memory allows 307200:
psnr picture.raw picture.ppm --size 333x251 --max-pixels 1|--max-pixels allows 1:
decode progressive-444.jpg none.ppm --max-memory 600k|--max-memory allows 600000:
decode progressive-444.jpg none.ppm --max-scans 9|too many scans, 10 scans, and --max-scans allows 9:
unpack some.qpk none.png --max-pixels 83k|--max-pixels allows 83000:
LIMITS
expect 0 "$tool" decode progressive-444.jpg limits.ppm --max-scans 10 --max-memory 1M --max-pixels 84k
expect 64 "$tool" decode 444.jpg none.ppm --max-pixels 5T
expect 1 "$tool" inspect text
grep -q '^qrx-jpeg: text: a text, not a file of packets: ' err || fail "inspect: $(cat err)"
expect 2 "$tool" decode partial.jpg partial.ppm --json
[ "$(json damaged <out)$(grep -c 'nonsense"' out)" = true1 ] || fail "partial DC: $(cat out)"
expect 1 "$tool" decode partial.jpg partial.ppm --strict

# A baseline image that was cut is the whole one up to the row that is named, and gray below.
for name in 444 422 420 gray fine; do
  head -c $(($(stat -c %s $name.jpg) * 3 / 5)) $name.jpg >cut.jpg
  expect 2 "$tool" decode cut.jpg cut.ppm
  row=$(sed -nE 's/.*rows ([0-9]+) to 250 did not come.*/\1/p' err)
  [ "${row:-0}" -gt 40 ] || fail "$name: rows: $(cat err)"
  expect 0 "$tool" decode $name.jpg whole.ppm
  cmp -s <(tail -c +16 cut.ppm | head -c $((999 * (row - 1)))) \
    <(tail -c +16 whole.ppm | head -c $((999 * (row - 1)))) || fail "$name: what came differs"
  tail -c $((999 * (251 - row - 16))) cut.ppm | tr -d '\200' | grep -q . && fail "$name: not gray"
done

# Four components: Adobe's ink is inverted, and without its segment it is not.
tables=ffdb004300$(printf '08%.0s' {1..64})
tables+='ffc4001500 01010000000000000000000000000000 0007'
tables+='ffc4001410 01000000000000000000000000000000 00'
frame='ffc00014080008000804 011100 021100 031100 041100'
scan='ffda000e04 0100 0200 0300 0400 003f00 bfa809fafe ffd9'
for transform in 0 2; do
  bytes "ffd8 ffee000e 41646f6265 006400000000 0$transform $tables $frame $scan" >four.jpg
  as_the_reader 45 four
done
bytes "ffd8 $tables $frame $scan" >four.jpg
expect 0 "$tool" decode four.jpg four.ppm
[ "$(tail -c 3 four.ppm | od -An -tu1 | tr -s ' ')" = ' 0 0 0' ] || fail "CMYK without Adobe"

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
