// The packet road in: a packet is held against its own head, its slice is decoded on the thread's
// decoder, and its own pixels, no others, are placed in the frame. This road reports nothing.
#include <algorithm>
#include <new>

#include "codecs/jpeg/decoded_layout.h"
#include "codecs/jpeg/jpeg_codec.h"
#include "codecs/jpeg/library/decoder/decoder_room.h"
#include "codecs/jpeg/packets/packet_head.h"
#include "codecs/jpeg/packets/packet_place.h"
#include "codecs/jpeg/packets/packet_slice.h"
#include "codecs/jpeg/thread_coders.h"
#include "qrx/front_end.h"

namespace qrx::codec {
namespace {

bool isPixelWidth(std::int64_t bytesPerPixel) { return bytesPerPixel == 3 || bytesPerPixel == 4; }

// The slice behind a packet's head; none where the head's lengths don't fit in the buffer.
std::optional<SliceBytes> sliceOf(const Buffer& buffer, const udp_header& head) {
  if (head.headerSize != kHeadSize || head.dataEnd < kHeadSize ||
      std::int64_t{head.dataEnd} + kEoiSize > buffer.size) {
    return std::nullopt;
  }
  return SliceBytes(buffer.data + kHeadSize, static_cast<std::size_t>(head.dataEnd - kHeadSize));
}

// Where a packet's pixels go: the rectangle from the packet's first row on.
struct PacketTarget {
  std::uint8_t* pixels;
  std::int64_t room;  // for pixels
  int bytesPerPixel;
};

// What the decoder has to know of the place of the pixels.
int setPlace(CJPEGDecoder& decoder, const PacketCells& cells, const PacketTarget& target) {
  const jpeg::PacketWindow window = {target.pixels, target.room, cells.frameWidth, cells.left(0)};
  const int result = jpeg::setPacketWindow(decoder, window);
  if (result != JPEG_NO_ERROR || target.bytesPerPixel == 3) return result;
  return jpeg::setFourByteDestination(decoder);
}

// Decodes a slice; its pixels go to their places. False where nothing could be decoded.
bool decodeSlice(CJPEGDecoder& decoder, SliceBytes bytes, const PacketCells& cells,
                 const PacketTarget& target) {
  jpeg::keepTables(decoder);
  decoder.Clean();
  decoder.Reset();
  decoder.SetSource(bytes.data(), static_cast<int>(bytes.size()));
  int width, height, components, precision;
  _JPEG_COLOR color;
  _JPEG_SAMPLING sampling;
  if (decoder.ReadHeader(&width, &height, &components, &color, &sampling, &precision) !=
      JPEG_NO_ERROR) {
    return false;
  }
  const DecodedLayout layout = decodedLayout(components);
  decoder.SetDestination(target.pixels, target.bytesPerPixel * cells.frameWidth, {width, height},
                         layout.channels, layout.color, 8);
  if (setPlace(decoder, cells, target) != JPEG_NO_ERROR) throw std::bad_alloc();
  // The slice ends before EOI, so that the result says nothing about the scan.
  decoder.ReadDataTiles(cells.count, cells.left(0), cells.frameWidth);
  return jpeg::linesWritten(decoder) != 0;
}

// False, with nothing written, where the thread has no coders or nothing could be decoded.
bool decodePacket(SliceBytes bytes, const PacketCells& cells, const PacketTarget& target) {
  ThreadCoders* coders = getTilesContext();
  if (coders == nullptr) return false;
  return decodeSlice(*coders->decoder, bytes, cells, target);
}

}  // namespace

bool JpegDecompressor::decompressTile(const Buffer* buffer, std::uint32_t bytesPerPixel,
                                      std::uint32_t, std::uint8_t* destination,
                                      std::uint32_t destinationSize) {
  const auto head = readHead(buffer);
  if (!head || destination == nullptr || !isPixelWidth(bytesPerPixel)) return false;
  const auto bytes = sliceOf(*buffer, *head);
  if (!bytes) return false;
  const auto slice = parseSlice(*bytes);
  if (!slice) return false;
  const auto place = locate(*head, *slice);
  if (!place) return false;
  if (place->cells.count == 0) return true;

  // What getOutputSize can't tell, no host vouches for.
  if (destinationSize == 0 && outputSize(*head, bytesPerPixel) > UINT32_MAX) return false;
  const std::int64_t rectangle = std::int64_t{head->frameWidth} * head->frameHeight * bytesPerPixel;
  const std::int64_t bound = destinationSize == 0 ? rectangle : std::int64_t{destinationSize};
  if (place->pixelsNeeded() * bytesPerPixel > bound) return false;
  const std::int64_t offset = place->pixelsBefore() * bytesPerPixel;
  return decodePacket(*bytes, place->cells,
                      {destination + offset, (std::min(bound, rectangle) - offset) / bytesPerPixel,
                       static_cast<int>(bytesPerPixel)});
}

}  // namespace qrx::codec

extern "C" {

int DecompressTilesPatch(const std::uint8_t* slice, int bytesPerPixel, int destinationSize,
                         int length, int mcuCount, int xOffset, int frameWidth,
                         std::uint8_t* destination) {
  return qrx_jpeg_decode_tiles(slice, length, destination, mcuCount, xOffset, frameWidth,
                               destinationSize, bytesPerPixel);
}

int qrx_jpeg_decode_tiles(const std::uint8_t* slice, int length, std::uint8_t* destination,
                          int mcuCount, int xOffset, int frameWidth, int destinationSize,
                          int bytesPerPixel) {
  using namespace qrx::codec;
  if (slice == nullptr || destination == nullptr || length < 0 || destinationSize < 0) return 0;
  if (!isPixelWidth(bytesPerPixel)) return 0;
  const SliceBytes bytes(slice, static_cast<std::size_t>(length));
  const auto parsed = parseSlice(bytes);
  if (!parsed) return 0;
  const auto cells = packetCells(*parsed, mcuCount, xOffset, frameWidth);
  if (!cells) return 0;
  if (mcuCount == 0) return 1;
  const PacketTarget target = {destination, destinationSize / bytesPerPixel, bytesPerPixel};
  return decodePacket(bytes, *cells, target) ? 1 : 0;
}

}  // extern "C"
