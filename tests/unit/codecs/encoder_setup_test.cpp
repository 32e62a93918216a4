// The encoder object: grid, components, what Init refuses, and what it holds on to.
#include <gtest/gtest.h>

#include "qrx/jpeg_encoder.h"
#include "qrx/primitives.h"
#include "tests/support/allocation_hooks.h"
#include "tests/unit/codecs/encoder_job.h"

namespace qrx::test {
namespace {

EncoderJob sized(Size size, _JPEG_SAMPLING sampling) {
  EncoderJob job;
  job.size = size;
  job.sampling = sampling;
  return job;
}

TEST(EncoderSetUp, WorksOutTheGrid) {
  const auto k444 = JPEG_SAMPLING_444, k422 = JPEG_SAMPLING_422, k420 = JPEG_SAMPLING_420;
  const struct {
    Size size;
    _JPEG_SAMPLING sampling;
    _JPEG_MODE mode;
    int mcuWidth, mcuHeight, across, down, padColumns, padRows;
  } cases[] = {
      {{17, 9}, k420, JPEG_MODE_BASELINE, 16, 16, 2, 1, 15, 7},
      {{17, 9}, k422, JPEG_MODE_BASELINE, 16, 8, 2, 2, 15, 7},
      {{17, 9}, k444, JPEG_MODE_PROGRESSIVE, 8, 8, 3, 2, 7, 7},
      {{32, 16}, k420, JPEG_MODE_BASELINE, 16, 16, 2, 1, 0, 0},
      {{1, 1}, JPEG_SAMPLING_OTHER, JPEG_MODE_BASELINE, 16, 8, 1, 1, 15, 7},
      {{17, 9}, k420, JPEG_MODE_LOSSLESS, 1, 1, 17, 9, 0, 0},
      {{65535, 1}, k420, JPEG_MODE_BASELINE, 16, 16, 4096, 1, 1, 15},
  };
  CJPEGEncoder encoder;
  for (const auto& c : cases) {
    EncoderJob job = sized(c.size, c.sampling);
    job.mode = c.mode;
    job.restartInterval = 7;
    setUp(encoder, job, nullptr);
    EXPECT_EQ(encoder.component_count, 0);  // until Init
    ASSERT_EQ(encoder.Init(), 0) << job;
    EXPECT_EQ(encoder.mcu_width, c.mcuWidth) << job;
    EXPECT_EQ(encoder.mcu_height, c.mcuHeight) << job;
    EXPECT_EQ(encoder.mcus_across, c.across) << job;
    EXPECT_EQ(encoder.mcus_down, c.down) << job;
    EXPECT_EQ(encoder.strip_stride, c.across * c.mcuWidth) << job;
    EXPECT_EQ(encoder.strip_rows, c.mcuHeight) << job;
    EXPECT_EQ(encoder.pad_columns, c.padColumns) << job;
    EXPECT_EQ(encoder.pad_rows, c.padRows) << job;
    EXPECT_EQ(encoder.restarts_to_go, 7) << job;
  }
}

TEST(EncoderSetUp, GivesEachColourItsComponentsAndTables) {
  const struct {
    _JPEG_COLOR jpeg;
    int components, chromaQuant;
  } cases[] = {{JPEG_COLOR_NONE, 0, 0}, {JPEG_COLOR_GRAY, 1, 0},  {JPEG_COLOR_RGB, 3, 0},
               {JPEG_COLOR_BGR, 0, 0},  {JPEG_COLOR_YCBCR, 3, 1}, {JPEG_COLOR_CMYK, 4, 0},
               {JPEG_COLOR_YCCK, 4, 1}};
  for (const auto& c : cases) {
    EncoderJob job = sized({20, 20}, JPEG_SAMPLING_420);
    job.jpeg = c.jpeg;
    CJPEGEncoder encoder;
    setUp(encoder, job, nullptr);
    ASSERT_EQ(encoder.Init(), 0) << job;
    ASSERT_EQ(encoder.component_count, c.components) << job;
    for (int i = 0; i < c.components; ++i) {
      const CJPEGColorComponent& component = *encoder.components[i];
      const bool chroma = i == 1 || i == 2;
      // A gray stream is coded 1x1 whatever was asked for; the field keeps the caller's value.
      const int factor = chroma || c.components == 1 ? 1 : 2;
      EXPECT_EQ(component.id, i);
      EXPECT_EQ(component.hsampling, factor) << job << " " << i;
      EXPECT_EQ(component.vsampling, factor) << job << " " << i;
      EXPECT_EQ(component.nblocks, factor * factor) << job << " " << i;
      EXPECT_EQ(component.h_factor, chroma ? 2 : 1) << job << " " << i;
      EXPECT_EQ(component.v_factor, chroma ? 2 : 1) << job << " " << i;
      EXPECT_EQ(component.q_selector, chroma ? c.chromaQuant : 0) << job << " " << i;
      EXPECT_EQ(component.dc_selector, chroma ? 1 : 0) << job << " " << i;
      EXPECT_EQ(component.ac_selector, chroma ? 1 : 0) << job << " " << i;
    }
    EXPECT_EQ(encoder.sampling, JPEG_SAMPLING_420);
  }
}

TEST(EncoderSetUp, RefusesWhatItCannotCode) {
  const auto badMode = static_cast<_JPEG_MODE>(3);
  const struct {
    Size size;
    _JPEG_COLOR jpeg;
    _JPEG_MODE mode;
    int quality, result;
  } cases[] = {
      {{65536, 1}, JPEG_COLOR_YCBCR, JPEG_MODE_BASELINE, 50, JPEG_NOT_SUPPORTED},
      {{1, 65536}, JPEG_COLOR_YCBCR, JPEG_MODE_BASELINE, 50, JPEG_NOT_SUPPORTED},
      {{-1, 1}, JPEG_COLOR_YCBCR, JPEG_MODE_BASELINE, 50, JPEG_NOT_SUPPORTED},
      {{1, INT_MIN}, JPEG_COLOR_NONE, JPEG_MODE_BASELINE, 50, JPEG_NOT_SUPPORTED},
      {{INT_MAX, INT_MAX}, JPEG_COLOR_GRAY, JPEG_MODE_LOSSLESS, 50, JPEG_NOT_SUPPORTED},
      {{65535, 65535}, JPEG_COLOR_YCBCR, JPEG_MODE_PROGRESSIVE, 50, JPEG_OUT_OF_MEMORY},
      {{0, 8}, JPEG_COLOR_YCBCR, JPEG_MODE_BASELINE, 50, JPEG_OUT_OF_MEMORY},
      {{8, 0}, JPEG_COLOR_YCBCR, JPEG_MODE_PROGRESSIVE, 50, JPEG_OUT_OF_MEMORY},
      {{8, 0}, JPEG_COLOR_YCBCR, JPEG_MODE_BASELINE, 50, 0},
      {{8, 8}, JPEG_COLOR_YCBCR, badMode, 50, JPEG_INTERNAL_ERROR},
      {{8, 8}, JPEG_COLOR_BGR, badMode, 50, 0},
      {{8, 8}, JPEG_COLOR_YCBCR, JPEG_MODE_BASELINE, 0, JPEG_INTERNAL_ERROR},
      {{8, 8}, JPEG_COLOR_YCBCR, JPEG_MODE_PROGRESSIVE, -1, JPEG_INTERNAL_ERROR},
      {{8, 8}, JPEG_COLOR_GRAY, JPEG_MODE_LOSSLESS, -1, 0},
  };
  CJPEGEncoder encoder;
  for (const auto& c : cases) {
    EncoderJob job = sized(c.size, JPEG_SAMPLING_444);
    job.jpeg = c.jpeg;
    job.mode = c.mode;
    job.quality = c.quality;
    setUp(encoder, job, nullptr);
    EXPECT_EQ(encoder.Init(), c.result) << job;
  }
}

TEST(EncoderSetUp, WritersRefuseAnotherMode) {
  for (int mode = 0; mode < 3; ++mode) {
    for (int writer = 0; writer < 3; ++writer) {
      if (mode == writer) continue;
      EncoderJob job = grayJob(flatPicture({8, 8}, 1, 2, 3));
      job.mode = static_cast<_JPEG_MODE>(mode);
      CJPEGEncoder encoder;
      Bytes buffer(2000);
      setUp(encoder, job, buffer.data());
      EXPECT_EQ(writeImage(encoder, static_cast<_JPEG_MODE>(writer)), JPEG_NOT_SUPPORTED);
      EXPECT_EQ(encoder.stream.position, 0);
    }
  }
}

// Whatever happens to an object, nothing stays allocated behind it, and every failed allocation is
// reported or makes no difference.
TEST(EncoderSetUp, LeavesNothingBehind) {
  AllocationHooks hooks(&i_malloc, &i_free);
  for (const _JPEG_MODE mode : {JPEG_MODE_BASELINE, JPEG_MODE_PROGRESSIVE, JPEG_MODE_LOSSLESS}) {
    EncoderJob job = colourJob(scenePicture({33, 17}));
    if (mode == JPEG_MODE_LOSSLESS) job.jpeg = JPEG_COLOR_GRAY;
    job.mode = mode;
    const Bytes whole = encode(job).bytes;
    CJPEGEncoder encoder;
    int allocations = 0;
    for (bool done = false; !done; ++allocations) {
      hooks.failAfter(allocations);
      const Coded coded = encode(encoder, job);
      done = coded.result == 0;
      if (done) {
        EXPECT_EQ(coded.bytes, whole);
      } else {
        EXPECT_TRUE(coded.result == JPEG_OUT_OF_MEMORY || coded.result == JPEG_INTERNAL_ERROR)
            << coded.result;
      }
    }
    hooks.stopFailing();
    EXPECT_GT(allocations, 3);
    ASSERT_EQ(encoder.Init(), 0);  // again, without Clean
    const int live = hooks.live();
    ASSERT_EQ(encoder.Init(), 0);
    EXPECT_EQ(hooks.live(), live);
    encoder.Clean();
    EXPECT_EQ(hooks.live(), 5);  // four Huffman tables and the bit writer stay
    EXPECT_EQ(encoder.quality, 100);
    EXPECT_EQ(encoder.mcus_across, 0);
  }
  EXPECT_EQ(hooks.live(), 0);
}

// A larger image after a smaller one, without Clean: an error of the caller that must not harm.
TEST(EncoderSetUp, SurvivesAMissingClean) {
  const EncoderJob small = colourJob(scenePicture({8, 8}));
  for (const _JPEG_MODE mode : {JPEG_MODE_BASELINE, JPEG_MODE_PROGRESSIVE}) {
    EncoderJob large = colourJob(scenePicture({200, 100}));
    large.mode = mode;
    Bytes buffer(1 << 20);
    CJPEGEncoder encoder;
    setUp(encoder, small, buffer.data());
    encoder.mode = mode;
    ASSERT_EQ(encoder.Init(), 0);
    encoder.SetSource(large.pixels.data(), 600, {200, 100}, 3, JPEG_COLOR_BGR);
    encoder.SetDestination(buffer.data(), large.capacity, large.quality, large.sampling, large.jpeg,
                           mode, 0);
    ASSERT_EQ(writeImage(encoder, mode), 0);
    buffer.resize(static_cast<std::size_t>(encoder.stream.position));
    EXPECT_EQ(buffer, encode(large).bytes);
  }
}

// Any order of modes on one object gives the streams that fresh objects give.
TEST(EncoderSetUp, MixesModes) {
  EncoderJob jobs[3] = {colourJob(scenePicture({40, 30})), colourJob(scenePicture({33, 17})),
                        grayJob(scenePicture({21, 10}))};
  jobs[0].restartInterval = 2;
  jobs[1].mode = JPEG_MODE_PROGRESSIVE;
  jobs[1].restartInterval = 3;
  jobs[2].mode = JPEG_MODE_LOSSLESS;
  Bytes fresh[3];
  for (int i = 0; i < 3; ++i) fresh[i] = encode(jobs[i]).bytes;
  int order[] = {0, 1, 2};
  do {
    CJPEGEncoder encoder;
    for (const bool failing : {false, true}) {
      for (const int i : order) {
        EncoderJob cut = jobs[i];
        cut.capacity = static_cast<int>(fresh[i].size()) - 20;
        if (failing) {
          EXPECT_NE(encode(encoder, cut).result, 0);
        }
        EXPECT_EQ(encode(encoder, jobs[i]).bytes, fresh[i]) << order[0] << order[1] << order[2];
      }
    }
  } while (std::next_permutation(order, order + 3));
}

}  // namespace
}  // namespace qrx::test
