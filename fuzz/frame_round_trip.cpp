// Pictures out and in by the classes, in every mode: any size, step, sampling, quality and pixels,
// cut capacities. All forms make the same stream and the same pixels of it, which are those of the
// primitives one after the other; an independent decoder takes it without a warning.
#include <algorithm>

#include "fuzz/packets.h"
#include "fuzz/sample_streams.h"
#include "qrx/jpeg_decoder.h"
#include "qrx/primitives.h"
#include "tests/forms/slots.h"
#ifdef QRX_FUZZ_PEER
#include "tests/interop/peer_jpeg.h"
#endif

namespace {

using fuzz::Bytes;
using fuzz::Input;
using fuzz::require;

constexpr std::size_t kGuard = 64;

struct Colors {
  _JPEG_COLOR source, jpeg;
  int channels;
};
constexpr Colors kColors[] = {
    {JPEG_COLOR_BGR, JPEG_COLOR_YCBCR, 3}, {JPEG_COLOR_RGB, JPEG_COLOR_YCBCR, 3},
    {JPEG_COLOR_GRAY, JPEG_COLOR_GRAY, 1}, {JPEG_COLOR_RGB, JPEG_COLOR_RGB, 3},
    {JPEG_COLOR_CMYK, JPEG_COLOR_YCCK, 4}, {JPEG_COLOR_CMYK, JPEG_COLOR_CMYK, 4},
    {JPEG_COLOR_BGR, JPEG_COLOR_GRAY, 3},
};

struct Picture {
  explicit Picture(Input& input)
      : mode(static_cast<_JPEG_MODE>(input.oneIn(2) ? 0 : input.below(3))),
        colors(mode == JPEG_MODE_LOSSLESS ? kColors[2] : kColors[input.below(7)]),
        size{input.sizeUpTo(130), input.sizeUpTo(90)},
        sampling(static_cast<_JPEG_SAMPLING>(input.below(3))),
        quality(1 + input.below(110)),
        interval(input.oneIn(3) ? input.below(40) : 0),
        padding(input.oneIn(2) ? input.below(20) : 0),
        step(colors.channels * size.width + padding) {
    pixels = fuzz::anyPicture(input, (step + 3) / 4, size.height);
    // The last line ends with its last pixel.
    const auto lines = static_cast<std::size_t>(step) * static_cast<std::size_t>(size.height);
    const Bytes exact(pixels.end() - static_cast<std::ptrdiff_t>(lines), pixels.end() - padding);
    pixels = exact;
    const auto ample = static_cast<int>(8192 + 16 * lines);
    capacity = input.oneIn(5) ? input.below(ample) : ample;
  }

  _JPEG_MODE mode;
  Colors colors;
  IppiSize size;
  _JPEG_SAMPLING sampling;
  int quality, interval, padding, step, capacity = 0;
  Bytes pixels;
};

struct Stream {
  int result;
  Bytes bytes;
  bool operator==(const Stream&) const = default;
};

Stream encode(const Picture& picture) {
  Bytes buffer(static_cast<std::size_t>(picture.capacity) + kGuard, fuzz::kFill);
  CJPEGEncoder encoder;
  encoder.SetSource(picture.pixels.data(), picture.step, picture.size, picture.colors.channels,
                    picture.colors.source);
  encoder.SetDestination(buffer.data(), picture.capacity, picture.quality, picture.sampling,
                         picture.colors.jpeg, picture.mode, picture.interval);
  const int result = picture.mode == JPEG_MODE_BASELINE      ? encoder.WriteImageBaseline()
                     : picture.mode == JPEG_MODE_PROGRESSIVE ? encoder.WriteImageProgressive()
                                                             : encoder.WriteImageLossless();
  const auto length = static_cast<std::size_t>(encoder.stream.position);
  require(length + kGuard <= buffer.size());
  require(std::all_of(buffer.end() - kGuard, buffer.end(),
                      [](std::uint8_t byte) { return byte == fuzz::kFill; }));
  buffer.resize(length);
  fuzz::look(buffer);
  return {result, buffer};
}

struct Target {
  std::uint8_t* data;
  int step, channels;
  _JPEG_COLOR color;
};

void read(const Picture& picture, const Bytes& stream, const Target& target) {
  CJPEGDecoder decoder;
  decoder.SetSource(stream.data(), static_cast<int>(stream.size()));
  int width, height, components, precision;
  _JPEG_COLOR told;
  _JPEG_SAMPLING sampling;
  require(decoder.ReadHeader(&width, &height, &components, &told, &sampling, &precision) == 0);
  require(width == picture.size.width && height == picture.size.height);
  require(decoder.mode == picture.mode);
  decoder.SetDestination(target.data, target.step, {width, height}, target.channels, target.color,
                         8);
  require(decoder.ReadData() == 0);
}

// Decodes into lines with room behind them, which has to stay as it is.
Bytes decode(const Picture& picture, const Bytes& stream, _JPEG_COLOR color, int channels,
             std::uint8_t fill) {
  const int row = channels * picture.size.width;
  // Lossless lines come tightly packed.
  const int step = row + (picture.mode == JPEG_MODE_LOSSLESS ? 0 : picture.padding);
  Bytes target(static_cast<std::size_t>(step) * static_cast<std::size_t>(picture.size.height),
               fill);
  read(picture, stream, {target.data(), step, channels, color});
  Bytes pixels;
  for (auto line = target.begin(); line != target.end(); line += step) {
    pixels.insert(pixels.end(), line, line + row);
    require(std::all_of(line + row, line + step, [&](auto byte) { return byte == fill; }));
  }
  return pixels;
}

// No fast route writes lines that overlap: the primitives do it, one after the other.
void decodeByPrimitives(const Picture& picture, const Bytes& stream, const Bytes& pixels) {
  const int row = 3 * picture.size.width, step = row - 1;
  const auto at = [&](int y) { return std::ptrdiff_t{step} * y; };
  Bytes target(static_cast<std::size_t>(at(picture.size.height) + 1), fuzz::kFill);
  Bytes expected = target;
  for (int y = 0; y < picture.size.height; ++y) {
    std::copy_n(pixels.begin() + std::ptrdiff_t{row} * y, row, expected.begin() + at(y));
  }
  read(picture, stream, {target.data(), step, 3, picture.colors.source});
  require(target == expected);
}

// Lossless streams it does not know.
void showToPeer([[maybe_unused]] const Picture& picture, [[maybe_unused]] const Bytes& stream) {
#ifdef QRX_FUZZ_PEER
  if (picture.mode == JPEG_MODE_LOSSLESS) return;
  const qrx::test::PeerCoefficients seen = qrx::test::peerCoefficients(stream);
  require(seen.done && seen.warnings == 0);
  require(seen.shape[0] == picture.size.width && seen.shape[1] == picture.size.height);
#endif
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::vector<Slot> slots = runnableSlots();
  decompressor();
  Input input(data, size);
  const Picture picture(input);
  const Slot& slot = slots[static_cast<std::size_t>(input.below(static_cast<int>(slots.size())))];
  const _JPEG_COLOR color = picture.colors.source;
  const bool isGray = picture.colors.jpeg == JPEG_COLOR_GRAY;
  const _JPEG_COLOR target = isGray ? JPEG_COLOR_GRAY : color;
  const int channels = isGray ? 1 : picture.colors.channels;

  ippJumpIndexForMergedLibs = 1;
  const Stream wanted = encode(picture);
  ippJumpIndexForMergedLibs = slot.index;
  require(encode(picture) == wanted);
  if (wanted.result != 0) return 0;
  showToPeer(picture, wanted.bytes);
  const Bytes ours = decode(picture, wanted.bytes, target, channels, fuzz::kFill);
  ippJumpIndexForMergedLibs = 1;
  // With another fill: what nobody wrote differs.
  require(decode(picture, wanted.bytes, target, channels, 0x5A) == ours);
  if (picture.colors.jpeg == JPEG_COLOR_YCBCR) {
    decodeByPrimitives(picture, wanted.bytes, ours);
  }
  if (picture.mode == JPEG_MODE_LOSSLESS) {
    const Picture& p = picture;
    for (int y = 0; y < p.size.height; ++y) {
      require(std::equal(ours.begin() + y * p.size.width, ours.begin() + (y + 1) * p.size.width,
                         p.pixels.begin() + y * p.step));
    }
  }
  return 0;
}
