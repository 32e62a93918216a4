#!/usr/bin/env bash
# The dissector in tshark: test.sh QRX-JPEG FUZZ-CORPUS. Captures from loopback, for which it has to
# be root, or dumpcap to be allowed.
set -uo pipefail

corpus=$(realpath "$2")
# shellcheck source=tests/host/tool_common.sh
source "$(dirname "$0")/../../tests/host/tool_common.sh"
dissector=$(dirname "$script")/qrx.lua

# dissect CAPTURE [OPTIONS...]: one line a datagram.
dissect() {
  tshark -r "$1" -X lua_script:"$dissector" "${@:2}" 2>err || fail "tshark: $(cat err)"
  ! grep -q "Lua" err || fail "the dissector fell over: $(cat err)"
}
count() { dissect "$@" | wc -l; }

# A capture by the tool: every packet, with what its head says.
"$tool" scene --size 640x480 --frames 2 frames >/dev/null
expect 0 "$tool" packets --join film.pcap --pcap --sampling 420 --json frames/*.png
packets=$(json packets <out)
[ "$(count film.pcap -Y 'qrx && !qrx.malformed')" -eq "$packets" ] || fail "not all of $packets packets"
[ "$(count film.pcap -Y 'qrx.last == 1')" -eq 2 ] || fail "two frames have two last packets"
[ "$(dissect film.pcap -T fields -e qrx.mcus | awk '{ n += $1 } END { print n }')" -eq 2400 ] ||
  fail "two frames of 40 by 30 MCUs"

# A session taken from loopback while it runs.
port=$((20000 + $$ % 20000))
tshark -i lo -f "udp port $port" -w live.pcapng >/dev/null 2>capture.log &
capture=$!
for _ in $(seq 100); do
  grep -q "Capture started\|Capturing on" capture.log && break
  sleep 0.1
done
sleep 1
"$tool" serve --listen "127.0.0.1:$port" --size 320x240 --frames 20 --fps 20 >/dev/null 2>serve.log &
SDL_VIDEODRIVER=dummy timeout 20 "$tool" view --connect "127.0.0.1:$port" \
  --repaired last.png >/dev/null 2>view.log || fail "view: $(cat view.log serve.log)"
wait %2
sleep 1
kill -INT $capture
wait $capture
[ "$(count live.pcapng -Y 'qrxlive && qrx')" -gt 20 ] || fail "packets of the session: $(cat capture.log)"
[ "$(count live.pcapng -Y 'qrxlive.malformed || qrx.malformed')" -eq 0 ] || fail "a sound session is malformed"
dissect live.pcapng >lines
for message in Hello Welcome FrameInfo Changes Closing Bye; do
  grep -q "QRXLIVE .* $message" lines || fail "no $message in the session"
done

# Whatever a fuzzer thought of, and damage: no fault of the dissector, and a reason.
python3 - "$corpus" hostile.pcap <<'PYTHON'
import pathlib, struct, sys
out = open(sys.argv[2], "wb")
out.write(struct.pack("<IHHIIII", 0xA1B2C3D4, 2, 4, 0, 0, 1 << 18, 101))
def datagram(data):
    data = data[:60000]
    ip = struct.pack(">BBHHHBBH4s4s", 0x45, 0, 28 + len(data), 0, 0, 64, 17, 0, b"\x7f\0\0\1", b"\x7f\0\0\1")
    ip += struct.pack(">HHHH", 4170, 4170, 8 + len(data), 0)
    out.write(struct.pack("<IIII", 0, 0, len(ip) + len(data), len(ip) + len(data)) + ip + data)
head = b"\x20\0\1\x11" + bytes(28) + b"\xff\xde"
for name in ("decompress_tile", "packet_inspection", "viewer", "host_readers"):
    for path in sorted(pathlib.Path(sys.argv[1], name).iterdir()):
        data = path.read_bytes()
        datagram(data)
        datagram(head + data)
        datagram(b"QR\2" + bytes([len(data) % 3]) + bytes(24) + data + bytes(16))
        datagram(b"QR\2\1" + bytes(24) + b"QRXC" + data + bytes(20))
PYTHON
[ "$(count hostile.pcap -Y 'qrx.malformed || qrxlive.malformed')" -gt 500 ] || fail "hostile datagrams pass"
dissect hostile.pcap -V >/dev/null
dissect hostile.pcap >lines
grep -q '\[malformed: ' lines || fail "no reason is told"

finish
