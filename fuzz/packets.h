// Packets for targets: rectangles of pictures that the input chooses, compressed and taken in.
#ifndef QRX_FUZZ_PACKETS_H_
#define QRX_FUZZ_PACKETS_H_

#include <cstring>
#include <vector>

#include "fuzz/kit.h"
#include "fuzz/roads.h"
#include "qrx/front_end.h"

namespace fuzz {

// A picture of four bytes a pixel: flat parts, gradients and noise.
inline Bytes anyPicture(Input& input, int width, int height) {
  Bytes pixels(std::size_t(4) * std::size_t(width) * std::size_t(height));
  const int noise = 1 + input.below(256), slope = input.below(8), period = 1 + input.below(64);
  std::uint32_t random = input.value<std::uint32_t>();
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    random = random * 1664525u + 1013904223u;
    const auto place = i / 4;
    const bool isFlat = place / static_cast<std::size_t>(period) % 2 == 0;
    pixels[i] = static_cast<std::uint8_t>(place * static_cast<std::size_t>(slope) / 4 + i % 4 * 40 +
                                          (isFlat ? 0 : (random >> 24) % unsigned(noise)));
  }
  return pixels;
}

struct Rectangle {
  int width = 0, height = 0, sampling = 0;
  int mcuWidth = 8, mcuHeight = 8, across = 0, down = 0;
  std::vector<Bytes> packets;

  std::size_t pixels() const { return std::size_t(width) * std::size_t(height); }
};

inline udp_header headOf(const Bytes& packet) {
  udp_header head;
  std::memcpy(&head, packet.data(), sizeof head);
  return head;
}

struct Place {
  std::int16_t left, bottom;
};

// The packets of a picture.
inline Rectangle rectangleOf(const Bytes& picture, int width, int height, int sampling, int quality,
                             Place place) {
  constexpr std::uint8_t kShapes[] = {0x11, 0x21, 0x22};
  decompressor();  // starts the library
  Rectangle made;
  made.sampling = sampling;
  made.width = width;
  made.height = height;
  made.mcuWidth = sampling == 0 ? 8 : 16;
  made.mcuHeight = sampling == 2 ? 16 : 8;
  made.across = (width + made.mcuWidth - 1) / made.mcuWidth;
  made.down = (height + made.mcuHeight - 1) / made.mcuHeight;
  const auto shortWidth = static_cast<std::int16_t>(width);
  const auto shortHeight = static_cast<std::int16_t>(height);
  udp_header head = {32,         77,          231,        kShapes[sampling], 0,
                     0,          5,           9,          place.left,        place.bottom,
                     shortWidth, shortHeight, place.left, place.bottom,      shortWidth,
                     shortHeight};
  const qrxTilesArgs_type args = {1972, quality, sampling, 6408, 0};
  CompressTilesPatch(
      picture.data(), 4, width, height, &head, &args,
      [](std::uint8_t* packet, int length, void* list) {
        packet[2] = 1;  // as a receiver sees it
        static_cast<std::vector<Bytes>*>(list)->emplace_back(packet, packet + length);
      },
      &made.packets);
  return made;
}

inline Rectangle anyRectangle(Input& input, int mostSide) {
  const int sampling = input.below(3);
  const int width = input.sizeUpTo(mostSide), height = input.sizeUpTo(mostSide);
  const Bytes picture = anyPicture(input, width, height);
  const int quality = 1 + input.below(97);
  const auto left = input.value<std::int16_t>(), bottom = input.value<std::int16_t>();
  return rectangleOf(picture, width, height, sampling, quality, {left, bottom});
}

inline bool take(const Bytes& packet, std::uint32_t bytesPerPixel, Bytes& destination) {
  const qrx::Buffer buffer = {nullptr, const_cast<std::uint8_t*>(packet.data()),
                              static_cast<std::uint32_t>(packet.size())};
  return decompressor()->decompressTile(&buffer, bytesPerPixel, qrx::codec::kFormatRgba,
                                        destination.data(),
                                        static_cast<std::uint32_t>(destination.size()));
}

}  // namespace fuzz

#endif  // QRX_FUZZ_PACKETS_H_
