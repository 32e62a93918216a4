// The sample host's parts that tests, demo and benchmarks rely on.
#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <string>

#include "tools/image/image_io.h"
#include "tools/jpeg/segments.h"
#include "tools/jpeg/walk.h"
#include "tools/scene/wandering_box.h"

namespace qrx::tool {
namespace {

using Bytes = std::vector<std::uint8_t>;

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
  const std::uint8_t bytes[] = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(decodePng(makePng(PNG_FORMAT_GRAY, {2, 1}, bytes)).pixels,
            (Bytes{1, 1, 1, 255, 2, 2, 2, 255}));
  EXPECT_EQ(decodePng(makePng(PNG_FORMAT_GA, {2, 1}, bytes)).pixels,
            (Bytes{1, 1, 1, 2, 3, 3, 3, 4}));
  EXPECT_EQ(decodePng(makePng(PNG_FORMAT_RGB, {2, 1}, bytes)).pixels,
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

// A profile with one tag, as far as libpng looks at it, and not too small when packed.
Bytes makeProfile(const std::string& space) {
  Bytes profile(512);
  for (std::size_t i = 144; i < profile.size(); ++i) {
    profile[i] = static_cast<std::uint8_t>(i * i * i >> 5);
  }
  const auto put = [&profile](std::size_t at, const std::string& text) {
    std::copy(text.begin(), text.end(), profile.begin() + static_cast<std::ptrdiff_t>(at));
  };
  put(0, std::string("\0\0\2\0", 4));
  put(12, "mntr" + space + "XYZ ");
  put(36, "acsp");
  put(68, std::string("\0\0\xF6\xD6\0\x01\0\0\0\0\xD3\x2D", 12));
  put(128, std::string("\0\0\0\1cprt\0\0\0\x90\0\0\0\x0C", 16));
  return profile;
}

TEST(Metadata, GoesThroughPngAndJpeg) {
  Image image({2, 1}, 0xFF);
  for (const bool gray : {false, true}) {
    image.gray = gray;
    const Metadata metadata{{'I', 'I', 42, 0, 8, 0, 0, 0, 0, 0},
                            makeProfile(gray ? "GRAY" : "RGB ")};
    EXPECT_TRUE(profileFits(metadata.icc, gray));
    EXPECT_FALSE(profileFits(metadata.icc, !gray));
    Metadata back;
    EXPECT_EQ(decodePng(encodePng(image, metadata), &back).gray, gray);
    EXPECT_EQ(back.exif, metadata.exif);
    EXPECT_EQ(back.icc, metadata.icc);
  }
  // A profile of three segments; one that lacks a part is none.
  const Bytes jpeg = {0xFF, 0xD8, 0xFF, 0xE0, 0, 2, 0xFF, 0xFE, 0, 3, 'x', 0xFF, 0xD9};
  const Metadata large{Bytes(65527, 1), Bytes(140000, 2)};
  Bytes stream = addMetadata(jpeg, large);
  Metadata back = readMetadata(stream, walkJpeg(stream));
  EXPECT_EQ(back.exif, large.exif);
  EXPECT_EQ(back.icc, large.icc);
  stream.erase(stream.begin() + 6 + 65537, stream.begin() + 6 + 65537 + 65537);
  EXPECT_TRUE(readMetadata(stream, walkJpeg(stream)).icc.empty());
  const Bytes bare = {0xFF, 0xD8, 0xFF, 0xE0, 0, 2, 0xFF, 0xD9};
  EXPECT_EQ(dropComments(jpeg), bare);
}

TEST(Metadata, SurvivesAnyExif) {
  Bytes exif = {'I', 'I', 42, 0, 8, 0, 0, 0, 1, 0, 0x12, 1, 3, 0, 1, 0, 0, 0, 6, 0, 0, 0};
  EXPECT_EQ(orientationOf(exif), 6);
  for (std::size_t bit = 0; bit < exif.size() * 8; ++bit) {
    Bytes damaged = exif;
    damaged[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
    Bytes cut(exif.begin(), exif.begin() + static_cast<std::ptrdiff_t>(bit / 8));
    for (Bytes* data : {&damaged, &cut}) {
      const int orientation = orientationOf(*data);
      EXPECT_TRUE(orientation >= 1 && orientation <= 8);
      setUpright(*data);
      EXPECT_EQ(orientationOf(*data), 1);
    }
  }
}

TEST(JpegWalk, TellsDamageInHandMadeStreams) {
  const Bytes soi = {0xFF, 0xD8}, eoi = {0xFF, 0xD9};
  const Bytes frame = {0xFF, 0xC0, 0, 11, 8, 0, 8, 0, 8, 1, 1, 0x11, 0};
  const Bytes scan = {0xFF, 0xDA, 0, 8, 1, 1, 0, 0, 63, 0, 0x55};
  const auto table = [](std::uint8_t id, std::uint8_t codes) {  // of one bit
    Bytes dht = {0xFF, 0xC4, 0, static_cast<std::uint8_t>(19 + codes), id, codes};
    dht.resize(21u + codes);
    return dht;
  };
  const Bytes dc = table(0, 1), ac = table(0x10, 1), overfull = table(0, 3);
  Bytes quant = {0xFF, 0xDB, 0, 67, 0};
  quant.resize(69, 1);
  const std::pair<std::vector<Bytes>, std::string> cases[] = {
      {{soi, quant, frame, dc, ac, scan, eoi}, ""},
      {{soi, {0xFF, 0xFF, 0xFF}, quant, frame, dc, ac, scan, eoi}, ""},
      {{soi, {1, 2}, quant, frame, dc, ac, scan, eoi}, "stray bytes at 2; "},
      {{soi, frame, dc, ac, scan, eoi}, "a quantisation table is missing; "},
      {{soi, quant, frame, dc, scan, eoi}, "a Huffman table is missing; "},
      {{soi, quant, frame, overfull, ac, scan, eoi},
       "DHT whose codes do not fit in their lengths; "},
      {{soi, quant, frame, frame, dc, ac, scan, eoi}, "there is more than one frame header; "},
      {{soi, quant, dc, ac, scan, eoi}, "there is no frame header; "},
      {{soi, quant, frame, dc, ac, eoi}, "there is no scan; "},
      {{soi, quant, frame, dc, ac, scan, {0xFF, 0xD0, 0x11}, eoi},
       "restart markers without a restart interval; "},
      {{soi, {0xFF, 0xFE, 0, 1}, quant, frame, dc, ac, scan, eoi},
       "COM at 2 has a length below 2; "},
  };
  for (const auto& [parts, expected] : cases) {
    Bytes data;
    for (const Bytes& part : parts) data.insert(data.end(), part.begin(), part.end());
    std::string damage;
    for (const std::string& text : walkJpeg(data).damage) damage += text + "; ";
    EXPECT_EQ(damage, expected);
    // A walk ends on every cut and every flipped bit.
    for (std::size_t bit = 0; bit < data.size() * 8; ++bit) {
      EXPECT_FALSE(walkJpeg(std::span(data).first(bit / 8)).damage.empty());
      data[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
      EXPECT_LE(walkJpeg(data).segments.size(), data.size());
      data[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
    }
  }
}

// What one frame leaves of the box the next takes away, whichever it is.
TEST(WanderingBox, FramesDependOnTheirNumberAlone) {
  constexpr Size kSize{160, 90};
  for (const double share : {0.02, 0.2, 0.9, 1.0}) {
    WanderingBox box(kSize, share);
    for (const int frame : {0, 1, 2, 3, 9, 8, 40, 39, 12, 12, 500}) {
      EXPECT_EQ(box.render(frame).pixels, WanderingBox(kSize, share).render(frame).pixels)
          << share << " " << frame;
    }
  }
}

}  // namespace
}  // namespace qrx::tool
