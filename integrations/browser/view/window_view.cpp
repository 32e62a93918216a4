#include "integrations/browser/view/window_view.h"

#include <algorithm>
#include <variant>

namespace qrx::web {
namespace {

using tool::Box;
using tool::Verdict;

constexpr std::uint64_t kQuiet = 40'000, kAskAgain = 120'000, kPulse = 250'000;  // microseconds
constexpr std::uint32_t kMostWaiting = 4096,
                        kFarAhead = 1024;  // an index beyond the expected one by more is damage
constexpr std::size_t kMostRectangles = 1 << 16;
constexpr std::size_t kBytesPerPixel = 4;

}  // namespace

void WindowView::take(std::span<const std::uint8_t> message, std::uint64_t now) {
  DatagramHead head;
  const std::span<const std::uint8_t> payload = openDatagram(message, head);
  tool::ArrivalCounts& arrivals = statistics_.link.arrivals;
  if (payload.empty()) {
    ++arrivals[tool::Arrival::kCorrupted];
    return;
  }
  if (!arrived_.admit(head.sequence)) {
    ++arrivals[tool::Arrival::kReplayed];
    return;
  }
  ++arrivals[tool::Arrival::kFresh];
  if (tool::looksLikeControl(payload)) return hear(payload, head, now);
  const std::uint64_t start = steadyMicroseconds();
  const Verdict verdict = takePacket(payload, now);
  tool::AssemblerStatistics& window = statistics_.window;
  ++window.verdicts[static_cast<std::size_t>(verdict)];
  window.bytes += payload.size();
  window.decodeMicroseconds += steadyMicroseconds() - start;
}

void WindowView::hear(std::span<const std::uint8_t> payload, const DatagramHead& head,
                      std::uint64_t now) {
  const auto message = tool::parseControl(payload);
  if (!message) {
    ++statistics_.link.arrivals[tool::Arrival::kCorrupted];
    return;
  }
  if (const auto* info = std::get_if<tool::FrameInfo>(&*message)) announce(*info, head, now);
  if (const auto* changes = std::get_if<tool::Changes>(&*message)) takeChanges(*changes);
  if (const auto* list = std::get_if<tool::Superseded>(&*message)) {
    awaited_ = std::max(awaited_, list->until);
    for (const std::uint32_t index : list->indexes) waiting_.erase(index);
  }
  const auto* echo = std::get_if<tool::Alive>(&*message);
  if (echo == nullptr || echo->time > now) return;
  // The least round trip tells the difference of the clocks best.
  const std::uint64_t trip = now - echo->time;
  if (leastTrip_ && trip >= *leastTrip_) return;
  leastTrip_ = trip;
  clockOffset_ = static_cast<std::int64_t>(head.sent - (echo->time + trip / 2));
}

bool WindowView::begin(const tool::FrameInfo& info) {
  if (std::uint64_t{info.width} * info.height > kMostPixels || info.width > 32767 ||
      info.height > 32767 || info.width < 1 || info.height < 1) {
    refusal_ = "a window of " + std::to_string(info.width) + " x " + std::to_string(info.height) +
               " pixels is not taken";
    return false;
  }
  refusal_.clear();
  size_ = {static_cast<int>(info.width), static_cast<int>(info.height)};
  pixels_.assign(size_.pixels() * kBytesPerPixel, 0);
  for (std::size_t i = 3; i < pixels_.size(); i += kBytesPerPixel) pixels_[i] = 255;
  ages_ = tool::AgeMap(size_);
  waiting_.clear();
  newest_.clear();
  expected_ = info.firstIndex - 1;
  awaited_ = 0;
  firstFrame_ = info.frame - info.dropped;
  ++statistics_.link.sessions;
  statistics_.window.latest = info;
  return true;
}

void WindowView::announce(const tool::FrameInfo& info, const DatagramHead& head,
                          std::uint64_t now) {
  tool::AssemblerStatistics& window = statistics_.window;
  if (info.firstIndex < 1 || info.latestIndex + 1 < info.firstIndex) return;
  const bool another = !window.latest || window.latest->session != info.session ||
                       window.latest->width != info.width || window.latest->height != info.height;
  if (another && !begin(info)) return;
  tool::FrameInfo& latest = *window.latest;
  if (info.latestIndex < latest.latestIndex || info.frame < latest.frame) return;  // overtaken
  if (another || info.frame > latest.frame) {
    ++window.announced;
    window.encodeMicroseconds += info.encodeMicroseconds;
  }
  latest = info;
  window.frames = std::uint32_t{info.frame - info.dropped - firstFrame_} + 1;
  expectUpTo(info.latestIndex, now);
  if (!leastTrip_) return;
  const std::int64_t took = static_cast<std::int64_t>(now - head.sent) + clockOffset_ +
                            static_cast<std::int64_t>(info.ageMicroseconds);
  tool::LinkStatistics& link = statistics_.link;
  const double ms = static_cast<double>(took) / 1000;
  link.latencyMs += (ms - link.latencyMs) * (link.latencyMs == 0 ? 1 : 0.1);
}

void WindowView::takeChanges(const tool::Changes& message) {
  if (!statistics_.window.latest || statistics_.window.latest->tile == 0) return;
  const auto tile = static_cast<std::int64_t>(statistics_.window.latest->tile);
  const std::int64_t columns = (size_.width + tile - 1) / tile;
  const std::int64_t rows = (size_.height + tile - 1) / tile;
  for (std::size_t i = 0; i < message.frames.size(); ++i) {
    const std::int64_t at = std::int64_t{message.first} + static_cast<std::int64_t>(i);
    if (at >= columns * rows || message.frames[i] > message.frame) return;
    const std::int64_t left = at % columns * tile, top = at / columns * tile;
    ages_.changed({static_cast<int>(left), static_cast<int>(top),
                   static_cast<int>(std::min<std::int64_t>(left + tile, size_.width)),
                   static_cast<int>(std::min<std::int64_t>(top + tile, size_.height))},
                  message.frames[i]);
  }
}

// Every index up to this one stands for a rectangle that was sent.
void WindowView::expectUpTo(std::uint32_t index, std::uint64_t now) {
  if (index <= expected_) return;
  if (index - expected_ > kMostWaiting) expected_ = index - kMostWaiting;
  while (expected_ < index) waiting_[++expected_].quietSince = now;
  while (waiting_.size() > kMostWaiting) waiting_.erase(waiting_.begin());
}

Verdict WindowView::takePacket(std::span<const std::uint8_t> packet, std::uint64_t now) {
  qrxc_packet told = {};
  if (qrxc_read_packet(coder_.get(), packet.data(), packet.size(), &told) != QRXC_DONE) {
    return Verdict::kNotAPacket;
  }
  const auto& latest = statistics_.window.latest;
  if (!latest || told.place.window != latest->window) return Verdict::kOtherWindow;
  const auto cells = tool::cellsOf(*tool::readHead(packet));
  const Box box = tool::boxInWindow(told.place.x, told.place.y, static_cast<int>(told.width),
                                    static_cast<int>(told.height), size_);
  const Box window = {0, 0, size_.width, size_.height};
  const auto index = static_cast<std::uint32_t>(told.place.index);
  if (!cells || tool::intersect(box, window) != box || told.place.index < 1 ||
      index > expected_ + kFarAhead) {
    return Verdict::kBadHead;
  }
  expectUpTo(index, now);
  if (newest_.size() >= kMostRectangles) newest_.clear();
  std::uint32_t& newest = newest_[{box.left, box.top}];
  if (index < newest) return Verdict::kLate;
  newest = index;
  const Verdict verdict = decode(packet, told, box);
  if (verdict != Verdict::kPlaced) return verdict;
  hold(*cells, box, told.place.mark);
  const auto waiting = waiting_.find(index);
  if (waiting == waiting_.end()) return Verdict::kPlaced;
  int& missing = waiting->second.missing;
  missing = (missing < 0 ? cells->total() : missing) - cells->count;
  waiting->second.quietSince = now;
  if (missing <= 0) waiting_.erase(waiting);
  return Verdict::kPlaced;
}

// Into the rectangle's place in the picture: what lies between is the rows' distance.
Verdict WindowView::decode(std::span<const std::uint8_t> packet, const qrxc_packet& told,
                           const Box& box) {
  const std::size_t row = static_cast<std::size_t>(size_.width) * kBytesPerPixel;
  std::uint8_t* const first = pixels_.data() + static_cast<std::size_t>(box.top) * row +
                              static_cast<std::size_t>(box.left) * kBytesPerPixel;
  const qrxc_layout layout = {static_cast<std::int64_t>(row), told.width, told.height, QRXC_RGBX,
                              0};
  const qrxc_code code = qrxc_decode_packet(coder_.get(), packet.data(), packet.size(), first,
                                            &layout, nullptr, nullptr);
  return code == QRXC_DONE ? Verdict::kPlaced : Verdict::kUndecodable;
}

void WindowView::hold(const tool::PacketCells& cells, const Box& box, std::uint8_t frame) {
  const std::uint32_t number = tool::nearestFrame(frame, statistics_.window.latest->frame);
  for (int i = 0; i < cells.count; ++i) {
    const Box cell = cells.cell(cells.first + i, {box.width(), box.height()});
    ages_.hold(
        {box.left + cell.left, box.top + cell.top, box.left + cell.right, box.top + cell.bottom},
        number);
  }
}

std::vector<tool::Packet> WindowView::toSend(std::uint64_t now) {
  std::vector<tool::Packet> messages;
  if (pulse_ == 0 || now - pulse_ >= kPulse) {
    pulse_ = now;
    messages.push_back(tool::serialise(tool::Alive{now}));
  }
  tool::RepairRequest request;
  for (auto& [index, waiting] : waiting_) {
    if (request.indexes.size() == tool::kMostIndexes) break;
    if (index > statistics_.window.latest->latestIndex) break;  // is being sent
    if (now - waiting.quietSince < kQuiet || now - waiting.asked < kAskAgain) continue;
    waiting.asked = now;
    request.indexes.push_back(index);
  }
  if (!request.indexes.empty()) messages.push_back(tool::serialise(request));
  return messages;
}

std::span<const std::uint8_t> WindowView::picture(bool tint) {
  if (!tint || !statistics_.window.latest) return pixels_;
  tinted_ = pixels_;
  ages_.tint(tinted_, statistics_.window.latest->frame, true);
  return tinted_;
}

const tool::ViewerStatistics& WindowView::statistics() {
  tool::LinkStatistics& link = statistics_.link;
  link.arrived = arrived_.distinct();
  link.lost = arrived_.highest() - arrived_.distinct();
  statistics_.window.coverage = ages_.currentPercent();
  const auto& latest = statistics_.window.latest;
  statistics_.window.complete = latest && waiting_.empty() && awaited_ <= latest->latestIndex &&
                                expected_ >= latest->latestIndex;
  return statistics_;
}

bool WindowView::isFinished() {
  const tool::AssemblerStatistics& window = statistics().window;
  return window.complete && window.latest->finished != 0 && window.coverage == 100;
}

std::vector<std::string> WindowView::words() {
  if (!refusal_.empty()) return {refusal_};
  const tool::ViewerStatistics& now = statistics();
  return tool::plainWords(now, meter_.update(now, tool::RateMeter::Clock::now()));
}

}  // namespace qrx::web
