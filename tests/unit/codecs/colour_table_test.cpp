// What is once per process. Every case runs in a child of its own; the parent never encodes.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <thread>

#include "qrx/codec.h"
#include "tests/support/process.h"
#include "tests/unit/codec_kit.h"

namespace {

std::atomic<int> g_live;
thread_local int t_left = -1;  // allocations that this thread still gets; negative: all

// Out of line, where the compiler cannot mistake the pair of new and free for an oversight.
[[gnu::noinline]] void release(void* block) noexcept {
  if (block != nullptr) --g_live;
  std::free(block);
}

}  // namespace

void* operator new(std::size_t size) {
  void* const block = t_left == 0 ? nullptr : std::malloc(size > 0 ? size : 1);
  if (block == nullptr) throw std::bad_alloc();
  if (t_left > 0) --t_left;
  ++g_live;
  return block;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void operator delete(void* block) noexcept { release(block); }
void operator delete(void* block, std::size_t) noexcept { release(block); }

namespace qrx::test {
namespace {

// The colour table behind ZMT_COLOR_CONVERSION.
TEST(ColourTable, TruncatesEachTerm) {
  // B, G, R and Y, Cb, Cr: each term of a sum truncated, nothing rounded.
  const std::pair<Bytes, std::string> colours[] = {
      {{255, 255, 255}, "FE8081"}, {{0, 0, 0}, "008080"},   {{128, 128, 128}, "7F8181"},
      {{0, 0, 255}, "4C55FF"},     {{0, 255, 0}, "952C16"}, {{255, 0, 0}, "1DFF6C"},
      {{1, 1, 1}, "008080"},       {{254, 3, 7}, "1FFE6E"}};
  runInChild([&] {
    for (const auto& [pixel, expected] : colours) {
      Bytes planes(3);
      Ipp8u* const targets[3] = {&planes[0], &planes[1], &planes[2]};
      EXPECT_EQ(CJPEGEncoder::qrxBGRToYCbCr_JPEG_8u_C3P3R(pixel.data(), 3, targets, 1, {1, 1}), 0);
      EXPECT_EQ(hexText(planes), expected) << hexText(pixel);
    }
  });
}

// Luma of white in the first strip: 254 by the table, 255 by the primitive.
int lumaOfWhite(_JPEG_COLOR source, bool wholeImage) {
  EncoderJob job = colourJob(flatPicture({17, 33}, 255, 255, 255));
  job.source = source;
  job.mode = wholeImage ? JPEG_MODE_PROGRESSIVE : JPEG_MODE_BASELINE;
  CJPEGEncoder encoder;
  setUp(encoder, job, nullptr);
  EXPECT_EQ(encoder.Init(), 0);
  EXPECT_EQ(wholeImage ? encoder.ColorConvert() : encoder.ColorConvert(0), 0);
  EXPECT_EQ(encoder.components[0]->cc_buffer[0], encoder.components[0]->cc_buffer[16]);
  return encoder.components[0]->cc_buffer[0];
}

TEST(ColourTable, IsUsedForBgrStripsWhereTheVariableIs1) {
  const std::pair<const char*, int> cases[] = {{"1", 254}, {nullptr, 255}, {"", 255},
                                               {"0", 255}, {"2", 255},     {"yes", 255}};
  for (const auto& [value, luma] : cases) {
    runInChild([text = value, luma = luma] {
      unsetenv("ZMT_COLOR_CONVERSION");
      if (text != nullptr) setenv("ZMT_COLOR_CONVERSION", text, 1);
      EXPECT_EQ(lumaOfWhite(JPEG_COLOR_BGR, true), 255);
      runOnThreads(8, [=](int) { EXPECT_EQ(lumaOfWhite(JPEG_COLOR_BGR, false), luma); });
      setenv("ZMT_COLOR_CONVERSION", luma == 254 ? "0" : "1", 1);  // too late
      EXPECT_EQ(lumaOfWhite(JPEG_COLOR_BGR, false), luma);
      EXPECT_EQ(lumaOfWhite(JPEG_COLOR_RGB, false), 255);
      EXPECT_EQ(lumaOfWhite(JPEG_COLOR_BGR, true), 255);
    });
  }
}

// A host's whole work with a codec, on a thread whose coders are not there yet. False where
// std::bad_alloc came out of it.
bool useCodec(codec::Codec** codec, int allocations) {
  static const Image image = scenePicture({16, 16});
  bool done = false;
  std::thread([&] {
    std::uint64_t calls[2] = {};
    const auto count = [](std::uint8_t*, std::uint32_t, void* number) {
      ++*static_cast<std::uint64_t*>(number);
    };
    std::uint8_t jpeg[] = {0xFF, 0xD8, 0xFF, 0xFE, 0, 4, 'h', 'i', 0xFF, 0xD9}, target[4];
    const Buffer buffer{nullptr, jpeg, sizeof jpeg};
    try {
      t_left = allocations;
      if (*codec == nullptr) *codec = createCodec();
      codec::Compressor& compressor = *(*codec)->getCompressor();
      compressor.compress(image.pixels.data(), 4, 0, 0, 0, 0, 16, 16, 0, 80, count, calls);
      compressor.compress(image.pixels.data(), 4, 0, 1, 0, 0, 16, 16, 0, 0, 80, count, calls);
      (*codec)->getDecompressor()->decompress(&buffer, 4, 6408, target, 4);
      done = calls[0] == 2;
    } catch (const std::bad_alloc&) {
    }
    t_left = -1;
  }).join();
  return done;
}

// Every allocation by `new` that fails once: the exception reaches the caller, nothing leaks, and
// the same objects work afterwards.
TEST(OutOfMemory, PassesThroughAndLeavesNothing) {
  runInChild([] {
    initCodec();
    // The process's settings are made on the first way, and stay.
    for (const bool first : {true, false}) {
      int failures = 0;
      for (bool done = false; !done; ++failures) {
        const int live = g_live;
        codec::Codec* codec = nullptr;
        done = useCodec(&codec, failures);
        EXPECT_TRUE(first || useCodec(&codec, -1)) << failures;  // the object works afterwards
        if (codec != nullptr) codec->release();
        EXPECT_TRUE(first || g_live == live) << failures;
      }
      EXPECT_GT(failures, 10);
    }
  });
}

// The decoder's own memory is made with the first image, not before, and its lack is a result.
TEST(OutOfMemory, IsAResultWhereTheDecoderKeepsItsState) {
  runInChild([] {
    const Bytes stream = encode(colourJob(scenePicture({16, 16}))).bytes;
    t_left = 0;
    CJPEGDecoder decoder;
    t_left = -1;
    decoder.SetSource(stream.data(), static_cast<int>(stream.size()));
    int numbers[4];
    _JPEG_COLOR color;
    _JPEG_SAMPLING sampling;
    EXPECT_EQ(
        decoder.ReadHeader(&numbers[0], &numbers[1], &numbers[2], &color, &sampling, &numbers[3]),
        0);
    const Bytes untouched(16 * 16 * 3, 7);
    Bytes pixels = untouched;
    decoder.SetDestination(pixels.data(), 48, {16, 16}, 3, JPEG_COLOR_BGR, 8);
    t_left = 0;
    const int result = decoder.ReadData();
    t_left = -1;
    EXPECT_EQ(result, JPEG_OUT_OF_MEMORY);
    EXPECT_EQ(pixels, untouched);
    EXPECT_EQ(decoder.ReadData(), 0);
    EXPECT_NE(pixels, untouched);
  });
}

}  // namespace
}  // namespace qrx::test
