// The decompressor: whole images, and packets held against their own heads before they are decoded.
#include <algorithm>
#include <climits>

#include "codecs/jpeg/jpeg_codec.h"
#include "codecs/jpeg/packet_slice.h"
#include "codecs/jpeg/packet_view.h"
#include "qrx/front_end.h"

namespace qrx::codec {
namespace {

int clampToInt(std::uint32_t value) {
  return static_cast<int>(std::min<std::uint32_t>(value, INT_MAX));
}

// A distance between two 16-bit coordinates, modulo 65536 as a signed number.
int distance(std::int16_t from, std::int16_t to) {
  return static_cast<std::int16_t>(static_cast<std::uint16_t>(to - from));
}

// Where a packet's cells lie in its rectangle.
struct PacketPlace {
  PacketSlice slice;
  PacketCells cells;
  int firstRow;  // MCU row of the first MCU, from the top
  int xOffset;
};

// The lower edge of MCU row `row`, counted up from the rectangle's lower edge: the last row is
// clamped there.
int lowerEdge(int row, int mcuHeight, int frameHeight) {
  return std::max(0, frameHeight - (row + 1) * mcuHeight);
}

// Height that the writer gives a packet from row `first` to row `last`.
int packetHeight(int first, int last, int mcuHeight, int frameHeight) {
  const int upper = std::min(lowerEdge(first, mcuHeight, frameHeight) + mcuHeight, frameHeight);
  return upper - lowerEdge(last, mcuHeight, frameHeight);
}

// Holds a packet's head against its slice. None where they disagree or the packet's cells are not
// cells of its rectangle.
std::optional<PacketPlace> locate(const udp_header& head, const std::uint8_t* slice, int length) {
  const auto parsed = parseSlice(slice, length);
  if (!parsed || parsed->mcuWidth != mcuWidthOf(head) || parsed->mcuHeight != mcuHeightOf(head) ||
      parsed->width != static_cast<std::uint16_t>(head.width) ||
      parsed->height != static_cast<std::uint16_t>(head.height)) {
    return std::nullopt;
  }
  PacketPlace place = {*parsed, {}, 0, distance(head.frameX, head.x)};
  const auto cells = packetCells(*parsed, head.mcuCount, place.xOffset, head.frameWidth);
  if (!cells) return std::nullopt;
  place.cells = *cells;
  if (cells->count == 0) return place;

  // Where the height is no whole number of MCUs, only the last row's lower edge is clamped.
  const int fromTop = head.frameHeight - distance(head.frameY, head.y);
  if (fromTop < 1 || fromTop > head.frameHeight) return std::nullopt;
  const int mcuHeight = parsed->mcuHeight;
  place.firstRow = (fromTop + mcuHeight - 1) / mcuHeight - 1;
  const int lastRow = place.firstRow + cells->rows - 1;
  if (head.frameHeight - fromTop != lowerEdge(place.firstRow, mcuHeight, head.frameHeight) ||
      lastRow >= packetGrid(head).down ||
      parsed->height != packetHeight(place.firstRow, lastRow, mcuHeight, head.frameHeight)) {
    return std::nullopt;
  }
  return place;
}

// Pixels from the destination's start to the end of the packet's last own pixel.
std::int64_t pixelsNeeded(const PacketPlace& place, const udp_header& head) {
  const int last = place.cells.rows - 1;
  const int right = (place.cells.columnOf(last) + place.cells.countIn(last)) * place.slice.mcuWidth;
  const int bottom =
      std::min((place.firstRow + last + 1) * place.slice.mcuHeight, int{head.frameHeight});
  return std::int64_t{bottom - 1} * head.frameWidth + std::min(right, int{head.frameWidth});
}

}  // namespace

JpegDecompressor::JpegDecompressor(JpegCodec* owner) : codec_(owner) {}

JpegDecompressor::~JpegDecompressor() = default;

int JpegDecompressor::setAttribute(const char*, const char*) { return 1; }

bool JpegDecompressor::decompress(const Buffer* buffer, std::uint32_t bytesPerPixel, std::uint32_t,
                                  std::uint8_t* destination, std::uint32_t destinationSize) {
  if (buffer == nullptr) return false;
  return DecompressPatch(buffer->data, clampToInt(bytesPerPixel), 0, 0, 0, 0,
                         clampToInt(destinationSize), clampToInt(buffer->size), destination) != 0;
}

bool JpegDecompressor::decompressTile(const Buffer* buffer, std::uint32_t bytesPerPixel,
                                      std::uint32_t, std::uint8_t* destination,
                                      std::uint32_t destinationSize) {
  const auto head = readHead(buffer);
  if (!head || destination == nullptr || (bytesPerPixel != 3 && bytesPerPixel != 4)) return false;
  constexpr int kHeadSize = sizeof(udp_header);
  if (head->headerSize != kHeadSize || head->dataEnd < kHeadSize ||
      std::int64_t{head->dataEnd} + 2 > buffer->size) {
    return false;
  }
  const std::uint8_t* slice = buffer->data + kHeadSize;
  const int length = head->dataEnd - kHeadSize;
  const auto place = locate(*head, slice, length);
  if (!place) return false;
  if (place->cells.count == 0) return true;

  // What getOutputSize can't tell, no host vouches for.
  if (destinationSize == 0 && outputSize(*head, bytesPerPixel) > UINT32_MAX) return false;
  const std::int64_t rectangle = std::int64_t{head->frameWidth} * head->frameHeight * bytesPerPixel;
  const std::int64_t bound = destinationSize == 0 ? rectangle : std::int64_t{destinationSize};
  if (pixelsNeeded(*place, *head) * bytesPerPixel > bound) return false;
  const std::int64_t offset =
      std::int64_t{head->frameWidth} * place->firstRow * place->slice.mcuHeight * bytesPerPixel;
  const std::int64_t room = std::min(bound, rectangle) - offset;
  return DecompressTilesPatch(slice, static_cast<int>(bytesPerPixel),
                              static_cast<int>(std::min<std::int64_t>(room, INT_MAX)), length,
                              head->mcuCount, place->xOffset, head->frameWidth,
                              destination + offset) != 0;
}

}  // namespace qrx::codec
