// The page's half of a session: messages of the server to a picture, what is known of it, and what
// is to be asked for again. No browser is needed: tests run it as it is.
#ifndef QRX_INTEGRATIONS_BROWSER_VIEW_WINDOW_VIEW_H_
#define QRX_INTEGRATIONS_BROWSER_VIEW_WINDOW_VIEW_H_

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "integrations/browser/view/datagram.h"
#include "qrx/qrx.hpp"
#include "tools/live/age_map.h"
#include "tools/live/control.h"
#include "tools/live/rate_meter.h"
#include "tools/live/replay_window.h"

namespace qrx::web {

class WindowView {
 public:
  static constexpr std::uint64_t kMostPixels = 7680 * 4320;

  // A message as it came, whatever is in it. `now` is in microseconds of this machine's clock.
  void take(std::span<const std::uint8_t> message, std::uint64_t now);

  // What the server is to be told at this time: the pulse, and incomplete rectangles that have been
  // quiet for a while. Each comes up again until it is complete or superseded.
  std::vector<tool::Packet> toSend(std::uint64_t now);

  int width() const { return size_.width; }
  int height() const { return size_.height; }
  // Red, green, blue and 255, top row first; black where nothing came. With `tint`, what is out of
  // date is coloured. Good until the next call.
  std::span<const std::uint8_t> picture(bool tint);

  // The lines of the overlay, as of the last full second.
  std::vector<std::string> words();
  const tool::ViewerStatistics& statistics();
  // The picture will not change any more, and nothing of it is missing.
  bool isFinished();

 private:
  // A rectangle that was sent and is not complete.
  struct Waiting {
    int missing = -1;  // MCUs; below 0 where no packet of it came
    std::uint64_t quietSince = 0, asked = 0;
  };

  void hear(std::span<const std::uint8_t> payload, const DatagramHead& head, std::uint64_t now);
  void announce(const tool::FrameInfo& info, const DatagramHead& head, std::uint64_t now);
  void takeChanges(const tool::Changes& message);
  bool begin(const tool::FrameInfo& info);
  void expectUpTo(std::uint32_t index, std::uint64_t now);
  tool::Verdict takePacket(std::span<const std::uint8_t> packet, std::uint64_t now);
  tool::Verdict decode(std::span<const std::uint8_t> packet, const qrxc_packet& told,
                       const tool::Box& box);
  void hold(const tool::PacketCells& cells, const tool::Box& box, std::uint8_t frame);

  host::Coder coder_;
  tool::Size size_;
  std::vector<std::uint8_t> pixels_, tinted_;
  tool::AgeMap ages_;
  tool::ReplayWindow arrived_;
  std::map<std::uint32_t, Waiting> waiting_;  // by index
  // The latest index of each rectangle, by its left and upper edge.
  std::map<std::pair<int, int>, std::uint32_t> newest_;
  std::uint32_t expected_ = 0;  // indexes up to here have been among those waited for
  std::uint32_t awaited_ = 0;   // repairs are on their way up to this index
  std::uint32_t firstFrame_ = 0;
  std::uint64_t pulse_ = 0;  // when it was sent last
  std::optional<std::uint64_t> leastTrip_;
  std::int64_t clockOffset_ = 0;  // the server's clock less ours
  tool::ViewerStatistics statistics_;
  tool::RateMeter meter_;
  std::string refusal_;
};

}  // namespace qrx::web

#endif  // QRX_INTEGRATIONS_BROWSER_VIEW_WINDOW_VIEW_H_
