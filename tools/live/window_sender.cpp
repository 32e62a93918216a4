// Compression of tiles within an allowance, and the memory of what was sent.
#include "tools/live/window_sender.h"

#include <algorithm>
#include <utility>

#include "tools/live/rectangle_encoder.h"

namespace qrx::tool {
namespace {

constexpr unsigned kLowestQuality = 10;  // below this a later frame is better than a worse picture

double seconds(WindowSender::Clock::duration duration) {
  return std::chrono::duration<double>(duration).count();
}

}  // namespace

WindowSender::WindowSender(codec::Compressor& compressor, Size window,
                           const WindowSenderOptions& options)
    : compressor_(compressor),
      options_(options),
      changes_(window, options.tile),
      plan_(changes_.tiles()),
      model_(changes_.tiles()),
      quality_(options.quality),
      newest_(changes_.tiles(), 0) {
  info_.window = options.window;
  info_.width = static_cast<std::uint32_t>(window.width);
  info_.height = static_cast<std::uint32_t>(window.height);
  info_.tile = static_cast<std::uint32_t>(options.tile);
}

double WindowSender::pixels(std::size_t tile) const {
  const Box box = changes_.box(tile);
  return static_cast<double>(box.width()) * box.height();
}

double WindowSender::expected(const std::vector<std::size_t>& tiles, unsigned quality) const {
  double sum = 0;
  for (const std::size_t tile : tiles) sum += model_.expected(tile, pixels(tile), quality);
  return sum;
}

double WindowSender::reserve(const std::vector<std::size_t>& soft,
                             const Allowance& allowance) const {
  double sum = 0;
  for (const std::size_t tile : soft) {
    const auto left = std::max(plan_.sharpBy(tile) - allowance.now, allowance.period);
    sum += model_.expected(tile, pixels(tile), options_.quality) * seconds(allowance.period) /
           seconds(left);
  }
  return std::min(sum, allowance.bytes / 3);
}

void WindowSender::sendTile(std::size_t tile, const Image& frame, unsigned quality,
                            const Allowance& allowance, const Sink& sink, Spending& spending) {
  changes_.takeOver(tile, frame);
  spending.expected += model_.expected(tile, pixels(tile), quality);
  const std::uint32_t index = ++info_.latestIndex;
  const RectangleJob job{options_.window, index, quality, static_cast<std::uint8_t>(info_.frame)};
  EncodedRectangle rectangle = encodePixels(compressor_, changes_.pixels(tile), changes_.box(tile),
                                            static_cast<int>(info_.height), job);
  std::size_t bytes = 0;
  for (const Packet& packet : rectangle.packets) bytes += packet.size() + options_.bytesPerPacket;
  spending.spent += static_cast<double>(bytes);
  model_.learn(tile, pixels(tile), rectangle.quality, static_cast<double>(bytes));
  plan_.sent(tile, quality >= options_.quality, allowance.now);
  tileOf_.erase(std::exchange(newest_[tile], index));
  tileOf_[index] = tile;
  const double done = spending.planned > 0 ? spending.expected / spending.planned : 1;
  const Clock::time_point encoded = Clock::now();
  sink(std::move(rectangle.packets), std::min(done, 1.0));
  spending.outside += Clock::now() - encoded;
}

FrameInfo WindowSender::send(const Image& frame, std::uint32_t number, const Allowance& allowance,
                             const Sink& sink) {
  const Clock::time_point start = Clock::now();
  info_.frame = number;
  const std::vector<std::size_t> changed = changes_.update(frame, number);
  for (const std::size_t tile : changed) plan_.changed(tile, allowance.now);
  const std::vector<std::size_t> due = plan_.due(), soft = plan_.soft(allowance.now);
  const double forDue = allowance.bytes - reserve(soft, allowance);
  const unsigned full = options_.quality;
  if (forDue > 0 && !due.empty()) {
    // What one frame took too much is paid back over several.
    const double share = std::max(forDue, allowance.income / 2);
    const double weight = share / std::max(1.0, expected(due, 50));  // 50 has weight 1
    quality_ = SizeModel::qualityFor(weight, std::min(kLowestQuality, full), full);
  }

  Spending spending;
  spending.planned = std::min(allowance.bytes, expected(due, quality_) + expected(soft, full));
  for (const std::size_t tile : due) {
    if (spending.spent >= forDue) break;
    sendTile(tile, frame, quality_, allowance, sink, spending);
  }
  for (const std::size_t tile : soft) {
    if (spending.spent >= allowance.bytes) break;
    sendTile(tile, frame, full, allowance, sink, spending);
  }
  for (const std::size_t tile : changed) changes_.takeOver(tile, frame);  // those that wait
  const auto took = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start -
                                                                          spending.outside);
  info_.encodeMicroseconds = static_cast<std::uint32_t>(took.count());
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
    const auto known = tileOf_.find(index);
    if (known == tileOf_.end()) {
      answer.indexes.push_back(index);  // a later one is on its way already
    } else if (plan_.lost(known->second, Clock::now())) {
      ++repairs_;
    }
  }
  return answer;
}

void WindowSender::restart(std::uint32_t session) {
  plan_.allLost(Clock::now());
  info_.session = session;
  info_.firstIndex = info_.latestIndex + 1;
  info_.dropped = 0;
}

}  // namespace qrx::tool
