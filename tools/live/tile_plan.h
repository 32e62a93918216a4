// Which tiles are to be sent, and in which order: those that changed or got lost, and those that
// were sent less sharp than they can be and stand still.
#ifndef QRX_TOOLS_LIVE_TILE_PLAN_H_
#define QRX_TOOLS_LIVE_TILE_PLAN_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace qrx::tool {

class TilePlan {
 public:
  using Clock = std::chrono::steady_clock;

  // At first, all are to be sent.
  explicit TilePlan(std::size_t tiles) : tiles_(tiles) {}

  void changed(std::size_t tile, Clock::time_point now);
  // What was sent of it did not arrive. False where it is to be sent anyway.
  bool lost(std::size_t tile, Clock::time_point now);
  void allLost(Clock::time_point now);
  void sent(std::size_t tile, bool sharp, Clock::time_point now);

  // To be sent because they changed or got lost: those that wait longest first.
  std::vector<std::size_t> due() const;
  // To be sent once more to be sharp: still for a while, those that stand longest first.
  std::vector<std::size_t> soft(Clock::time_point now) const;
  // When a tile is to be sharp again.
  Clock::time_point sharpBy(std::size_t tile) const;
  // Nothing is to be sent, now or later, unless something changes or gets lost.
  bool settled() const;

  // Times from a tile's last change to its being sent sharp, of those that were not sent sharp at
  // once.
  struct Sharpening {
    std::uint64_t tiles = 0, withinSecond = 0;
    Clock::duration slowest{0};
  };
  const Sharpening& sharpening() const { return sharpening_; }

 private:
  struct Tile {
    bool due = true, soft = false;
    Clock::time_point dueSince{}, stillSince{};
  };
  std::vector<Tile> tiles_;
  Sharpening sharpening_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_TILE_PLAN_H_
