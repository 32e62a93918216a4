#!/usr/bin/env bash
# Streams, exit codes and output files of the command line.
# shellcheck source=tests/host/tool_common.sh
source "$(dirname "${BASH_SOURCE[0]}")/tool_common.sh"

# Usage.
expect 0 "$tool" --help
while read -r arguments; do
  # shellcheck disable=SC2086
  expect 64 "$tool" $arguments
  [ -s out ] && fail "wrong usage writes to standard output: $arguments"
done <<'USAGE'

paint
scene --size 0x5 frames
encode only-one-argument
encode a.png b.jpg --quality 98
encode a.png b.jpg --sampling 411
encode a.png b.jpg --slot 7
encode a.png b.jpg --mode hierarchical
encode a.png - --json
decode a.jpg picture.gif
decode a.jpg -
view --connect nowhere:port --headless
relay --loss 120%
serve --tile 20
bench
bench a.png --threads 0
USAGE

# Scenes: a frame does not depend on the frames before it.
expect 0 "$tool" scene --frames 2 --first 4 --size 90x60 a
expect 0 "$tool" scene --first 5 --size 90x60 b
cmp -s a/frame00005.png b/frame00005.png || fail "a frame depends on its history"

# Failures leave no file and say why.
frame=a/frame00004.png
head -c 500 $frame >cut.png
printf 'P6 4 4 255 abc' >cut.ppm
printf 'P6 60000 60000 255\n' >huge.ppm
for input in missing.png "$script" cut.png cut.ppm huge.ppm; do
  expect 1 "$tool" encode "$input" x.jpg
  [ -s err ] || fail "no reason for $input"
done
expect 1 "$tool" encode $frame x.jpg --library ./missing.so
expect 1 "$tool" encode $frame no/such/folder/x.jpg
[ "$(ls)" = "$(printf 'a\nb\ncut.png\ncut.ppm\nerr\nhuge.ppm\nout')" ] || fail "left behind: $(ls)"

# Streams give the same bytes as files, and the report moves to standard error.
expect 0 "$tool" encode $frame file.jpg
"$tool" encode - - <$frame >stream.jpg 2>err || fail "encode from and to streams"
grep -q 'bits per pixel' err || fail "no report on standard error"
cmp -s file.jpg stream.jpg || fail "a stream gives another image than a file"
expect 1 "$tool" encode --format ppm - x.jpg <$frame
"$tool" encode $frame - >/dev/full 2>err && fail "a full disk is not noticed"

# The output replaces what was there, through a link too, with an ordinary file's mode.
umask 022
echo old >target.jpg
ln -s target.jpg link.jpg
expect 0 "$tool" encode $frame link.jpg
[ -L link.jpg ] || fail "the link was replaced"
cmp -s target.jpg file.jpg || fail "the link's target was not written"
[ "$(stat -c %a target.jpg)" = 644 ] || fail "mode $(stat -c %a target.jpg)"

# The benchmark: every road of every picture, from all threads, in the form asked for.
expect 1 "$tool" bench $frame missing.png
expect 0 "$tool" bench $frame b/frame00005.png --threads 2 --runs 2 --sampling 420 --slot 1 --json
[ "$(json slot <out)$(json threads <out)" = 12 ] || fail "bench: $(cat out)"
for key in bytes ms ms_spread mpixel_per_s core_ms_per_mpixel; do
  [ "$(grep -oE "\"$key\":[0-9]*\.?[0-9]+" out | wc -l)" = 8 ] || fail "bench: $key: $(cat out)"
done
"$tool" encode $frame x.jpg --quality 85 --sampling 420 >/dev/null || fail "encode"
grep -q "\"frame out\",\"bytes\":$(stat -c %s x.jpg)," out || fail "bench: other bytes: $(cat out)"

# One sample of six differs by 4: 10 log10(65025 * 6 / 16).
printf 'P2\n2 1\n255\n10 20\n' >one.pgm
printf 'P3\n2 1\n255\n10 10 10 20 20 24\n' >two.ppm
expect 0 "$tool" psnr one.pgm two.ppm
[ "$(cat out)" = 43.87 ] || fail "psnr $(cat out)"

finish
