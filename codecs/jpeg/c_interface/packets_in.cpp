// Packets to pictures.
#include <algorithm>

#include "codecs/jpeg/c_interface/decoding.h"
#include "codecs/jpeg/packets/packet_head.h"
#include "codecs/jpeg/packets/packet_place.h"
#include "codecs/jpeg/packets/packet_slice.h"

namespace qrx::codec {
namespace {

constexpr std::uint8_t kReceivedKind = 1;

struct Packet {
  udp_header head;
  SliceBytes bytes;
  PacketSlice slice;
  PacketPlace place;
};

// None, with a text, where the bytes are no packet that hangs together.
std::optional<Packet> parse(qrxc_coder* coder, const void* data, std::size_t size) {
  const auto refuse = [coder](const char* why) -> std::optional<Packet> {
    tell(coder, QRXC_BAD_DATA, "not a packet: %s", why);
    return std::nullopt;
  };
  auto* const bytes = static_cast<std::uint8_t*>(const_cast<void*>(data));
  if (size > INT16_MAX + kEoiSize) return refuse("it is too long");
  const Buffer buffer = {nullptr, bytes, static_cast<std::uint32_t>(size)};
  const auto head = readHead(&buffer);
  if (!head) return refuse("it is shorter than a head");
  if (head->kind != kReceivedKind) return refuse("it is not marked as one");
  if (head->headerSize != kHeadSize || head->dataEnd < kHeadSize ||
      static_cast<std::size_t>(head->dataEnd) + kEoiSize != size) {
    return refuse("its lengths don't agree");
  }
  const SliceBytes slice(bytes + kHeadSize, static_cast<std::size_t>(head->dataEnd - kHeadSize));
  const auto parsed = parseSlice(slice);
  if (!parsed) return refuse("its data is not built like a packet's");
  const auto place = locate(*head, *parsed);
  if (!place) return refuse("its data does not fit its head");
  return Packet{*head, slice, *parsed, *place};
}

qrxc_packet told(const Packet& packet) {
  const udp_header& head = packet.head;
  const PacketCells& cells = packet.place.cells;
  const PacketGrid grid = packetGrid(head);
  qrxc_packet result = {};
  const auto bits = static_cast<std::uint32_t>(head.index);
  result.last = head.index < 0;
  result.place = {head.window,      static_cast<std::int32_t>(result.last != 0 ? 0U - bits : bits),
                  head.frameX,      head.frameY,
                  head.contextByte, {}};
  result.width = static_cast<std::uint32_t>(head.frameWidth);
  result.height = static_cast<std::uint32_t>(head.frameHeight);
  if (cells.count > 0) {
    const int left = cells.rows == 1 ? cells.left(0) : 0;
    const int right = cells.rows == 1 ? cells.right(0) : cells.frameWidth;
    result.left = static_cast<std::uint32_t>(left);
    result.columns = static_cast<std::uint32_t>(right - left);
    result.top = static_cast<std::uint32_t>(packet.place.top);
    result.rows = static_cast<std::uint32_t>(packet.place.bottom - packet.place.top);
  }
  result.components = packet.slice.components;
  result.sampling = cells.mcuWidth == 8 ? QRXC_444 : cells.mcuHeight == 8 ? QRXC_422 : QRXC_420;
  const double all = static_cast<double>(grid.across) * static_cast<double>(grid.down);
  result.share = all > 0 ? cells.count / all : 0;
  return result;
}

// The decoder's result. Its own pixels go to their places.
int decodeSlice(CJPEGDecoder& decoder, const Packet& packet, const Pixels& pixels) {
  startDecoder(decoder, packet.bytes.data(), packet.bytes.size());
  int width, height, components, precision;
  _JPEG_COLOR color;
  _JPEG_SAMPLING sampling;
  QRX_TRY(decoder.ReadHeader(&width, &height, &components, &color, &sampling, &precision));
  const PacketCells& cells = packet.place.cells;
  setTarget(decoder, pixels, {width, height}, pixels.format.color);
  const std::int64_t room =
      std::int64_t{packet.head.frameHeight - packet.place.top} * cells.frameWidth;
  const jpeg::PacketWindow window = {pixels.line(packet.place.top), room, cells.frameWidth,
                                     cells.left(0), pixels.step};
  if (jpeg::setPacketWindow(decoder, window) != JPEG_NO_ERROR) throw std::bad_alloc();
  return decoder.ReadDataTiles(cells.count, cells.left(0), cells.frameWidth);
}

qrxc_code decode(qrxc_coder* coder, const Packet& packet, const Pixels& pixels,
                 qrxc_report* report) {
  const bool fits = packet.slice.components == 1 || pixels.format.channels == 3;
  if (!fits || pixels.format.color == JPEG_COLOR_CMYK) {
    return tell(coder, QRXC_NOT_SUPPORTED, "a packet of %d components does not go to this format",
                packet.slice.components);
  }
  if (pixels.width != packet.head.frameWidth || pixels.height != packet.head.frameHeight) {
    return tell(coder, QRXC_NO_ROOM, "the packet is of a rectangle of %d x %d pixels, not %d x %d",
                packet.head.frameWidth, packet.head.frameHeight, static_cast<int>(pixels.width),
                static_cast<int>(pixels.height));
  }
  const PacketCells& cells = packet.place.cells;
  if (cells.count == 0) return done(coder);
  CJPEGDecoder& decoder = coder->decoder;
  const int result = decodeSlice(decoder, packet, pixels);
  if (lacksMemory(decoder, result)) throw std::bad_alloc();
  if (jpeg::linesWritten(decoder) == 0) return tellDecoderError(coder, result);
  const std::int64_t good = goodMcus(decoder);
  const PacketGrid grid = packetGrid(packet.head);
  if (report != nullptr) {
    report->rows = static_cast<std::uint32_t>(
        std::min(goodRows(decoder) * cells.mcuHeight, packet.place.bottom - packet.place.top));
    report->covered = static_cast<double>(good) /
                      (static_cast<double>(grid.across) * static_cast<double>(grid.down));
  }
  if (good == cells.count && !isFaulty(decoder)) return done(coder);
  return tell(coder, QRXC_DAMAGED, "damaged: %d of %d MCUs are good", static_cast<int>(good),
              cells.count);
}

}  // namespace
}  // namespace qrx::codec

using namespace qrx::codec;

extern "C" {

qrxc_code qrxc_read_packet(qrxc_coder* coder, const void* packet, std::size_t size,
                           qrxc_packet* toldTo) {
  return call(coder, [&] {
    if (packet == nullptr || toldTo == nullptr) {
      return tell(coder, QRXC_BAD_ARGUMENT, "the packet, or what it is told to, is null");
    }
    const auto parsed = parse(coder, packet, size);
    if (!parsed) return QRXC_BAD_DATA;
    *toldTo = told(*parsed);
    return done(coder);
  });
}

qrxc_code qrxc_decode_packet(qrxc_coder* coder, const void* packet, std::size_t size, void* pixels,
                             const qrxc_layout* layout, qrxc_packet* toldTo, qrxc_report* report) {
  if (report != nullptr) *report = {};
  return call(coder, [&] {
    if (packet == nullptr) return tell(coder, QRXC_BAD_ARGUMENT, "the packet is null");
    const auto target = pixelsOf(coder, pixels, layout, kMaxRectangleSide);
    if (!target) return QRXC_BAD_ARGUMENT;
    const auto parsed = parse(coder, packet, size);
    if (!parsed) return QRXC_BAD_DATA;
    const qrxc_code code = decode(coder, *parsed, *target, report);
    if (toldTo != nullptr && code >= QRXC_DONE) *toldTo = told(*parsed);
    return code;
  });
}

}  // extern "C"
