// The C interface: what it codes and decodes is held to the contract's functions and to an
// independent codec; what it refuses leaves everything as it was.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>

#include "qrx/front_end.h"
#include "qrx/qrx.hpp"
#include "tests/support/fenced_bytes.h"
#include "tests/support/peer_codec.h"
#include "tests/support/process.h"
#include "tests/unit/codec_kit.h"
#include "tools/jpeg/walk.h"

namespace qrx::test {
namespace {

constexpr Size kSize = {75, 45};
constexpr std::uint32_t kWidth = 75, kHeight = 45;

std::size_t bytesOf(int format) {
  return format == QRXC_GRAY ? 1 : format == QRXC_RGB || format == QRXC_BGR ? 3 : 4;
}

// The scene in a format, in rows without a gap.
Bytes pixelsIn(const Image& image, int format) {
  const bool isRgb = format == QRXC_RGB || format == QRXC_RGBX;
  Bytes result;
  for (std::size_t i = 0; i < image.pixels.size(); i += 4) {
    const std::uint8_t* const p = &image.pixels[i];
    const std::uint8_t pixel[] = {p[isRgb ? 2 : 0], p[1], p[isRgb ? 0 : 2],
                                  static_cast<std::uint8_t>(i / 64)};
    result.insert(result.end(), pixel, pixel + bytesOf(format));
  }
  return result;
}

// A picture that lies in memory by a stride, and nothing around it.
class Canvas {
 public:
  Canvas(int format, std::int64_t gap, bool isBottomUp, Fence fence)
      : line_(bytesOf(format) * kWidth),
        step_(static_cast<std::int64_t>(line_) + gap),
        isBottomUp_(isBottomUp),
        memory_(static_cast<std::size_t>(step_) * (kHeight - 1) + line_, fence) {
    layout = {isBottomUp ? -step_ : step_, kWidth, kHeight, format, 0};
    std::fill(memory_.bytes.begin(), memory_.bytes.end(), GuardedBuffer::kFill);
  }
  std::uint8_t* row(std::uint32_t y) {
    const std::int64_t at = step_ * (isBottomUp_ ? kHeight - 1 - y : y);
    return memory_.bytes.data() + at;
  }
  void set(const Bytes& tight) {
    for (std::uint32_t y = 0; y < kHeight; ++y) std::memcpy(row(y), &tight[y * line_], line_);
  }
  // The picture; what lies between its rows has to be as it was.
  Bytes content() {
    Bytes tight;
    std::size_t filled = 0;
    for (std::uint32_t y = 0; y < kHeight; ++y) {
      tight.insert(tight.end(), row(y), row(y) + line_);
      for (std::int64_t i = static_cast<std::int64_t>(line_); y > 0 && i < step_; ++i) {
        filled += (isBottomUp_ ? row(y) : row(y - 1))[i] == GuardedBuffer::kFill;
      }
    }
    EXPECT_EQ(filled, (kHeight - 1) * (static_cast<std::size_t>(step_) - line_));
    return tight;
  }

  qrxc_layout layout;

 private:
  std::size_t line_;
  std::int64_t step_;
  bool isBottomUp_;
  FencedBytes memory_;
};

struct Stride {
  std::int64_t gap;
  bool isBottomUp;
  Fence fence;
};
constexpr Stride kStrides[] = {{0, false, Fence::kAfter},
                               {5, false, Fence::kBefore},
                               {0, true, Fence::kAfter},
                               {0, true, Fence::kBefore},
                               {11, true, Fence::kAfter}};
constexpr int kFormats[] = {QRXC_GRAY, QRXC_RGB, QRXC_BGR, QRXC_RGBX, QRXC_BGRX, QRXC_CMYK};

class CInterface : public testing::Test {
 protected:
  static void SetUpTestSuite() { initCodecOnce(); }
  static void initCodecOnce() {
    jpeg_init();
    tiles_init();
  }

  Bytes encode(Canvas& canvas, int quality, int sampling) {
    const std::size_t bound = qrxc_bound(kWidth, kHeight, canvas.layout.format, sampling);
    Bytes jpeg(bound);
    std::size_t size = 0;
    EXPECT_EQ(qrxc_encode(coder.get(), canvas.row(0), &canvas.layout, quality, sampling,
                          jpeg.data(), bound, &size),
              QRXC_DONE)
        << qrxc_text(coder.get());
    jpeg.resize(size);
    return jpeg;
  }
  Bytes encode(int format, int quality, int sampling) {
    Canvas canvas(format, 0, false, Fence::kAfter);
    canvas.set(pixelsIn(scene, format));
    return encode(canvas, quality, sampling);
  }
  std::vector<Bytes> packets(Canvas& canvas, int sampling) {
    std::vector<Bytes> result;
    const qrxc_place place = {3, 7, -20, 30, 99, {}};
    const auto take = [](void* list, const std::uint8_t* bytes, std::size_t size) {
      static_cast<std::vector<Bytes>*>(list)->emplace_back(bytes, bytes + size);
    };
    EXPECT_EQ(qrxc_encode_packets(coder.get(), canvas.row(0), &canvas.layout, 90, sampling, &place,
                                  take, &result),
              QRXC_DONE);
    return result;
  }

  const Image scene = scenePicture(kSize);
  const std::unique_ptr<qrxc_coder, decltype(&qrxc_close)> coder{qrxc_open(), qrxc_close};
};

TEST_F(CInterface, FramesAreTheContractsWhateverTheStride) {
  for (const int format : kFormats) {
    for (const int sampling : {QRXC_444, QRXC_422, QRXC_420}) {
      Bytes first, shown;
      for (const Stride& s : kStrides) {
        SCOPED_TRACE(testing::Message() << "format " << format << ", sampling " << sampling
                                        << ", gap " << s.gap << (s.isBottomUp ? ", up" : ""));
        Canvas in(format, s.gap, s.isBottomUp, s.fence);
        in.set(pixelsIn(scene, format));
        const Bytes jpeg = encode(in, 90, sampling);
        if (first.empty()) first = jpeg;
        EXPECT_EQ(jpeg, first);
        Canvas out(format, s.gap, s.isBottomUp, s.fence);
        qrxc_report report = {};
        EXPECT_EQ(
            qrxc_decode(coder.get(), jpeg.data(), jpeg.size(), out.row(0), &out.layout, &report),
            QRXC_DONE)
            << qrxc_text(coder.get());
        EXPECT_EQ(report.rows, kHeight);
        EXPECT_EQ(report.covered, 1.0);
        const Bytes pixels = out.content();
        if (shown.empty()) shown = pixels;
        EXPECT_EQ(pixels, shown);
      }
      if (bytesOf(format) < 3 || format == QRXC_CMYK) continue;
      const bool isRgb = format == QRXC_RGB || format == QRXC_RGBX;
      const int channels = static_cast<int>(bytesOf(format));
      if (isRgb && channels == 4) continue;  // the contract has no such format
      const qrxJPEGArgs_type args = {1972, 90, sampling, isRgb ? 6407 : 6408, 0};
      std::uint8_t* output = nullptr;
      int size = 0;
      qrxReleaseFunction release = nullptr;
      const Bytes pixels = pixelsIn(scene, format);
      CompressPatch(pixels.data(), channels, kSize.width, kSize.height, &output, &release, &size,
                    &args);
      EXPECT_EQ(Bytes(output, output + size), first);
      release(output);
      if (isRgb) continue;
      Bytes contracts(shown.size(), GuardedBuffer::kFill);
      qrx_jpeg_decode(first.data(), static_cast<int>(first.size()), contracts.data(), 0, channels);
      EXPECT_EQ(shown, contracts);
    }
  }
}

// How far two pictures are apart, on average.
double distance(const Bytes& a, const Bytes& b) {
  EXPECT_EQ(a.size(), b.size());
  double sum = 0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += std::abs(a[i] - b[i]);
  return sum / static_cast<double>(a.size());
}

Bytes decodeAs(qrxc_coder* coder, const Bytes& jpeg, int format) {
  Canvas out(format, 0, false, Fence::kAfter);
  EXPECT_EQ(qrxc_decode(coder, jpeg.data(), jpeg.size(), out.row(0), &out.layout, nullptr),
            QRXC_DONE)
      << qrxc_text(coder);
  return out.content();
}

// Colours as an independent decoder shows them.
TEST_F(CInterface, ColoursAreTheOnesThatWereMeant) {
  for (const int format : {QRXC_GRAY, QRXC_RGB, QRXC_CMYK}) {
    const Bytes jpeg = encode(format, 95, QRXC_444);
    qrxc_info info = {};
    ASSERT_EQ(qrxc_read_info(coder.get(), jpeg.data(), jpeg.size(), &info), QRXC_DONE);
    EXPECT_EQ(info.format, format);
    const PeerPicture peer = runDjpeg(jpeg);
    EXPECT_EQ(peer.messages, "");
    EXPECT_LT(distance(decodeAs(coder.get(), jpeg, QRXC_BGR), channelsOf(peer.image, 3)), 1.5);
    EXPECT_LT(distance(decodeAs(coder.get(), jpeg, format), pixelsIn(scene, format)), 3.0);
  }
  // Without Adobe's segment C, M, Y and K stand as they are.
  Bytes plain = test::encode({pixelsIn(scene, QRXC_CMYK), kSize, JPEG_COLOR_CMYK, JPEG_COLOR_CMYK,
                              JPEG_SAMPLING_444, 95})
                    .bytes;
  const Bytes adobe = {'A', 'd', 'o', 'b', 'e'};
  const auto found = std::search(plain.begin(), plain.end(), adobe.begin(), adobe.end());
  ASSERT_NE(found, plain.end());
  *found = 'B';
  EXPECT_LT(distance(decodeAs(coder.get(), plain, QRXC_CMYK), pixelsIn(scene, QRXC_CMYK)), 3.0);
}

TEST_F(CInterface, TellsWhatAJpegIs) {
  const struct {
    const char* options;
    int components, color, sampling, mode;
  } cases[] = {{"-sample 2x2", 3, QRXC_COLOR_YCBCR, QRXC_420, QRXC_BASELINE},
               {"-sample 2x1 -progressive", 3, QRXC_COLOR_YCBCR, QRXC_422, QRXC_PROGRESSIVE},
               {"-sample 1x2", 3, QRXC_COLOR_YCBCR, QRXC_OTHER, QRXC_BASELINE},
               {"-rgb", 3, QRXC_COLOR_RGB, QRXC_444, QRXC_BASELINE},
               {"-grayscale -restart 3B", 1, QRXC_COLOR_GRAY, QRXC_444, QRXC_BASELINE}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.options);
    const Bytes jpeg = runCjpeg(scene, c.options);
    qrxc_info info = {};
    ASSERT_EQ(qrxc_read_info(coder.get(), jpeg.data(), jpeg.size(), &info), QRXC_DONE);
    EXPECT_EQ(info.width, kWidth);
    EXPECT_EQ(info.height, kHeight);
    EXPECT_EQ(info.components, c.components);
    EXPECT_EQ(info.precision, 8);
    EXPECT_EQ(info.color, c.color);
    EXPECT_EQ(info.sampling, c.sampling);
    EXPECT_EQ(info.mode, c.mode);
    EXPECT_EQ(info.restart_interval, std::string(c.options).ends_with("3B") ? 3 : 0);
    Canvas out(QRXC_BGR, 0, false, Fence::kAfter);
    EXPECT_EQ(qrxc_decode(coder.get(), jpeg.data(), jpeg.size(), out.row(0), &out.layout, nullptr),
              c.sampling == QRXC_OTHER ? QRXC_NOT_SUPPORTED : QRXC_DONE);
  }
}

// A JPEG that ends early: the rows that came are right, and so many are told.
TEST_F(CInterface, TellsHowMuchOfADamagedJpegIsGood) {
  const struct {
    const char* name;
    Bytes jpeg;
  } cases[] = {{"fast", encode(QRXC_BGR, 90, QRXC_420)},
               {"by stages", encode(QRXC_GRAY, 90, QRXC_444)},
               {"restarts", runCjpeg(scene, "-sample 2x1 -restart 1")},
               {"progressive", runCjpeg(scene, "-progressive")}};
  for (const auto& c : cases) {
    const Bytes whole = decodeAs(coder.get(), c.jpeg, QRXC_BGR);
    double before = 0;
    std::uint32_t mostRows = 0;
    for (std::size_t cut = 1; cut < c.jpeg.size(); cut += 61) {
      SCOPED_TRACE(testing::Message() << c.name << ", cut behind " << cut);
      Canvas out(QRXC_BGR, 0, false, Fence::kAfter);
      qrxc_report report = {};
      qrxc_code code = QRXC_DONE;
      EXPECT_EQ(errorsOf([&] {
                  code = qrxc_decode(coder.get(), c.jpeg.data(), cut, out.row(0), &out.layout,
                                     &report);
                }),
                "");
      const Bytes pixels = out.content();
      if (code < QRXC_DONE) {
        EXPECT_EQ(code, QRXC_BAD_DATA);
        EXPECT_EQ(pixels, Bytes(pixels.size(), GuardedBuffer::kFill));
        EXPECT_EQ(report.covered, 0);
        continue;
      }
      EXPECT_EQ(code, QRXC_DAMAGED);
      EXPECT_GE(report.covered, before);
      before = report.covered;
      if (std::string(c.name) == "progressive") continue;
      mostRows = std::max(mostRows, report.rows);
      // 4:2:0 looks at the row below: its last lines may differ.
      const std::uint32_t same = report.rows > 1 ? report.rows - 1 : 0;
      EXPECT_TRUE(std::equal(pixels.begin(), pixels.begin() + same * kWidth * 3, whole.begin()));
      EXPECT_LE(report.covered * kHeight, report.rows + 16.0);
    }
    EXPECT_GT(before, 0.5) << c.name;
    EXPECT_EQ(mostRows > kHeight / 2, std::string(c.name) != "progressive") << c.name;
  }
  // Cut right in front of EOI, and a restart marker out of turn.
  Bytes jpeg = cases[0].jpeg;
  Canvas out(QRXC_BGR, 0, false, Fence::kAfter);
  const auto codeOf = [&] {
    return qrxc_decode(coder.get(), jpeg.data(), jpeg.size(), out.row(0), &out.layout, nullptr);
  };
  jpeg.resize(jpeg.size() - 2);
  EXPECT_EQ(codeOf(), QRXC_DAMAGED);
  jpeg = cases[2].jpeg;
  const Bytes marker = {0xFF, 0xD1};
  *(std::search(jpeg.begin(), jpeg.end(), marker.begin(), marker.end()) + 1) = 0xD5;
  EXPECT_EQ(codeOf(), QRXC_DAMAGED);
  // One of many scans ends early.
  for (const tool::JpegScan& scan : tool::walkJpeg(cases[3].jpeg).scans) {
    jpeg = cases[3].jpeg;
    const auto end = jpeg.begin() + static_cast<std::ptrdiff_t>(scan.dataOffset + scan.dataSize);
    jpeg.erase(end - 5, end);
    EXPECT_EQ(codeOf(), QRXC_DAMAGED) << scan.dataOffset;
  }
}

TEST_F(CInterface, PacketsFillTheRectangleInAnyOrder) {
  for (const int format : {QRXC_GRAY, QRXC_RGB, QRXC_BGRX}) {
    for (const int sampling : {QRXC_444, QRXC_422, QRXC_420}) {
      Bytes shown;
      std::vector<Bytes> first;
      for (const Stride& s : kStrides) {
        SCOPED_TRACE(testing::Message() << "format " << format << ", sampling " << sampling
                                        << ", gap " << s.gap << (s.isBottomUp ? ", up" : ""));
        Canvas in(format, s.gap, s.isBottomUp, s.fence), out(format, s.gap, s.isBottomUp, s.fence);
        in.set(pixelsIn(scene, format));
        const std::vector<Bytes> list = packets(in, sampling);
        if (first.empty()) first = list;
        EXPECT_EQ(list, first);
        double share = 0, covered = 0;
        int last = 0;
        for (auto packet = list.rbegin(); packet != list.rend(); ++packet) {
          const Bytes before = out.content();
          qrxc_packet told = {};
          qrxc_report report = {};
          ASSERT_EQ(qrxc_decode_packet(coder.get(), packet->data(), packet->size(), out.row(0),
                                       &out.layout, &told, &report),
                    QRXC_DONE)
              << qrxc_text(coder.get());
          share += told.share;
          EXPECT_EQ(report.rows, told.rows);
          covered += report.covered;
          last += told.last;
          EXPECT_EQ(told.last, packet == list.rbegin());
          EXPECT_EQ(told.place.index, 7);
          EXPECT_EQ(told.place.x, -20);
          EXPECT_EQ(told.place.mark, 99);
          EXPECT_EQ(told.components, format == QRXC_GRAY ? 1 : 3);
          // Nothing outside of the box that is told.
          const Bytes after = out.content();
          const std::size_t bytes = bytesOf(format);
          for (std::size_t i = 0; i < after.size(); ++i) {
            const std::size_t x = i / bytes % kWidth, y = i / bytes / kWidth;
            const bool isInside = x - told.left < told.columns && y - told.top < told.rows;
            ASSERT_TRUE(isInside || after[i] == before[i]) << x << ", " << y;
          }
        }
        EXPECT_NEAR(share, 1.0, 1e-9);
        EXPECT_NEAR(covered, 1.0, 1e-9);
        EXPECT_EQ(last, 1);
        if (shown.empty()) shown = out.content();
        EXPECT_EQ(out.content(), shown);
      }
      EXPECT_LT(distance(pixelsIn(scene, format), shown), format == QRXC_BGRX ? 45.0 : 6.0);
    }
  }
}

TEST_F(CInterface, DamagedPacketsAreRefusedOrTold) {
  Canvas in(QRXC_BGR, 0, false, Fence::kAfter), out(QRXC_BGR, 0, false, Fence::kAfter);
  in.set(pixelsIn(scene, QRXC_BGR));
  const Bytes good = packets(in, QRXC_420)[0];
  for (std::size_t i = 0; i < good.size() + 1; ++i) {
    Bytes packet = good;
    if (i < good.size()) packet[i] ^= 0xFF;
    if (i == good.size()) packet.pop_back();
    const Bytes before = out.content();
    qrxc_packet told = {};
    qrxc_report report = {};
    const qrxc_code code = qrxc_decode_packet(coder.get(), packet.data(), packet.size(), out.row(0),
                                              &out.layout, &told, &report);
    if (code < QRXC_DONE) {
      EXPECT_EQ(out.content(), before);
      EXPECT_EQ(told.width, 0U);
    } else if (code == QRXC_DAMAGED) {
      EXPECT_LT(report.covered, told.share);
    }
    const bool isHead = i == good.size() || i == 0 || i == 2 || i == 4;
    EXPECT_TRUE(!isHead || code == QRXC_BAD_DATA) << i;
  }
}

// Nobody sends such a packet, but it agrees with itself.
TEST_F(CInterface, PacketOfNothingInNothingHasNoShare) {
  Canvas in(QRXC_BGR, 0, false, Fence::kAfter);
  Bytes packet = packets(in, QRXC_420)[0];
  for (const std::size_t field :
       {offsetof(udp_header, mcuCount), offsetof(udp_header, frameHeight)}) {
    std::fill_n(packet.begin() + static_cast<std::ptrdiff_t>(field), 2, std::uint8_t{0});
  }
  qrxc_packet told = {};
  ASSERT_EQ(qrxc_read_packet(coder.get(), packet.data(), packet.size(), &told), QRXC_DONE);
  EXPECT_EQ(told.height, 0U);
  EXPECT_EQ(told.share, 0.0);
}

TEST_F(CInterface, RefusesWithACodeAndAText) {
  const Bytes jpeg = encode(QRXC_BGR, 90, QRXC_420);
  Canvas canvas(QRXC_BGR, 0, false, Fence::kAfter);
  const Bytes before = canvas.content();
  const Bytes colours = packets(canvas, QRXC_420)[0];
  qrxc_coder* const c = coder.get();
  const qrxc_layout good = canvas.layout;
  const auto with = [&](auto change) {
    qrxc_layout layout = good;
    change(layout);
    return layout;
  };
  std::vector<std::pair<qrxc_code, std::string>> told;
  qrxc_set_messages(
      c,
      [](void* list, qrxc_code code, const char* text) {
        static_cast<decltype(told)*>(list)->emplace_back(code, text);
      },
      &told);
  std::size_t calls = 0, size = 1;
  Bytes room(64, GuardedBuffer::kFill);
  const auto expect = [&](qrxc_code expected, qrxc_code code, int line = __builtin_LINE()) {
    EXPECT_EQ(code, expected) << "line " << line;
    ++calls;
    ASSERT_EQ(told.size(), calls) << "line " << line;
    EXPECT_EQ(told.back().first, expected);
    EXPECT_EQ(told.back().second, qrxc_text(c));
    EXPECT_EQ(canvas.content(), before);
  };
  const qrxc_layout bad[] = {
      with([](auto& l) { l.width = 0; }),          with([](auto& l) { l.height = 0; }),
      with([](auto& l) { l.width = UINT32_MAX; }), with([](auto& l) { l.format = 0; }),
      with([](auto& l) { l.format = INT32_MAX; }), with([](auto& l) { l.stride = 1; }),
      with([](auto& l) { l.stride = -224; }),      with([](auto& l) { l.stride = INT64_MAX; }),
      with([](auto& l) { l.stride = INT64_MIN; }),
  };
  const qrxc_place place = {0, 1, 0, 0, 0, {}};
  const auto ignore = [](void*, const std::uint8_t*, std::size_t) { ADD_FAILURE(); };
  const auto encodeWith = [&](const void* p, const qrxc_layout* l, int quality, int sampling) {
    size = 1;
    const qrxc_code code = qrxc_encode(c, p, l, quality, sampling, room.data(), 64, &size);
    EXPECT_EQ(size, 0U);
    return code;
  };
  for (const qrxc_layout& l : bad) {
    expect(QRXC_BAD_ARGUMENT, encodeWith(canvas.row(0), &l, 90, 0));
    expect(QRXC_BAD_ARGUMENT, qrxc_decode(c, jpeg.data(), jpeg.size(), canvas.row(0), &l, nullptr));
    expect(QRXC_BAD_ARGUMENT,
           qrxc_encode_packets(c, canvas.row(0), &l, 90, 0, &place, ignore, nullptr));
    expect(QRXC_BAD_ARGUMENT,
           qrxc_decode_packet(c, jpeg.data(), jpeg.size(), canvas.row(0), &l, nullptr, nullptr));
  }
  expect(QRXC_BAD_ARGUMENT, encodeWith(nullptr, &good, 90, 0));
  expect(QRXC_BAD_ARGUMENT, encodeWith(canvas.row(0), nullptr, 90, 0));
  expect(QRXC_BAD_ARGUMENT, encodeWith(canvas.row(0), &good, 0, 0));
  expect(QRXC_BAD_ARGUMENT, encodeWith(canvas.row(0), &good, 101, 0));
  expect(QRXC_BAD_ARGUMENT, encodeWith(canvas.row(0), &good, 90, QRXC_OTHER));
  expect(QRXC_BAD_ARGUMENT, encodeWith(canvas.row(0), &good, 90, -1));
  EXPECT_EQ(room, Bytes(64, GuardedBuffer::kFill));
  const qrxc_layout pixel = with([](auto& l) { l.width = l.height = 1; });
  for (const qrxc_layout* l : {&good, &pixel}) {
    expect(QRXC_NO_ROOM, encodeWith(canvas.row(0), l, 90, 0));
  }
  expect(QRXC_BAD_ARGUMENT, qrxc_encode(c, canvas.row(0), &good, 90, 0, nullptr, 64, &size));
  expect(QRXC_BAD_ARGUMENT, qrxc_encode(c, canvas.row(0), &good, 90, 0, room.data(), 64, nullptr));
  qrxc_info info = {};
  expect(QRXC_BAD_ARGUMENT, qrxc_read_info(c, nullptr, 10, &info));
  expect(QRXC_BAD_ARGUMENT, qrxc_read_info(c, jpeg.data(), jpeg.size(), nullptr));
  expect(QRXC_BAD_ARGUMENT, qrxc_read_info(c, jpeg.data(), SIZE_MAX, &info));
  expect(QRXC_BAD_DATA, qrxc_read_info(c, "a text of no use", 16, &info));
  expect(QRXC_BAD_DATA, qrxc_read_info(c, jpeg.data(), 0, &info));
  const qrxc_layout small = with([](auto& l) { l.height = 44; });
  expect(QRXC_NO_ROOM, qrxc_decode(c, jpeg.data(), jpeg.size(), canvas.row(0), &small, nullptr));
  const qrxc_layout gray = with([](auto& l) { l.format = QRXC_GRAY; });
  expect(QRXC_NOT_SUPPORTED,
         qrxc_decode(c, jpeg.data(), jpeg.size(), canvas.row(0), &gray, nullptr));
  // What stands in front of a scan that is never looked at.
  const Bytes soi = byte(0xFF) + byte(0xD8);
  const auto kind = [&](int marker, int precision, int components) {
    Bytes inFrame, inScan;
    for (int i = 1; i <= components; ++i) {
      inFrame = inFrame + byte(i) + byte(0x11) + byte(0);
      inScan = inScan + byte(i) + byte(0);
    }
    return soi + frame(marker, precision, inFrame) + scan(inScan);
  };
  for (const Bytes& refused : {kind(0xC9, 8, 3), kind(0xC1, 12, 3), kind(0xC3, 8, 3)}) {
    expect(QRXC_NOT_SUPPORTED, qrxc_read_info(c, refused.data(), refused.size(), &info));
  }
  for (const Bytes& refused : {kind(0xC0, 8, 2), kind(0xC3, 12, 1)}) {
    expect(QRXC_NOT_SUPPORTED,
           qrxc_decode(c, refused.data(), refused.size(), canvas.row(0), &good, nullptr));
  }
  // Of a picture in the middle of all ranges a first scan brings nothing.
  EncoderJob job = {Bytes(before.size(), 128), kSize};
  job.mode = JPEG_MODE_PROGRESSIVE;
  Bytes first = test::encode(job).bytes;
  const Bytes sos = byte(0xFF) + byte(0xDA);
  const auto behind = std::search(first.begin(), first.end(), sos.begin(), sos.end()) + 2;
  first.erase(std::search(behind, first.end(), sos.begin(), sos.end()), first.end());
  expect(QRXC_BAD_DATA, qrxc_decode(c, first.data(), first.size(), canvas.row(0), &good, nullptr));
  const qrxc_layout cmyk = {0, kWidth, kHeight, QRXC_CMYK, 0};
  expect(QRXC_NOT_SUPPORTED,
         qrxc_encode_packets(c, canvas.row(0), &cmyk, 90, 0, &place, ignore, nullptr));
  for (const auto& [code, layout] : {std::pair{QRXC_NOT_SUPPORTED, &gray},
                                     {QRXC_NOT_SUPPORTED, &cmyk},
                                     {QRXC_NO_ROOM, &small}}) {
    expect(code, qrxc_decode_packet(c, colours.data(), colours.size(), canvas.row(0), layout,
                                    nullptr, nullptr));
  }
  expect(QRXC_BAD_ARGUMENT,
         qrxc_encode_packets(c, canvas.row(0), &good, 90, 0, nullptr, ignore, nullptr));
  expect(QRXC_BAD_ARGUMENT,
         qrxc_encode_packets(c, canvas.row(0), &good, 90, 0, &place, nullptr, nullptr));
  for (const qrxc_place& wrong :
       {qrxc_place{0, 0, 0, 0, 0, {}}, {0, 1, 32768, 0, 0, {}}, {0, 1, 0, -32769, 0, {}}}) {
    expect(QRXC_BAD_ARGUMENT,
           qrxc_encode_packets(c, canvas.row(0), &good, 90, 0, &wrong, ignore, nullptr));
  }
  qrxc_packet packet;
  expect(QRXC_BAD_ARGUMENT, qrxc_read_packet(c, nullptr, 100, &packet));
  expect(QRXC_BAD_ARGUMENT, qrxc_read_packet(c, jpeg.data(), jpeg.size(), nullptr));
  expect(QRXC_BAD_DATA, qrxc_read_packet(c, jpeg.data(), jpeg.size(), &packet));
  expect(QRXC_BAD_DATA, qrxc_read_packet(c, jpeg.data(), SIZE_MAX, &packet));
  // Without a coder.
  EXPECT_EQ(qrxc_read_info(nullptr, jpeg.data(), jpeg.size(), &info), QRXC_BAD_ARGUMENT);
  EXPECT_STREQ(qrxc_text(nullptr), "no coder");
  qrxc_set_messages(nullptr, nullptr, nullptr);
  qrxc_close(nullptr);
  for (const std::uint32_t side : {0U, 65536U, UINT32_MAX}) {
    EXPECT_EQ(qrxc_bound(side, 1, QRXC_RGB, QRXC_444), 0U);
    EXPECT_EQ(qrxc_bound(1, side, QRXC_RGB, QRXC_444), 0U);
  }
  EXPECT_GT(qrxc_bound(65535, 65535, QRXC_CMYK, QRXC_444), std::size_t{1} << 34);
}

// The bound holds for what is hardest to code, and any room at all is kept to.
TEST_F(CInterface, NoiseFitsInTheBound) {
  const Image noise = noisePicture(kSize, 5);
  for (const int format : kFormats) {
    for (const int sampling : {QRXC_444, QRXC_422, QRXC_420}) {
      const auto bound = [&](std::uint32_t width, std::uint32_t height) {
        return qrxc_bound(width, height, format, sampling);
      };
      // A part of an MCU takes what a whole one does.
      EXPECT_EQ(bound(49, 17), bound(56, 24));
      EXPECT_GT(bound(49, 16), bound(48, 16));
      EXPECT_GT(bound(48, 17), bound(48, 16));
      // Sixteen more columns of sixteen pixels: four blocks of a plane, fewer of a reduced one.
      const std::size_t block =
          qrxc_bound(16, 8, QRXC_GRAY, QRXC_444) - qrxc_bound(8, 8, QRXC_GRAY, QRXC_444);
      const std::size_t full = format == QRXC_CMYK ? 8 : 4;
      const std::size_t reduced = format == QRXC_GRAY ? 0 : 8 >> (sampling - QRXC_444);
      EXPECT_EQ(bound(32, 16) - bound(16, 16), (full + reduced) * block);
      Canvas canvas(format, 0, false, Fence::kAfter);
      canvas.set(pixelsIn(noise, format));
      // Of the smallest picture nearly all is headers.
      qrxc_layout one = canvas.layout;
      one.width = one.height = 1;
      Bytes least(bound(1, 1));
      std::size_t leastSize = 0;
      EXPECT_EQ(qrxc_encode(coder.get(), canvas.row(0), &one, 100, sampling, least.data(),
                            least.size(), &leastSize),
                QRXC_DONE);
      EXPECT_EQ(qrxc_decode(coder.get(), least.data(), leastSize, canvas.row(0), &one, nullptr),
                QRXC_DONE);
      canvas.set(pixelsIn(noise, format));
      const Bytes jpeg = encode(canvas, 100, sampling);
      for (std::size_t room = 0; room < jpeg.size() + 2; room += room < 700 ? 1 : 997) {
        FencedBytes memory(room, Fence::kAfter);
        std::size_t size = 0;
        const qrxc_code code = qrxc_encode(coder.get(), canvas.row(0), &canvas.layout, 100,
                                           sampling, memory.bytes.data(), room, &size);
        EXPECT_EQ(code, room < jpeg.size() ? QRXC_NO_ROOM : QRXC_DONE);
      }
    }
  }
}

TEST(CppInterface, KeepsWhatTheCInterfaceSays) {
  const Image scene = scenePicture(kSize);
  host::Coder coder;
  const host::ConstPicture source = {scene.pixels.data(), kWidth, kHeight, QRXC_BGRX};
  const std::vector<std::uint8_t> jpeg = coder.encode(source, 90, QRXC_420);
  EXPECT_EQ(coder.info({jpeg.data(), jpeg.size()}).width, kWidth);
  std::vector<std::uint8_t> pixels(scene.pixels.size());
  host::Coder moved = std::move(coder);
  const auto outcome =
      moved.decode({jpeg.data(), jpeg.size()}, {pixels.data(), kWidth, kHeight, QRXC_BGRX});
  EXPECT_TRUE(outcome.isWhole());
  EXPECT_FALSE(
      moved.decode({jpeg.data(), jpeg.size() / 2}, {pixels.data(), kWidth, kHeight, QRXC_BGRX})
          .isWhole());
  double share = 0, covered = 0;
  const host::Picture target = {pixels.data(), kWidth, kHeight, QRXC_BGRX};
  moved.encodePackets(source, 90, QRXC_422, {1, 1, 0, 0, 0, {}}, [&](host::Bytes packet) {
    host::Coder receiver;
    qrxc_packet told = {};
    share += receiver.packet(packet).share;
    covered += receiver.decodePacket(packet, target, &told).report.covered;
    EXPECT_EQ(told.height, kHeight);
    EXPECT_THROW(receiver.decodePacket({packet.data, 9}, target), host::Error);
  });
  EXPECT_NEAR(share, 1.0, 1e-9);
  EXPECT_NEAR(covered, 1.0, 1e-9);
  try {
    moved.info({jpeg.data(), 1});
    ADD_FAILURE();
  } catch (const host::Error& error) {
    EXPECT_EQ(error.code(), QRXC_BAD_DATA);
    EXPECT_STREQ(error.what(), "not a JPEG: it does not begin with FF D8");
  }
  EXPECT_THROW(
      moved.encodePackets(source, 90, QRXC_422, {1, 1, 0, 0, 0, {}}, [](host::Bytes) { throw 5; }),
      int);
  EXPECT_EQ(moved.encode(source, 90, QRXC_420), jpeg);
}

}  // namespace
}  // namespace qrx::test
