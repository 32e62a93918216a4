// Frames of a raw video stream to datagrams that need no answer: packets of what changed, each in
// the sample host's envelope, and what a viewer has to know of the frame.
#ifndef QRX_INTEGRATIONS_GSTREAMER_FRAME_SENDER_H_
#define QRX_INTEGRATIONS_GSTREAMER_FRAME_SENDER_H_

#include <cstdint>
#include <functional>
#include <vector>

#include "qrx/qrx.hpp"
#include "tools/live/channel.h"

namespace qrx::gst {

struct SenderSettings {
  int quality = 80;
  qrxc_sampling sampling = QRXC_422;
  unsigned keyframeInterval = 60;  // frames until everything is sent again; 0: never
  unsigned repairInterval = 0;     // frames in which each tile is sent once more; 0: never
  bool envelope = true;            // without: bare packets, and every frame whole
};

struct SenderStatistics {
  std::uint64_t frames = 0, packets = 0, bytes = 0;
  std::uint64_t encodeMicroseconds = 0;
};

class FrameSender {
 public:
  // Takes each datagram while it is there.
  using Take = std::function<void(host::Bytes datagram)>;

  explicit FrameSender(const tool::Key& key);

  // Frames from now on are of 1 to 32767 pixels a side, in a format of three or four bytes. The
  // session goes on. Throws host::Error.
  void start(std::uint32_t width, std::uint32_t height, qrxc_format format);

  // `stride` in bytes. Throws host::Error; what `take` throws passes through.
  void send(const std::uint8_t* pixels, std::int64_t stride, const SenderSettings& settings,
            const Take& take);
  // That no more comes.
  void close(const SenderSettings& settings, const Take& take);

  const SenderStatistics& statistics() const { return statistics_; }

 private:
  struct Tile {
    std::uint32_t left, top, width, height;
  };

  void sendWhole(const std::uint8_t* pixels, std::int64_t stride, const SenderSettings& settings,
                 const Take& take);
  void sendChanges(const std::uint8_t* pixels, std::int64_t stride, const SenderSettings& settings,
                   const Take& take);
  void sendTile(const std::uint8_t* pixels, std::int64_t stride, const Tile& tile,
                const SenderSettings& settings, const FrameSender::Take& take);
  void describe(std::uint32_t frame, std::uint32_t encodeMicroseconds, const Take& take);
  void tell(const tool::ControlMessage& message, const Take& take);
  void hand(host::Bytes datagram, const Take& take);
  Tile tileAt(std::size_t number) const;
  bool keepTile(const std::uint8_t* pixels, std::int64_t stride, const Tile& tile);

  host::Coder coder_;
  tool::Channel channel_;
  std::uint32_t width_ = 0, height_ = 0;
  qrxc_format format_ = QRXC_BGRX;
  std::size_t columns_ = 0;
  std::uint32_t frame_ = 0;         // number of the next one
  std::uint32_t index_ = 0;         // of the latest rectangle
  std::uint32_t firstIndex_ = 1;    // of this size
  std::vector<std::uint8_t> last_;  // the frame before; empty at first
  std::vector<std::uint32_t> lastChanges_;
  SenderStatistics statistics_;
};

}  // namespace qrx::gst

#endif  // QRX_INTEGRATIONS_GSTREAMER_FRAME_SENDER_H_
