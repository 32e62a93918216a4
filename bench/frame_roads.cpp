// Both sides of each road. Neither copies its result: the frame is consumed where it stands.
#include "bench/frame_roads.h"

#include <turbojpeg.h>

#include <memory>

#include "tools/host/frame.h"
#include "tools/support/error.h"

namespace qrx::bench {
namespace {

struct TurboCloser {
  void operator()(void* handle) const { tjDestroy(handle); }
};
using TurboHandle = std::unique_ptr<void, TurboCloser>;

struct TurboFree {
  void operator()(unsigned char* data) const { tjFree(data); }
};

int turboSampling(tool::Sampling sampling) {
  constexpr int kValues[] = {TJSAMP_444, TJSAMP_422, TJSAMP_420};
  return kValues[static_cast<int>(sampling)];
}

void noteSize(std::uint8_t* data, std::uint32_t size, void* userData) {
  *static_cast<std::size_t*>(userData) = tool::isCompleteJpeg({data, size}) ? size : 0;
}

std::vector<std::uint8_t> compress(tool::Session& session, const FrameCase& frame) {
  std::vector<std::uint8_t> data =
      tool::compressFrame(session.compressor(), frame.image, static_cast<unsigned>(frame.quality));
  if (!tool::isCompleteJpeg(data)) throw tool::Error("the library gave no complete image");
  return data;
}

using Packets = std::vector<std::vector<std::uint8_t>>;

void addSize(std::uint8_t*, std::uint32_t size, void* userData) {
  *static_cast<std::size_t*>(userData) += size;
}

void keepPacket(std::uint8_t* data, std::uint32_t size, void* userData) {
  static_cast<Packets*>(userData)->emplace_back(data, data + size);
}

// Every packet of the frame goes to `callback`. The library reads a byte of what `userData` points
// at, so that it has to be five bytes long.
void compressPackets(codec::Compressor& compressor, const tool::Image& image, int quality,
                     codec::CompressCallback callback, void* userData) {
  const auto width = static_cast<std::uint32_t>(image.size.width);
  const auto height = static_cast<std::uint32_t>(image.size.height);
  if (!compressor.compress(image.pixels.data(), tool::Image::kBytesPerPixel, 1, 1, 0, 0, width,
                           height, 0, 0, static_cast<std::uint32_t>(quality), callback, userData)) {
    throw tool::Error("the library refused the rectangle");
  }
}

}  // namespace

Work encodeOurs(tool::Session& session, const FrameCase& frame) {
  codec::Compressor& compressor = session.compressor();
  const tool::Image& image = frame.image;
  const auto quality = static_cast<std::uint32_t>(frame.quality);
  return [&compressor, &image, quality] {
    std::size_t bytes = 0;
    compressor.compress(image.pixels.data(), tool::Image::kBytesPerPixel, 0, 0, 0, 0,
                        static_cast<std::uint32_t>(image.size.width),
                        static_cast<std::uint32_t>(image.size.height), 0, quality, noteSize,
                        &bytes);
    if (bytes == 0) throw tool::Error("the library gave no complete image");
    return bytes;
  };
}

Work encodeTheirs(tool::Session&, const FrameCase& frame) {
  const tool::Image& image = frame.image;
  const int sampling = turboSampling(frame.sampling), quality = frame.quality;
  const std::shared_ptr<void> handle = TurboHandle(tjInitCompress());
  unsigned long capacity = tjBufSize(image.size.width, image.size.height, sampling);
  const std::shared_ptr<unsigned char> buffer(tjAlloc(static_cast<int>(capacity)), TurboFree());
  return [handle, buffer, capacity, sampling, quality, &image] {
    unsigned char* target = buffer.get();
    unsigned long bytes = capacity;
    if (tjCompress2(handle.get(), image.pixels.data(), image.size.width,
                    static_cast<int>(image.stride()), image.size.height, TJPF_BGRX, &target, &bytes,
                    sampling, quality, TJFLAG_NOREALLOC) != 0) {
      throw tool::Error(tjGetErrorStr2(handle.get()));
    }
    return std::size_t{bytes};
  };
}

Work decodeOurs(tool::Session& session, const FrameCase& frame) {
  codec::Decompressor& decompressor = session.decompressor();
  const auto stream = std::make_shared<std::vector<std::uint8_t>>(compress(session, frame));
  const auto target = std::make_shared<tool::Image>(frame.image.size);
  return [&decompressor, stream, target] {
    const Buffer buffer{nullptr, stream->data(), static_cast<std::uint32_t>(stream->size())};
    const auto capacity = static_cast<std::uint32_t>(target->pixels.size());
    if (!decompressor.decompress(&buffer, tool::Image::kBytesPerPixel, 0, target->pixels.data(),
                                 capacity)) {
      throw tool::Error("the library refused the image");
    }
    return stream->size();
  };
}

Work decodeTheirs(tool::Session& session, const FrameCase& frame) {
  const std::shared_ptr<void> handle = TurboHandle(tjInitDecompress());
  const auto stream = std::make_shared<std::vector<std::uint8_t>>(compress(session, frame));
  const auto target = std::make_shared<tool::Image>(frame.image.size);
  return [handle, stream, target] {
    if (tjDecompress2(handle.get(), stream->data(), stream->size(), target->pixels.data(),
                      target->size.width, static_cast<int>(target->stride()), target->size.height,
                      TJPF_BGRX, 0) != 0) {
      throw tool::Error(tjGetErrorStr2(handle.get()));
    }
    return stream->size();
  };
}

Work packetsOut(tool::Session& session, const FrameCase& frame) {
  codec::Compressor& compressor = session.compressor();
  const tool::Image& image = frame.image;
  const int quality = frame.quality;
  return [&compressor, &image, quality] {
    std::size_t bytes = 0;
    compressPackets(compressor, image, quality, addSize, &bytes);
    return bytes;
  };
}

Work packetsIn(tool::Session& session, const FrameCase& frame) {
  codec::Decompressor& decompressor = session.decompressor();
  const auto packets = std::make_shared<Packets>();
  compressPackets(session.compressor(), frame.image, frame.quality, keepPacket, packets.get());
  // Room for whole MCUs at the lower edge.
  const auto target = std::make_shared<tool::Image>(
      tool::Size{frame.image.size.width, frame.image.size.height + 16});
  return [&decompressor, packets, target] {
    std::size_t bytes = 0;
    for (std::vector<std::uint8_t>& packet : *packets) {
      const Buffer buffer{nullptr, packet.data(), static_cast<std::uint32_t>(packet.size())};
      if (!decompressor.decompressTile(&buffer, tool::Image::kBytesPerPixel, 0,
                                       target->pixels.data(), 0)) {
        throw tool::Error("the library refused a packet");
      }
      bytes += packet.size();
    }
    return bytes;
  };
}

}  // namespace qrx::bench
