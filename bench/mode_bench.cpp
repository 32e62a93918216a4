// Progressive images beside libjpeg-turbo in the same run, and lossless ones alone, through the
// coder classes as a direct user has them.
#include <benchmark/benchmark.h>
#include <turbojpeg.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "qrx/jpeg_decoder.h"
#include "qrx/jpeg_encoder.h"
#include "qrx/primitives.h"
#include "tools/scene/scene_renderer.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr qrx::tool::Size kSize = {1920, 1080};
constexpr int kQuality = 85;

// A frame of the scene in `channels`: blue, green, red, or gray.
Bytes framePixels(int channels) {
  const qrx::tool::Image image = qrx::tool::SceneRenderer(kSize).render(10);
  Bytes pixels;
  for (std::size_t i = 0; i < image.pixels.size(); i += 4) {
    for (int c = 0; c < channels; ++c) {
      pixels.push_back(image.pixels[i + static_cast<std::size_t>(channels == 1 ? 1 : c)]);
    }
  }
  return pixels;
}

std::size_t encode(CJPEGEncoder& encoder, const Bytes& pixels, int channels, _JPEG_MODE mode,
                   _JPEG_SAMPLING sampling, Bytes& stream) {
  const bool gray = channels == 1;
  encoder.Clean();
  encoder.SetSource(pixels.data(), channels * kSize.width, {kSize.width, kSize.height}, channels,
                    gray ? JPEG_COLOR_GRAY : JPEG_COLOR_BGR);
  encoder.SetDestination(stream.data(), static_cast<int>(stream.size()), kQuality, sampling,
                         gray ? JPEG_COLOR_GRAY : JPEG_COLOR_YCBCR, mode, 0);
  const int result =
      mode == JPEG_MODE_LOSSLESS ? encoder.WriteImageLossless() : encoder.WriteImageProgressive();
  return result == 0 ? static_cast<std::size_t>(encoder.stream.position) : 0;
}

int decode(CJPEGDecoder& decoder, const Bytes& stream, int channels, Bytes& pixels) {
  decoder.Clean();
  decoder.Reset();
  decoder.SetSource(stream.data(), static_cast<int>(stream.size()));
  int width, height, components, precision;
  _JPEG_COLOR color;
  _JPEG_SAMPLING sampling;
  const int result =
      decoder.ReadHeader(&width, &height, &components, &color, &sampling, &precision);
  if (result != 0) return result;
  decoder.SetDestination(pixels.data(), channels * width, {width, height}, channels,
                         channels == 1 ? JPEG_COLOR_GRAY : JPEG_COLOR_BGR, 8);
  return decoder.ReadData();
}

Bytes makeStream(int channels, _JPEG_MODE mode, _JPEG_SAMPLING sampling) {
  const Bytes pixels = framePixels(channels);
  Bytes stream(2 * pixels.size());
  CJPEGEncoder encoder;
  stream.resize(encode(encoder, pixels, channels, mode, sampling, stream));
  return stream;
}

void report(benchmark::State& state, std::size_t bytes) {
  const double pixels = static_cast<double>(kSize.width) * kSize.height;
  state.counters["bytes"] = static_cast<double>(bytes);
  state.counters["Mpixel/s"] =
      benchmark::Counter(pixels / 1e6, benchmark::Counter::kIsIterationInvariantRate);
}

void encodeOurs(benchmark::State& state, int channels, _JPEG_MODE mode, _JPEG_SAMPLING sampling) {
  const Bytes pixels = framePixels(channels);
  Bytes stream(2 * pixels.size());
  CJPEGEncoder encoder;
  std::size_t bytes = 0;
  for (auto _ : state) bytes = encode(encoder, pixels, channels, mode, sampling, stream);
  if (bytes == 0) state.SkipWithError("the encoder failed");
  report(state, bytes);
}

void decodeOurs(benchmark::State& state, int channels, _JPEG_MODE mode, _JPEG_SAMPLING sampling) {
  const Bytes stream = makeStream(channels, mode, sampling);
  Bytes pixels = framePixels(channels);
  CJPEGDecoder decoder;
  int result = 0;
  for (auto _ : state) result = decode(decoder, stream, channels, pixels);
  if (result != 0) state.SkipWithError("the decoder failed");
  report(state, stream.size());
}

void encodeTheirs(benchmark::State& state, int sampling) {
  const Bytes pixels = framePixels(3);
  const std::unique_ptr<void, int (*)(void*)> handle(tjInitCompress(), tjDestroy);
  unsigned char* stream = nullptr;
  unsigned long bytes = 0;
  for (auto _ : state) {
    if (tjCompress2(handle.get(), pixels.data(), kSize.width, 3 * kSize.width, kSize.height,
                    TJPF_BGR, &stream, &bytes, sampling, kQuality, TJFLAG_PROGRESSIVE) != 0) {
      state.SkipWithError("libjpeg-turbo failed");
    }
  }
  tjFree(stream);
  report(state, bytes);
}

void decodeTheirs(benchmark::State& state, _JPEG_SAMPLING sampling) {
  const Bytes stream = makeStream(3, JPEG_MODE_PROGRESSIVE, sampling);
  Bytes pixels = framePixels(3);
  const std::unique_ptr<void, int (*)(void*)> handle(tjInitDecompress(), tjDestroy);
  for (auto _ : state) {
    if (tjDecompress2(handle.get(), stream.data(), stream.size(), pixels.data(), kSize.width,
                      3 * kSize.width, kSize.height, TJPF_BGR, 0) != 0) {
      state.SkipWithError("libjpeg-turbo failed");
    }
  }
  report(state, stream.size());
}

void registerAll() {
  const struct {
    const char* name;
    _JPEG_SAMPLING ours;
    int theirs;
  } samplings[] = {{"4:4:4", JPEG_SAMPLING_444, TJSAMP_444},
                   {"4:2:2", JPEG_SAMPLING_422, TJSAMP_422},
                   {"4:2:0", JPEG_SAMPLING_420, TJSAMP_420}};
  const auto add = [](const std::string& name, auto function, auto... arguments) {
    benchmark::RegisterBenchmark(name.c_str(), function, arguments...)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
  };
  for (const auto& s : samplings) {
    const std::string name = std::string("progressive/1920x1080/q85/") + s.name;
    add(name + "/encode/qrx", encodeOurs, 3, JPEG_MODE_PROGRESSIVE, s.ours);
    add(name + "/encode/libjpeg-turbo", encodeTheirs, s.theirs);
    add(name + "/decode/qrx", decodeOurs, 3, JPEG_MODE_PROGRESSIVE, s.ours);
    add(name + "/decode/libjpeg-turbo", decodeTheirs, s.ours);
  }
  add("lossless/1920x1080/gray/encode/qrx", encodeOurs, 1, JPEG_MODE_LOSSLESS, JPEG_SAMPLING_444);
  add("lossless/1920x1080/gray/decode/qrx", decodeOurs, 1, JPEG_MODE_LOSSLESS, JPEG_SAMPLING_444);
}

}  // namespace

int main(int argc, char** argv) {
  ippInit();
  registerAll();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
