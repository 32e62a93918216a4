#!/usr/bin/env bash
# Shows the codec at work, from any folder: what loss does to a picture that is sent as packets, in
# files and live, and the JPEGs with their figures, each opened by an independent reader. Leaves a
# page with all pictures, build/demo/index.html. Ends with 1 where something is not as it has to be.
#
# DEMO_FRAMES, DEMO_SIZE (as in 1280x720) and DEMO_QUALITY change what is shown. With DEMO_TOOL, a
# qrx-jpeg that is there, nothing is built; DEMO_FOLDER is a new folder for the page.
#
# As root it installs the Debian packages that are missing; otherwise it names them and stops.
set -euo pipefail

if [ -z "${DEMO_TOOL:-}" ]; then building=", after a build: a few minutes the first time"; fi
echo "Shows what lost packets do to a picture, in files and live, and checks JPEGs with another" \
  "reader: takes some 15 seconds${building:-}."

frames=${DEMO_FRAMES:-3}
size=${DEMO_SIZE:-1280x720}
quality=${DEMO_QUALITY:-85}
repeat=20  # encodings, of which the mean counts
film=12    # frames that the loss is shown on
# Of the live window: what is repaired is a tile, so that small ones come through where much is lost.
serving=(--tile 64)
bad_network=(--loss 20% --delay 60ms)

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
tool=${DEMO_TOOL:-$root/build/release/qrx-jpeg}
demo=${DEMO_FOLDER:-$root/build/demo}
page=$demo/index.html
width=${size%x*} height=${size#*x}
# shellcheck source=scripts/packages.sh
source "$root/scripts/packages.sh"
# shellcheck source=scripts/demo_page.sh
source "$root/scripts/demo_page.sh"

if [ -z "${DEMO_TOOL:-}" ]; then
  cd "$root"
  need_build_packages
  note "building (build/release)"
  cmake --preset release >/dev/null
  cmake --build --preset release --parallel "$(nproc)" --target qrx-jpeg
fi
[ -n "${DEMO_FOLDER:-}" ] || rm -rf "$demo"
mkdir "$demo"
cd "$demo"
# No setting of this machine may reach the demo.
mkdir -p empty/root empty/user
export QRX_ROOT=$demo/empty/root QRX_USER_CONFIG_DIR=$demo/empty/user
unset ZMT_SUBSAMPLING

failures=0
failed() {
  echo "FAILED: $*" >&2
  failures=$((failures + 1))
}

steps=0
SECONDS=0
step() {
  steps=$((steps + 1))
  echo
  note "$steps of 5, second $SECONDS: $*"
}

# json_number NAME: the number of that name in the JSON object on standard input.
json_number() { sed -E "s/.*\"$1\":(-?[0-9.]+).*/\\1/"; }
# A number of standard input with one digit behind the point. Not up: 99.97 is not 100.
rounded() { awk '{ printf "%.1f", int($1 * 10 + 1e-6) / 10 }'; }

# What to type to see it on a screen.
live_commands() {
  local name=$tool
  if [ -z "${DEMO_TOOL:-}" ]; then
    echo "cd $root"
    name=build/release/qrx-jpeg
  fi
  echo "$name serve ${serving[*]} &"
  echo "$name relay ${bad_network[*]} &"
  echo "$name view --connect :5601 --tint"
}

step "rendering frames of $size"
if [ "$frames" -gt "$film" ]; then film=$frames; fi
mapfile -t sources < <("$tool" scene --frames "$film" --size "$size" .)
last=${sources[film - 1]#./}
echo "$film frames of a scene: a turning ring, a window of text, stone, a plain background"

# --- Packets that are lost: the last frame, after all of them were sent once.

step "losing packets: nothing is sent again"
"$tool" packets "${sources[@]}" --join film.qpk --sampling 420 --quality "$quality" --json >film.txt
packets=$(json_number packets <film.txt) bytes=$(json_number bytes <film.txt)
cat <<TEXT
$packets packets of $((bytes / packets)) bytes on average carry the $film frames.
  lost        packets that did not come
  up to date  part of the picture that shows the latest frame; the rest an older one
  right       pixels that are exactly those of a network that loses nothing
  PSNR        likeness to the frame as it was rendered; from 35 dB on it looks the same
TEXT
printf '%-6s %14s %12s %10s %9s\n' loss lost 'up to date' right PSNR
page_begin "qrx-jpeg: what lost packets do to a picture" \
  "A window of $size, $film frames, each cut into some $((packets / film)) packets of
   $((bytes / packets)) bytes, each of which decodes alone. This is the last frame as a viewer has it when
   the network loses 0, 5 or 20% of them and nothing is sent again. <span class=old>Pink</span> is what is
   out of date: its packet was lost, and an older frame shows through. All else is exactly the frame."

# crop_at X Y: a sixth of the width and height, around the block of 64x64 at that place.
crop_at() {
  awk -v x="$1" -v y="$2" -v w="$width" -v h="$height" '
    function place(at, part, all) {
      at = int(at + 32 - part / 2)
      return at < 0 ? 0 : at + part > all ? all - part : at
    }
    BEGIN { cw = int(w / 6); ch = int(h / 6); print place(x, cw, w), place(y, ch, h), cw, ch }'
}

crops=() # of 5 and 20%
page_row
for loss in 0 5 20; do
  name=loss$loss
  lossy=(film.qpk --loss "$loss%" --seed $((loss == 20 ? 4 : 1))) # not the same place twice
  status=0
  report=$("$tool" unpack "${lossy[@]}" $name.png --json) || status=$?
  [ $status -eq $((loss > 0 ? 2 : 0)) ] || failed "unpack with $loss% loss ended with $status"
  "$tool" unpack "${lossy[@]}" $name-tint.png --tint --quiet || [ $? -eq 2 ]
  likeness=$("$tool" psnr "$last" $name.png)
  lost=$(json_number packets_lost <<<"$report")
  current=$(json_number coverage <<<"$report" | rounded)
  right=$(json_number right <<<"$report" | rounded)
  printf '%-6s %14s %12s %10s %6s dB\n' "$loss%" "$lost of $packets" "$current%" "$right%" "$likeness"
  crop=
  if [ "$loss" -gt 0 ]; then
    worst=$("$tool" psnr loss0.png $name.png --map $name-map.png --json)
    crop=$(crop_at "$(json_number worst_x <<<"$worst")" "$(json_number worst_y <<<"$worst")")
    crops+=("$crop")
  else
    "$tool" psnr "$last" $name.png --map $name-map.png >/dev/null
    [ "$right" = 100.0 ] || failed "$right% of the pixels are right without loss"
  fi
  page_figure $name-tint.png "$loss% lost" "$lost of $packets packets lost;
    $current% of the picture up to date, <strong>$right% of the pixels right</strong>" "" "$crop"
done
page_row_end

# An ordinary JPEG of that frame, with one datagram less, and which packet brings what.
"$tool" encode "$last" whole.jpg --sampling 420 --quality "$quality" --quiet
hole=$((bytes / packets))
cut=$(($(stat -c %s whole.jpg) / 3))
{
  head -c $cut whole.jpg
  tail -c +$((cut + hole + 1)) whole.jpg
} >hole.jpg
"$tool" decode hole.jpg hole.png --quiet 2>/dev/null || [ $? -eq 2 ]
"$tool" unpack film.qpk packets.png --packets --quiet
"$tool" unpack "${lossy[@]}" packets-lost.png --packets --quiet || [ $? -eq 2 ]
page_section "Why so little" "In an ordinary JPEG everything behind a gap is lost or out of place. Here each packet
  brings some blocks of 16x16 pixels, and says which: what is lost of them is lost, and nothing else."
page_row
page_figure hole.png "An ordinary JPEG, 1 datagram lost" "<strong>$hole of its $(stat -c %s whole.jpg)
  bytes</strong> are missing, a third of the way down"
page_figure packets.png "Our packets, each in its colour" \
  "of the last frame; where much is to be seen they are shorter"
page_figure packets-lost.png "20% of them lost" "gray: what did not come of the last frame; an older one stays there"
page_row_end

page_section "Up close, where it is worst" "What the yellow frames above hold, magnified. Where a packet
  was lost an older frame stays. Right: how much the two differ, from blue, hardly to be seen, to yellow."
for i in 0 1; do
  loss=$((i == 0 ? 5 : 20))
  page_row
  page_figure loss0.png "As it was sent" "to be compared with $loss% loss" "${crops[i]}"
  page_figure loss$loss.png "$loss% lost" "as it is shown, without the pink" "${crops[i]}"
  page_figure loss$loss-map.png "The difference" "gray: not by a bit" "${crops[i]}"
  page_row_end
done

page_section "What differs, all of it" "On the frame in gray, from blue, hardly to be seen, by way of red to yellow.
  Most of what is out of date looks the same, since it did not move."
page_row
page_figure loss0-map.png "0% lost" "against the frame as rendered: what JPEG at quality $quality costs"
page_figure loss5-map.png "5% lost" "against 0%: what loss costs"
page_figure loss20-map.png "20% lost" "against 0%: what loss costs"
page_row_end

# --- A live window, through a network that loses, and through one that does not for comparison.

# The port in the message "listening on ADDRESS:PORT" in file $1.
port_of() {
  local tries=100
  while ! sed -nE 's/^listening on .*:([0-9]+)$/\1/p' "$1" | grep .; do
    [ $((tries--)) -gt 0 ] || return 1
    sleep 0.1
  done
}

# An interrupted demo leaves no server or relay behind.
trap 'jobs -p | xargs --no-run-if-empty kill 2>/dev/null || true' EXIT
trap 'exit 130' INT

live() { # NAME FRAMES-PER-SECOND RELAY-OPTIONS...
  local name=live-$1 fps=$2 server relay status=0
  shift 2
  : >"$name.serve"
  : >"$name.relay"
  "$tool" serve --listen :0 --size "$size" "${serving[@]}" --frames 75 --fps "$fps" \
    --wait 20 >/dev/null 2>"$name.serve" &
  server=$!
  "$tool" relay --listen :0 --to ":$(port_of "$name.serve")" "$@" >/dev/null 2>"$name.relay" &
  relay=$!
  # Exit code 2: the picture during loss is incomplete, as it has to be.
  "$tool" view --connect ":$(port_of "$name.relay")" --snapshot "$name-during.png" --after 40 \
    --repaired "$name-after.png" --wait 10 --timeout 20 --tint --json >"$name.json" \
    2>"$name.view" || status=$?
  [ $status -ne 2 ] || status=0
  wait $server || status=$?
  kill $relay
  wait $relay || status=$?
  return $status
}

step "a live window over a network that loses 20% of the datagrams, for 3 seconds"
if live lossy 25 "${bad_network[@]}" --seed 1 && live clean 100 &&
  cmp -s live-lossy-after.png live-clean-after.png; then
  current=$(sed -nE 's/.*during.png: incomplete: ([0-9.]+)%.*/\1/p' live-lossy.view)
  lost=$(json_number packets_lost <live-lossy.json) got=$(json_number packets <live-lossy.json)
  shown=$(json_number frames <live-lossy.json)
  cat <<TEXT
$((lost + got)) datagrams in $shown frames, $lost lost. The viewer asks for what it lacks:
  during loss, after 40 frames, ${current:=100}% of the picture were up to date;
  at the end it equals, to the bit, that of a network without loss.
TEXT
  page_section "Live" "The same window at 25 frames a second, through a relay that loses 20% of the datagrams
    and takes 60 ms each way. The viewer asks for what it lacks; it comes some frames later."
  page_pair
  page_figure live-lossy-during.png "During loss" \
    "after 40 frames; $current% up to date; <span class=old>pink</span>: an older frame"
  page_figure live-lossy-after.png "After repair" \
    "the last of $shown frames; to the bit the one of a network without loss"
  page_row_end
  page_add <<HTML
<p>To see it on your screen, type:</p><pre>$(live_commands)</pre>
<p>Keys: t colours what is out of date, o shows figures, q ends it; then: kill %1 %2</p>
HTML
else
  failed "the live window was not repaired: $(cat live-*.view)"
fi

cp "$root/docs/loss.svg" .
page_section "Beside what people use" "Measured earlier, by scripts/loss_chart.sh: how much of the screen is
  right, and how many frames are shown at all, for the same frames and the same losses."
page_add <<'HTML'
<figure style="max-width: 900px"><a href="loss.svg"><img src="loss.svg" alt="Right pixels and shown frames by loss"></a></figure>
HTML

# --- JPEGs: their figures, and what an independent reader makes of them.

# The picture that the independent reader makes of $1.jpg goes to $1.ppm.
read_independently() {
  djpeg -ppm "$1.jpg" >"$1.ppm" 2>"$1.txt" && [ ! -s "$1.txt" ]
}

# Both decoders have to be equally near to the source, within 0.1 dB.
close_enough() { awk -v a="$1" -v b="$2" 'BEGIN { exit !(a - b < 0.1 && b - a < 0.1) }'; }

step "compressing to JPEG at quality $quality, $frames of the frames, in three samplings"
before=$failures
cat <<'TEXT'
  sampling    resolution of the colours: 444 full, 422 half across, 420 half across and down
  bits/px     the JPEG's size; in memory a pixel has 24
  PSNR        likeness to the frame of what an independent reader (djpeg) shows, and of what we show
  ms          to compress the frame, on one core
TEXT
printf '%-12s %-8s %9s %8s %10s %9s %7s\n' frame sampling bytes bits/px 'PSNR djpeg' 'PSNR ours' ms
echo 'Frame|Sampling|Bytes|Bits a pixel|PSNR of an independent reader, dB|of ours, dB|ms to compress' >table
for source in "${sources[@]:0:frames}"; do
  frame=$(basename "$source" .png)
  for sampling in 444 422 420; do
    name=$frame-$sampling
    report=$("$tool" encode "$source" "$name.jpg" --quality "$quality" --sampling "$sampling" \
      --repeat "$repeat" --json)
    if read_independently "$name"; then
      psnr=$("$tool" psnr "$source" "$name.ppm")
    else
      psnr=none
      failed "$name: the independent reader does not take it: $(cat "$name.txt")"
    fi
    if "$tool" decode "$name.jpg" "$name.png" --quiet; then
      ours=$("$tool" psnr "$source" "$name.png")
      [ "$psnr" = none ] || close_enough "$psnr" "$ours" ||
        failed "$name: our picture is not as good as the independent reader's, $ours and $psnr dB"
    else
      ours=none
      failed "$name: not decoded"
    fi
    figures=("$frame" "$sampling" "$(json_number bytes <<<"$report")"
      "$(json_number bits_per_pixel <<<"$report")" "$psnr" "$ours"
      "$(json_number ms_per_frame <<<"$report")")
    printf '%-12s %-8s %9s %8s %10s %9s %7s\n' "${figures[@]}"
    (IFS='|' && echo "${figures[*]}") >>table
    rm -f "$name.ppm" "$name.txt" "$name.png"
  done
done
verdict="Every one was opened by an independent reader, and our decoder's picture is within 0.1 dB of the
  reader's."
if [ "$failures" -gt "$before" ]; then verdict="Not all are as they have to be."; fi
page_section "The JPEGs" "$verdict"
page_table "$width x $height pixels at quality $quality" <table
rm table

# --- One frame as a progressive JPEG. A stream that ends between two scans shows nothing, so each
# part goes a few bytes into the next scan's data.

step "a progressive JPEG, scan by scan"
"$tool" encode "$last" progressive.jpg --mode progressive --sampling 420 --quality "$quality" --quiet
total=$(stat -c %s progressive.jpg)
ends=() # of the scans' data
while read -r offset bytes; do
  ends+=($((offset + bytes + 16)))
done < <("$tool" info progressive.jpg | awk '$3 ~ /^SOS/ { print $1, $2 }')
scans=${#ends[@]}
page_section "A progressive JPEG while it arrives" "A part of the picture, magnified: rough first, then finer."
page_row
part="$((width * 43 / 100)) $((height * 44 / 100)) $((width / 5)) $((height / 5))"
printf '%-12s %10s %9s\n' scans bytes PSNR
for scan in 1 $((scans * 2 / 5)) "$scans"; do
  bytes=$((scan < scans ? ends[scan] : total))
  head -c $bytes progressive.jpg >part.jpg
  name=progressive-$scan.png
  "$tool" decode part.jpg "$name" --quiet 2>/dev/null || [ $? -eq 2 ]
  psnr=$("$tool" psnr "$last" "$name")
  printf '%-12s %10s %6s dB\n' "$scan of $scans" "$bytes" "$psnr"
  page_figure "$name" "$scan of $scans scans" "$bytes bytes, $((bytes * 100 / total))%; $psnr dB PSNR" "$part"
done
page_row_end
rm -rf part.jpg film.txt empty live-*.{serve,relay,json,view} live-clean-*.png

echo
if [ "$failures" -gt 0 ]; then
  echo "$failures checks failed" >&2
  exit 1
fi
note "done in $SECONDS s, all checks passed"
cat <<TEXT
Open this page:   $page
See it live:
$(live_commands | sed 's/^/  /')
  t colours what is out of date, o shows figures, q ends it; then: kill %1 %2
TEXT
