// One object for all runs of a work, cleaned between them, as a user of the classes keeps it.
#include "bench/coder_roads.h"

#include <algorithm>
#include <utility>

#include "tools/support/error.h"

namespace qrx::bench {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kHeaderRoom = 8192;

_JPEG_SAMPLING samplingNumber(tool::Sampling sampling) {
  constexpr _JPEG_SAMPLING kValues[] = {JPEG_SAMPLING_444, JPEG_SAMPLING_422, JPEG_SAMPLING_420};
  return kValues[static_cast<int>(sampling)];
}

void check(int result) {
  if (result != 0) throw tool::Error("a coder gave error " + std::to_string(result));
}

struct Encoding {
  Encoding(const CoderEntries& e, SharedPicture p, const CoderSettings& s)
      : entries(e),
        picture(std::move(p)),
        settings(s),
        coder(e.makeEncoder, e.endEncoder),
        stream(2 * picture->pixels.size() + kHeaderRoom) {}

  std::size_t run() {
    CJPEGEncoder* const encoder = coder.get();
    const PackedPicture& p = *picture;
    entries.cleanEncoder(encoder);
    check(entries.setEncoderSource(encoder, p.pixels.data(), p.channels * p.size.width,
                                   {p.size.width, p.size.height}, p.channels, settings.source));
    check(entries.setEncoderDestination(encoder, stream.data(), static_cast<int>(stream.size()),
                                        settings.quality, samplingNumber(settings.sampling),
                                        settings.stream, settings.mode, settings.restartInterval));
    check(entries.write[settings.mode](encoder));
    return static_cast<std::size_t>(encoder->stream.position);
  }

  const CoderEntries& entries;
  SharedPicture picture;
  CoderSettings settings;
  Coder<CJPEGEncoder> coder;
  Bytes stream;
};

struct Decoding {
  Decoding(const CoderEntries& e, const PackedPicture& p, const CoderSettings& s, Bytes data)
      : entries(e),
        settings(s),
        size{p.size.width, p.size.height},
        channels(p.channels),
        coder(e.makeDecoder, e.endDecoder),
        stream(std::move(data)),
        pixels(p.pixels.size()) {}

  std::size_t run() {
    CJPEGDecoder* const decoder = coder.get();
    entries.cleanDecoder(decoder);
    entries.resetDecoder(decoder);
    check(entries.setDecoderSource(decoder, stream.data(), static_cast<int>(stream.size())));
    int width, height, components, precision;
    _JPEG_COLOR color;
    _JPEG_SAMPLING sampling;
    check(entries.readHeader(decoder, &width, &height, &components, &color, &sampling, &precision));
    check(entries.setDecoderDestination(decoder, pixels.data(), channels * size.width, size,
                                        channels, settings.source, 8));
    check(entries.readData(decoder));
    return stream.size();
  }

  const CoderEntries& entries;
  CoderSettings settings;
  IppiSize size;
  int channels;
  Coder<CJPEGDecoder> coder;
  Bytes stream;
  Bytes pixels;
};

}  // namespace

PackedPicture packPicture(const tool::Image& image, int channels) {
  PackedPicture picture{image.size, channels, {}};
  picture.pixels.reserve(image.pixels.size());
  for (std::size_t i = 0; i < image.pixels.size(); i += tool::Image::kBytesPerPixel) {
    const std::uint8_t* const p = &image.pixels[i];
    if (channels == 1) {
      picture.pixels.push_back(p[1]);
    } else {
      picture.pixels.insert(picture.pixels.end(), p, p + 3);
      if (channels == 4) picture.pixels.push_back(std::min({p[0], p[1], p[2]}));
    }
  }
  return picture;
}

Bytes codeOnce(OurLibrary& library, const SharedPicture& picture, const CoderSettings& settings) {
  Encoding encoding(library.entries(), picture, settings);
  encoding.stream.resize(encoding.run());
  return std::move(encoding.stream);
}

tool::Work coderEncode(OurLibrary& library, const SharedPicture& picture,
                       const CoderSettings& settings) {
  return [encoding = std::make_shared<Encoding>(library.entries(), picture, settings)] {
    return encoding->run();
  };
}

tool::Work coderDecode(OurLibrary& library, const SharedPicture& picture,
                       const CoderSettings& settings, Bytes stream) {
  return [decoding = std::make_shared<Decoding>(library.entries(), *picture, settings,
                                                std::move(stream))] { return decoding->run(); };
}

}  // namespace qrx::bench
