// The server's half for one viewer, without sockets: frames to packets, and repair.
#ifndef QRX_TOOLS_LIVE_WINDOW_SENDER_H_
#define QRX_TOOLS_LIVE_WINDOW_SENDER_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <unordered_map>
#include <vector>

#include "qrx/codec.h"
#include "tools/live/change_detector.h"
#include "tools/live/control.h"
#include "tools/live/packet.h"
#include "tools/live/size_model.h"
#include "tools/live/tile_plan.h"

namespace qrx::tool {

struct WindowSenderOptions {
  std::uint32_t window = 1;
  unsigned quality = 80;
  int tile = 256;                  // a multiple of 16, so that tiles are whole MCUs
  std::size_t bytesPerPacket = 0;  // that come on top of each packet
};

class WindowSender {
 public:
  using Clock = TilePlan::Clock;

  WindowSender(codec::Compressor& compressor, Size window, const WindowSenderOptions& options);

  // What a frame may take: `bytes` now, on average `income`.
  struct Allowance {
    double bytes = std::numeric_limits<double>::infinity();
    double income = bytes;
    Clock::time_point now = Clock::now();
    Clock::duration period = std::chrono::milliseconds(40);
  };
  // A tile's packets, and how much of the frame is done with them, 0 to 1.
  using Sink = std::function<void(std::vector<Packet> packets, double progress)>;

  // Gives the packets of what is to be sent, each rectangle under an index of its own, and
  // describes the frame. Tiles that changed or got lost come first, the longest waiting ones before
  // others, at a quality that makes all of them fit; where none does, some wait for a later frame,
  // with whose pixels they are sent then. What is left of the allowance, and up to a third of it
  // where tiles have stood still for long, sharpens still ones to the full quality. The last tile
  // may exceed it. The frame's number goes into the packets' context byte.
  FrameInfo send(const Image& frame, std::uint32_t number, const Allowance& allowance,
                 const Sink& sink);

  // Has what the named rectangles covered sent again. The answer names those whose place has been
  // sent again by now; asking twice changes nothing.
  Superseded repair(const RepairRequest& request);

  // For a new viewer: everything is sent, and counting starts over. Indexes go on, so that late
  // packets of before stay old.
  void restart(std::uint32_t session);
  // Everything is sent once more.
  void repeat() { plan_.allLost(Clock::now()); }

  // So many frames were not sent.
  void leaveOut(std::uint32_t frames) { info_.dropped += frames; }

  // For each tile the frame of its last change, in as many messages as that takes.
  std::vector<Changes> changes() const;

  // The latest frame's description; before the first frame, the window's.
  const FrameInfo& latest() const { return info_; }
  // All has been sent at the full quality.
  bool settled() const { return plan_.settled(); }

  std::uint64_t repairs() const { return repairs_; }
  // Quality of the latest frame's changed tiles.
  unsigned quality() const { return quality_; }
  const TilePlan::Sharpening& sharpening() const { return plan_.sharpening(); }

 private:
  struct Spending {
    double spent = 0, planned = 0, expected = 0;
    Clock::duration outside{0};  // in the sink
  };
  double pixels(std::size_t tile) const;
  double expected(const std::vector<std::size_t>& tiles, unsigned quality) const;
  // What sharpening needs of this frame to be done in time.
  double reserve(const std::vector<std::size_t>& soft, const Allowance& allowance) const;
  void sendTile(std::size_t tile, const Image& frame, unsigned quality, const Allowance& allowance,
                const Sink& sink, Spending& spending);

  codec::Compressor& compressor_;
  WindowSenderOptions options_;
  ChangeDetector changes_;
  TilePlan plan_;
  SizeModel model_;
  FrameInfo info_;
  unsigned quality_;
  std::uint64_t repairs_ = 0;
  std::vector<std::uint32_t> newest_;                      // the latest index of each tile
  std::unordered_map<std::uint32_t, std::size_t> tileOf_;  // of these indexes
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_WINDOW_SENDER_H_
