// The sample host's readers on any bytes: control messages, packet files, pictures, and the walk
// over a JPEG stream. What they take comes back as it was when it is written again.
#include <algorithm>
#include <optional>

#include "fuzz/kit.h"
#include "tools/image/image_io.h"
#include "tools/jpeg/walk.h"
#include "tools/live/control.h"
#include "tools/live/packet.h"
#include "tools/live/packet_file.h"

namespace {

using namespace qrx::tool;
using fuzz::Bytes;
using fuzz::require;

// CRC-32 behind the bytes, as messages end, so that they get past the check.
void seal(Bytes& message) {
  std::uint32_t crc = ~0u;
  for (const std::uint8_t byte : message) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (0xEDB88320u & (0u - (crc & 1)));
  }
  for (int i = 0; i < 4; ++i) message.push_back(static_cast<std::uint8_t>(~crc >> 8 * i));
}

void control(fuzz::Input& input) {
  constexpr int kKinds = std::variant_size_v<ControlMessage>;
  Bytes message = {'Q', 'R', 'X', 'C', static_cast<std::uint8_t>(input.below(kKinds + 1))};
  const bool isSealed = !input.oneIn(8);
  const Bytes body = input.rest();
  message.insert(message.end(), body.begin(), body.end());
  if (isSealed) seal(message);
  require(looksLikeControl(message));
  const auto parsed = parseControl(message);
  require(!parsed || serialise(*parsed) == message);
}

void packets(fuzz::Input& input) {
  Bytes data = {'Q', 'P', 'K', '1'};
  const Bytes body = input.rest();
  data.insert(data.end(), body.begin(), body.end());
  const PacketFile file = splitPackets(data);
  std::vector<Packet> parts;
  for (const PacketFile::Entry& entry : file.entries) {
    parts.push_back(entry.bytes);
    const auto head = readHead(entry.bytes);
    const auto cells = head ? cellsOf(*head) : std::nullopt;
    if (!cells) continue;
    require(cells->first >= 0 && cells->count >= 0 &&
            cells->first + cells->count <= cells->total());
    if (cells->count == 0) continue;
    const Size rectangle = {head->frameWidth, head->frameHeight};
    const Box last = cells->cell(cells->first + cells->count - 1, rectangle);
    require(last.left < last.right && last.top < last.bottom && last.right <= rectangle.width &&
            last.bottom <= rectangle.height);
  }
  const Bytes joined = joinPackets(parts);
  require(file.cutOff ? std::equal(joined.begin(), joined.end(), data.begin()) : joined == data);
}

// The size that a PNG's first chunk tells; a host limits it before it reads on.
std::int64_t pngPixels(const Bytes& data) {
  if (data.size() < 24) return 0;
  std::uint64_t sides[2] = {};
  for (std::size_t i = 0; i < 8; ++i) sides[i / 4] = sides[i / 4] << 8 | data[16 + i];
  return sides[0] > 65535 || sides[1] > 65535 ? INT64_MAX
                                              : static_cast<std::int64_t>(sides[0] * sides[1]);
}

void pictures(fuzz::Input& input) {
  const bool isPng = input.oneIn(2);
  Bytes data = input.rest();
  if (data.size() < 2) return;
  if (isPng) {
    if (pngPixels(data) > fuzz::kMaxPixels) return;
    const Image image = decodePng(data);
    require(decodePng(encodePng(image)).pixels == image.pixels);
    return;
  }
  data[0] = 'P';
  data[1] = static_cast<std::uint8_t>("2356"[data[1] % 4]);
  const Image image = decodePnm(data);
  const Image again = decodePnm(encodePpm(image));
  require(again.size == image.size && again.pixels == image.pixels);
}

void walk(fuzz::Input& input) {
  const Bytes data = input.rest();
  const JpegInfo info = walkJpeg(data);
  require(info.bytes <= data.size() && info.bytesAfterEnd <= data.size());
  for (const JpegSegment& segment : info.segments) {
    require(segment.offset <= data.size() && segment.size <= data.size() - segment.offset);
  }
  for (const JpegScan& scan : info.scans) {
    require(scan.dataOffset <= data.size() && scan.dataSize <= data.size() - scan.dataOffset);
  }
  for (const JpegFrame& frame : info.frames) require(!modeName(frame).empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr void (*kReaders[])(fuzz::Input&) = {control, packets, pictures, walk};
  fuzz::Input input(data, size);
  const auto read = kReaders[input.below(4)];
  try {
    read(input);
  } catch (const Error&) {  // a refusal
  }
  return 0;
}
