// Datagrams of a one-way session, or bare packets, to frames: the picture that stands when a frame
// is over, with whatever came of it.
#ifndef QRX_INTEGRATIONS_GSTREAMER_FRAME_RECEIVER_H_
#define QRX_INTEGRATIONS_GSTREAMER_FRAME_RECEIVER_H_

#include <array>
#include <cstdint>
#include <map>
#include <span>
#include <utility>
#include <vector>

#include "qrx/qrx.hpp"
#include "tools/live/channel.h"

namespace qrx::gst {

// What became of a datagram.
enum class Fate {
  kTaken,
  kCorrupted,     // the tag does not fit
  kOtherVersion,  // sound, and of a program that speaks another language
  kOtherSession,  // of a sender beside the one that is shown
  kReplayed,
  kNotAPacket,
  kNoWindow,  // sound, before anything told of its window, or of another one or outside of it
  kOld,       // its rectangle was replaced by a newer one
  kTooLarge,  // a window beyond what may be taken
};
inline constexpr std::size_t kFateCount = 9;
const char* fateName(Fate fate);

struct ReceiverStatistics {
  std::array<std::uint64_t, kFateCount> fates{};
  std::uint64_t lost = 0;  // datagrams that were sent and did not come; with envelopes alone
  std::uint64_t frames = 0;
  std::uint64_t bytes = 0;
};

class FrameReceiver {
 public:
  struct Settings {
    bool envelope = true;
    std::uint64_t mostPixels = 7680 * 4320;
  };

  // `format` has three or four bytes; the fourth is 255.
  FrameReceiver(qrxc_format format, const tool::Key& key) : format_(format), key_(key) {}

  // True where a frame is over: picture() is to be shown before the next datagram is given.
  bool take(std::span<const std::uint8_t> datagram, const Settings& settings);
  // What the latest datagram came to.
  Fate fate() const { return fate_; }
  // Whether the sender said that no more comes.
  bool isClosed() const { return closed_; }

  // Rows without gaps; black where nothing came.
  std::span<const std::uint8_t> picture() const { return pixels_; }
  std::uint32_t width() const { return width_; }
  std::uint32_t height() const { return height_; }
  ReceiverStatistics statistics() const;

 private:
  bool takeBare(std::span<const std::uint8_t> packet, const Settings& settings);
  bool takeEnvelope(std::span<const std::uint8_t> datagram, const Settings& settings);
  bool hear(std::span<const std::uint8_t> payload, const Settings& settings);
  bool decode(std::span<const std::uint8_t> packet, const qrxc_packet& told);
  bool makeRoom(std::uint32_t width, std::uint32_t height, const Settings& settings);
  bool refuse(Fate fate);
  std::size_t pixelSize() const { return format_ == QRXC_RGB || format_ == QRXC_BGR ? 3 : 4; }

  const qrxc_format format_;
  const tool::Key key_;
  host::Coder coder_;
  tool::Channel channel_;
  std::uint64_t heard_ = 0;       // microseconds, when the session was heard last
  std::uint64_t lostBefore_ = 0;  // in earlier sessions
  std::uint32_t session_ = 0;     // of the latest frame's description
  std::uint32_t window_ = 0;
  std::uint32_t width_ = 0, height_ = 0;
  std::vector<std::uint8_t> pixels_;
  // The latest index of each rectangle, by its left and upper edge.
  std::map<std::pair<std::uint32_t, std::uint32_t>, std::int64_t> newest_;
  bool changed_ = false;         // since the last frame was over
  bool anything_ = false;        // was decoded of this session
  std::int64_t frame_ = -1;      // the latest that was over
  std::int64_t bareIndex_ = -1;  // without envelopes: the frame that is coming in,
  bool shown_ = false;           // and whether it is over
  bool closed_ = false;
  Fate fate_ = Fate::kTaken;
  ReceiverStatistics statistics_;
};

}  // namespace qrx::gst

#endif  // QRX_INTEGRATIONS_GSTREAMER_FRAME_RECEIVER_H_
