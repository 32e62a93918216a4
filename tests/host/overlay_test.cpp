// Pictures that explain others: where two differ, and which packet brought what.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>

#include "tools/host/session.h"
#include "tools/image/compare.h"
#include "tools/live/packet_colours.h"
#include "tools/live/rectangle_encoder.h"
#include "tools/live/unpacking.h"

namespace qrx::tool {
namespace {

using Colours = std::array<int, 3>;  // blue, green, red

Colours at(const Image& image, int x, int y) {
  const std::uint8_t* pixel = image.row(y) + x * Image::kBytesPerPixel;
  return {pixel[0], pixel[1], pixel[2]};
}

bool isGray(const Colours& c) {
  return *std::max_element(c.begin(), c.end()) - *std::min_element(c.begin(), c.end()) <= 3;
}

TEST(Compare, FindsWhereTwoPicturesDiffer) {
  const Size size{150, 70};  // blocks of 64 at the edges are cut
  const Image a(size, 100);
  Image b = a;
  struct Change {
    int x, y, by;
    int worstX, worstY;  // from then on
  };
  int changed = 0;
  for (const Change& c : {Change{149, 69, 2, 128, 64}, Change{10, 3, 20, 0, 0},
                          Change{64, 63, 30, 64, 0}, Change{100, 69, 155, 64, 64}}) {
    b.row(c.y)[c.x * Image::kBytesPerPixel + 1] += static_cast<std::uint8_t>(c.by);
    const Difference difference = compareImages(a, b);
    EXPECT_EQ(difference.worstX, c.worstX);
    EXPECT_EQ(difference.worstY, c.worstY);
    EXPECT_EQ(difference.largest, c.by);
    EXPECT_NEAR(difference.differing, 100.0 * ++changed / (150 * 70), 1e-9);
  }
  b.pixels[3] = 7;  // alpha does not count
  const Image map = differenceMap(a, b);
  std::size_t coloured = 0;
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) coloured += isGray(at(map, x, y)) ? 0 : 1;
  }
  EXPECT_EQ(coloured, 4U);
  // From blue by way of red to yellow.
  const Colours slight = at(map, 149, 69), more = at(map, 10, 3), most = at(map, 100, 69);
  EXPECT_GT(slight[0], slight[2]);
  EXPECT_GT(more[2], more[0]);
  EXPECT_GT(most[1], 150);
  EXPECT_GT(most[2], 200);
  EXPECT_THROW(compareImages(a, Image({150, 71})), Error);
}

// MCUs of 16x16, three in a row: packet 0 has two, packet 1 the third and the first of the next
// row, and the rest did not come.
TEST(PacketColours, TellPacketsApart) {
  const PacketCells grid{16, 16, 3, 2, 0, 0};
  PacketPlace first{{8, 8, 56, 40}, grid, 0}, second{{8, 8, 56, 40}, grid, 1};
  first.cells.count = 2;
  second.cells.first = 2;
  second.cells.count = 2;
  Image window({64, 40}, 128);
  colourPackets(window, std::array{first, second});
  const Colours one = at(window, 15, 15), two = at(window, 47, 15), missing = at(window, 47, 35);
  EXPECT_FALSE(isGray(one));
  EXPECT_FALSE(isGray(two));
  EXPECT_NE(one, two);
  EXPECT_TRUE(isGray(missing));
  EXPECT_EQ(at(window, 2, 2), missing);  // outside of the rectangle
  EXPECT_EQ(at(window, 31, 15), one);
  EXPECT_EQ(at(window, 23, 15), one);  // no edge inside of a packet
  EXPECT_EQ(at(window, 24, 15), one);
  EXPECT_EQ(at(window, 15, 32), two);
  EXPECT_EQ(at(window, 30, 32), missing);
  for (const auto& [x, y] :
       {std::pair{39, 15}, {40, 15}, {8, 15}, {55, 15}, {15, 8}, {8, 30}, {23, 30}, {47, 23}}) {
    const Colours edge = at(window, x, y);
    EXPECT_GT(*std::min_element(edge.begin(), edge.end()), 200) << x << ", " << y;
  }
}

// What is coloured is what came of the last frame, whatever is overtaken on the way.
TEST(PacketColours, AreThoseOfWhatCame) {
  Session session{{QRX_LIBRARY_PATH, {}}};
  Image picture({320, 200});
  std::minstd_rand noise(5);
  for (std::uint8_t& byte : picture.pixels) byte = static_cast<std::uint8_t>(100 + noise() % 150);
  std::vector<Packet> packets =
      encodeRectangle(session.compressor(), picture, wholeImage(picture), {}).packets;
  ASSERT_GT(packets.size(), 20U);
  UnpackRequest request;
  request.network = {.loss = 0.3, .reorder = 0.5, .seed = 3};
  const Unpacked plain = unpackPackets(session.decompressor(), packets, request);
  EXPECT_EQ(plain.latest.size(), packets.size() - plain.network.lost);
  request.packets = true;
  const Image coloured = unpackPackets(session.decompressor(), packets, request).picture;
  Image dark({1, 1});
  colourPackets(dark, {});
  std::size_t missing = 0;
  for (int y = 0; y < picture.size.height; ++y) {
    for (int x = 0; x < picture.size.width; ++x) {
      const bool hole = at(plain.picture, x, y) == Colours{};
      ASSERT_EQ(at(coloured, x, y) == at(dark, 0, 0), hole) << x << ", " << y;
      missing += hole ? 1 : 0;
    }
  }
  EXPECT_GT(missing, 1000U);

  // Of a film, of the last frame only.
  RectangleJob next;
  next.index = 2;
  next.contextByte = 1;
  for (Packet& packet :
       encodeRectangle(session.compressor(), picture, wholeImage(picture), next).packets) {
    packets.push_back(std::move(packet));
  }
  const Unpacked film = unpackPackets(session.decompressor(), packets, request);
  EXPECT_LT(film.latest.size(), packets.size() / 2);
  EXPECT_GT(film.latest.size(), packets.size() / 4);
}

}  // namespace
}  // namespace qrx::tool
