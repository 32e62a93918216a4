// The encoder: grid, tables, marker segments byte for byte, and whole images of the three writers.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <numeric>
#include <set>
#include <sstream>

#include "qrx/primitives.h"
#include "tests/support/allocation_hooks.h"
#include "tests/support/peer_codec.h"
#include "tests/unit/codec_kit.h"
#include "tools/jpeg/walk.h"

namespace qrx::test {
namespace {

constexpr _JPEG_SAMPLING kSamplings[] = {JPEG_SAMPLING_444, JPEG_SAMPLING_422, JPEG_SAMPLING_420};
constexpr _JPEG_MODE kModes[] = {JPEG_MODE_BASELINE, JPEG_MODE_PROGRESSIVE, JPEG_MODE_LOSSLESS};

TEST(ByteStream, WritesAndReadsBigEndianUpToItsEnd) {
  GuardedBuffer buffer(7);
  _bitstream out{}, in{};
  out.data = in.data = buffer.data();
  out.capacity = in.capacity = buffer.size();
  EXPECT_EQ(out._WRITE_32BIT(static_cast<int>(0x89ABCDEF)), 0);
  EXPECT_EQ(out._WRITE_WORD(0x12345), 0);
  EXPECT_EQ(out._WRITE_32BIT(0x01020304), JPEG_BUFFER_TOO_SMALL);
  EXPECT_EQ(hexText(buffer.content()), "89ABCDEF234501");
  EXPECT_TRUE(buffer.guardsIntact());

  int number = 7, word = 7;
  EXPECT_EQ(in._READ_32BIT(&number), 0);
  EXPECT_EQ(number, static_cast<int>(0x89ABCDEF));
  EXPECT_EQ(in._READ_WORD(&word), 0);
  EXPECT_EQ(word, 0x2345);
  EXPECT_EQ(in._READ_WORD(&word), JPEG_BUFFER_TOO_SMALL);
  EXPECT_EQ(word, 0x2345);
}

// Callers are compiled against the fields' places.
template <typename Object, typename... Fields>
std::vector<std::ptrdiff_t> placesIn(const Object& object, const Fields&... fields) {
  const auto* const base = reinterpret_cast<const char*>(&object);
  return {reinterpret_cast<const char*>(&fields) - base...};
}

TEST(Encoder, KeepsItsFieldsInTheirPlaces) {
  using Places = std::vector<std::ptrdiff_t>;
  const CJPEGEncoder e;
  EXPECT_EQ(placesIn(e, e.source_data, e.source_width, e.source_height, e.source_step,
                     e.source_channels, e.source_color, e.stream, e.component_count, e.precision,
                     e.sampling, e.jpeg_color, e.quality, e.restart_interval, e.mode, e.mcus_across,
                     e.mcus_down, e.mcu_width, e.mcu_height),
            (Places{8, 16, 20, 24, 28, 32, 40, 56, 60, 64, 68, 72, 76, 80, 84, 88, 92, 96}));
  EXPECT_EQ(placesIn(e, e.strip_stride, e.strip_rows, e.pad_columns, e.pad_rows, e.restarts_to_go,
                     e.next_restart, e.scan_count, e.scan_start, e.scan_end, e.approx_low,
                     e.approx_high, e.predictor, e.point_transform, e.scan_script, e.coefficients,
                     e.components, e.quant_tables, e.dc_tables, e.ac_tables, e.huffman_state),
            (Places{100, 104, 108, 112, 116, 120, 124, 128,  132,  136,
                    140, 144, 148, 152, 160, 168, 200, 1384, 2568, 3752}));
  const CJPEGColorComponent c;
  EXPECT_EQ(
      placesIn(c, c.id, c.comp_no, c.hsampling, c.vsampling, c.h_factor, c.v_factor, c.nblocks,
               c.q_selector, c.dc_selector, c.ac_selector, c.ac_scan_done, c.last_dc, c.cc_buffer,
               c.ss_buffer, c.row_buffer, c.spare_buffer, c.curr_row, c.prev_row),
      (Places{8, 12, 16, 20, 24, 28, 32, 36, 40, 44, 48, 52, 56, 64, 72, 80, 88, 96}));
  const CJPEGEncoderQuantTable& q = e.quant_tables[0];
  EXPECT_EQ(placesIn(q, q.id, q.precision, q.raw, q.fwd_table, q.ready),
            (Places{8, 12, 16, 24, 32}));
  const CJPEGEncoderHuffmanTable& h = e.dc_tables[0];
  EXPECT_EQ(placesIn(h, h.id, h.hclass, h.bits, h.values, h.spec), (Places{8, 12, 16, 32, 288}));
  EXPECT_EQ(sizeof(CJPEGColorComponent), 104u);
}

TEST(Coders, ReadTheSameClock) {
  const std::uint64_t before = CJPEGEncoder::getRTClock();
  EXPECT_GT(CJPEGDecoder::getRTClock(), before);
}

TEST(Coders, HaveTraceHooksThatDoNothing) {
  CJPEGEncoder e;
  CJPEGDecoder d;
  EXPECT_EQ(e.PrintProgress("a") | e.OutputProgress() | d.PrintProgress("a") | d.OutputProgress(),
            0);
}

TEST(Errors, HaveTexts) {
  EXPECT_STREQ(GetErrorStr(JPEG_NO_ERROR), "no error");
  EXPECT_STREQ(GetErrorStr(JPEG_BAD_RESTART), "wrong restart marker");
  EXPECT_STREQ(GetErrorStr(static_cast<_JPEG_ERROR>(1)), "unknown code");
}

TEST(Encoder, WorksOutTheGridOrRefuses) {
  constexpr auto k444 = JPEG_SAMPLING_444, k422 = JPEG_SAMPLING_422, k420 = JPEG_SAMPLING_420;
  constexpr auto kBase = JPEG_MODE_BASELINE, kProgressive = JPEG_MODE_PROGRESSIVE,
                 kLossless = JPEG_MODE_LOSSLESS, kBadMode = static_cast<_JPEG_MODE>(3);
  constexpr auto kGray = JPEG_COLOR_GRAY, kYcc = JPEG_COLOR_YCBCR, kBgr = JPEG_COLOR_BGR;
  const struct {
    Size size;
    _JPEG_SAMPLING sampling;
    _JPEG_COLOR jpeg;
    _JPEG_MODE mode;
    int quality, result;
    std::vector<int> grid;  // MCU size, MCUs, padding; empty: not looked at
  } cases[] = {
      {{17, 9}, k420, kYcc, kBase, 50, 0, {16, 16, 2, 1, 15, 7}},
      {{17, 9}, k422, kYcc, kBase, 50, 0, {16, 8, 2, 2, 15, 7}},
      {{17, 9}, k444, kYcc, kProgressive, 50, 0, {8, 8, 3, 2, 7, 7}},
      {{32, 16}, k420, kYcc, kBase, 50, 0, {16, 16, 2, 1, 0, 0}},
      {{1, 1}, JPEG_SAMPLING_OTHER, kYcc, kBase, 50, 0, {16, 8, 1, 1, 15, 7}},
      {{17, 9}, k420, kGray, kLossless, -1, 0, {1, 1, 17, 9, 0, 0}},
      {{65535, 1}, k420, kYcc, kBase, 50, 0, {16, 16, 4096, 1, 1, 15}},
      {{8, 0}, k444, kYcc, kBase, 50, 0, {8, 8, 1, 0, 0, 0}},
      {{65536, 1}, k444, kYcc, kBase, 50, JPEG_NOT_SUPPORTED, {}},
      {{1, 65536}, k444, kYcc, kBase, 50, JPEG_NOT_SUPPORTED, {}},
      {{-1, 1}, k444, kYcc, kBase, 50, JPEG_NOT_SUPPORTED, {}},
      {{1, INT_MIN}, k444, JPEG_COLOR_NONE, kBase, 50, JPEG_NOT_SUPPORTED, {}},
      {{INT_MAX, INT_MAX}, k444, kGray, kLossless, 50, JPEG_NOT_SUPPORTED, {}},
      {{65535, 65535}, k444, kYcc, kProgressive, 50, JPEG_OUT_OF_MEMORY, {}},
      {{0, 8}, k444, kYcc, kBase, 50, JPEG_OUT_OF_MEMORY, {}},
      {{8, 0}, k444, kYcc, kProgressive, 50, JPEG_OUT_OF_MEMORY, {}},
      {{8, 8}, k444, kYcc, kBadMode, 50, JPEG_INTERNAL_ERROR, {}},
      {{8, 8}, k444, kBgr, kBadMode, 50, 0, {}},
      {{8, 8}, k444, kYcc, kBase, 0, JPEG_INTERNAL_ERROR, {}},
      {{8, 8}, k444, kYcc, kProgressive, -1, JPEG_INTERNAL_ERROR, {}},
  };
  CJPEGEncoder e;
  for (const auto& c : cases) {
    const EncoderJob job{{}, c.size, kBgr, c.jpeg, c.sampling, c.quality, c.mode};
    setUp(e, job, nullptr);
    EXPECT_EQ(e.Init(), c.result) << job;
    if (c.grid.empty()) continue;
    EXPECT_EQ((std::vector<int>{e.mcu_width, e.mcu_height, e.mcus_across, e.mcus_down,
                                e.pad_columns, e.pad_rows}),
              c.grid)
        << job;
  }
}

// The tables of Annex K, and their scaling, are those of an independent encoder byte for byte.
// Above 100 nothing changes.
TEST(Encoder, HasTheStandardsTables) {
  const auto tables = [](const Bytes& stream) {
    std::set<std::string> segments;
    for (const tool::JpegSegment& s : tool::walkJpeg(stream).segments) {
      const auto begin = stream.data() + s.offset;
      if (s.marker == 0xDB || s.marker == 0xC4) segments.insert(hexText({begin, begin + s.size}));
    }
    return segments;
  };
  EncoderJob job = colourJob(flatPicture({8, 8}, 10, 20, 30));
  for (job.quality = 1; job.quality <= 102; ++job.quality) {
    const std::string options = "-baseline -quality " + std::to_string(std::min(job.quality, 100));
    const auto expected = tables(runCjpeg(flatPicture({8, 8}, 10, 20, 30), options));
    ASSERT_EQ(expected.size(), 6u);
    EXPECT_EQ(tables(encode(job).bytes), expected) << job;
  }
}

// The room test asks for the value of the length word (2 without one) and one byte more; what the
// marker then takes beyond the capacity is cut off.
TEST(MarkerWriters, WriteTheirSegmentsIntoTheRoomThatTheyAskFor) {
  const int pair[] = {2, 0};
  CJPEGEncoderHuffmanTable table, emptyTable;
  table.id = table.hclass = 1;
  table.bits[1] = 2;
  table.bits[4] = 1;
  std::iota(table.values, table.values + 3, Ipp8u{5});
  CJPEGEncoderQuantTable quant;
  quant.id = 1;
  std::iota(quant.raw, quant.raw + 64, Ipp8u{100});
  const std::string banner = "JPEG encoder based on veigri [7.1.37466] - Sep 24 2012";
  const std::string frame = " 0011 08 0102 0304 03 002200 011101 021101";
  CJPEGEncoder e;
  const std::pair<std::function<int()>, std::string> cases[] = {
      {[&] { return e.WriteSOI(); }, "FFD8"},
      {[&] { return e.WriteEOI(); }, "FFD9"},
      {[&] { return e.WriteRST(7); }, "FFD7"},
      {[&] { return e.WriteAPP0(); }, "FFE0 0010 4A46494600 0102 00 0001 0001 00 00"},
      {[&] { return e.WriteAPP14(); }, "FFEE 000E 41646F6265 0064 0000 0000 01"},
      {[&] { return e.WriteCOM(nullptr); }, "FFFE 0038" + hexText({banner.begin(), banner.end()})},
      {[&] { return e.WriteCOM("abc"); }, "FFFE 0006 61626300"},
      {[&] { return e.WriteCOM(""); }, "FFFE 0003 00"},
      {[&] { return e.WriteDQT(&quant); }, "FFDB 0043 01" + hexText({quant.raw, quant.raw + 64})},
      {[&] { return e.WriteSOF0(); }, "FFC0" + frame},
      {[&] { return e.WriteSOF1(); }, "FFC1" + frame},
      {[&] { return e.WriteSOF2(); }, "FFC2" + frame},
      {[&] { return e.WriteSOF3(); }, "FFC3" + frame},
      {[&] { return e.WriteDHT(&table); },
       "FFC4 0016 11 00020000 01000000 00000000 00000000 050607"},
      {[&] { return e.WriteDHT(&emptyTable); }, "FFC4 0013 00 00000000 00000000 00000000 00000000"},
      {[&] { return e.WriteDRI(0x1234); }, "FFDD 0004 1234"},
      {[&] { return e.WriteSOS(); }, "FFDA 000C 03 0000 0111 0211 00 3F 00"},
      {[&] { return e.WriteSOS(2, pair, 1, 5, 0x12, 0x21); }, "FFDA 000A 02 0211 0000 01 05 21"},
  };
  constexpr int kPosition = 3;
  GuardedBuffer buffer(200);
  EncoderJob job{{}, {0x0304, 0x0102}};
  const auto write = [&](const std::function<int()>& segment, int capacity) {
    buffer.refill();
    job.capacity = capacity;
    setUp(e, job, buffer.data());
    EXPECT_EQ(e.Init(), 0);
    e.stream.position = kPosition;
    return segment();
  };
  for (auto [segment, text] : cases) {
    SCOPED_TRACE(text);
    std::erase(text, ' ');
    EXPECT_EQ(write(segment, buffer.size()), 0);
    EXPECT_EQ(hexText({buffer.data() + kPosition, buffer.data() + e.stream.position}), text);

    const int room = kPosition + std::max(2, static_cast<int>(text.size()) / 2 - 2);
    EXPECT_EQ(write(segment, room), JPEG_BUFFER_TOO_SMALL);
    EXPECT_EQ(e.stream.position, kPosition);
    EXPECT_TRUE(buffer.isUntouched());
    EXPECT_EQ(write(segment, room + 1), 0);
    EXPECT_LE(e.stream.position, room + 1);
    EXPECT_EQ(buffer.data()[room + 1], GuardedBuffer::kFill);
  }
}

// The names of a stream's segments; of SOF0, SOS and APP14 also what is the colour's.
std::string outline(const Bytes& stream) {
  std::string text;
  for (const auto& segment : tool::walkJpeg(stream).segments) {
    const std::uint8_t* const begin = stream.data() + segment.offset;
    const std::uint8_t* const end = begin + segment.size;
    text += tool::markerName(segment.marker) + " ";
    if (segment.marker == 0xEE) text += hexText({end - 1, end}) + " ";
    if (segment.marker == 0xC0) text += hexText({begin + 9, end}) + " ";
    if (segment.marker == 0xDA) text += hexText({begin + 4, end}) + " ";
  }
  return text;
}

TEST(ImageWriters, MakeTheStreamsThatAreWorkedOutByHand) {
  EncoderJob job = colourJob(flatPicture({8, 8}, 128, 128, 128));
  job.sampling = JPEG_SAMPLING_444;
  const auto data = [&] {
    const Bytes stream = encode(job).bytes;
    const auto offset = tool::walkJpeg(stream).scans.at(0).dataOffset;
    EXPECT_TRUE(offset == 681 || job.mode == JPEG_MODE_LOSSLESS) << offset;
    return hexText({stream.data() + offset, stream.data() + stream.size()});
  };
  // Every difference is 0: luma 00 1010, both chromas 00 00, filled up with ones.
  EXPECT_EQ(data(), "2803FFD9");
  // White: DC (255 - 128) * 8 / 8 = 127, category 7 (11110), 1111111; then 1010 00 00 00 00.
  job.pixels.assign(192, 255);
  EXPECT_EQ(data(), "F7FA00FFD9");
  // Differences 2 (from 128), -2; then -2 (from the sample above), -1: 011 10, 011 01, 011 01,
  // 010 0; then ones.
  job = {{130, 128, 128, 127}, {2, 2}, JPEG_COLOR_GRAY, JPEG_COLOR_GRAY};
  job.mode = JPEG_MODE_LOSSLESS;
  EXPECT_EQ(data(), "735A9FFFD9");
  EXPECT_EQ(outline(encode(job).bytes), "SOI APP0 COM SOF3 DHT SOS 010000010000 EOI ");
}

// The planes hold the colours of a pair as T.871 has them, and its segments follow.
TEST(ImageWriters, GiveEachColourItsPlanesAndSegments) {
  const struct {
    _JPEG_COLOR source, jpeg;
    std::uint8_t a, b, c, d;
    std::string expected;
  } cases[] = {
      // A gray stream is coded 1x1 whatever was asked for.
      {JPEG_COLOR_GRAY, JPEG_COLOR_GRAY, 17, 0, 0, 0,
       "11 SOI APP0 COM DQT SOF0 01001100 DHT DHT SOS 010000"},
      {JPEG_COLOR_RGB, JPEG_COLOR_GRAY, 255, 0, 0, 0,
       "4C SOI APP0 COM DQT SOF0 01001100 DHT DHT SOS 010000"},
      {JPEG_COLOR_BGR, JPEG_COLOR_YCBCR, 0, 0, 255, 0,
       "4C55FF SOI APP0 COM DQT DQT SOF0 03002200011101021101 DHT DHT DHT DHT SOS 03000001110211"},
      {JPEG_COLOR_RGB, JPEG_COLOR_RGB, 1, 2, 3, 0,
       "010203 SOI APP14 00 COM DQT DQT SOF0 03002200011100021100 DHT DHT DHT DHT SOS "
       "03000001110211"},
      {JPEG_COLOR_CMYK, JPEG_COLOR_CMYK, 1, 2, 3, 4,
       "01020304 SOI APP14 00 COM DQT DQT SOF0 04002200011100021100032200 DHT DHT DHT DHT SOS "
       "040000011102110300"},
      {JPEG_COLOR_CMYK, JPEG_COLOR_YCCK, 0, 255, 255, 9,
       "4C55FF09 SOI APP14 02 COM DQT DQT SOF0 04002200011101021101032200 DHT DHT DHT DHT SOS "
       "040000011102110300"},
  };
  for (const auto& c : cases) {
    const EncoderJob job{{c.a, c.b, c.c, c.d}, {1, 1}, c.source, c.jpeg};
    CJPEGEncoder encoder;
    setUp(encoder, job, nullptr);
    ASSERT_EQ(encoder.Init(), 0);
    ASSERT_EQ(encoder.ColorConvert(0), 0);
    std::string found;
    for (int i = 0; i < encoder.component_count; ++i)
      found += hexText({encoder.components[i]->cc_buffer[0]});
    EXPECT_EQ(found + " " + outline(encode(job).bytes), c.expected + "003F00 EOI ") << job;
  }
}

TEST(ImageWriters, PlaceRestarts) {
  // Interval, MCUs, restarts of a scan, word of DRI (0: no DRI).
  const std::tuple<int, int, std::size_t, int> cases[] = {
      {0, 3, 0, 0}, {1, 3, 2, 1},  {2, 4, 1, 2},         {1, 10, 9, 1}, {3, 3, 0, 3},
      {5, 4, 0, 5}, {-1, 3, 0, 0}, {70000, 4, 0, 65535}, {1, 1, 0, 1}};
  for (const auto& [interval, mcus, restarts, word] : cases) {
    for (const _JPEG_MODE mode : {JPEG_MODE_BASELINE, JPEG_MODE_PROGRESSIVE}) {
      EncoderJob job = grayJob(scenePicture({8 * mcus, 8}));
      job.mode = mode;
      job.restartInterval = interval;
      const tool::JpegInfo info = tool::walkJpeg(encode(job).bytes);
      EXPECT_EQ(info.restartInterval, word) << job;
      for (const auto& scan : info.scans)
        EXPECT_TRUE(scan.restarts == restarts && scan.restartsInOrder) << job;
    }
  }
}

// Every capacity that is too small: the stated code, a prefix of the stream, no byte beyond.
TEST(ImageWriters, StopAtTheEndOfTheBuffer) {
  const std::pair<_JPEG_MODE, int> kinds[] = {{JPEG_MODE_BASELINE, 1},
                                              {JPEG_MODE_PROGRESSIVE, 1},
                                              {JPEG_MODE_PROGRESSIVE, 0},
                                              {JPEG_MODE_LOSSLESS, 0}};
  for (const auto& [mode, interval] : kinds) {
    EncoderJob job = mode == JPEG_MODE_LOSSLESS ? grayJob(noisePicture({20, 20}, 1))
                                                : colourJob(noisePicture({20, 20}, 1));
    job.mode = mode;
    job.restartInterval = interval;
    const Bytes whole = encode(job).bytes;
    const tool::JpegInfo info = tool::walkJpeg(whole);
    CJPEGEncoder encoder;
    for (job.capacity = 0; job.capacity <= static_cast<int>(whole.size()) + 1; ++job.capacity) {
      const Coded coded = encode(encoder, job);
      ASSERT_LE(coded.bytes.size(), whole.size()) << job;
      ASSERT_TRUE(std::equal(coded.bytes.begin(), coded.bytes.end(), whole.begin())) << job;
      const auto capacity = static_cast<std::size_t>(job.capacity);
      int expected = JPEG_BUFFER_TOO_SMALL;  // where a header or EOI does not fit
      for (const auto& scan : info.scans) {
        // The room test of SOS does not count its marker's two bytes.
        const std::size_t end = scan.dataOffset + scan.dataSize;
        if (capacity > scan.dataOffset - 2 && capacity < end) expected = JPEG_INTERNAL_ERROR;
      }
      if (capacity > whole.size()) expected = 0;
      ASSERT_EQ(coded.result, expected) << job << " of " << whole.size();
    }
  }
}

// No pair of colours and no padding lets memory that was never written into a stream.
TEST(ImageWriters, CodeNoForeignMemory) {
  AllocationHooks hooks(&i_malloc, &i_free);
  for (int i = 0; i < 7 * 7 * 3 * 3; ++i) {
    EncoderJob job{scenePicture({21, 19}).pixels, {21, 19}};
    job.source = static_cast<_JPEG_COLOR>(i % 7);
    job.jpeg = static_cast<_JPEG_COLOR>(i / 7 % 7);
    job.sampling = kSamplings[i / 49 % 3];
    job.mode = static_cast<_JPEG_MODE>(i / 147);
    hooks.fillWith(0x55);
    const Coded first = encode(job);
    hooks.fillWith(0xC3);
    const Coded second = encode(job);
    EXPECT_EQ(first.result, second.result) << job;
    EXPECT_EQ(first.bytes, second.bytes) << job;
  }
}

TEST(ProgressiveWriter, ScansByTheScript) {
  // Components, Ss, Se, Ah, Al.
  const std::tuple<_JPEG_COLOR, _JPEG_COLOR, std::string> scripts[] = {
      {JPEG_COLOR_GRAY, JPEG_COLOR_GRAY,
       "0:0-0,0,1 0:1-5,0,2 0:6-63,0,2 0:1-63,2,1 0:0-0,1,0 0:1-63,1,0 "},
      {JPEG_COLOR_BGR, JPEG_COLOR_YCBCR,
       "012:0-0,0,1 0:1-5,0,2 2:1-63,0,1 1:1-63,0,1 0:6-63,0,2 0:1-63,2,1 012:0-0,1,0 "
       "2:1-63,1,0 1:1-63,1,0 0:1-63,1,0 "},
      {JPEG_COLOR_CMYK, JPEG_COLOR_CMYK,
       "0123:0-0,0,1 0:1-5,0,2 1:1-5,0,2 2:1-5,0,2 3:1-5,0,2 0:6-63,0,2 1:6-63,0,2 2:6-63,0,2 "
       "3:6-63,0,2 0:1-63,2,1 1:1-63,2,1 2:1-63,2,1 3:1-63,2,1 0123:0-0,1,0 0:1-63,1,0 "
       "1:1-63,1,0 2:1-63,1,0 3:1-63,1,0 "},
  };
  for (const auto& [source, jpeg, script] : scripts) {
    EncoderJob job{Bytes(6400, 9), {40, 40}, source, jpeg};
    job.mode = JPEG_MODE_PROGRESSIVE;
    const tool::JpegInfo info = tool::walkJpeg(encode(job).bytes);
    std::ostringstream scans;
    for (const auto& scan : info.scans) {
      for (const auto& component : scan.components) scans << component.id;
      scans << ":" << scan.spectralStart << "-" << scan.spectralEnd << "," << scan.approximationHigh
            << "," << scan.approximationLow << " ";
    }
    EXPECT_EQ(scans.str(), script);
    // One table for each AC scan; for the first DC scan one or two; none for its refinement.
    EXPECT_EQ(info.huffmanTables.size(), info.scans.size() - (source == JPEG_COLOR_GRAY ? 1 : 0));
  }
}

// The writer, by whatever route it takes, against the stated operations called one after another.
TEST(ProgressiveWriter, IsItsOperationsOneAfterAnother) {
  const Size sizes[] = {{1, 1}, {17, 33}, {75, 40}, {300, 130}};
  const int qualities[] = {20, 75, 97};
  for (int i = 0; i < 3 * 4 * 3 * 2; ++i) {
    const Size size = sizes[i / 3 % 4];
    EncoderJob job = colourJob(i / 36 != 0 ? noisePicture(size, 3) : scenePicture(size));
    job.mode = JPEG_MODE_PROGRESSIVE;
    job.sampling = kSamplings[i % 3];
    job.quality = qualities[i / 12 % 3];
    job.source = i % 2 != 0 ? JPEG_COLOR_RGB : JPEG_COLOR_BGR;
    job.restartInterval = i % 5 == 4 ? 7 : 0;
    const Bytes whole = encode(job).bytes;

    GuardedBuffer buffer(static_cast<std::size_t>(job.capacity));
    CJPEGEncoder e;
    setUp(e, job, buffer.data());
    int failures = e.Init() | e.WriteSOI() | e.WriteAPP0() | e.WriteCOM(nullptr) |
                   e.WriteDQT(&e.quant_tables[0]) | e.WriteDQT(&e.quant_tables[1]) | e.WriteSOF2() |
                   e.ColorConvert() | e.DownSampling() | e.PerformDCT();
    if (job.restartInterval != 0) failures |= e.WriteDRI(job.restartInterval);
    for (int k = 0; k < e.scan_count; ++k) {
      const auto& s = e.scan_script[k];
      e.next_restart = 0;
      e.restarts_to_go = e.restart_interval;
      // The tables by themselves are those that the scan brings.
      const int begin = e.stream.position;
      failures |= e.GenerateHuffmanTables(s.count, s.components, s.ss, s.se, s.ah, s.al);
      EXPECT_EQ(e.stream.position, begin) << job;
      if (s.ss != 0) {
        failures |= e.WriteDHT(&e.ac_tables[e.components[s.components[0]]->ac_selector]);
      } else if (s.ah == 0) {
        failures |= e.WriteDHT(&e.dc_tables[0]) | e.WriteDHT(&e.dc_tables[1]);
      }
      EXPECT_TRUE(std::equal(buffer.data() + begin, buffer.data() + e.stream.position,
                             whole.begin() + begin))
          << job << ", scan " << k;
      e.stream.position = begin;
      e.restarts_to_go = e.restart_interval;
      failures |= e.EncodeScan(s.count, s.components, s.ss, s.se, s.ah, s.al);
    }
    failures |= e.WriteEOI();
    EXPECT_EQ(failures, 0) << job;
    EXPECT_EQ(whole, Bytes(buffer.data(), buffer.data() + e.stream.position)) << job;
  }
}

// Memory that is kept for the next image holds the one before it.
TEST(ProgressiveWriter, ShowsNothingOfTheImageBefore) {
  const struct {
    Size size;
    _JPEG_COLOR jpeg;
    _JPEG_MODE mode;
  } images[] = {{{300, 130}, JPEG_COLOR_YCBCR, JPEG_MODE_PROGRESSIVE},
                {{290, 131}, JPEG_COLOR_YCBCR, JPEG_MODE_PROGRESSIVE},  // in the same memory
                {{200, 130}, JPEG_COLOR_RGB, JPEG_MODE_PROGRESSIVE},    // by the stages
                {{40, 40}, JPEG_COLOR_YCBCR, JPEG_MODE_PROGRESSIVE},    // in less
                {{40, 40}, JPEG_COLOR_YCBCR, JPEG_MODE_BASELINE},       // without any
                {{301, 131}, JPEG_COLOR_YCBCR, JPEG_MODE_PROGRESSIVE}};
  CJPEGEncoder used;
  for (const auto& image : images) {
    EncoderJob job = colourJob(noisePicture(image.size, 5));
    job.jpeg = image.jpeg;
    job.mode = image.mode;
    if (image.jpeg == JPEG_COLOR_RGB) job.source = JPEG_COLOR_RGB;
    const Coded fresh = encode(job), again = encode(used, job);
    EXPECT_EQ(fresh.result, 0) << job;
    EXPECT_EQ(again.result, 0) << job;
    EXPECT_EQ(again.bytes, fresh.bytes) << job;
  }
}

TEST(Encoder, RefusesAScanOfMoreThanFourComponents) {
  Ipp8u buffer[100];
  EncoderJob job = grayJob(flatPicture({8, 8}, 0, 0, 0));
  job.mode = JPEG_MODE_PROGRESSIVE;
  job.capacity = sizeof buffer;
  CJPEGEncoder e;
  setUp(e, job, buffer);
  ASSERT_EQ(e.Init(), 0);
  const int five[5] = {};
  EXPECT_EQ(e.GenerateHuffmanTables(5, five, 0, 0, 0, 1), JPEG_NOT_SUPPORTED);
  EXPECT_EQ(e.EncodeScan(5, five, 0, 0, 0, 1), JPEG_NOT_SUPPORTED);
  EXPECT_EQ(e.stream.position, 0);
}

// By hand, outside of any writer. What waits goes out in front of the marker, without one at a
// packet's end; nothing is left for the next interval.
TEST(Encoder, ClosesAnInterval) {
  const struct {
    _JPEG_MODE mode;
    bool restart;
    std::string stream;
  } cases[] = {
      // The difference 2: 011 10. Then 1010, the code of a block's end, where there are blocks.
      {JPEG_MODE_LOSSLESS, true, "77FFD0"},
      {JPEG_MODE_LOSSLESS, false, "77"},
      {JPEG_MODE_BASELINE, true, "757FFFD0"},
      {JPEG_MODE_BASELINE, false, "757F"},
      // A run of two blocks of zeros: the table's only code, 0, and the lower bit of 2.
      {JPEG_MODE_PROGRESSIVE, true, "3FFFD0"},
      {JPEG_MODE_PROGRESSIVE, false, "3F"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.stream);
    GuardedBuffer buffer(16);
    EncoderJob job = grayJob(flatPicture({16, 8}, 0, 0, 0));
    job.mode = c.mode;
    job.restartInterval = 9;
    CJPEGEncoder e;
    setUp(e, job, buffer.data());
    ASSERT_EQ(e.Init(), 0);
    ASSERT_EQ(e.huffman_state.Init(), 0);
    const Ipp8u bits[16] = {1}, symbol = 0x10;
    if (c.mode == JPEG_MODE_PROGRESSIVE) e.ac_tables[0].Init(0, 1, bits, &symbol);
    const IppiEncodeHuffmanSpec *dc = e.dc_tables[0].spec, *ac = e.ac_tables[0].spec;
    const Ipp16s block[64] = {2};
    Ipp16s before = 0;
    const auto code = [&](auto primitive, auto... arguments) {
      EXPECT_EQ(primitive(block, buffer.data(), 16, &e.stream.position, arguments...,
                          e.huffman_state.state, 0),
                0);
    };
    if (c.mode == JPEG_MODE_LOSSLESS) code(ippiEncodeHuffmanOne_JPEG_16s1u_C1, dc);
    if (c.mode == JPEG_MODE_BASELINE) code(ippiEncodeHuffman8x8_JPEG_16s1u_C1, &before, dc, ac);
    for (int i = 0; i < 2 && c.mode == JPEG_MODE_PROGRESSIVE; ++i)
      code(ippiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1, 1, 63, 0, ac);

    const int first = 0, ss = c.mode == JPEG_MODE_PROGRESSIVE ? 1 : 0;
    e.restarts_to_go = 1;
    e.components[0]->last_dc = 5;
    EXPECT_EQ(c.restart ? e.ProcessRestart(&first, ss, 63, 0, 0)
                        : e.TerminatePacket(&first, ss, 63, 0, 0),
              0);
    EXPECT_EQ(hexText({buffer.data(), buffer.data() + e.stream.position}), c.stream);
    EXPECT_EQ(e.components[0]->last_dc, 0);
    EXPECT_EQ(e.restarts_to_go, c.restart ? 9 : 1);
    EXPECT_EQ(e.TerminatePacket(&first, ss, 63, 0, 0), 0);
    EXPECT_EQ(static_cast<std::size_t>(e.stream.position), c.stream.size() / 2);
  }
}

// In a pass for statistics a run that waits is counted: of four to seven blocks, 0x20.
TEST(Encoder, CountsWhatAnIntervalLeaves) {
  EncoderJob job = grayJob(flatPicture({8, 8}, 0, 0, 0));
  job.mode = JPEG_MODE_PROGRESSIVE;
  job.restartInterval = 9;
  CJPEGEncoder e;
  setUp(e, job, nullptr);
  ASSERT_EQ(e.Init(), 0);
  ASSERT_EQ(e.huffman_state.Init(), 0);
  const Ipp16s block[64] = {};
  int counts[2][256] = {}, expected[2][256] = {};
  expected[0][0x20] = 1;
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(ippiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(block, counts[0], 1, 63, 0,
                                                              e.huffman_state.state, 0),
              0);
  }
  for (int i = 0; i < 2; ++i) {
    const int first = 0;
    e.components[0]->last_dc = 5;
    e.restarts_to_go = 0;
    EXPECT_EQ(e.ProcessRestart(counts, &first, 1, 63, 0, 0), 0);
    EXPECT_EQ(std::memcmp(counts, expected, sizeof counts), 0);
    EXPECT_EQ(e.components[0]->last_dc, 0);
    EXPECT_EQ(e.restarts_to_go, 9);
  }
}

// Any order of modes on one object gives the streams that fresh objects give, after buffers that
// are too small and allocations that fail as well.
TEST(Encoder, MixesModes) {
  AllocationHooks hooks(&i_malloc, &i_free);
  EncoderJob jobs[3] = {colourJob(scenePicture({40, 30})), colourJob(scenePicture({33, 17})),
                        grayJob(scenePicture({21, 10}))};
  jobs[0].restartInterval = 2;
  jobs[1].restartInterval = 3;
  Bytes fresh[3];
  for (int i = 0; i < 3; ++i) {
    jobs[i].mode = kModes[i];
    fresh[i] = encode(jobs[i]).bytes;
  }
  int order[] = {0, 1, 2};
  do {
    CJPEGEncoder encoder;
    for (const int i : order) {
      SCOPED_TRACE(testing::Message() << order[0] << order[1] << order[2] << " mode " << i);
      EXPECT_EQ(encode(encoder, jobs[i]).bytes, fresh[i]);
      EncoderJob cut = jobs[i];
      cut.capacity = static_cast<int>(fresh[i].size()) - 20;
      EXPECT_NE(encode(encoder, cut).result, 0);
      int allocations = 0, result;
      do {
        hooks.failAfter(allocations++);
        result = encode(encoder, jobs[i]).result;
        EXPECT_TRUE(result == 0 || result == JPEG_OUT_OF_MEMORY || result == JPEG_INTERNAL_ERROR);
      } while (result != 0);
      EXPECT_GT(allocations, 4);
      hooks.stopFailing();
      EXPECT_EQ(encode(encoder, jobs[i]).bytes, fresh[i]);
      setUp(encoder, jobs[i], nullptr);
      EXPECT_EQ(writeImage(encoder, jobs[(i + 1) % 3].mode), JPEG_NOT_SUPPORTED);
      EXPECT_EQ(writeImage(encoder, jobs[(i + 2) % 3].mode), JPEG_NOT_SUPPORTED);
    }
  } while (std::next_permutation(order, order + 3));
  EXPECT_EQ(hooks.live(), 0);
}

TEST(ErrorTexts, AreOfOneCodeEach) {
  std::set<std::string> texts;
  for (int code = JPEG_BAD_RESTART - 1; code <= JPEG_NO_ERROR; ++code) {
    EXPECT_TRUE(texts.insert(GetErrorStr(static_cast<_JPEG_ERROR>(code))).second) << code;
  }
  EXPECT_EQ(texts.count("unknown code"), 1U);
}

}  // namespace
}  // namespace qrx::test
