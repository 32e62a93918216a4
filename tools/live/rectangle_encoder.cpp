// The packet call of the contract with its callback.
#include "tools/live/rectangle_encoder.h"

#include <algorithm>
#include <cstring>

namespace qrx::tool {
namespace {

// The block at userData: its fifth byte goes into every packet's head.
struct CallContext {
  std::uint8_t unused[4] = {};
  std::uint8_t contextByte = 0;
  std::vector<Packet>* packets = nullptr;
};
static_assert(offsetof(CallContext, contextByte) == 4);

void takePacket(std::uint8_t* data, std::uint32_t size, void* userData) {
  if (size >= sizeof(udp_header)) qrxMarkPacket(data);
  static_cast<CallContext*>(userData)->packets->emplace_back(data, data + size);
}

std::vector<std::uint8_t> cutOut(const Image& picture, const Box& box) {
  const std::size_t step = static_cast<std::size_t>(box.width()) * Image::kBytesPerPixel;
  std::vector<std::uint8_t> pixels(step * static_cast<std::size_t>(box.height()));
  for (int y = box.top; y < box.bottom; ++y) {
    std::memcpy(pixels.data() + static_cast<std::size_t>(y - box.top) * step,
                picture.row(y) + box.left * Image::kBytesPerPixel, step);
  }
  return pixels;
}

bool bringsEveryMcu(const std::vector<Packet>& packets) {
  int total = -1, count = 0;
  for (const Packet& packet : packets) {
    const auto head = readHead(packet);
    const auto cells = head ? cellsOf(*head) : std::nullopt;
    if (!cells) return false;
    total = cells->total();
    count += cells->count;
  }
  return count == total;
}

}  // namespace

EncodedRectangle encodeRectangle(codec::Compressor& compressor, const Image& picture,
                                 const Box& box, const RectangleJob& job) {
  return encodePixels(compressor, cutOut(picture, box).data(), box, picture.size.height, job);
}

EncodedRectangle encodePixels(codec::Compressor& compressor, const std::uint8_t* pixels,
                              const Box& box, int windowHeight, const RectangleJob& job) {
  constexpr unsigned kLowestQuality = 5;
  const auto width = static_cast<std::uint32_t>(box.width());
  const auto height = static_cast<std::uint32_t>(box.height());
  EncodedRectangle result;
  for (result.quality = job.quality;; result.quality = result.quality * 3 / 4) {
    result.packets.clear();
    CallContext context{{}, job.contextByte, &result.packets};
    const bool taken = compressor.compress(
        pixels, Image::kBytesPerPixel, job.window, job.index, static_cast<std::uint32_t>(box.left),
        static_cast<std::uint32_t>(windowHeight - box.bottom), width, height, 0, 0, result.quality,
        takePacket, &context);
    result.complete = taken && bringsEveryMcu(result.packets);
    if (result.complete || !taken || result.quality < kLowestQuality) return result;
  }
}

}  // namespace qrx::tool
