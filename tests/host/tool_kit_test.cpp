// The sample host's parts that tests, demo and benchmarks rely on.
#include <gtest/gtest.h>
#include <png.h>

#include <string>

#include "tools/image/image_io.h"
#include "tools/jpeg/walk.h"
#include "tools/scene/scene_renderer.h"
#include "tools/support/error.h"

namespace qrx::tool {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes bytesOf(std::string_view text) { return Bytes(text.begin(), text.end()); }

// A PNG of another program's making.
Bytes makePng(png_uint_32 format, Size size, const void* pixels, const void* colourMap = nullptr,
              png_uint_32 colours = 0) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(size.width);
  image.height = static_cast<png_uint_32>(size.height);
  image.format = format;
  image.colormap_entries = colours;
  png_alloc_size_t length = 0;
  png_image_write_get_memory_size(image, length, 0, pixels, 0, colourMap);
  Bytes data(length);
  EXPECT_NE(png_image_write_to_memory(&image, data.data(), &length, 0, pixels, 0, colourMap), 0);
  data.resize(length);
  return data;
}

TEST(ImageIo, MapsEveryPngKindToBgra) {
  const std::uint8_t gray[] = {7, 250};
  EXPECT_EQ(decodePng(makePng(PNG_FORMAT_GRAY, {2, 1}, gray)).pixels,
            (Bytes{7, 7, 7, 255, 250, 250, 250, 255}));
  const std::uint8_t grayAlpha[] = {7, 3, 250, 0};
  EXPECT_EQ(decodePng(makePng(PNG_FORMAT_GA, {2, 1}, grayAlpha)).pixels,
            (Bytes{7, 7, 7, 3, 250, 250, 250, 0}));
  const std::uint8_t colour[] = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(decodePng(makePng(PNG_FORMAT_RGB, {2, 1}, colour)).pixels,
            (Bytes{3, 2, 1, 255, 6, 5, 4, 255}));
  const std::uint8_t indices[] = {1, 0};
  const std::uint8_t map[] = {10, 20, 30, 255, 40, 50, 60, 128};
  EXPECT_EQ(decodePng(makePng(PNG_FORMAT_RGBA_COLORMAP, {2, 1}, indices, map, 2)).pixels,
            (Bytes{60, 50, 40, 128, 30, 20, 10, 255}));
  // 128 of 65535 rounds to 0, 129 to 1.
  const std::uint16_t wide[] = {65535, 129, 128, 0x8080, 0, 65535};
  EXPECT_EQ(decodePng(makePng(PNG_FORMAT_LINEAR_RGB, {2, 1}, wide)).pixels,
            (Bytes{0, 1, 255, 255, 255, 0, 128, 255}));
}

TEST(ImageIo, ReadsPnm) {
  struct {
    std::string text;
    Bytes pixels;
  } const cases[] = {
      {"P2 2 1 255 0 255", {0, 0, 0, 255, 255, 255, 255, 255}},
      {"P2\n# a comment\n1 1 # another\n15\n7", {119, 119, 119, 255}},
      {"P3 1 1 255 1 2 3", {3, 2, 1, 255}},
      {"P5 2 1 255\nab", {'a', 'a', 'a', 255, 'b', 'b', 'b', 255}},
      {"P6 1 1 255\nabc", {'c', 'b', 'a', 255}},
      {std::string("P5 1 1 65535\n\x80\x80", 15), {128, 128, 128, 255}},
  };
  for (const auto& c : cases) EXPECT_EQ(decodePnm(bytesOf(c.text)).pixels, c.pixels) << c.text;
  for (const char* text :
       {"P6", "P6 1", "P6 1 1", "P6 0 1 255\n", "P6 1 1 0\nabc", "P6 1 1 255\nab",
        "P6 1 1 65536\nabcdef", "P6 99999 99999 255\nabc", "P3 2 2 255 1 2 3", "P2 1 1 255 256",
        "P5 -1 1 255\nabc", "P2 1 1 255 x"}) {
    EXPECT_THROW(decodePnm(bytesOf(text)), Error) << text;
  }
}

std::string damageOf(const Bytes& data) {
  std::string all;
  for (const std::string& text : walkJpeg(data).damage) all += text + "; ";
  return all;
}

TEST(JpegWalk, TellsDamageInHandMadeStreams) {
  const Bytes soi = {0xFF, 0xD8}, eoi = {0xFF, 0xD9};
  const Bytes frame = {0xFF, 0xC0, 0, 11, 8, 0, 8, 0, 8, 1, 1, 0x11, 0};
  const Bytes scan = {0xFF, 0xDA, 0, 8, 1, 1, 0, 0, 63, 0, 0x55};
  const Bytes dc = {0xFF, 0xC4, 0, 20, 0x00, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5};
  const Bytes ac = {0xFF, 0xC4, 0, 20, 0x10, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  const Bytes overfull = {0xFF, 0xC4, 0, 22, 0x00, 3, 0, 0, 0, 0, 0, 0,
                          0,    0,    0, 0,  0,    0, 0, 0, 0, 1, 2, 3};
  Bytes quant = {0xFF, 0xDB, 0, 67, 0};
  quant.resize(69, 1);
  const auto join = [](std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
  };
  struct {
    Bytes data;
    const char* damage;
  } const cases[] = {
      {join({soi, quant, frame, dc, ac, scan, eoi}), ""},
      {join({soi, quant, frame, dc, ac, scan, eoi, eoi}), ""},
      {join({soi, {0xFF, 0xFF, 0xFF}, quant, frame, dc, ac, scan, eoi}), ""},
      {join({soi, {1, 2}, quant, frame, dc, ac, scan, eoi}), "stray bytes at 2; "},
      {join({soi, frame, dc, ac, scan, eoi}), "a quantisation table is missing; "},
      {join({soi, quant, frame, dc, scan, eoi}), "a Huffman table is missing; "},
      {join({soi, quant, frame, overfull, ac, scan, eoi}),
       "DHT whose codes do not fit in their lengths; "},
      {join({soi, quant, frame, frame, dc, ac, scan, eoi}),
       "there is more than one frame header; "},
      {join({soi, quant, dc, ac, scan, eoi}), "there is no frame header; "},
      {join({soi, quant, frame, dc, ac, eoi}), "there is no scan; "},
      {join({soi, quant, frame, dc, ac, scan, {0xFF, 0xD0, 0x11}, eoi}),
       "restart markers without a restart interval; "},
      {join({soi, {0xFF, 0xFE, 0, 1}, quant, frame, dc, ac, scan, eoi}),
       "COM at 2 has a length below 2; "},
  };
  for (const auto& c : cases) EXPECT_EQ(damageOf(c.data), c.damage);
}

TEST(JpegWalk, EndsOnEveryCutAndEveryFlippedBit) {
  Bytes data = {0xFF, 0xD8, 0xFF, 0xDD, 0, 4,    0,    1,    0xFF, 0xC2, 0,   11, 8,
                0,    8,    0,    8,    1, 1,    0x11, 0,    0xFF, 0xDA, 0,   8,  1,
                1,    0,    0,    0,    0, 0x55, 0xFF, 0xD0, 1,    0xFF, 0xD9};
  for (std::size_t length = 0; length < data.size(); ++length) {
    EXPECT_FALSE(walkJpeg(std::span(data).first(length)).damage.empty());
  }
  for (std::size_t bit = 0; bit < data.size() * 8; ++bit) {
    data[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
    EXPECT_LE(walkJpeg(data).segments.size(), data.size());
    data[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
  }
}

}  // namespace
}  // namespace qrx::tool
