// Bookkeeping of rectangles by index, decoding outside the lock, placement by whole MCUs.
#include "tools/live/frame_assembler.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace qrx::tool {
namespace {

using std::chrono::milliseconds;

constexpr std::uint32_t kFarAhead = 1024;  // an index beyond the expected one by more is damage
constexpr milliseconds kQuiet{40};         // reordering has settled by then
constexpr milliseconds kAskAgain{120};
constexpr std::size_t kRemembered = 4096;  // rectangles, complete ones included
constexpr std::size_t kMostExpected = 16 * kRemembered;

// Pixels of an MCU of the rectangle that stands there.
Box cellInWindow(const PacketCells& cells, int mcu, const Box& rectangle) {
  const Box cell = cells.cell(mcu, {rectangle.width(), rectangle.height()});
  return {rectangle.left + cell.left, rectangle.top + cell.top, rectangle.left + cell.right,
          rectangle.top + cell.bottom};
}

}  // namespace

const char* verdictName(Verdict verdict) {
  constexpr const char* kNames[kVerdictCount] = {
      "placed", "duplicate", "late", "not_a_packet", "other_window", "bad_head", "undecodable"};
  return kNames[static_cast<std::size_t>(verdict)];
}

std::uint64_t AssemblerStatistics::arrived() const {
  std::uint64_t sum = 0;
  for (const std::uint64_t count : verdicts) sum += count;
  return sum;
}

std::uint64_t AssemblerStatistics::refused() const {
  const auto count = [this](Verdict v) { return verdicts[static_cast<std::size_t>(v)]; };
  return count(Verdict::kNotAPacket) + count(Verdict::kOtherWindow) + count(Verdict::kBadHead) +
         count(Verdict::kUndecodable);
}

FrameAssembler::FrameAssembler(codec::Decompressor& decompressor, const Limits& limits)
    : decompressor_(decompressor), limits_(limits) {}

Verdict FrameAssembler::take(Packet& packet, Clock::time_point now) {
  thread_local std::vector<std::uint8_t> staging;
  Buffer buffer{nullptr, packet.data(), static_cast<std::uint32_t>(packet.size())};
  Placement placement{};
  Verdict verdict = examine(buffer, packet, placement);
  if (verdict == Verdict::kPlaced) verdict = admit(placement, now);
  if (verdict == Verdict::kPlaced) verdict = decode(buffer, placement, staging);
  const std::lock_guard lock(mutex_);
  if (verdict == Verdict::kPlaced) verdict = place(placement, staging);
  ++statistics_.verdicts[static_cast<std::size_t>(verdict)];
  statistics_.bytes += packet.size();
  return verdict;
}

// What the packet says of itself, by the library's inspection and against the head's own fields.
Verdict FrameAssembler::examine(Buffer& buffer, const Packet& packet, Placement& placement) const {
  if (!decompressor_.isValid(&buffer)) return Verdict::kNotAPacket;
  const auto head = readHead(packet);
  const auto cells = cellsOf(*head);
  if (!cells) return Verdict::kBadHead;
  std::uint32_t x = 0, y = 0, width = 0, height = 0;
  decompressor_.getDimensions(&buffer, &x, &y, &width, &height);
  placement.index = decompressor_.getIndex(&buffer);
  placement.cells = *cells;
  placement.mcuShape = head->mcuShape;
  placement.outputSize =
      decompressor_.getOutputSize(&buffer, Image::kBytesPerPixel, codec::kFormatRgba);
  const double coverage = decompressor_.percentCoverage(&buffer);
  if (std::abs(coverage - 100.0 * cells->count / cells->total()) > 0.001) return Verdict::kBadHead;

  const std::lock_guard lock(mutex_);
  if (!statistics_.latest || decompressor_.getWindow(&buffer) != statistics_.latest->window) {
    return Verdict::kOtherWindow;
  }
  placement.picture = pictureNumber_;
  placement.frame = nearestFrame(head->contextByte, statistics_.latest->frame);
  placement.box = boxInWindow(static_cast<int>(x), static_cast<int>(y), static_cast<int>(width),
                              static_cast<int>(height), picture_.size);
  const bool inside = intersect(placement.box, wholeImage(picture_)) == placement.box;
  return inside && placement.outputSize > 0 ? Verdict::kPlaced : Verdict::kBadHead;
}

// Whether the packet brings anything new.
Verdict FrameAssembler::admit(const Placement& placement, Clock::time_point now) {
  const std::lock_guard lock(mutex_);
  if (placement.picture != pictureNumber_) return Verdict::kLate;
  if (placement.index == 0 || placement.index > expected_ + kFarAhead) return Verdict::kBadHead;
  expectUpTo(placement.index, now);
  const auto found = rectangles_.find(placement.index);
  if (found == rectangles_.end()) return Verdict::kLate;
  Rectangle& rectangle = found->second;
  const PacketCells& cells = placement.cells;
  if (!rectangle.seen) {
    makeRoom(static_cast<std::size_t>(cells.total()));
    rectangle.seen = true;
    rectangle.box = placement.box;
    rectangle.cells = cells;
    rectangle.mcuShape = placement.mcuShape;
    rectangle.missing = cells.total();
    rectangle.got.assign(static_cast<std::size_t>(cells.total()), false);
  }
  if (rectangle.box != placement.box || rectangle.mcuShape != placement.mcuShape) {
    return Verdict::kBadHead;
  }
  rectangle.quietSince = now;
  if (rectangle.complete()) return Verdict::kDuplicate;
  const auto first = rectangle.got.begin() + cells.first;
  const bool nothingNew = std::all_of(first, first + cells.count, [](bool got) { return got; });
  return nothingNew ? Verdict::kDuplicate : Verdict::kPlaced;
}

Verdict FrameAssembler::decode(Buffer& buffer, const Placement& placement,
                               std::vector<std::uint8_t>& staging) {
  const Clock::time_point start = Clock::now();
  staging.resize(std::max<std::size_t>(staging.size(), placement.outputSize));
  const bool decoded = decompressor_.decompressTile(
      &buffer, Image::kBytesPerPixel, codec::kFormatRgba, staging.data(), placement.outputSize);
  const auto took =
      std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count();
  const std::lock_guard lock(mutex_);
  statistics_.decodeMicroseconds += static_cast<std::uint64_t>(took);
  return decoded ? Verdict::kPlaced : Verdict::kUndecodable;
}

Verdict FrameAssembler::place(const Placement& placement,
                              const std::vector<std::uint8_t>& staging) {
  if (placement.picture != pictureNumber_) return Verdict::kLate;
  const auto found = rectangles_.find(placement.index);
  if (found == rectangles_.end()) return Verdict::kLate;
  Rectangle& rectangle = found->second;
  if (rectangle.complete()) return Verdict::kDuplicate;
  const Box& box = placement.box;
  bool anyNew = false;
  parts_.clear();
  for (int i = 0; i < placement.cells.count; ++i) {
    const int mcu = placement.cells.first + i;
    if (rectangle.got[static_cast<std::size_t>(mcu)]) continue;
    rectangle.got[static_cast<std::size_t>(mcu)] = true;
    --rectangle.missing;
    anyNew = true;
    const Box cell = cellInWindow(placement.cells, mcu, box);
    if (stamps_.write(cell, placement.index, parts_)) ages_.hold(cell, placement.frame);
  }
  if (!anyNew) return Verdict::kDuplicate;  // another thread had the same packet
  if (rectangle.complete()) {
    incomplete_.erase(placement.index);
    awaitedMcus_ -= rectangle.got.size();
    std::vector<bool>().swap(rectangle.got);
  }
  for (const Box& part : parts_) copy(part, box, staging.data());
  return parts_.empty() ? Verdict::kLate : Verdict::kPlaced;
}

// The staging buffer's rows are the rectangle's, not the window's.
void FrameAssembler::copy(const Box& part, const Box& rectangle, const std::uint8_t* staging) {
  constexpr std::uint32_t kOpaque = 0xFF000000;  // as the picture's fourth bytes are
  for (int y = part.top; y < part.bottom; ++y) {
    const std::uint8_t* from = staging + (std::ptrdiff_t{y - rectangle.top} * rectangle.width() +
                                          part.left - rectangle.left) *
                                             Image::kBytesPerPixel;
    std::uint8_t* to = picture_.row(y) + std::ptrdiff_t{part.left} * Image::kBytesPerPixel;
    const auto bytes = static_cast<std::size_t>(part.width()) * Image::kBytesPerPixel;
    for (std::size_t at = 0; at < bytes; at += sizeof(std::uint32_t)) {
      std::uint32_t pixel;
      std::memcpy(&pixel, from + at, sizeof pixel);
      pixel |= kOpaque;
      std::memcpy(to + at, &pixel, sizeof pixel);
    }
  }
}

// Every index up to this one stands for a rectangle that was sent.
void FrameAssembler::expectUpTo(std::uint32_t index, Clock::time_point now) {
  while (expected_ < index) {
    Rectangle rectangle;
    rectangle.quietSince = now;
    rectangles_.emplace(++expected_, std::move(rectangle));
    incomplete_.insert(incomplete_.end(), expected_);
  }
  forgetOld();
}

void FrameAssembler::forgetOld() {
  auto open = incomplete_.begin();
  for (auto at = rectangles_.begin();
       at != rectangles_.end() && rectangles_.size() > kRemembered;) {
    const bool complete = open == incomplete_.end() || at->first != *open;
    if (!complete) ++open;
    at = complete ? rectangles_.erase(at) : std::next(at);
  }
  // Whoever announces more than anyone can repair takes no memory by it.
  while (rectangles_.size() > kMostExpected) forget(rectangles_.begin()->first);
}

void FrameAssembler::makeRoom(std::size_t mcus) {
  awaitedMcus_ += mcus;
  for (auto at = incomplete_.begin();
       at != incomplete_.end() && awaitedMcus_ > picture_.size.pixels();) {
    const std::uint32_t index = *at++;
    if (rectangles_.find(index)->second.seen) forget(index);
  }
}

void FrameAssembler::forget(std::uint32_t index) {
  const auto found = rectangles_.find(index);
  awaitedMcus_ -= found->second.got.size();
  rectangles_.erase(found);
  incomplete_.erase(index);
}

void FrameAssembler::reset(const FrameInfo& info) {
  limits_.checkSize(info.width, info.height);
  const Size window = {static_cast<int>(info.width), static_cast<int>(info.height)};
  limits_.checkMemory(window.pixels() * Image::kBytesPerPixel + StampMap::mostBytes(window) +
                      AgeMap::bytes(window) + window.pixels() / 8);  // makeRoom's bits
  ++pictureNumber_;
  picture_ = Image(window);
  for (std::size_t i = 3; i < picture_.pixels.size(); i += 4) picture_.pixels[i] = 0xFF;
  stamps_ = StampMap(window);
  ages_ = AgeMap(window);
  rectangles_.clear();
  incomplete_.clear();
  awaitedMcus_ = 0;
  expected_ = info.firstIndex - 1;
  firstNumber_ = info.frame;
  firstFrame_ = info.frame - info.dropped;
  awaited_ = 0;
  statistics_.latest = info;
}

void FrameAssembler::announce(const FrameInfo& info, Clock::time_point now) {
  if (info.width < 1 || info.height < 1 || info.width > kLargestWindow ||
      info.height > kLargestWindow || info.latestIndex + 1 < info.firstIndex) {
    return;
  }
  const std::lock_guard lock(mutex_);
  const bool another = !statistics_.latest || statistics_.latest->session != info.session;
  if (another) reset(info);
  FrameInfo& latest = *statistics_.latest;
  if (info.latestIndex < latest.latestIndex || info.frame < latest.frame) return;  // overtaken
  if (another || info.frame > latest.frame) {
    ++statistics_.announced;
    statistics_.encodeMicroseconds += info.encodeMicroseconds;
  }
  latest = info;
  statistics_.frames = std::uint32_t{info.frame - info.dropped - firstFrame_} + 1;
  statistics_.passed = std::uint64_t{info.frame - firstNumber_} + 1;
  if (info.latestIndex - std::min(info.latestIndex, expected_) <= kMostExpected) {
    expectUpTo(info.latestIndex, now);
  }
}

void FrameAssembler::supersede(const Superseded& message) {
  const std::lock_guard lock(mutex_);
  awaited_ = std::max(awaited_, message.until);
  for (const std::uint32_t index : message.indexes) {
    if (incomplete_.contains(index)) forget(index);
  }
}

void FrameAssembler::changes(const Changes& message) {
  const std::lock_guard lock(mutex_);
  if (!statistics_.latest || statistics_.latest->tile == 0) return;
  const auto tile = static_cast<std::int64_t>(statistics_.latest->tile);
  const Size window = picture_.size;
  const std::int64_t columns = (window.width + tile - 1) / tile;
  const std::int64_t rows = (window.height + tile - 1) / tile;
  for (std::size_t i = 0; i < message.frames.size(); ++i) {
    const std::int64_t at = std::int64_t{message.first} + static_cast<std::int64_t>(i);
    if (at >= columns * rows || message.frames[i] > message.frame) return;
    const std::int64_t left = at % columns * tile, top = at / columns * tile;
    const Box box = {static_cast<int>(left), static_cast<int>(top),
                     static_cast<int>(std::min<std::int64_t>(left + tile, window.width)),
                     static_cast<int>(std::min<std::int64_t>(top + tile, window.height))};
    ages_.changed(box, message.frames[i]);
  }
}

void FrameAssembler::changed(const Box& box, std::uint32_t frame) {
  const std::lock_guard lock(mutex_);
  ages_.changed(box, frame);
}

// Whether later rectangles cover all that this one lacks.
bool FrameAssembler::replacedByNewer(std::uint32_t index, const Rectangle& rectangle) const {
  for (int mcu = 0; mcu < rectangle.cells.total(); ++mcu) {
    if (rectangle.got[static_cast<std::size_t>(mcu)]) continue;
    if (!stamps_.isLater(cellInWindow(rectangle.cells, mcu, rectangle.box), index)) return false;
  }
  return true;
}

std::vector<std::uint32_t> FrameAssembler::toRepair(Clock::time_point now) {
  const std::lock_guard lock(mutex_);
  std::vector<std::uint32_t> indexes;
  if (!statistics_.latest) return indexes;
  const std::uint32_t latest = statistics_.latest->latestIndex;
  for (auto at = incomplete_.begin();
       at != incomplete_.end() && *at <= latest && indexes.size() < kMostIndexes;) {
    const std::uint32_t index = *at++;
    Rectangle& rectangle = rectangles_.find(index)->second;
    const bool quiet = now - rectangle.quietSince >= kQuiet && now - rectangle.asked >= kAskAgain;
    if (quiet && rectangle.seen && replacedByNewer(index, rectangle)) {
      forget(index);
    } else if (quiet) {
      rectangle.asked = now;
      indexes.push_back(index);
    }
  }
  return indexes;
}

AssemblerStatistics FrameAssembler::statistics() const {
  const std::lock_guard lock(mutex_);
  AssemblerStatistics result = statistics_;
  if (!result.latest) return result;
  result.coverage = ages_.currentPercent();
  const std::uint32_t latest = result.latest->latestIndex;
  const bool incomplete = !incomplete_.empty() && *incomplete_.begin() <= latest;
  result.complete = stamps_.whole() && expected_ >= latest && awaited_ <= latest && !incomplete;
  return result;
}

bool FrameAssembler::copyPicture(Image& picture, bool tint) const {
  const std::lock_guard lock(mutex_);
  if (!statistics_.latest) return false;
  picture = picture_;
  if (tint) ages_.tint(picture.pixels, statistics_.latest->frame);
  return true;
}

std::optional<Image> FrameAssembler::ageOverview(int side) const {
  const std::lock_guard lock(mutex_);
  if (!statistics_.latest) return std::nullopt;
  return ages_.overview(side, statistics_.latest->frame);
}

}  // namespace qrx::tool
