// The read-only operations by which a host looks into a packet before it is decoded.
#include <cstring>

#include "codecs/jpeg/jpeg_codec.h"
#include "codecs/jpeg/packets/packet_head.h"

namespace qrx::codec {
namespace {

constexpr std::uint8_t kReceivedKind = 1;

std::uint32_t magnitude(std::int32_t value) {
  const auto bits = static_cast<std::uint32_t>(value);
  return value < 0 ? 0u - bits : bits;
}

}  // namespace

bool JpegDecompressor::isValid(const Buffer* buffer) {
  const auto head = readHead(buffer);
  return head && head->kind == kReceivedKind &&
         std::int64_t{buffer->size} - kEoiSize == head->dataEnd && mcuWidthOf(*head) != 0 &&
         mcuHeightOf(*head) != 0;
}

std::uint32_t JpegDecompressor::getOutputSize(const Buffer* buffer, std::uint32_t bytesPerPixel,
                                              std::uint32_t format) {
  const auto head = readHead(buffer);
  if (!head || format != kFormatRgba) return 0;
  const std::int64_t size = outputSize(*head, bytesPerPixel);
  return size <= UINT32_MAX ? static_cast<std::uint32_t>(size) : 0;
}

double JpegDecompressor::percentCoverage(Buffer* buffer) {
  const auto head = readHead(buffer);
  if (!head) return 0.0;
  if (head->index < 0) {
    const std::uint32_t index = magnitude(head->index);
    std::memcpy(buffer->data + offsetof(udp_header, index), &index, sizeof index);
  }
  const PacketGrid grid = packetGrid(*head);
  if (grid.across == 0) return 0.0;
  return head->mcuCount * 100.0 / static_cast<double>(grid.down * grid.across);
}

std::uint32_t JpegDecompressor::getWindow(const Buffer* buffer) {
  const auto head = readHead(buffer);
  return head ? head->window : 0;
}

std::uint32_t JpegDecompressor::getIndex(const Buffer* buffer) {
  const auto head = readHead(buffer);
  return head ? magnitude(head->index) : 0;
}

void JpegDecompressor::getDimensions(const Buffer* buffer, std::uint32_t* x, std::uint32_t* y,
                                     std::uint32_t* width, std::uint32_t* height) {
  const udp_header head = readHead(buffer).value_or(udp_header{});
  const auto widened = [](std::int16_t value) {
    return static_cast<std::uint32_t>(std::int32_t{value});
  };
  *x = widened(head.frameX);
  *y = widened(head.frameY);
  *width = widened(head.frameWidth);
  *height = widened(head.frameHeight);
}

}  // namespace qrx::codec
