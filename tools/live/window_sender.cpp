// Compression of changed tiles, and the memory of what was sent.
#include "tools/live/window_sender.h"

#include <algorithm>
#include <chrono>

#include "tools/live/rectangle_encoder.h"

namespace qrx::tool {
namespace {

constexpr std::size_t kRemembered = 1 << 16;

}  // namespace

WindowSender::WindowSender(codec::Compressor& compressor, Size window,
                           const WindowSenderOptions& options)
    : compressor_(compressor), options_(options), changes_(window, options.tile) {
  info_.window = options.window;
  info_.width = static_cast<std::uint32_t>(window.width);
  info_.height = static_cast<std::uint32_t>(window.height);
  info_.tile = static_cast<std::uint32_t>(options.tile);
}

FrameInfo WindowSender::send(const Image& frame, std::uint32_t number,
                             std::vector<Packet>& packets) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  marked_ = false;
  for (const Box& box : changes_.update(frame, number)) {
    const RectangleJob job{options_.window, ++info_.latestIndex, options_.quality,
                           static_cast<std::uint8_t>(number)};
    EncodedRectangle rectangle = encodeRectangle(compressor_, frame, box, job);
    for (Packet& packet : rectangle.packets) packets.push_back(std::move(packet));
    sent_.emplace(info_.latestIndex, box);
    newest_[{box.left, box.top}] = info_.latestIndex;
  }
  while (sent_.size() > kRemembered) sent_.erase(sent_.begin());
  const auto took =
      std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count();
  info_.frame = number;
  info_.encodeMicroseconds = static_cast<std::uint32_t>(took);
  return info_;
}

std::vector<Changes> WindowSender::changes() const {
  const std::vector<std::uint32_t>& all = changes_.lastChanges();
  std::vector<Changes> messages;
  for (std::size_t first = 0; first < all.size(); first += kMostIndexes) {
    const auto begin = all.begin() + static_cast<std::ptrdiff_t>(first);
    const auto count = static_cast<std::ptrdiff_t>(std::min(kMostIndexes, all.size() - first));
    messages.push_back({info_.frame, static_cast<std::uint32_t>(first), {begin, begin + count}});
  }
  return messages;
}

Superseded WindowSender::repair(const RepairRequest& request) {
  Superseded answer;
  answer.until = info_.latestIndex;
  for (const std::uint32_t index : request.indexes) {
    if (index > info_.latestIndex) continue;  // a damaged packet made the viewer ask
    answer.indexes.push_back(index);
    const auto known = sent_.find(index);
    if (known == sent_.end()) continue;
    const Box box = known->second;
    sent_.erase(known);
    if (newest_[{box.left, box.top}] != index) continue;  // a later one is on its way already
    changes_.mark(box);
    marked_ = true;
    ++repairs_;
  }
  if (marked_) ++answer.until;
  return answer;
}

void WindowSender::restart(std::uint32_t session) {
  changes_.markAll();
  sent_.clear();
  info_.session = session;
  info_.firstIndex = info_.latestIndex + 1;
}

}  // namespace qrx::tool
