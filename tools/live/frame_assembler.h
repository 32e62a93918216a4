// The viewer's half without sockets: packets into a frame buffer, and what is missing.
#ifndef QRX_TOOLS_LIVE_FRAME_ASSEMBLER_H_
#define QRX_TOOLS_LIVE_FRAME_ASSEMBLER_H_

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <vector>

#include "qrx/codec.h"
#include "tools/image/image.h"
#include "tools/image/limits.h"
#include "tools/live/age_map.h"
#include "tools/live/control.h"
#include "tools/live/packet.h"
#include "tools/live/stamp_map.h"

namespace qrx::tool {

inline constexpr int kLargestWindow = 16384;  // pixels a side

// What became of a packet.
enum class Verdict {
  kPlaced,
  kDuplicate,   // all its MCUs were there
  kLate,        // its rectangle was replaced by a newer one
  kNotAPacket,  // isValid refused it
  kOtherWindow,
  kBadHead,      // fields that contradict each other, the window or earlier packets
  kUndecodable,  // decompressTile refused it
};
inline constexpr std::size_t kVerdictCount = 7;
const char* verdictName(Verdict verdict);

struct AssemblerStatistics {
  std::array<std::uint64_t, kVerdictCount> verdicts{};
  std::uint64_t bytes = 0;
  std::uint64_t decodeMicroseconds = 0;
  std::uint64_t frames = 0;              // sent, from the first to the latest that was announced
  std::uint64_t passed = 0;              // the same with those that were left out
  std::uint64_t announced = 0;           // those whose announcement arrived
  std::uint64_t encodeMicroseconds = 0;  // of the announced ones
  double coverage = 0;                   // percent of the window that is current
  bool complete = false;                 // every announced rectangle arrived or was replaced
  std::optional<FrameInfo> latest;

  std::uint64_t arrived() const;
  // Packets that are no good, as against duplicate or late ones.
  std::uint64_t refused() const;
};

// All operations may be called from any thread; packets are decoded side by side.
class FrameAssembler {
 public:
  using Clock = std::chrono::steady_clock;

  explicit FrameAssembler(codec::Decompressor& decompressor, const Limits& limits = {});

  // A packet from the network; its bytes may change.
  Verdict take(Packet& packet, Clock::time_point now);

  // Throws Error for a new window that the limits forbid; nothing has changed then.
  void announce(const FrameInfo& info, Clock::time_point now);
  void supersede(const Superseded& message);
  // What of the window changed when, by the server's tiles.
  void changes(const Changes& message);
  // The same for any box.
  void changed(const Box& box, std::uint32_t frame);

  // Rectangles to ask for at this time: incomplete and quiet for a while. Each comes up again
  // until it is complete or superseded.
  std::vector<std::uint32_t> toRepair(Clock::time_point now);

  AssemblerStatistics statistics() const;

  // The window as it stands; pixels that never arrived are black. `tint` colours what is out of
  // date. False before the first announcement.
  bool copyPicture(Image& picture, bool tint) const;
  // A small map of what is out of date; none before the first announcement.
  std::optional<Image> ageOverview(int side) const;

 private:
  // A rectangle that was sent and not replaced.
  struct Rectangle {
    bool seen = false;  // a packet of it came: the next five are known
    Box box;
    PacketCells cells;
    std::uint8_t mcuShape = 0;
    std::vector<bool> got;  // by MCU; none where all came
    int missing = 0;
    bool complete() const { return seen && missing == 0; }
    Clock::time_point quietSince;
    Clock::time_point asked{};
  };
  // A packet whose head has been checked against the window.
  struct Placement {
    std::uint64_t picture = 0;  // that it was examined for: another thread may start a new one
    std::uint32_t index;
    Box box;
    PacketCells cells;
    std::uint8_t mcuShape;
    std::uint32_t frame;  // that it was made from
    std::uint32_t outputSize;
  };

  Verdict examine(Buffer& buffer, const Packet& packet, Placement& placement) const;
  Verdict admit(const Placement& placement, Clock::time_point now);
  Verdict decode(Buffer& buffer, const Placement& placement, std::vector<std::uint8_t>& staging);
  Verdict place(const Placement& placement, const std::vector<std::uint8_t>& staging);
  void copy(const Box& part, const Box& rectangle, const std::uint8_t* staging);
  void reset(const FrameInfo& info);
  void expectUpTo(std::uint32_t index, Clock::time_point now);
  void forgetOld();
  // Makes room for one of so many MCUs: as many as the window has pixels may be missing in all.
  void makeRoom(std::size_t mcus);
  void forget(std::uint32_t index);
  bool replacedByNewer(std::uint32_t index, const Rectangle& rectangle) const;

  codec::Decompressor& decompressor_;
  const Limits limits_;
  mutable std::mutex mutex_;
  // Guarded by the mutex.
  Image picture_;
  StampMap stamps_;
  std::vector<Box> parts_;  // of the window that a packet writes; kept for its memory
  AgeMap ages_;
  std::map<std::uint32_t, Rectangle> rectangles_;  // by index
  std::set<std::uint32_t> incomplete_;             // of these: few, as against all
  std::size_t awaitedMcus_ = 0;                    // of incomplete ones that were seen
  std::uint64_t pictureNumber_ = 0;
  std::uint32_t firstNumber_ = 0;  // of the frame that was announced first
  std::uint32_t firstFrame_ = 0;   // the same, frames that were left out not counted
  std::uint32_t awaited_ = 0;      // repairs are on their way up to this index
  std::uint32_t expected_ = 0;     // indexes up to here have been among them
  AssemblerStatistics statistics_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_FRAME_ASSEMBLER_H_
