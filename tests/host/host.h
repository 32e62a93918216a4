// The library in the hands of a test that stands for a foreign host: loaded at run time, nothing of
// it linked.
#ifndef QRX_TESTS_HOST_HOST_H_
#define QRX_TESTS_HOST_HOST_H_

#include <string>
#include <vector>

#include "qrx/codec.h"
#include "tests/support/pictures.h"
#include "tools/host/frame.h"
#include "tools/host/library.h"

namespace qrx::test {

struct Host {
  Host() {
    library.initCodec()();
    codec = library.createCodec()();
  }
  ~Host() { codec->release(); }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  codec::Compressor& compressor() { return *codec->getCompressor(); }
  codec::Decompressor& decompressor() { return *codec->getDecompressor(); }
  template <typename T>
  T symbol(const char* name) const {
    return reinterpret_cast<T>(library.symbol(name));
  }

  tool::Library library{QRX_LIBRARY_PATH};
  codec::Codec* codec;
};

// What a host's callback finds behind userData: byte 4 goes into every packet's head.
struct PacketSink {
  std::uint8_t block[8] = {0, 1, 2, 3, 0x99, 5, 6, 7};
  std::vector<Bytes> packets;

  static void take(std::uint8_t* data, std::uint32_t size, void* userData) {
    static_cast<PacketSink*>(userData)->packets.emplace_back(data, data + size);
  }
};

inline std::vector<Bytes> compressPackets(codec::Compressor& compressor, const Image& image,
                                          unsigned quality, std::uint32_t x = 0,
                                          std::uint32_t y = 0) {
  PacketSink sink;
  const bool done = compressor.compress(
      image.pixels.data(), 4, 0xDEADBEEF, 3, x, y, static_cast<std::uint32_t>(image.size.width),
      static_cast<std::uint32_t>(image.size.height), 8, 9, quality, PacketSink::take, &sink);
  return done ? sink.packets : std::vector<Bytes>();
}

// A Buffer over bytes that stay the caller's.
inline Buffer bufferOver(Bytes& bytes) {
  return {nullptr, bytes.data(), static_cast<std::uint32_t>(bytes.size())};
}

}  // namespace qrx::test

#endif  // QRX_TESTS_HOST_HOST_H_
