// Whole streams of the three image writers.
#include <gtest/gtest.h>

#include <sstream>

#include "qrx/jpeg_decoder.h"
#include "qrx/primitives.h"
#include "tests/support/allocation_hooks.h"
#include "tests/support/peer_codec.h"
#include "tests/unit/codecs/encoder_job.h"
#include "tools/jpeg/walk.h"

namespace qrx::test {
namespace {

constexpr _JPEG_SAMPLING kSamplings[] = {JPEG_SAMPLING_444, JPEG_SAMPLING_422, JPEG_SAMPLING_420};

// The decoded pixels of a stream, one to four channels as they come.
Bytes decode(const Bytes& stream) {
  CJPEGDecoder decoder;
  decoder.SetSource(stream.data(), static_cast<int>(stream.size()));
  int width = 0, height = 0, channels = 0, precision = 0;
  _JPEG_COLOR color;
  _JPEG_SAMPLING sampling;
  EXPECT_EQ(decoder.ReadHeader(&width, &height, &channels, &color, &sampling, &precision), 0);
  Bytes pixels(static_cast<std::size_t>(width * height * channels));
  const _JPEG_COLOR target = channels == 1   ? JPEG_COLOR_GRAY
                             : channels == 3 ? JPEG_COLOR_RGB
                                             : JPEG_COLOR_CMYK;
  decoder.SetDestination(pixels.data(), width * channels, {width, height}, channels, target, 8);
  EXPECT_EQ(decoder.ReadData(), 0);
  EXPECT_EQ(decoder.lines_written, height);
  return pixels;
}

std::string segmentNames(const Bytes& stream) {
  std::string names;
  for (const auto& segment : tool::walkJpeg(stream).segments) {
    names += tool::markerName(segment.marker) + " ";
  }
  return names;
}

// --- Baseline

TEST(BaselineWriter, MakesTheStreamThatIsWorkedOutByHand) {
  EncoderJob job = colourJob(flatPicture({8, 8}, 128, 128, 128));
  job.sampling = JPEG_SAMPLING_444;
  const Bytes stream = encode(job).bytes;
  const tool::JpegInfo info = tool::walkJpeg(stream);
  EXPECT_EQ(info.damage, std::vector<std::string>());
  EXPECT_EQ(segmentNames(stream), "SOI APP0 COM DQT DQT SOF0 DHT DHT DHT DHT SOS EOI ");
  ASSERT_EQ(info.scans.size(), 1u);
  EXPECT_EQ(info.scans[0].dataOffset, 681u);
  // Every difference is 0: luma 00 1010, both chromas 00 00, filled up with ones.
  EXPECT_EQ(hexText(Bytes(stream.begin() + 681, stream.end())), "28 03 FF D9 ");

  // White: DC (255 - 128) * 8 / 8 = 127, category 7 (11110), 1111111; then 1010 00 00 00 00.
  job.pixels.assign(192, 255);
  const Bytes white = encode(job).bytes;
  EXPECT_EQ(hexText(Bytes(white.begin() + 681, white.end())), "F7 FA 00 FF D9 ");
}

TEST(BaselineWriter, OrdersSegmentsByColour) {
  const struct {
    _JPEG_COLOR source, jpeg;
    int channels;
    const char* names;
  } cases[] = {
      {JPEG_COLOR_GRAY, JPEG_COLOR_GRAY, 1, "SOI APP0 COM DQT SOF0 DHT DHT SOS EOI "},
      {JPEG_COLOR_RGB, JPEG_COLOR_RGB, 3, "SOI APP14 COM DQT DQT SOF0 DHT DHT DHT DHT SOS EOI "},
      {JPEG_COLOR_CMYK, JPEG_COLOR_YCCK, 4, "SOI APP14 COM DQT DQT SOF0 DHT DHT DHT DHT SOS EOI "},
      {JPEG_COLOR_NONE, JPEG_COLOR_NONE, 3,
       "SOI COM DQT DQT SOF0 DHT DHT DHT DHT SOS "},  // no components
  };
  for (const auto& c : cases) {
    EncoderJob job = colourJob(scenePicture({20, 20}));
    job.pixels.resize(1600);
    job.source = c.source;
    job.jpeg = c.jpeg;
    job.channels = c.channels;
    EXPECT_EQ(segmentNames(encode(job).bytes), c.names) << job;
  }
}

TEST(BaselineWriter, PlacesRestarts) {
  const struct {
    int interval, mcus;
    std::size_t restarts;
    int word;  // of DRI; 0: no DRI
  } cases[] = {{0, 3, 0, 0}, {1, 3, 2, 1},  {2, 4, 1, 2},         {1, 10, 9, 1}, {3, 3, 0, 3},
               {5, 4, 0, 5}, {-1, 3, 0, 0}, {70000, 4, 0, 65535}, {1, 1, 0, 1}};
  for (const auto& c : cases) {
    for (const _JPEG_MODE mode : {JPEG_MODE_BASELINE, JPEG_MODE_PROGRESSIVE}) {
      EncoderJob job = grayJob(scenePicture({8 * c.mcus, 8}));
      job.restartInterval = c.interval;
      job.mode = mode;
      const Coded coded = encode(job);
      ASSERT_EQ(coded.result, 0) << job;
      const tool::JpegInfo info = tool::walkJpeg(coded.bytes);
      EXPECT_EQ(info.restartInterval, c.word) << job;
      for (const auto& scan : info.scans) {
        EXPECT_EQ(scan.restarts, c.restarts) << job;
        EXPECT_TRUE(scan.restartsInOrder) << job;
      }
      EncoderJob plain = job;
      plain.restartInterval = 0;
      EXPECT_EQ(decode(coded.bytes), decode(encode(plain).bytes)) << job;
    }
  }
}

TEST(BaselineWriter, CodesAnImageWithoutLines) {
  EncoderJob job = colourJob(flatPicture({8, 8}, 0, 0, 0));
  job.size.height = 0;
  const Coded coded = encode(job);
  EXPECT_EQ(coded.result, 0);
  EXPECT_EQ(coded.bytes.size(), 683u);
  EXPECT_EQ(segmentNames(coded.bytes), "SOI APP0 COM DQT DQT SOF0 DHT DHT DHT DHT SOS EOI ");
}

// Every capacity that is too small: the stated code, a prefix of the stream, no byte beyond.
TEST(ImageWriters, StopAtTheEndOfTheBuffer) {
  for (const _JPEG_MODE mode : {JPEG_MODE_BASELINE, JPEG_MODE_PROGRESSIVE, JPEG_MODE_LOSSLESS}) {
    EncoderJob job = mode == JPEG_MODE_LOSSLESS ? grayJob(noisePicture({20, 20}, 1))
                                                : colourJob(noisePicture({20, 20}, 1));
    job.mode = mode;
    job.restartInterval = mode == JPEG_MODE_LOSSLESS ? 0 : 1;
    const Bytes whole = encode(job).bytes;
    const tool::JpegInfo info = tool::walkJpeg(whole);
    CJPEGEncoder encoder;
    for (job.capacity = 0; job.capacity <= static_cast<int>(whole.size()) + 1; ++job.capacity) {
      const Coded coded = encode(encoder, job);
      ASSERT_TRUE(coded.inBounds) << job;
      ASSERT_LE(coded.bytes.size(), whole.size());
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
  for (int source = 0; source < 7; ++source) {
    for (int jpeg = 0; jpeg < 7; ++jpeg) {
      for (const _JPEG_SAMPLING sampling : kSamplings) {
        for (int mode = 0; mode < 3; ++mode) {
          EncoderJob job = colourJob(scenePicture({21, 19}));
          job.pixels.resize(21 * 19 * 4, 77);
          job.channels = 4;
          job.source = static_cast<_JPEG_COLOR>(source);
          job.jpeg = static_cast<_JPEG_COLOR>(jpeg);
          job.sampling = sampling;
          job.mode = static_cast<_JPEG_MODE>(mode);
          hooks.fillWith(0x55);
          const Coded first = encode(job);
          hooks.fillWith(0xC3);
          const Coded second = encode(job);
          EXPECT_EQ(first.result, second.result) << job;
          EXPECT_EQ(first.bytes, second.bytes) << job;
        }
      }
    }
  }
}

// --- Progressive

TEST(ProgressiveWriter, ScansByTheScript) {
  struct Script {
    _JPEG_COLOR color;
    int channels;
    std::string scans;  // components, Ss, Se, Ah, Al
  };
  const Script scripts[] = {
      {JPEG_COLOR_GRAY, 1, "0:0-0,0,1 0:1-5,0,2 0:6-63,0,2 0:1-63,2,1 0:0-0,1,0 0:1-63,1,0 "},
      {JPEG_COLOR_YCBCR, 3,
       "012:0-0,0,1 0:1-5,0,2 2:1-63,0,1 1:1-63,0,1 0:6-63,0,2 0:1-63,2,1 012:0-0,1,0 "
       "2:1-63,1,0 1:1-63,1,0 0:1-63,1,0 "},
      {JPEG_COLOR_CMYK, 4,
       "0123:0-0,0,1 0:1-5,0,2 1:1-5,0,2 2:1-5,0,2 3:1-5,0,2 0:6-63,0,2 1:6-63,0,2 2:6-63,0,2 "
       "3:6-63,0,2 0:1-63,2,1 1:1-63,2,1 2:1-63,2,1 3:1-63,2,1 0123:0-0,1,0 0:1-63,1,0 "
       "1:1-63,1,0 2:1-63,1,0 3:1-63,1,0 "},
  };
  for (const Script& script : scripts) {
    EncoderJob job = colourJob(scenePicture({40, 40}));
    job.pixels.resize(6400, 9);
    job.channels = script.channels;
    job.source = script.channels == 3 ? JPEG_COLOR_BGR : script.color;
    job.jpeg = script.color;
    job.mode = JPEG_MODE_PROGRESSIVE;
    const tool::JpegInfo info = tool::walkJpeg(encode(job).bytes);
    std::ostringstream scans;
    std::size_t tables = 0;
    for (const auto& scan : info.scans) {
      for (const auto& component : scan.components) scans << component.id;
      scans << ":" << scan.spectralStart << "-" << scan.spectralEnd << "," << scan.approximationHigh
            << "," << scan.approximationLow << " ";
      if (scan.spectralStart != 0) ++tables;
    }
    EXPECT_EQ(scans.str(), script.scans);
    // One table for each AC scan; for the first DC scan one or two; none for its refinement.
    EXPECT_EQ(info.huffmanTables.size(), tables + (script.channels == 1 ? 1 : 2));
    const auto quants = script.color == JPEG_COLOR_YCBCR ? 2u : 1u;
    EXPECT_EQ(info.quantTables.size(), quants);
  }
}

// Any reader finds the same coefficients in a progressive stream as in the baseline one.
TEST(ProgressiveWriter, CarriesTheBaselineCoefficients) {
  const struct {
    _JPEG_COLOR source, jpeg;
    int channels;
  } colours[] = {{JPEG_COLOR_BGR, JPEG_COLOR_YCBCR, 3},
                 {JPEG_COLOR_GRAY, JPEG_COLOR_GRAY, 1},
                 {JPEG_COLOR_RGB, JPEG_COLOR_RGB, 3},
                 {JPEG_COLOR_CMYK, JPEG_COLOR_YCCK, 4}};
  const Size sizes[] = {{1, 1}, {10, 10}, {20, 8}, {17, 17}, {130, 77}};
  for (const auto& colour : colours) {
    for (const Size size : sizes) {
      for (const _JPEG_SAMPLING sampling : kSamplings) {
        for (const int quality : {20, 95}) {
          EncoderJob job{scenePicture(size).pixels,
                         size,
                         colour.channels,
                         colour.source,
                         colour.jpeg,
                         sampling,
                         quality};
          const Bytes baseline = runJpegtran(encode(job).bytes);
          ASSERT_FALSE(baseline.empty()) << job;
          job.mode = JPEG_MODE_PROGRESSIVE;
          for (const int interval : {0, quality == 20 ? 1 : 5}) {
            job.restartInterval = interval;
            const Coded coded = encode(job);
            ASSERT_EQ(coded.result, 0) << job;
            EXPECT_EQ(runJpegtran(coded.bytes), baseline) << job;
          }
        }
      }
    }
  }
}

// --- Lossless

TEST(LosslessWriter, KeepsEveryBit) {
  for (const Size size : {Size{1, 1}, {7, 5}, {1, 9}, {9, 1}, {300, 21}}) {
    for (int kind = 0; kind < 3; ++kind) {
      EncoderJob job = grayJob(kind == 0 ? noisePicture(size, 5) : scenePicture(size));
      if (kind == 2) {  // the largest differences
        for (std::size_t i = 0; i < job.pixels.size(); ++i) job.pixels[i] = i % 2 == 0 ? 255 : 0;
      }
      job.mode = JPEG_MODE_LOSSLESS;
      const Coded coded = encode(job);
      ASSERT_EQ(coded.result, 0) << job;
      EXPECT_EQ(segmentNames(coded.bytes), "SOI APP0 COM SOF3 DHT SOS EOI ");
      const tool::JpegInfo info = tool::walkJpeg(coded.bytes);
      EXPECT_EQ(info.frame()->precision, 8);
      EXPECT_EQ(info.scans[0].spectralStart, 1);  // the predictor
      EXPECT_EQ(info.scans[0].spectralEnd, 0);
      EXPECT_EQ(info.scans[0].approximationLow, 0);
      EXPECT_EQ(decode(coded.bytes), job.pixels) << job;
    }
  }
}

TEST(LosslessWriter, MakesTheDataThatIsWorkedOutByHand) {
  EncoderJob job{{130, 128, 128, 127}, {2, 2}, 1, JPEG_COLOR_GRAY, JPEG_COLOR_GRAY};
  job.mode = JPEG_MODE_LOSSLESS;
  // Differences 2 (from 128), -2; then -2 (from the sample above), -1: 011 10, 011 01, 011 01,
  // 010 0; then ones.
  const Bytes stream = encode(job).bytes;
  EXPECT_EQ(hexText(Bytes(stream.end() - 5, stream.end())), "73 5A 9F FF D9 ");
}

TEST(LosslessWriter, RefusesColoursAndRestarts) {
  EncoderJob job = colourJob(scenePicture({9, 9}));
  job.mode = JPEG_MODE_LOSSLESS;
  const Coded colour = encode(job);
  EXPECT_EQ(colour.result, JPEG_NOT_SUPPORTED);
  EXPECT_TRUE(colour.bytes.empty());

  job = grayJob(scenePicture({9, 9}));
  job.mode = JPEG_MODE_LOSSLESS;
  job.restartInterval = 4;
  const Coded restarts = encode(job);
  EXPECT_EQ(restarts.result, JPEG_NOT_SUPPORTED);
  EXPECT_EQ(segmentNames(restarts.bytes), "SOI APP0 COM SOF3 DHT ");
}

}  // namespace
}  // namespace qrx::test
