#!/usr/bin/env bash
# Hostile packets through the page's view, natively and as WebAssembly in node, once more with
# sanitizers: the same pictures and the same refusals.
#
#   replay_test.sh QRX-JPEG BROWSER-REPLAY REPLAY.JS SANITIZED-REPLAY.JS FUZZ-CORPUS
set -uo pipefail

native=$(realpath "$2") wasm=$(realpath "$3") sanitized=$(realpath "$4") corpus=$(realpath "$5")
# shellcheck source=tests/host/tool_common.sh
source "$(dirname "$0")/../../tests/host/tool_common.sh"

"$tool" scene --size 100x70 --frames 2 frames >/dev/null
for sampling in 444 422 420; do
  expect 0 "$tool" packets --join $sampling.qpk --sampling $sampling frames/*.png
done
files=(*.qpk "$corpus"/{decompress_tile,packet_inspection,packet_sequence,viewer}/*)
expect 0 "$native" "${files[@]}"
mv out native.txt
for module in "$wasm" "$sanitized"; do
  expect 0 node "$module" "${files[@]}"
  cmp native.txt out || fail "WebAssembly says: $(cat out)"
done
[ "$(sed -n 's/^verdict 0: //p' out)" -gt 500 ] || fail "hardly a packet was decoded: $(cat out)"
[ "$(sed -n 's/^verdict 3: //p' out)" -gt 500 ] || fail "hardly a packet was refused: $(cat out)"

finish
