// A rectangle's packets, for tests of both packet roads.
#include "tests/unit/codecs/packet_run.h"

#include <gtest/gtest.h>

#include <cstring>

#include "qrx/front_end.h"

namespace qrx::test {
namespace {

constexpr std::uint32_t kRgba = 6408;

void collect(std::uint8_t* packet, int length, void* context) {
  static_cast<std::vector<Bytes>*>(context)->emplace_back(packet, packet + length);
}

}  // namespace

udp_header headOf(const Bytes& packet) {
  udp_header head;
  std::memcpy(&head, packet.data(), sizeof head);
  return head;
}

void setHead(Bytes& packet, const udp_header& head) {
  std::memcpy(packet.data(), &head, sizeof head);
}

PacketRun::PacketRun(Image picture, int mcuSampling, int jpegQuality, int x, int y, int index)
    : image(std::move(picture)),
      sampling(mcuSampling),
      quality(jpegQuality),
      mcuWidth(sampling == 0 ? 8 : 16),
      mcuHeight(sampling == 2 ? 16 : 8),
      across((image.size.width + mcuWidth - 1) / mcuWidth),
      down((image.size.height + mcuHeight - 1) / mcuHeight) {
  decompressor();  // starts the library
  const auto low = [](int value) { return static_cast<std::int16_t>(value); };
  udp_header head{};
  head.headerSize = kHead;
  head.contextByte = 77;
  head.kind = 231;
  head.mcuShape = static_cast<std::uint8_t>(mcuWidth * 2 + mcuHeight / 8);
  head.window = 0xCAFEF00D;
  head.index = index;
  head.x = head.frameX = low(x);
  head.y = head.frameY = low(y);
  head.width = head.frameWidth = low(image.size.width);
  head.height = head.frameHeight = low(image.size.height);
  const qrxTilesArgs_type args = {1972, quality, sampling, 6408, 0};
  EXPECT_EQ(CompressTilesPatch(image.pixels.data(), 4, image.size.width, image.size.height, &head,
                               &args, collect, &packets),
            1);
}

std::vector<int> PacketRun::owners() const {
  std::vector<int> result;
  for (std::size_t i = 0; i < packets.size(); ++i) {
    const int count = headOf(packets[i]).mcuCount;
    result.insert(result.end(), static_cast<std::size_t>(count), static_cast<int>(i));
  }
  return result;
}

std::ostream& operator<<(std::ostream& out, const PacketRun& run) {
  return out << run.image.size.width << "x" << run.image.size.height << ", sampling "
             << run.sampling << ", quality " << run.quality << ", " << run.packets.size()
             << " packets";
}

codec::Decompressor& decompressor() {
  static codec::Codec* const codec = [] {
    initCodec();
    return createCodec();
  }();
  return *codec->getDecompressor();
}

bool decodePacket(const Bytes& packet, int bytesPerPixel, std::uint8_t* destination,
                  std::size_t size) {
  const Buffer buffer{nullptr, const_cast<std::uint8_t*>(packet.data()),
                      static_cast<std::uint32_t>(packet.size())};
  return decompressor().decompressTile(&buffer, static_cast<std::uint32_t>(bytesPerPixel), kRgba,
                                       destination, static_cast<std::uint32_t>(size));
}

}  // namespace qrx::test
