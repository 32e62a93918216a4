#include "integrations/gstreamer/frame_receiver.h"

#include <algorithm>
#include <variant>

namespace qrx::gst {
namespace {

constexpr std::uint64_t kSilence = 1'000'000;  // microseconds until another sender is heard
constexpr std::size_t kMostRectangles = 1 << 16;

constexpr const char* kNames[kFateCount] = {"taken",         "corrupted", "other-version",
                                            "other-session", "replayed",  "not-a-packet",
                                            "no-window",     "old",       "too-large"};

Fate fateOf(tool::Arrival arrival) {
  switch (arrival) {
    case tool::Arrival::kFresh: return Fate::kTaken;
    case tool::Arrival::kCorrupted: return Fate::kCorrupted;
    case tool::Arrival::kOtherVersion: return Fate::kOtherVersion;
    case tool::Arrival::kOtherSession: return Fate::kOtherSession;
    case tool::Arrival::kReplayed: return Fate::kReplayed;
  }
  return Fate::kCorrupted;
}

}  // namespace

const char* fateName(Fate fate) { return kNames[static_cast<std::size_t>(fate)]; }

ReceiverStatistics FrameReceiver::statistics() const {
  ReceiverStatistics result = statistics_;
  result.lost = lostBefore_ + channel_.lost();
  return result;
}

bool FrameReceiver::refuse(Fate fate) {
  fate_ = fate;
  return false;
}

bool FrameReceiver::take(std::span<const std::uint8_t> datagram, const Settings& settings) {
  fate_ = Fate::kTaken;
  statistics_.bytes += datagram.size();
  const bool isOver =
      settings.envelope ? takeEnvelope(datagram, settings) : takeBare(datagram, settings);
  ++statistics_.fates[static_cast<std::size_t>(fate_)];
  if (isOver) ++statistics_.frames;
  return isOver;
}

// A frame is a rectangle at 0, 0. One whose last packet was lost is over when a packet of the next
// one comes, which then is in it.
bool FrameReceiver::takeBare(std::span<const std::uint8_t> packet, const Settings& settings) {
  qrxc_packet told = {};
  if (qrxc_read_packet(coder_.get(), packet.data(), packet.size(), &told) != QRXC_DONE) {
    return refuse(Fate::kNotAPacket);
  }
  if (told.place.x != 0 || told.place.y != 0) return refuse(Fate::kNoWindow);
  if (told.place.index < bareIndex_ && bareIndex_ - told.place.index < 1000) {
    return refuse(Fate::kOld);
  }
  window_ = told.place.window;
  if (told.width != width_ || told.height != height_) {
    if (!makeRoom(told.width, told.height, settings)) return false;
  }
  const bool isNext = told.place.index > bareIndex_;
  const bool before = anything_ && isNext && !shown_;
  bareIndex_ = told.place.index;
  if (isNext) shown_ = false;
  newest_.clear();
  const bool isLast = decode(packet, told) && told.last != 0;
  if (isLast) shown_ = true;
  return before || isLast;
}

bool FrameReceiver::takeEnvelope(std::span<const std::uint8_t> datagram, const Settings& settings) {
  tool::Packet bytes(datagram.begin(), datagram.end());
  tool::EnvelopeHead head;
  const tool::Arrival sound = tool::openEnvelope(key_, bytes, head);
  if (sound != tool::Arrival::kFresh) return refuse(fateOf(sound));
  const std::uint64_t now = tool::clockMicroseconds();
  const bool mayBegin = channel_.session() == 0 || now - heard_ > kSilence || closed_;
  if (mayBegin && head.session != 0 && head.session != channel_.session()) {
    lostBefore_ += channel_.lost();
    channel_ = tool::Channel(key_, tool::PayloadKind::kFromViewer, head.session);
    closed_ = false;
  }
  const tool::Arrival arrival = channel_.admit(head);
  if (arrival != tool::Arrival::kFresh) return refuse(fateOf(arrival));
  heard_ = now;
  if (head.kind != tool::PayloadKind::kPacket) return hear(bytes, settings);

  qrxc_packet told = {};
  if (qrxc_read_packet(coder_.get(), bytes.data(), bytes.size(), &told) != QRXC_DONE) {
    return refuse(Fate::kNotAPacket);
  }
  if (pixels_.empty() || told.place.window != window_) return refuse(Fate::kNoWindow);
  decode(bytes, told);
  return false;  // the frame's description ends it
}

bool FrameReceiver::hear(std::span<const std::uint8_t> payload, const Settings& settings) {
  const auto message = tool::parseControl(payload);
  if (!message) return refuse(Fate::kNotAPacket);
  if (std::holds_alternative<tool::Closing>(*message)) closed_ = true;
  const auto* info = std::get_if<tool::FrameInfo>(&*message);
  if (info == nullptr) return false;
  window_ = info->window;
  if (info->width != width_ || info->height != height_ || info->session != session_) {
    session_ = info->session;
    if (!makeRoom(info->width, info->height, settings)) return false;
  }
  // The window is described at the start too, under the number of the frame before; and the same
  // frame may come again, sharper.
  if (!anything_ || info->frame < frame_ || (info->frame == frame_ && !changed_)) return false;
  frame_ = info->frame;
  changed_ = false;
  return true;
}

bool FrameReceiver::makeRoom(std::uint32_t width, std::uint32_t height, const Settings& settings) {
  const std::uint64_t pixels = std::uint64_t{width} * height;
  if (pixels == 0 || pixels > settings.mostPixels) return refuse(Fate::kTooLarge);
  width_ = width;
  height_ = height;
  pixels_.assign(pixels * pixelSize(), 0);
  if (pixelSize() == 4) {
    for (std::size_t i = 3; i < pixels_.size(); i += 4) pixels_[i] = 255;
  }
  newest_.clear();
  anything_ = changed_ = shown_ = false;
  frame_ = bareIndex_ = -1;
  return true;
}

// Into the rectangle's place. False where nothing was decoded.
bool FrameReceiver::decode(std::span<const std::uint8_t> packet, const qrxc_packet& told) {
  // Of a rectangle within the window, which counts its y upwards.
  const std::int64_t left = told.place.x;
  const std::int64_t top = std::int64_t{height_} - told.place.y - told.height;
  if (left < 0 || top < 0 || left + told.width > width_ || top + told.height > height_) {
    return refuse(Fate::kNoWindow);
  }
  if (newest_.size() >= kMostRectangles) newest_.clear();
  std::int64_t& newest =
      newest_.try_emplace({static_cast<std::uint32_t>(left), static_cast<std::uint32_t>(top)}, 0)
          .first->second;
  if (told.place.index < newest) return refuse(Fate::kOld);
  newest = told.place.index;
  const std::size_t step = pixelSize() * width_;
  std::uint8_t* const first = pixels_.data() + static_cast<std::size_t>(top) * step +
                              static_cast<std::size_t>(left) * pixelSize();
  const qrxc_layout layout = {static_cast<std::int64_t>(step), told.width, told.height, format_, 0};
  if (qrxc_decode_packet(coder_.get(), packet.data(), packet.size(), first, &layout, nullptr,
                         nullptr) < QRXC_DONE) {
    return refuse(Fate::kNotAPacket);
  }
  anything_ = changed_ = true;
  return true;
}

}  // namespace qrx::gst
