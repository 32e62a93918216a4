// Messages between viewer and server beside the packets. Each begins with the bytes "QRXC", which
// no packet does, and ends with a CRC-32 over the rest.
#ifndef QRX_TOOLS_LIVE_CONTROL_H_
#define QRX_TOOLS_LIVE_CONTROL_H_

#include <cstdint>
#include <optional>
#include <span>
#include <variant>
#include <vector>

namespace qrx::tool {

// Viewer to server, of no session yet: let me in. The server answers with the number of the session
// that it would open, and opens it when a further Hello brings that number back.
struct Hello {
  std::uint64_t viewer = 0;   // its own number, as long as it runs
  std::uint64_t ticket = 0;   // comes back in the answer, so that no old one is taken for it
  std::uint64_t session = 0;  // from the answer; 0 for none
};

// Server to viewer, of no session yet: the answer. Shorter than what it answers.
struct Welcome {
  std::uint64_t ticket = 0;
  std::uint64_t session = 0;  // 0: busy with another viewer
};

// Viewer to server, again and again, and back unchanged: for the round trip.
struct Alive {
  std::uint64_t time = 0;  // of the viewer's clock
};

// Viewer to server: no more. Answered with Closing.
struct Bye {};

// Server to viewer: no more. Answered with Bye. Its sequence number is the session's last.
struct Closing {};

// Server to viewer, after each frame's packets and at the beginning.
struct FrameInfo {
  std::uint32_t session = 0;  // another one: forget all that was before
  std::uint32_t window = 0;
  std::uint32_t width = 0, height = 0;
  std::uint32_t tile = 0;         // side of the tiles that Changes speaks of
  std::uint32_t frame = 0;        // number of the frame
  std::uint32_t firstIndex = 1;   // of the rectangles sent to this viewer
  std::uint32_t latestIndex = 0;  // of the rectangles sent so far
  std::uint32_t encodeMicroseconds = 0;
  std::uint32_t ageMicroseconds = 0;  // since the frame was there, until this was sent
  std::uint32_t finished = 0;         // 1: the picture no longer changes, nor gets any sharper
  std::uint32_t dropped = 0;          // frames that were left out so far
};

// Server to viewer, before FrameInfo: of each tile, row by row, the frame that last changed it.
struct Changes {
  std::uint32_t frame = 0;  // as of this frame
  std::uint32_t first = 0;  // tile that the list begins with
  std::vector<std::uint32_t> frames;
};

// Viewer to server: these rectangles are not complete.
struct RepairRequest {
  std::vector<std::uint32_t> indexes;
};

// Server to viewer: don't wait for these; what they covered comes, or came, under a later index.
struct Superseded {
  std::uint32_t until = 0;  // when this index has come, all that they covered has been sent again
  std::vector<std::uint32_t> indexes;
};

// Viewer to server, many times a second: how the line and the viewer keep up. Counted since the
// session began.
struct Report {
  std::uint64_t time = 0;   // microseconds of the viewer's clock
  std::uint64_t bytes = 0;  // of the datagrams that arrived
  std::uint64_t arrived = 0, lost = 0;
  std::uint32_t queueMicroseconds = 0;    // that datagrams stand in queues on their way
  std::uint32_t backlogMicroseconds = 0;  // that packets have been waiting to be decoded
};

using ControlMessage = std::variant<Hello, Bye, FrameInfo, RepairRequest, Superseded, Welcome,
                                    Alive, Changes, Closing, Report>;

// Numbers in the list of one message at most.
inline constexpr std::size_t kMostIndexes = 256;

std::vector<std::uint8_t> serialise(const ControlMessage& message);
bool looksLikeControl(std::span<const std::uint8_t> data);
// None for what is damaged or unknown.
std::optional<ControlMessage> parseControl(std::span<const std::uint8_t> data);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_CONTROL_H_
