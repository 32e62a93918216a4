// Handles, buffers and tiles of the peer.
#include "bench/turbo_roads.h"

#include <turbojpeg.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "tools/support/error.h"

namespace qrx::bench {
namespace {

using tool::Size;
using tool::Work;
using Bytes = std::vector<std::uint8_t>;

constexpr double kTileBytes = 1250;
constexpr int kSampledTiles = 64;

using Handle = std::shared_ptr<void>;
Handle compressHandle() { return {tjInitCompress(), tjDestroy}; }
Handle decompressHandle() { return {tjInitDecompress(), tjDestroy}; }

void check(const Handle& handle, int result) {
  if (result != 0) throw tool::Error(tjGetErrorStr2(handle.get()));
}

int samplingNumber(tool::Sampling sampling) {
  constexpr int kValues[] = {TJSAMP_444, TJSAMP_422, TJSAMP_420};
  return kValues[static_cast<int>(sampling)];
}

int pixelFormat(int channels) {
  return channels == 4 ? TJPF_BGRX : channels == 3 ? TJPF_BGR : TJPF_GRAY;
}

struct Tile {
  int x, y, width, height;
};

std::vector<Tile> tilesOf(Size picture, Size tile) {
  std::vector<Tile> tiles;
  for (int y = 0; y < picture.height; y += tile.height) {
    for (int x = 0; x < picture.width; x += tile.width) {
      tiles.push_back({x, y, std::min(tile.width, picture.width - x),
                       std::min(tile.height, picture.height - y)});
    }
  }
  return tiles;
}

std::vector<Size> tileChoices(Size picture, tool::Sampling sampling) {
  const int mcuWidth = sampling == tool::Sampling::k444 ? 8 : 16;
  const int mcuHeight = sampling == tool::Sampling::k420 ? 16 : 8;
  const int across = (picture.width + mcuWidth - 1) / mcuWidth;
  const int down = (picture.height + mcuHeight - 1) / mcuHeight;
  std::vector<Size> choices;
  for (int n = 1; n < across; ++n) choices.push_back({n * mcuWidth, mcuHeight});
  for (int n = 1; n <= down; ++n) choices.push_back({picture.width, n * mcuHeight});
  return choices;
}

// Compresses parts of a picture into one buffer that is large enough for the whole.
class Encoder {
 public:
  Encoder(const TurboPicture& picture, const TurboSettings& settings)
      : picture_(picture),
        settings_(settings),
        handle_(compressHandle()),
        buffer_(tjBufSize(picture.size.width, picture.size.height,
                          samplingNumber(settings.sampling))) {}

  std::size_t encode(const Tile& tile) {
    const int step = picture_.channels * picture_.size.width;
    const std::uint8_t* pixels = picture_.pixels + std::ptrdiff_t{step} * tile.y +
                                 std::ptrdiff_t{picture_.channels} * tile.x;
    unsigned char* target = buffer_.data();
    unsigned long bytes = buffer_.size();
    const int flags =
        TJFLAG_NOREALLOC | TJFLAG_ACCURATEDCT | (settings_.progressive ? TJFLAG_PROGRESSIVE : 0);
    check(handle_,
          tjCompress2(handle_.get(), pixels, tile.width, step, tile.height,
                      pixelFormat(picture_.channels), &target, &bytes,
                      picture_.channels == 1 ? TJSAMP_GRAY : samplingNumber(settings_.sampling),
                      settings_.quality, flags));
    return bytes;
  }
  const Bytes& buffer() const { return buffer_; }

 private:
  TurboPicture picture_;
  TurboSettings settings_;
  Handle handle_;
  Bytes buffer_;
};

}  // namespace

TurboPicture turboPicture(const tool::Image& image) {
  return {image.pixels.data(), image.size, tool::Image::kBytesPerPixel};
}

Work turboEncode(const TurboPicture& picture, const TurboSettings& settings) {
  const auto encoder = std::make_shared<Encoder>(picture, settings);
  return [encoder, size = picture.size] {
    return encoder->encode({0, 0, size.width, size.height});
  };
}

Work turboDecode(Bytes stream, Size size, int channels) {
  const auto pixels =
      std::make_shared<Bytes>(std::size_t{1} * static_cast<unsigned>(size.width) *
                              static_cast<unsigned>(size.height) * static_cast<unsigned>(channels));
  return [handle = decompressHandle(), data = std::make_shared<Bytes>(std::move(stream)), pixels,
          size, channels] {
    check(handle, tjDecompress2(handle.get(), data->data(), data->size(), pixels->data(),
                                size.width, channels * size.width, size.height,
                                pixelFormat(channels), TJFLAG_ACCURATEDCT));
    return data->size();
  };
}

// The choices grow, and so do their JPEGs: bisect for the first above the wanted size, then take
// the nearer of it and the one before.
Size turboTileSize(const TurboPicture& picture, const TurboSettings& settings) {
  Encoder encoder(picture, settings);
  const auto meanBytes = [&](Size choice) {
    const std::vector<Tile> tiles = tilesOf(picture.size, choice);
    const std::size_t stride = std::max<std::size_t>(1, tiles.size() / kSampledTiles);
    std::size_t bytes = 0, count = 0;
    for (std::size_t i = stride / 2; i < tiles.size(); i += stride, ++count) {
      bytes += encoder.encode(tiles[i]);
    }
    return static_cast<double>(bytes) / static_cast<double>(count);
  };
  const std::vector<Size> choices = tileChoices(picture.size, settings.sampling);
  const auto above = std::partition_point(
      choices.begin(), choices.end(), [&](Size choice) { return meanBytes(choice) < kTileBytes; });
  if (above == choices.end()) return choices.back();
  if (above == choices.begin()) return choices.front();
  const Size below = *(above - 1);
  const bool belowIsNearer =
      kTileBytes - meanBytes(below) < std::abs(meanBytes(*above) - kTileBytes);
  return belowIsNearer ? below : *above;
}

Work turboTilesOut(const TurboPicture& picture, const TurboSettings& settings, Size tile) {
  const auto encoder = std::make_shared<Encoder>(picture, settings);
  return [encoder, tiles = tilesOf(picture.size, tile)] {
    std::size_t bytes = 0;
    for (const Tile& t : tiles) bytes += encoder->encode(t);
    return bytes;
  };
}

Work turboTilesIn(const TurboPicture& picture, const TurboSettings& settings, Size tile) {
  struct Run {
    std::vector<Tile> tiles;
    std::vector<Bytes> streams;
    Bytes pixels;
  };
  const auto run = std::make_shared<Run>();
  run->tiles = tilesOf(picture.size, tile);
  const int step = picture.channels * picture.size.width;
  run->pixels.resize(static_cast<std::size_t>(step) * static_cast<unsigned>(picture.size.height));
  Encoder encoder(picture, settings);
  for (const Tile& t : run->tiles) {
    const auto bytes = static_cast<std::ptrdiff_t>(encoder.encode(t));
    run->streams.emplace_back(encoder.buffer().begin(), encoder.buffer().begin() + bytes);
  }
  return [run, step, channels = picture.channels, handle = decompressHandle()] {
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < run->tiles.size(); ++i) {
      const Tile& t = run->tiles[i];
      std::uint8_t* target =
          run->pixels.data() + std::ptrdiff_t{step} * t.y + std::ptrdiff_t{channels} * t.x;
      check(handle,
            tjDecompress2(handle.get(), run->streams[i].data(), run->streams[i].size(), target,
                          t.width, step, t.height, pixelFormat(channels), TJFLAG_ACCURATEDCT));
      bytes += run->streams[i].size();
    }
    return bytes;
  };
}

}  // namespace qrx::bench
