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

// Viewer to server, again and again: send me the window. A new viewer number starts afresh.
struct Hello {
  std::uint32_t viewer = 0;
};

// Viewer to server: no more.
struct Bye {};

// Server to viewer, after each frame's packets and in answer to each Hello.
struct FrameInfo {
  std::uint32_t session = 0;  // another one: forget all that was before
  std::uint32_t window = 0;
  std::uint32_t width = 0, height = 0;
  std::uint32_t frame = 0;        // number of the frame
  std::uint32_t firstIndex = 1;   // of the rectangles sent to this viewer
  std::uint32_t latestIndex = 0;  // of the rectangles sent so far
  std::uint32_t packetsSent = 0;  // to this viewer
  std::uint32_t encodeMicroseconds = 0;
  std::uint32_t finished = 0;  // 1: the picture no longer changes
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

using ControlMessage = std::variant<Hello, Bye, FrameInfo, RepairRequest, Superseded>;

// Indexes in one message at most.
inline constexpr std::size_t kMostIndexes = 256;

std::vector<std::uint8_t> serialise(const ControlMessage& message);
bool looksLikeControl(std::span<const std::uint8_t> data);
// None for what is damaged or unknown.
std::optional<ControlMessage> parseControl(std::span<const std::uint8_t> data);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_CONTROL_H_
