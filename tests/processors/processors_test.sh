#!/usr/bin/env bash
# processors_test.sh QRX_JPEG: compresses and decodes a frame on emulated processors.
set -euo pipefail
tool=$1
command -v qemu-x86_64 >/dev/null || { echo "skipped: no qemu-x86_64 (package qemu-user)"; exit 77; }
symbols=$(nm -D "$(dirname "$tool")/libqrx_jpeg.so")
if grep -qE ' (__asan_init|__tsan_init)$' <<<"$symbols"; then
  echo "skipped: sanitizers do not run in the emulator"
  exit 77
fi
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
"$tool" scene --frames 1 --size 173x99 . >/dev/null
"$tool" encode frame00000.png here.jpg --sampling 420 >/dev/null
"$tool" decode here.jpg here.ppm >/dev/null

while read -r processor slot; do
  report=$(qemu-x86_64 -cpu "$processor" "$tool" encode frame00000.png there.jpg --sampling 420 --json \
    2>messages) || { echo "$processor: encode failed: $(cat messages)"; exit 1; }
  taken=$(sed -E 's/.*"slot":([0-9]).*/\1/' <<<"$report")
  qemu-x86_64 -cpu "$processor" "$tool" decode there.jpg there.ppm >/dev/null 2>messages ||
    { echo "$processor: decode failed: $(cat messages)"; exit 1; }
  echo "$processor: slot $taken"
  [ "$taken" = "$slot" ] || { echo "$processor: slot $slot was expected"; exit 1; }
  cmp there.jpg here.jpg
  cmp there.ppm here.ppm
done <<'PROCESSORS'
Opteron_G1 1
Conroe 2
Conroe,+movbe 3
Penryn 4
SandyBridge,-xsave 4
SandyBridge 5
Haswell,-bmi2 5
Haswell 6
PROCESSORS
