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
encode a.png b.jpg --quality 101
encode a.png b.jpg c.jpg
encode a.png b.png
encode a.png b.jpg --quiet -v
encode a.png b.png -o -
encode x/a.png y/a.ppm -o folder
encode a.png b.jpg --sampling 411
encode a.png b.jpg --slot 7
encode a.png b.jpg --mode hierarchical
decode a.jpg picture.gif
psnr a.png b.png c.png
view --headless --snapshot -
view --connect nowhere:port --headless
relay --loss 120%
serve --tile 20
bench
bench a.png --threads 0
USAGE

# What is meant and what runs here.
while IFS='|' read -r arguments text; do
  # shellcheck disable=SC2086
  "$tool" $arguments >out 2>&1
  grep -qF -- "$text" out || fail "$arguments: $(cat out)"
done <<'WORDS'
encdoe|there is no such command: did you mean encode?
encode a.png b.jpg --qaulity 3|did you mean --quality?
decode -quality 80 a.jpg b.png|there is no option -quality: see qrx-jpeg help decode
encode -quality 80 a.png b.jpg|did you mean --quality?
encode a.png|no output is given
encode|encode: no input is given: see
psnr a.png|psnr: no picture is given: see
relay here|relay: here is one argument too many: see
-q 5 encode a.png b.jpg|-q: options follow their command: put it behind encode
encode --version|qrx-jpeg 1.
relay -V|qrx-jpeg 1.
encode a.png b.jpg --sampling 411|: 411 is none of 420, 422, 444: see
encode a.png b.jpg --mode jpeg|none of baseline, lossless, progressive: see
help relay|Usage: qrx-jpeg relay
help|Usage: qrx-jpeg [OPTIONS] SUBCOMMAND
help rely|did you mean relay?
encode a.png b.jpg -q|encode: --quality needs a value: see
encode a.png b.png -o c.jpg|c.jpg: several inputs need a folder, and this is a file's name: give -o
encode --jsn --json|{"error":"encode: there is no option --jsn: did you mean --json?","exit_code":64}
rely --json|{"error":"rely: there is no such command: did you mean relay?","exit_code":64}
encode a.png - --json|{"error":"--json and the image cannot both go to standard output","exit_code":64}
-V|qrx-jpeg 1.
--version|qrx-jpeg 1.
version -h|Usage: qrx-jpeg version
WORDS
expect 0 "$tool" version --json --slot 1
[ "$(json version <out)$(json abi <out)$(json slot <out)" = "$("$tool" -V | cut -d' ' -f2)11" ] ||
  fail "version: $(cat out)"
grep -q "\"library\":\"/.*libqrx_jpeg.so.*\"build\":\".*compiler" out || fail "version: $(cat out)"

# The man page, the completion and the guide are those of this tool.
docs=$(dirname "$script")/../../docs
"$tool" help --man | cmp -s - "$docs/qrx-jpeg.1" || fail "qrx-jpeg help --man >docs/qrx-jpeg.1"
for shell in bash zsh fish; do
  "$tool" help --completion $shell | cmp -s - "$docs/qrx-jpeg.$shell" ||
    fail "qrx-jpeg help --completion $shell >docs/qrx-jpeg.$shell"
done
for command in $("$tool" --help | sed -nE '/^Subcommands/,/^$/s/^  ([a-z]+) .*/\1/p'); do
  grep -q "^ *$command) words=" "$docs/qrx-jpeg.bash" || fail "completion lacks $command"
  for option in $("$tool" help "$command" | grep -oE '^  (-[a-z],)?--[a-z-]+' | grep -oE -- '--.*'); do
    grep -qF -- "\`$option" "$docs/command_line.md" || fail "the guide lacks $option of $command"
    grep -qF -- "${option//-/\\-}\fR" "$docs/qrx-jpeg.1" || fail "the man page lacks $option of $command"
    grep -qE -- "'$option:" "$docs/qrx-jpeg.zsh" || fail "completion for zsh lacks $option"
    grep -qE -- "_from $command'.* -l ${option#--} " "$docs/qrx-jpeg.fish" ||
      fail "completion for fish lacks $option of $command"
  done
done

# Completions in their own shells; zsh and fish where they are installed. What zsh shows on a
# terminal stands for itself here: the words that begin as the last one does.
# shellcheck source=docs/qrx-jpeg.bash
source "$docs/qrx-jpeg.bash"
in_bash() {
  COMP_WORDS=(qrx-jpeg "$@") COMP_CWORD=$#
  _qrx_jpeg
  echo "${COMPREPLY[*]}"
}
cat >complete.zsh <<'ZSH'
_describe() { [[ $1 == -o ]] && shift; print -rl -- "${(@P)2%%:*}" | grep -- "^$words[CURRENT]" }
_files() { print files }
script=$1
shift
words=(qrx-jpeg "$@") CURRENT=$(($# + 1))
in_function() { source $script }
in_function
ZSH
in_zsh() { zsh -f complete.zsh "$docs/qrx-jpeg.zsh" "$@"; }
in_fish() { fish -c "source $docs/qrx-jpeg.fish; complete -C 'qrx-jpeg $*'" | cut -f1; }
for shell in bash zsh fish; do
  command -v $shell >/dev/null || continue
  while read -r wanted words; do
    # shellcheck disable=SC2086
    got=$(in_$shell $words 2>&1)
    [ "$got" = "$wanted" ] || fail "completion: $shell: $words: $got"
  done <<'COMPLETIONS'
--quality encode --qua
--no-orient decode --no-o
encode enc
relay help re
COMPLETIONS
done
rm complete.zsh

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

# What the system refuses, and what comes in between: words, a code, and nothing half-written.
"$tool" scene --size 1500x1000 large >/dev/null 2>&1
large=large/frame00000.png
listing() { find . -newer listing -type f ! -name out ! -name err ! -name code; }
touch listing && sleep 0.02
while IFS='|' read -r wanted text command; do
  code=0
  bash -c "$command" "$tool" >out 2>err || code=$?
  [ $code = "$wanted" ] || fail "exit code $code instead of $wanted: $command: $(cat err)"
  [ -z "$text" ] || grep -qE -- "$text" err || fail "no word of '$text': $command: $(cat err)"
  [ -z "$(listing)" ] || fail "left behind: $command: $(listing)"
done <<REFUSALS
1|standard stream: No space left.*: make room|"\$0" encode $large - >/dev/full
1|cannot write to standard output|"\$0" info file.jpg >/dev/full
1|x.jpg: File too large: make room|ulimit -f 8; "\$0" encode $large x.jpg
1|/proc/x.jpg: .*: check the|"\$0" encode $large /proc/x.jpg
1|standard stream: Broken pipe: the reader has gone|( "\$0" encode $large -; echo \$? >code ) | true; exit \$(cat code)
1|growing.raw: changed while it was read|head -c 30000000 /dev/zero >growing.raw; yes >>growing.raw & "\$0" encode growing.raw x.jpg --size 9x9 2>err2; code=\$?; kill %1; cat err2 >&2; rm growing.raw err2; exit \$code
130||timeout --preserve-status -s INT 0.3 "\$0" encode $large x.jpg --repeat 100000
143||timeout --preserve-status -s TERM 0.3 "\$0" encode $large $frame -o y/ --jobs 1 --repeat 100000
REFUSALS

# The output replaces what was there, through a link too, with an ordinary file's mode.
umask 022
echo old >target.jpg
ln -s target.jpg link.jpg
expect 0 "$tool" encode $frame link.jpg
[ -L link.jpg ] || fail "the link was replaced"
cmp -s target.jpg file.jpg || fail "the link's target was not written"
[ "$(stat -c %a target.jpg)" = 644 ] || fail "mode $(stat -c %a target.jpg)"

# Several files: a folder, in processes of their own, results in order, one failure of three.
mkdir many folder
cp $frame many/a.png
cp cut.png many/b.png
cp b/frame00005.png many/c.png
expect 2 "$tool" encode many/*.png -o folder --jobs 2 --json
[ "$(ls folder)" = "$(printf 'a.jpg\nc.jpg')" ] || fail "files of a folder: $(ls folder)"
grep -qE '^\{"files":\[\{"output":"folder/a.jpg".*\{"error":"many/b.png: .*"output":"folder/c.jpg".*\],"failed":1\}$' out ||
  fail "files of a folder: $(cat out)"
cmp -s folder/a.jpg file.jpg || fail "a file of several is another image"
expect 64 "$tool" encode many/a.png a/../many/a.png -o folder # one output for two
expect 0 "$tool" decode folder/*.jpg -o decoded/ --quiet
[ "$(ls decoded)$(cat out err)" = "$(printf 'a.png\nc.png')" ] || fail "decoded: $(ls decoded; cat out err)"

# No input is overwritten, whatever its name; nor what is to be kept.
cp file.jpg kept.jpg
ln kept.jpg other.jpg
expect 64 "$tool" decode kept.jpg other.jpg --format ppm --force
expect 1 "$tool" encode $frame kept.jpg --no-clobber --quality 1
cmp -s file.jpg kept.jpg || fail "overwritten"
expect 0 "$tool" encode $frame new.jpg --no-clobber
cmp -s file.jpg new.jpg || fail "another image with --no-clobber"
expect 0 "$tool" encode $frame forced.png --force
cmp -s file.jpg forced.png || fail "--force"

# Notes, and the lack of them.
expect 0 "$tool" encode $frame x.jpg -q 100 --json
[ "$(json quality <out)$(grep -c 'note: quality 100 becomes 97' err)" = 971 ] || fail "quality 100"
while read -r command; do
  # shellcheck disable=SC2086
  ZMT_SUBSAMPLING=3 "$tool" $command >out 2>err
  grep -q 'note: ZMT_SUBSAMPLING=3' err || fail "ZMT_SUBSAMPLING: $command"
done <<SAMPLING
encode $frame x.jpg
packets $frame x.qpk
bench $frame --runs 1
serve --listen :0 --size 90x60 --wait 0.1
SAMPLING
expect 0 "$tool" encode $frame x.jpg --quality 99 --quiet
[ -s out ] || [ -s err ] && fail "not quiet: $(cat out err)"
expect 0 "$tool" encode $frame x.jpg -v
grep -q 'slot' err || fail "not verbose"

# Progress and results do not share a line, and a closed pipe is told.
if command -v script >/dev/null; then
  script -qec "'$tool' scene --size 2500x1600 --frames 12 slow" /dev/null >terminal
  grep -q 'frame [0-9]* of 12' terminal || fail "no progress: $(cat terminal)"
  [ "$(sed 's/.*\x1b\[K//' terminal | grep -c '^slow/frame000[01][0-9].png.$')" = 12 ] ||
    fail "progress and results: $(cat -v terminal)"
  rm -r slow
  # One long file: how much of it is done.
  script -qec "'$tool' encode $frame x.jpg --repeat 100000" /dev/null >terminal
  grep -aqE $'\r\033\\[K'"$frame"', [0-9.]+ of 540\.0 Mpixel, [1-9][0-9]* s' terminal ||
    fail "no progress of one file: $(cat -v terminal)"
  [ "$(sed 's/.*\x1b\[K//' terminal | grep -c '^x.jpg: 90x60, ')" = 1 ] ||
    fail "progress and the result of one file: $(cat -v terminal)"
fi

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
expect 0 "$tool" psnr one.pgm two.ppm --json --map map.ppm
grep -q '"differing":50.000,"worst_x":0,"worst_y":0}' out || fail "psnr: $(cat out)"
[ "$(head -n 1 map.ppm)" = P6 ] || fail "no map"
expect 64 "$tool" psnr one.pgm two.ppm --map two.ppm
expect 64 "$tool" psnr one.pgm two.ppm --map map
expect 64 "$tool" psnr one.pgm two.ppm --map -
expect 1 "$tool" psnr one.pgm $frame
grep -q "^qrx-jpeg: $frame: 90x60, and one.pgm is 2x1: " err || fail "psnr of two sizes: $(cat err)"

finish
