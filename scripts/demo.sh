#!/usr/bin/env bash
# Shows the codec at work, from any folder: renders frames, compresses them at three samplings,
# has an independent reader open every JPEG, prints a table, and leaves all pictures with an
# index.html in build/demo.
#
# As root it installs the Debian packages that are missing; otherwise it names them and stops.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/packages.sh
source "$root/scripts/packages.sh"
cd "$root"

frames=${DEMO_FRAMES:-3}
size=${DEMO_SIZE:-1280x720}
quality=${DEMO_QUALITY:-85}
repeat=20

need_build_packages

note "building (build/release)"
cmake --preset release >/dev/null
cmake --build --preset release --parallel "$(nproc)" --target qrx-jpeg

demo=$root/build/demo
tool=$root/build/release/qrx-jpeg
rm -rf "$demo"
mkdir -p "$demo/empty/root" "$demo/empty/user"
# No setting of this machine may reach the demo.
export QRX_ROOT=$demo/empty/root QRX_USER_CONFIG_DIR=$demo/empty/user
unset ZMT_SUBSAMPLING

# json_number NAME: the number of that name in the JSON object on standard input.
json_number() { sed -E "s/.*\"$1\":([0-9.]+).*/\\1/"; }

# The picture that the independent reader makes of $1.jpg goes to $1.reader.ppm.
read_independently() {
  djpeg -ppm "$1.jpg" >"$1.reader.ppm" 2>"$1.reader.txt" && [ ! -s "$1.reader.txt" ]
}

# Our own decoder's picture of $1.jpg goes to $1.decoded.png.
decode_ours() { "$tool" decode "$1.jpg" "$1.decoded.png" >/dev/null; }

# Both decoders have to be equally near to the source, within 0.1 dB.
close_enough() { awk -v a="$1" -v b="$2" 'BEGIN { exit !(a - b < 0.1 && b - a < 0.1) }'; }

note "rendering $frames frames of $size"
mapfile -t sources < <("$tool" scene --frames "$frames" --size "$size" "$demo")

html=$demo/index.html
cat >"$html" <<'HTML'
<!doctype html>
<meta charset="utf-8">
<title>qrx-jpeg demo</title>
<style>
body { font: 14px sans-serif; margin: 1.5em; background: #f4f4f2; }
img { width: 100%; height: auto; display: block; }
td, th { padding: .3em; vertical-align: top; text-align: left; }
td { width: 33%; }
</style>
<h1>Frames, their JPEGs and what our decoder makes of them</h1>
<table>
<tr><th>Source<th>JPEG<th>Decoded
HTML

note "compressing at quality $quality"
printf '%-12s %-8s %10s %8s %9s %12s %10s\n' \
  frame sampling bytes bits/px 'PSNR dB' 'our PSNR dB' ms/frame
failures=0
for source in "${sources[@]}"; do
  frame=$(basename "$source" .png)
  for sampling in 444 422 420; do
    name=$demo/$frame-$sampling
    report=$("$tool" encode "$source" "$name.jpg" --quality "$quality" --sampling "$sampling" \
      --repeat "$repeat" --json)
    if read_independently "$name"; then
      psnr=$("$tool" psnr "$source" "$name.reader.ppm")
    else
      psnr=UNREADABLE
      failures=$((failures + 1))
    fi
    if decode_ours "$name"; then
      ours=$("$tool" psnr "$source" "$name.decoded.png")
      cell="<img src=\"$frame-$sampling.decoded.png\">$ours dB"
      if ! close_enough "$psnr" "$ours"; then
        echo "$frame $sampling: our picture is not as good as the independent reader's" >&2
        failures=$((failures + 1))
      fi
    else
      ours=FAILED
      cell="not decoded"
      failures=$((failures + 1))
    fi
    bytes=$(json_number bytes <<<"$report")
    bits=$(json_number bits_per_pixel <<<"$report")
    ms=$(json_number ms_per_frame <<<"$report")
    printf '%-12s %-8s %10s %8s %9s %12s %10s\n' \
      "$frame" "$sampling" "$bytes" "$bits" "$psnr" "$ours" "$ms"
    cat >>"$html" <<HTML
<tr><td><img src="$frame.png">$frame
<td><img src="$frame-$sampling.jpg">$sampling: $bytes bytes, $bits bits per pixel, $psnr dB, $ms ms
<td>$cell
HTML
    rm -f "$name.reader.ppm" "$name.reader.txt"
  done
done
echo '</table>' >>"$html"

# One frame as a progressive JPEG: the picture after each scan. A stream that ends between two scans
# shows nothing, so each part goes a few bytes into the next scan's data.
note "showing a progressive picture scan by scan"
progressive=$demo/progressive
"$tool" encode "${sources[0]}" "$progressive.jpg" --mode progressive --sampling 420 \
  --quality "$quality" >/dev/null
total=$(stat -c %s "$progressive.jpg")
printf '%-12s %10s %9s\n' scans bytes 'PSNR dB'
echo '<h1>A progressive picture after each scan</h1><table><tr>' >>"$html"
scan=0
show_scans() { # BYTES
  head -c "$1" "$progressive.jpg" >"$demo/part.jpg"
  "$tool" decode "$demo/part.jpg" "$progressive-$scan.png" >/dev/null 2>&1 || true
  local psnr
  psnr=$("$tool" psnr "${sources[0]}" "$progressive-$scan.png")
  printf '%-12s %10s %9s\n' "$scan" "$1" "$psnr"
  [ $((scan % 3)) -ne 1 ] || echo '<tr>' >>"$html"
  echo "<td><img src=\"progressive-$scan.png\">$scan scans: $1 bytes, $psnr dB" >>"$html"
}
while read -r offset bytes; do
  [ "$scan" -eq 0 ] || show_scans $((offset + bytes + 16))
  scan=$((scan + 1))
done < <("$tool" info "$progressive.jpg" | awk '$3 ~ /^SOS/ { print $1, $2 }')
show_scans "$total"
echo '</table>' >>"$html"
rm -f "$demo/part.jpg"
# The live window through a network that loses, reorders and duplicates, for ten seconds; then
# through one that does not, for comparison.
note "serving and viewing a live window over a bad network"
cat >>"$html" <<'HTML'
<h1>A live window over a network that loses 5% of its packets</h1><table><tr>
HTML

# The port in the message "listening on ADDRESS:PORT" in file $1.
port_of() {
  local tries=100
  while ! sed -nE 's/^listening on .*:([0-9]+)$/\1/p' "$1" | grep .; do
    [ $((tries--)) -gt 0 ] || return 1
    sleep 0.1
  done
}

live() { # NAME FRAMES-PER-SECOND RELAY-OPTIONS...
  local name=$demo/live-$1 fps=$2 server relay status=0
  shift 2
  : >"$name.serve"
  : >"$name.relay"
  "$tool" serve --listen :0 --size "$size" --frames 250 --fps "$fps" --wait 20 \
    >/dev/null 2>"$name.serve" &
  server=$!
  "$tool" relay --listen :0 --to ":$(port_of "$name.serve")" "$@" >/dev/null 2>"$name.relay" &
  relay=$!
  # Exit code 2: the picture during loss is incomplete, as it has to be.
  "$tool" view --connect ":$(port_of "$name.relay")" --snapshot "$name-during.png" --after 100 \
    --repaired "$name-after.png" --wait 10 --timeout 40 --tint || status=$?
  [ $status -ne 2 ] || status=0
  wait $server || status=$?
  kill $relay
  wait $relay || status=$?
  rm -f "$name.serve" "$name.relay"
  return $status
}

if live lossy 25 --loss 5% --burst 8 --reorder 10% --duplicate 1% --delay 20ms --seed 1 &&
  live clean 100 >/dev/null && cmp -s "$demo/live-lossy-after.png" "$demo/live-clean-after.png"; then
  echo "the repaired picture equals the one of a network without loss"
else
  echo "the live window was not repaired" >&2
  failures=$((failures + 1))
fi
cat >>"$html" <<'HTML'
<td><img src="live-lossy-during.png">during loss
<td><img src="live-lossy-after.png">after repair
<td><img src="live-clean-after.png">without loss
</table>
HTML
rm -rf "$demo/empty"

note "pictures: $html"
if [ "$failures" -gt 0 ]; then
  echo "$failures checks failed" >&2
  exit 1
fi
