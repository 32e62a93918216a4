// The packet road in: a packet is held against its own head, its slice is decoded on the thread's
// decoder, and its own pixels, no others, are placed in the frame. This road reports nothing.
#include <algorithm>

#include "codecs/jpeg/decoded_layout.h"
#include "codecs/jpeg/jpeg_codec.h"
#include "codecs/jpeg/library/decoder/decoder_room.h"
#include "codecs/jpeg/malloc_buffer.h"
#include "codecs/jpeg/packets/packet_head.h"
#include "codecs/jpeg/packets/packet_place.h"
#include "codecs/jpeg/packets/packet_slice.h"
#include "codecs/jpeg/thread_coders.h"
#include "qrx/front_end.h"
#include "qrx/primitives.h"

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

// The picture of a slice: its MCU rows one above the other, each starting at column 0.
struct DecodedSlice {
  MallocBuffer pixels;
  int step;
  int lines;  // that were decoded
};

// No lines where the decoder refuses the slice. Throws std::bad_alloc.
DecodedSlice decodeSlice(CJPEGDecoder& decoder, SliceBytes bytes, const PacketCells& cells) {
  decoder.Clean();
  decoder.Reset();
  decoder.SetSource(bytes.data(), static_cast<int>(bytes.size()));
  int width, height, components, precision;
  _JPEG_COLOR color;
  _JPEG_SAMPLING sampling;
  if (decoder.ReadHeader(&width, &height, &components, &color, &sampling, &precision) !=
      JPEG_NO_ERROR) {
    return {};
  }
  const DecodedLayout layout = decodedLayout(components);
  const int step = layout.channels * width;
  MallocBuffer pixels = allocateBuffer(std::int64_t{height} * step);
  decoder.SetDestination(pixels.get(), step, {width, height}, layout.channels, layout.color, 8);
  // The slice ends before EOI, so that the result says nothing about the scan.
  decoder.ReadDataTiles(cells.count, cells.left(0), cells.frameWidth);
  return {std::move(pixels), step, std::min(height, qrx::jpeg::linesWritten(decoder))};
}

void copyLines(const std::uint8_t* source, int sourceStep, const PacketTarget& target,
               std::int64_t firstPixel, int frameWidth, IppiSize area) {
  std::uint8_t* const first = target.pixels + firstPixel * target.bytesPerPixel;
  const int step = frameWidth * target.bytesPerPixel;
  if (target.bytesPerPixel == 4) {
    ippiCopy_8u_C3AC4R(source, sourceStep, first, step, area);
  } else {
    ippiCopy_8u_C1R(source, sourceStep, first, step, {3 * area.width, area.height});
  }
}

// Puts each MCU row of the slice where its cells lie.
void placeRows(const DecodedSlice& slice, const PacketCells& cells, const PacketTarget& target) {
  for (int row = 0; row < cells.rows; ++row) {
    const int left = cells.left(row), right = cells.right(row);
    const int top = row * cells.mcuHeight;
    // Lines whose pixels lie wholly in the target.
    const std::int64_t bottom =
        target.room < right ? 0 : (target.room - right) / cells.frameWidth + 1;
    const auto lines = static_cast<int>(
        std::min<std::int64_t>({cells.mcuHeight, slice.lines - top, bottom - top}));
    if (lines <= 0) continue;
    copyLines(slice.pixels.get() + std::int64_t{top} * slice.step, slice.step, target,
              std::int64_t{top} * cells.frameWidth + left, cells.frameWidth, {right - left, lines});
  }
}

// False, with nothing written, where the thread has no coders or nothing could be decoded.
bool decodePacket(SliceBytes bytes, const PacketCells& cells, const PacketTarget& target) {
  ThreadCoders* coders = getTilesContext();
  if (coders == nullptr) return false;
  const DecodedSlice slice = decodeSlice(*coders->decoder, bytes, cells);
  if (slice.lines == 0) return false;
  placeRows(slice, cells, target);
  return true;
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
