// The cells of each road.
#include "bench/comparison.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "bench/coder_roads.h"
#include "bench/pictures.h"
#include "bench/rounds.h"
#include "bench/turbo_roads.h"

namespace qrx::bench {
namespace {

using tool::RoadCase;

constexpr tool::Size kSizes[] = {{1920, 1080}, {3840, 2160}};
constexpr tool::Size kTinySize = {64, 64};
constexpr int kQualities[] = {60, 85, 95};
constexpr int kMainQuality = 85;
constexpr int kBaselineSlot = 1;
constexpr int kGainRounds = 7;

// What no frame of the contract is, or not on the main road.
struct OtherRoad {
  const char* out;
  const char* in;
  int channels;
  _JPEG_COLOR source, stream;
  _JPEG_MODE mode;
  int restartInterval;
};
constexpr OtherRoad kOtherRoads[] = {
    {"BGR out", "BGR in", 3, JPEG_COLOR_BGR, JPEG_COLOR_YCBCR, JPEG_MODE_BASELINE, 0},
    {"RGB out", "RGB in", 3, JPEG_COLOR_RGB, JPEG_COLOR_RGB, JPEG_MODE_BASELINE, 0},
    {"gray out", "gray in", 1, JPEG_COLOR_GRAY, JPEG_COLOR_GRAY, JPEG_MODE_BASELINE, 0},
    {"CMYK out", "CMYK in", 4, JPEG_COLOR_CMYK, JPEG_COLOR_YCCK, JPEG_MODE_BASELINE, 0},
    {"restarts out", "restarts in", 3, JPEG_COLOR_BGR, JPEG_COLOR_YCBCR, JPEG_MODE_BASELINE, 4},
    {"lossless out", "lossless in", 1, JPEG_COLOR_GRAY, JPEG_COLOR_GRAY, JPEG_MODE_LOSSLESS, 0}};

std::vector<int> qualitiesOf(const Plan& plan) {
  if (plan.quick) return {kMainQuality};
  return {std::begin(kQualities), std::end(kQualities)};
}

bool isSmallest(const NamedPicture& picture) { return picture.image.size == kSizes[0]; }

SharedPicture packed(const tool::Image& image, int channels) {
  return std::make_shared<PackedPicture>(packPicture(image, channels));
}

}  // namespace

bool Plan::has(const char* group) const {
  return roads.empty() || std::find(roads.begin(), roads.end(), group) != roads.end();
}

std::vector<NamedPicture> makePictures(const Plan& plan) {
  std::vector<NamedPicture> pictures;
  for (const tool::Size size : kSizes) {
    if (plan.quick && size != kSizes[0]) continue;
    for (const PictureKind& kind : kPictures) pictures.push_back({kind.name, kind.make(size)});
  }
  return pictures;
}

Comparison::Comparison(const Plan& plan, const std::vector<NamedPicture>& pictures,
                       tool::Sampling sampling, Sink sink, void* context)
    : plan_(plan), pictures_(pictures), sampling_(sampling), sink_(sink), context_(context) {
  tool::requestSampling(sampling);
  ours_ = std::make_unique<OurLibrary>(plan.library);
  if (!plan.baseline.empty()) baseline_ = std::make_unique<OurLibrary>(plan.baseline);
}

void Comparison::run() {
  // First, while the heap is as a host's is.
  if (plan_.has("upkeep")) measureUpkeepOf(pictures_.front());
  for (const NamedPicture& picture : pictures_) {
    if (plan_.has("frames")) measureFrames(picture);
    if (plan_.has("packets")) measurePackets(picture);
    if (plan_.has("progressive")) measureProgressive(picture);
    if (plan_.has("threads") && isSmallest(picture)) measureThreads(picture);
    if (plan_.has("others") && isSmallest(picture)) measureOthers(picture);
  }
  if (plan_.has("others")) measureTiny();
}

Cell Comparison::cellOf(const char* road, const NamedPicture& picture, int quality) const {
  Cell cell{{}, {}, picture.image.size, quality, sampling_};
  std::snprintf(cell.road, sizeof cell.road, "%s", road);
  std::snprintf(cell.picture, sizeof cell.picture, "%s", picture.name);
  return cell;
}

// `make(library)` gives the work of one build; the other build's is measured where there is one.
template <typename MakeOurs>
void Comparison::measure(const Cell& cell, const MakeOurs& make, std::vector<Contender> others) {
  std::vector<Contender> contenders = {
      {Side::kOurs, make(*ours_), [this] { ours_->useSlot(ours_->bestSlot()); }}};
  if (baseline_) contenders.push_back({Side::kBaseline, make(*baseline_)});
  std::move(others.begin(), others.end(), std::back_inserter(contenders));
  for (const Figure& figure : measureCell(cell, contenders, plan_.rounds)) send(figure);
  ours_->useSlot(ours_->bestSlot());
}

void Comparison::measureFrames(const NamedPicture& picture) {
  for (const int quality : qualitiesOf(plan_)) {
    const RoadCase c{picture.image, static_cast<unsigned>(quality)};
    const auto slot1 = [this](tool::Work work) {
      return Contender{Side::kSlot1, std::move(work), [this] { ours_->useSlot(kBaselineSlot); }};
    };
    measure(cellOf("frame out", picture, quality),
            [&](OurLibrary& library) { return frameOut(library.session(), c); },
            {{Side::kPeer, turboEncode(turboPicture(picture.image), {quality, sampling_})},
             slot1(frameOut(ours_->session(), c))});
    measure(cellOf("frame in", picture, quality),
            [&](OurLibrary& library) { return frameIn(library.session(), c); },
            {{Side::kPeer, turboDecode(compressWhole(ours_->session(), c), picture.image.size,
                                       tool::Image::kBytesPerPixel)},
             slot1(frameIn(ours_->session(), c))});
  }
}

void Comparison::measurePackets(const NamedPicture& picture) {
  const RoadCase c{picture.image, kMainQuality};
  const TurboPicture theirs = turboPicture(picture.image);
  const TurboSettings settings{kMainQuality, sampling_};
  const tool::Size tile = turboTileSize(theirs, settings);
  measure(cellOf("packets out", picture, kMainQuality),
          [&](OurLibrary& library) { return packetsOut(library.session(), c); },
          {{Side::kPeer, turboTilesOut(theirs, settings, tile)},
           {Side::kFrames, frameOut(ours_->session(), c)},
           {Side::kPeerWhole, turboEncode(theirs, settings)}});
  measure(cellOf("packets in", picture, kMainQuality),
          [&](OurLibrary& library) { return packetsIn(library.session(), c); },
          {{Side::kPeer, turboTilesIn(theirs, settings, tile)},
           {Side::kFrames, frameIn(ours_->session(), c)},
           {Side::kPeerWhole, turboDecode(compressWhole(ours_->session(), c), picture.image.size,
                                          tool::Image::kBytesPerPixel)}});
}

// The classes take three bytes a pixel, and so does the peer here.
void Comparison::measureProgressive(const NamedPicture& picture) {
  const SharedPicture pixels = packed(picture.image, 3);
  for (const int quality : qualitiesOf(plan_)) {
    const CoderSettings settings{JPEG_COLOR_BGR, JPEG_COLOR_YCBCR, JPEG_MODE_PROGRESSIVE, quality,
                                 sampling_};
    const auto stream = codeOnce(*ours_, pixels, settings);
    measure(cellOf("progressive out", picture, quality),
            [&](OurLibrary& library) { return coderEncode(library, pixels, settings); },
            {{Side::kPeer, turboEncode({pixels->pixels.data(), pixels->size, pixels->channels},
                                       {quality, sampling_, true})}});
    measure(cellOf("progressive in", picture, quality),
            [&](OurLibrary& library) { return coderDecode(library, pixels, settings, stream); },
            {{Side::kPeer, turboDecode(stream, pixels->size, pixels->channels)}});
  }
}

void Comparison::measureThreads(const NamedPicture& picture) {
  const std::string name = picture.name;
  if (name != "desktop" && (plan_.quick || name != "photograph")) return;
  const RoadCase c{picture.image, kMainQuality};
  const TurboPicture theirs = turboPicture(picture.image);
  const TurboSettings settings{kMainQuality, sampling_};
  const tool::Size tile = turboTileSize(theirs, settings);
  const MakeWork peers[] = {[&] { return turboEncode(theirs, settings); },
                            [&] {
                              return turboDecode(compressWhole(ours_->session(), c),
                                                 picture.image.size, tool::Image::kBytesPerPixel);
                            },
                            [&] { return turboTilesOut(theirs, settings, tile); },
                            [&] { return turboTilesIn(theirs, settings, tile); }};
  static_assert(std::size(peers) == std::size(tool::kRoads));
  for (std::size_t i = 0; i < std::size(peers); ++i) {
    const tool::Road& road = tool::kRoads[i];
    send(measureGain(
        cellOf(road.name, picture, kMainQuality), [&] { return road.make(ours_->session(), c); },
        peers[i], plan_.quick ? 3 : kGainRounds));
  }
}

void Comparison::measureUpkeepOf(const NamedPicture& picture) {
  for (const tool::Road& road : tool::kRoads) {
    send(measureUpkeep(cellOf(road.name, picture, kMainQuality),
                       road.make(ours_->session(), {picture.image, kMainQuality})));
  }
}

void Comparison::measureOthers(const NamedPicture& picture) {
  if (plan_.quick && std::string(picture.name) != "desktop") return;
  for (const OtherRoad& road : kOtherRoads) {
    const SharedPicture pixels = packed(picture.image, road.channels);
    const CoderSettings settings{road.source,  road.stream, road.mode,
                                 kMainQuality, sampling_,   road.restartInterval};
    measure(cellOf(road.out, picture, kMainQuality),
            [&](OurLibrary& library) { return coderEncode(library, pixels, settings); });
    const auto stream = codeOnce(*ours_, pixels, settings);
    measure(cellOf(road.in, picture, kMainQuality),
            [&](OurLibrary& library) { return coderDecode(library, pixels, settings, stream); });
  }
}

void Comparison::measureTiny() {
  for (const PictureKind& kind : kPictures) {
    const NamedPicture picture{kind.name, kind.make(kTinySize)};
    for (const tool::Road& road : tool::kRoads) {
      const std::string name = std::string("tiny ") + road.name;
      measure(cellOf(name.c_str(), picture, kMainQuality), [&](OurLibrary& library) {
        return road.make(library.session(), {picture.image, kMainQuality});
      });
    }
  }
}

}  // namespace qrx::bench
