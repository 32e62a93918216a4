#include "integrations/gstreamer/frame_sender.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace qrx::gst {
namespace {

constexpr std::uint32_t kTile = 256;  // pixels a side: whole MCUs
constexpr std::uint32_t kLongestSide = 32767;
constexpr std::uint32_t kWindow = 1;

std::size_t bytesOf(qrxc_format format) { return format == QRXC_RGB || format == QRXC_BGR ? 3 : 4; }

std::size_t tilesAlong(std::uint32_t pixels) { return (std::size_t{pixels} + kTile - 1) / kTile; }

std::uint64_t sessionNumber() {
  std::uint64_t number = 0;
  // What a viewer holds against it has 32 bits.
  while (static_cast<std::uint32_t>(number) == 0) number = tool::randomNumber();
  return number;
}

std::uint32_t microsecondsSince(std::uint64_t start) {
  return static_cast<std::uint32_t>(tool::clockMicroseconds() - start);
}

}  // namespace

FrameSender::FrameSender(const tool::Key& key)
    : channel_(key, tool::PayloadKind::kFromServer, sessionNumber()) {}

void FrameSender::start(std::uint32_t width, std::uint32_t height, qrxc_format format) {
  if (width < 1 || height < 1 || width > kLongestSide || height > kLongestSide) {
    throw host::Error(QRXC_BAD_ARGUMENT, "frames are of 1 to 32767 pixels a side");
  }
  width_ = width;
  height_ = height;
  format_ = format;
  columns_ = tilesAlong(width);
  firstIndex_ = index_ + 1;
  last_.clear();
  lastChanges_.assign(columns_ * tilesAlong(height), frame_);
}

void FrameSender::send(const std::uint8_t* pixels, std::int64_t stride,
                       const SenderSettings& settings, const Take& take) {
  if (settings.envelope) {
    sendChanges(pixels, stride, settings, take);
  } else {
    sendWhole(pixels, stride, settings, take);
  }
  ++frame_;
  ++statistics_.frames;
}

void FrameSender::sendWhole(const std::uint8_t* pixels, std::int64_t stride,
                            const SenderSettings& settings, const Take& take) {
  const std::uint64_t start = tool::clockMicroseconds();
  ++index_;
  sendTile(pixels, stride, {0, 0, width_, height_}, settings, take);
  statistics_.encodeMicroseconds += microsecondsSince(start);
}

void FrameSender::sendChanges(const std::uint8_t* pixels, std::int64_t stride,
                              const SenderSettings& settings, const Take& take) {
  const std::uint64_t start = tool::clockMicroseconds();
  const bool isFirst = last_.empty();
  const bool isKeyframe =
      isFirst || (settings.keyframeInterval != 0 && frame_ % settings.keyframeInterval == 0);
  // A viewer that comes in the middle has to know the window before its packets.
  if (isKeyframe) describe(frame_ == 0 ? 0 : frame_ - 1, 0, take);
  if (isFirst) last_.resize(bytesOf(format_) * width_ * height_);
  for (std::size_t i = 0; i < lastChanges_.size(); ++i) {
    const Tile tile = tileAt(i);
    if (keepTile(pixels, stride, tile) || isFirst) {
      lastChanges_[i] = frame_;
    } else if (!isKeyframe &&
               (settings.repairInterval == 0 || (frame_ + i) % settings.repairInterval != 0)) {
      continue;
    }
    ++index_;
    sendTile(pixels, stride, tile, settings, take);
  }
  const std::uint32_t took = microsecondsSince(start);
  statistics_.encodeMicroseconds += took;
  for (std::size_t first = 0; first < lastChanges_.size(); first += tool::kMostIndexes) {
    const auto begin = lastChanges_.begin() + static_cast<std::ptrdiff_t>(first);
    const std::size_t count = std::min(tool::kMostIndexes, lastChanges_.size() - first);
    tell(tool::Changes{frame_,
                       static_cast<std::uint32_t>(first),
                       {begin, begin + static_cast<std::ptrdiff_t>(count)}},
         take);
  }
  describe(frame_, took, take);
}

void FrameSender::close(const SenderSettings& settings, const Take& take) {
  constexpr int kTimes = 3;  // nobody says that it has heard
  if (!settings.envelope) return;
  for (int i = 0; i < kTimes; ++i) tell(tool::Closing{}, take);
}

void FrameSender::sendTile(const std::uint8_t* pixels, std::int64_t stride, const Tile& tile,
                           const SenderSettings& settings, const Take& take) {
  qrxc_place place = {};
  place.window = kWindow;
  place.index = static_cast<std::int32_t>(index_);
  place.x = static_cast<std::int32_t>(tile.left);
  place.y = static_cast<std::int32_t>(height_ - tile.top - tile.height);
  place.mark = static_cast<std::uint8_t>(frame_);
  const std::uint8_t* const first =
      pixels + tile.top * stride + static_cast<std::ptrdiff_t>(bytesOf(format_) * tile.left);
  coder_.encodePackets({first, tile.width, tile.height, format_, stride}, settings.quality,
                       settings.sampling, place, [&](host::Bytes packet) {
                         ++statistics_.packets;
                         if (!settings.envelope) return hand(packet, take);
                         const auto* bytes = static_cast<const std::uint8_t*>(packet.data);
                         hand(channel_.sealPacket({bytes, bytes + packet.size}), take);
                       });
}

void FrameSender::describe(std::uint32_t frame, std::uint32_t encodeMicroseconds,
                           const Take& take) {
  tool::FrameInfo info;
  info.session = static_cast<std::uint32_t>(channel_.session());
  info.window = kWindow;
  info.width = width_;
  info.height = height_;
  info.tile = kTile;
  info.frame = frame;
  info.firstIndex = firstIndex_;
  info.latestIndex = index_;
  info.encodeMicroseconds = encodeMicroseconds;
  info.ageMicroseconds = encodeMicroseconds;
  tell(info, take);
}

void FrameSender::tell(const tool::ControlMessage& message, const Take& take) {
  hand(channel_.seal(message), take);
}

void FrameSender::hand(host::Bytes datagram, const Take& take) {
  statistics_.bytes += datagram.size;
  take(datagram);
}

FrameSender::Tile FrameSender::tileAt(std::size_t number) const {
  const auto left = static_cast<std::uint32_t>(number % columns_) * kTile;
  const auto top = static_cast<std::uint32_t>(number / columns_) * kTile;
  return {left, top, std::min(kTile, width_ - left), std::min(kTile, height_ - top)};
}

// Whether the tile differs from that of the frame before; it takes its place.
bool FrameSender::keepTile(const std::uint8_t* pixels, std::int64_t stride, const Tile& tile) {
  const std::size_t each = bytesOf(format_), size = each * tile.width;
  bool differs = false;
  for (std::uint32_t y = tile.top; y < tile.top + tile.height; ++y) {
    const std::uint8_t* const now =
        pixels + y * stride + static_cast<std::ptrdiff_t>(each * tile.left);
    std::uint8_t* const before = &last_[each * (std::size_t{y} * width_ + tile.left)];
    if (!differs && std::memcmp(now, before, size) == 0) continue;
    differs = true;
    std::memcpy(before, now, size);
  }
  return differs;
}

}  // namespace qrx::gst
