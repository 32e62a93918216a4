// The server's half for one viewer, without sockets: frames to packets, and repair.
#ifndef QRX_TOOLS_LIVE_WINDOW_SENDER_H_
#define QRX_TOOLS_LIVE_WINDOW_SENDER_H_

#include <compare>
#include <cstdint>
#include <map>
#include <vector>

#include "qrx/codec.h"
#include "tools/live/change_detector.h"
#include "tools/live/control.h"
#include "tools/live/packet.h"

namespace qrx::tool {

struct WindowSenderOptions {
  std::uint32_t window = 1;
  unsigned quality = 80;
  int tile = 256;  // a multiple of 16, so that tiles are whole MCUs
};

class WindowSender {
 public:
  WindowSender(codec::Compressor& compressor, Size window, const WindowSenderOptions& options);

  // Appends the packets of what changed, each rectangle under an index of its own, and describes
  // the frame. The frame's number goes into the packets' context byte.
  FrameInfo send(const Image& frame, std::uint32_t number, std::vector<Packet>& packets);

  // Has what the named rectangles covered sent again with the next frame. The answer names those
  // that the viewer need not wait for; asking twice changes nothing.
  Superseded repair(const RepairRequest& request);

  // For a new viewer: everything is sent, and counting starts over. Indexes go on, so that late
  // packets of before stay old.
  void restart(std::uint32_t session);

  // For each tile the frame of its last change, in as many messages as that takes.
  std::vector<Changes> changes() const;

  // The latest frame's description; before the first frame, the window's.
  const FrameInfo& latest() const { return info_; }

  std::uint64_t repairs() const { return repairs_; }

 private:
  struct Place {
    int left, top;
    auto operator<=>(const Place&) const = default;
  };

  codec::Compressor& compressor_;
  WindowSenderOptions options_;
  ChangeDetector changes_;
  FrameInfo info_;
  std::uint64_t repairs_ = 0;
  bool marked_ = false;                    // the next frame repeats something
  std::map<std::uint32_t, Box> sent_;      // rectangles that may still be asked for
  std::map<Place, std::uint32_t> newest_;  // the latest index of each tile
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_WINDOW_SENDER_H_
