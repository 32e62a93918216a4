// The calls of the contract, bound to what they need.
#include "tools/host/roads.h"

#include <memory>

#include "tools/host/frame.h"
#include "tools/support/error.h"

namespace qrx::tool {
namespace {

using Packets = std::vector<std::vector<std::uint8_t>>;

// MCUs are up to 16 lines high, and packets bring whole ones at the lower and right edges.
constexpr int kLargestMcu = 16;

void noteSize(std::uint8_t* data, std::uint32_t size, void* userData) {
  *static_cast<std::size_t*>(userData) = isCompleteJpeg({data, size}) ? size : 0;
}

void addSize(std::uint8_t*, std::uint32_t size, void* userData) {
  *static_cast<std::size_t*>(userData) += size;
}

void keepPacket(std::uint8_t* data, std::uint32_t size, void* userData) {
  static_cast<Packets*>(userData)->emplace_back(data, data + size);
}

// Every packet of the picture goes to `callback`. The library reads the fifth byte of what
// `userData` points at.
template <typename T>
void compressPackets(codec::Compressor& compressor, const RoadCase& c,
                     codec::CompressCallback callback, T* userData) {
  static_assert(sizeof(T) >= 5);
  if (!compressor.compress(c.image.pixels.data(), Image::kBytesPerPixel, 1, 1, 0, 0,
                           static_cast<std::uint32_t>(c.image.size.width),
                           static_cast<std::uint32_t>(c.image.size.height), 0, 0, c.quality,
                           callback, userData)) {
    throw Error("the library refused the rectangle");
  }
}

Buffer bufferOf(std::vector<std::uint8_t>& data) {
  return {nullptr, data.data(), static_cast<std::uint32_t>(data.size())};
}

}  // namespace

Work frameOut(Session& session, const RoadCase& c) {
  return [&compressor = session.compressor(), c] {
    std::size_t bytes = 0;
    compressor.compress(c.image.pixels.data(), Image::kBytesPerPixel, 0, 0, 0, 0,
                        static_cast<std::uint32_t>(c.image.size.width),
                        static_cast<std::uint32_t>(c.image.size.height), 0, c.quality, noteSize,
                        &bytes);
    if (bytes == 0) throw Error("the library gave no complete image");
    return bytes;
  };
}

std::vector<std::uint8_t> compressWhole(Session& session, const RoadCase& c) {
  std::vector<std::uint8_t> data = compressFrame(session.compressor(), c.image, c.quality);
  if (!isCompleteJpeg(data)) throw Error("the library gave no complete image");
  return data;
}

Work frameIn(Session& session, const RoadCase& c) {
  const auto stream = std::make_shared<std::vector<std::uint8_t>>(compressWhole(session, c));
  const auto target = std::make_shared<Image>(c.image.size);
  return [&decompressor = session.decompressor(), stream, target] {
    const Buffer buffer = bufferOf(*stream);
    if (!decompressor.decompress(&buffer, Image::kBytesPerPixel, codec::kFormatRgba,
                                 target->pixels.data(),
                                 static_cast<std::uint32_t>(target->pixels.size()))) {
      throw Error("the library refused the image");
    }
    return stream->size();
  };
}

Work packetsOut(Session& session, const RoadCase& c) {
  return [&compressor = session.compressor(), c] {
    std::size_t bytes = 0;
    compressPackets(compressor, c, addSize, &bytes);
    return bytes;
  };
}

Work packetsIn(Session& session, const RoadCase& c) {
  const auto packets = std::make_shared<Packets>();
  compressPackets(session.compressor(), c, keepPacket, packets.get());
  const auto target = std::make_shared<Image>(
      Size{c.image.size.width + kLargestMcu, c.image.size.height + kLargestMcu});
  return [&decompressor = session.decompressor(), packets, target] {
    std::size_t bytes = 0;
    for (std::vector<std::uint8_t>& packet : *packets) {
      const Buffer buffer = bufferOf(packet);
      if (!decompressor.decompressTile(&buffer, Image::kBytesPerPixel, codec::kFormatRgba,
                                       target->pixels.data(), 0)) {
        throw Error("the library refused a packet");
      }
      bytes += packet.size();
    }
    return bytes;
  };
}

}  // namespace qrx::tool
