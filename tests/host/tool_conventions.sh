#!/usr/bin/env bash
# Streams, exit codes and output files of the command line.
# shellcheck source=tests/host/tool_common.sh
source "$(dirname "${BASH_SOURCE[0]}")/tool_common.sh"

# Usage.
expect 0 "$tool" --help
grep -q 'Exit codes: 0 done, 1 failed, 2 damaged' out || fail "--help does not tell the exit codes"
expect 64 "$tool"
expect 64 "$tool" paint
expect 64 "$tool" scene --size 0x5 frames
expect 64 "$tool" scene --size 12 frames
expect 64 "$tool" encode only-one-argument
expect 64 "$tool" encode a.png b.jpg --quality 98
expect 64 "$tool" encode a.png b.jpg --sampling 411
expect 64 "$tool" encode a.png b.jpg --slot 7
expect 64 "$tool" encode a.png - --json
expect 64 "$tool" decode a.jpg picture.gif
[ -s out ] && fail "wrong usage writes to standard output"

# Scenes: the same frame twice is the same file, its neighbour is not.
expect 0 "$tool" scene --frames 2 --first 4 --size 90x60 a
[ "$(cat out)" = "$(printf 'a/frame00004.png\na/frame00005.png')" ] || fail "scene's list of files"
[ -s err ] && fail "scene writes messages"
expect 0 "$tool" scene --first 5 --size 90x60 b
cmp -s a/frame00005.png b/frame00005.png || fail "a frame depends on its history"
cmp -s a/frame00004.png a/frame00005.png && fail "frames do not differ"

# Failures leave no file and say why.
expect 1 "$tool" encode missing.png x.jpg
grep -q 'missing.png: No such file' err || fail "no reason for a missing file"
expect 1 "$tool" encode "$script" x.jpg
expect 1 "$tool" encode a/frame00004.png x.jpg --library ./missing.so
expect 1 "$tool" encode a/frame00004.png no/such/folder/x.jpg
head -c 500 a/frame00004.png >cut.png
expect 1 "$tool" encode cut.png x.jpg
printf 'P6 4 4 255 abc' >cut.ppm
expect 1 "$tool" encode cut.ppm x.jpg
printf 'P6 60000 60000 255\n' >huge.ppm
expect 1 "$tool" encode huge.ppm x.jpg
[ "$(ls)" = "$(printf 'a\nb\ncut.png\ncut.ppm\nerr\nhuge.ppm\nout')" ] || fail "left behind: $(ls)"

# Streams give the same bytes as files, and the report moves to standard error.
frame=a/frame00004.png
expect 0 "$tool" encode $frame file.jpg
"$tool" encode - - <$frame >stream.jpg 2>err || fail "encode from and to streams"
grep -q 'bits per pixel' err || fail "no report on standard error"
cmp -s file.jpg stream.jpg || fail "a stream gives another image than a file"
expect 0 "$tool" encode --format png - file2.jpg <$frame
expect 1 "$tool" encode --format ppm - file2.jpg <$frame
if [ -c /dev/full ]; then
  "$tool" encode $frame - >/dev/full 2>err && fail "a full disk is not noticed"
  "$tool" info file.jpg >/dev/full 2>err && fail "a report that is not written counts as done"
fi

# The output replaces what was there, through a link too, with an ordinary file's mode.
umask 022
echo old >target.jpg
ln -s target.jpg link.jpg
expect 0 "$tool" encode $frame link.jpg
[ -L link.jpg ] || fail "the link was replaced"
cmp -s target.jpg file.jpg || fail "the link's target was not written"
[ "$(stat -c %a target.jpg)" = 644 ] || fail "mode $(stat -c %a target.jpg)"
expect 0 "$tool" encode $frame /dev/null
[ -c /dev/null ] || fail "/dev/null was replaced"

# PSNR.
expect 0 "$tool" psnr $frame $frame --json
[ "$(cat out)" = '{"psnr_db":null,"largest_difference":0,"identical":true}' ] || fail "psnr --json"
printf 'P2\n2 1\n255\n10 20\n' >one.pgm
printf 'P3\n2 1\n255\n10 10 10 20 20 24\n' >two.ppm
expect 0 "$tool" psnr one.pgm two.ppm # one sample of six differs by 4: 10 log10(65025 * 6 / 16)
[ "$(cat out)" = 43.87 ] || fail "psnr $(cat out)"
expect 1 "$tool" psnr one.pgm $frame

finish
