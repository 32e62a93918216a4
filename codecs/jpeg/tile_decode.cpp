// The packet road in: the slice of one packet is decoded on the thread's decoder, and its own
// pixels, no others, are placed in the frame. This road reports nothing.
#include <algorithm>

#include "codecs/jpeg/decoded_layout.h"
#include "codecs/jpeg/library/decoder/decoder_room.h"
#include "codecs/jpeg/malloc_buffer.h"
#include "codecs/jpeg/packet_slice.h"
#include "codecs/jpeg/thread_coders.h"
#include "qrx/front_end.h"
#include "qrx/primitives.h"

using namespace qrx::codec;

namespace {

// Where a packet's pixels go.
struct Placement {
  std::uint8_t* destination;
  std::int64_t pixels;  // that the destination has room for
  int frameWidth;
  int bytesPerPixel;
};

// The decoded packet: its MCU rows one above the other, each starting at column 0.
struct DecodedPacket {
  const std::uint8_t* pixels;
  int step;
  int lines;  // that were decoded
};

void copyLines(const std::uint8_t* source, int sourceStep, const Placement& place,
               std::int64_t firstPixel, IppiSize area) {
  std::uint8_t* target = place.destination + firstPixel * place.bytesPerPixel;
  const int targetStep = place.frameWidth * place.bytesPerPixel;
  if (place.bytesPerPixel == 4) {
    ippiCopy_8u_C3AC4R(source, sourceStep, target, targetStep, area);
  } else {
    ippiCopy_8u_C1R(source, sourceStep, target, targetStep, {3 * area.width, area.height});
  }
}

void placePacket(const DecodedPacket& packet, const PacketCells& cells, const PacketSlice& slice,
                 const Placement& place) {
  for (int row = 0; row < cells.rows; ++row) {
    const int left = cells.columnOf(row) * slice.mcuWidth;
    const int width = std::min(cells.countIn(row) * slice.mcuWidth, place.frameWidth - left);
    const int top = row * slice.mcuHeight;
    // Lines whose pixels lie wholly in the destination.
    const std::int64_t room = place.pixels - (left + width);
    const std::int64_t bottom = room < 0 ? 0 : room / place.frameWidth + 1;
    const auto lines = static_cast<int>(
        std::min<std::int64_t>({slice.mcuHeight, packet.lines - top, bottom - top}));
    if (width <= 0 || lines <= 0) continue;
    copyLines(packet.pixels + std::int64_t{top} * packet.step, packet.step, place,
              std::int64_t{top} * place.frameWidth + left, {width, lines});
  }
}

}  // namespace

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
  if (slice == nullptr || destination == nullptr || length < 0 || destinationSize < 0) return 0;
  if (bytesPerPixel != 3 && bytesPerPixel != 4) return 0;
  const auto parsed = parseSlice(slice, length);
  if (!parsed) return 0;
  const auto cells = packetCells(*parsed, mcuCount, xOffset, frameWidth);
  if (!cells) return 0;
  if (mcuCount == 0) return 1;
  ThreadCoders* coders = getTilesContext();
  if (coders == nullptr) return 0;

  CJPEGDecoder& decoder = *coders->decoder;
  decoder.Clean();
  decoder.Reset();
  decoder.SetSource(slice, length);
  int width, height, components, precision;
  _JPEG_COLOR color;
  _JPEG_SAMPLING sampling;
  if (decoder.ReadHeader(&width, &height, &components, &color, &sampling, &precision) !=
      JPEG_NO_ERROR) {
    return 0;
  }
  const DecodedLayout layout = decodedLayout(components);
  const int step = layout.channels * width;
  const MallocBuffer temporary = allocateBuffer(std::int64_t{height} * step);
  decoder.SetDestination(temporary.get(), step, {width, height}, layout.channels, layout.color, 8);
  // The slice ends before EOI, so that the result says nothing about the scan.
  decoder.ReadDataTiles(mcuCount, xOffset, frameWidth);
  if (qrx::jpeg::linesWritten(decoder) == 0) return 0;
  placePacket({temporary.get(), step, std::min(height, qrx::jpeg::linesWritten(decoder))}, *cells,
              *parsed, {destination, destinationSize / bytesPerPixel, frameWidth, bytesPerPixel});
  return 1;
}

}  // extern "C"
