#!/usr/bin/env bash
# The demo, small: its page has its pictures, and no two neighbours are alike; what goes wrong is told.
# shellcheck source=tests/host/tool_common.sh
source "$(dirname "${BASH_SOURCE[0]}")/tool_common.sh"
command -v djpeg >/dev/null || exit 77

demo=$(dirname "$script")/../../scripts/demo.sh
export DEMO_FRAMES=1 DEMO_SIZE=640x360 DEMO_TOOL=$tool DEMO_FOLDER=$work/good
expect 0 bash "$demo"
head -n 1 out | grep -q seconds || fail "the first line: $(head -n 1 out)"
grep -qF 'all checks passed' out || fail "the end: $(cat out)"
awk '$1 == "20%" { exit !($5 + 0 > 60 && $5 + 0 < 100) }' out || fail "up to date: $(cat out)"

# Each figure as its file and the part of it that is shown.
sed -nE 's/.*<a href="([^"]*)"><svg viewBox="([^"]*)".*/\1 \2/p' good/index.html >figures
[ "$(wc -l <figures)" -ge 18 ] || fail "figures: $(cat figures)"
last='' last_part=''
while read -r file part; do
  [ -s "good/$file" ] || fail "no picture: $file"
  if [ "$part" = "$last_part" ] && cmp -s "good/$file" "good/$last"; then fail "alike: $last $file"; fi
  last=$file last_part=$part
done <figures
grep -oE '(href|src)="[^"]*"' good/index.html | cut -d'"' -f2 | while read -r file; do
  [ -s "good/$file" ] || echo "$file"
done >missing
[ -s missing ] && fail "not there: $(cat missing)"

# What is typed to see it live are commands that the tool takes.
sed -nE "s|^  $tool ([a-z]+ .*[a-z0-9]) ?&?$|\1|p" out >typed
[ "$(wc -l <typed)" = 3 ] || fail "commands: $(cat typed)"
while read -r words; do
  # shellcheck disable=SC2086
  expect 0 "$tool" $words --help
done <typed

# With a reader that complains of one JPEG and sees another one differently, and a live window that is
# not repaired.
mkdir faulty
cat >faulty/djpeg <<'SH'
case $2 in
  *-444.jpg) echo "strange" >&2 ;;
  *-422.jpg) set -- -grayscale "$@" ;;
esac
exec "$DJPEG" "$@"
SH
cat >faulty/qrx-jpeg <<'SH'
code=0
"$REAL" "$@" || code=$?
if [ "$1" = view ]; then cp live-lossy-during.png live-lossy-after.png; fi
exit $code
SH
sed -i '1i #!/bin/sh' faulty/*
chmod +x faulty/*
DJPEG=$(command -v djpeg) REAL=$tool PATH=$work/faulty:$PATH DEMO_TOOL=$work/faulty/qrx-jpeg \
  DEMO_FOLDER=$work/bad expect 1 bash "$demo"
for fault in '-444: the independent reader does not take it' '-422: our picture is not as good' \
  'the live window was not repaired' '3 checks failed'; do
  grep -qF -- "$fault" err || fail "not told: $fault: $(cat err)"
done

finish
