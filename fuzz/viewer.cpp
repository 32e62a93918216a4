// What comes to a viewer from the network, in any order: announcements, packets, lists of what was
// replaced, sound and damaged, in a window that the input chooses. The picture changes by packets
// that were placed and by a new session alone, and nothing is asked for that nobody announced.
#include "fuzz/packets.h"
#include "tools/live/frame_assembler.h"

namespace {

using namespace qrx::tool;
using fuzz::Input;
using fuzz::require;

constexpr std::uint32_t kWindow = 77;

class Viewer {
 public:
  explicit Viewer(Input& input) : input_(input), assembler_(*decompressor()) {
    for (int i = 0; i < 2; ++i) {
      for (fuzz::Bytes& packet : fuzz::anyRectangle(input, 60).packets) packets_.push_back(packet);
    }
    info_.session = 1;
    info_.window = kWindow;
    info_.width = static_cast<std::uint32_t>(input.sizeUpTo(200));
    info_.height = static_cast<std::uint32_t>(input.sizeUpTo(200));
  }

  void step() {
    constexpr void (Viewer::*kKinds[])() = {&Viewer::announce, &Viewer::supersede, &Viewer::any,
                                            &Viewer::packet,   &Viewer::packet,    &Viewer::packet};
    Image before, after;
    const bool stood = assembler_.copyPicture(before, false);
    isFree_ = false;
    (this->*kKinds[input_.below(6)])();
    require(assembler_.copyPicture(after, false) || !stood);
    for (std::size_t i = 3; i < after.pixels.size(); i += 4) require(after.pixels[i] == 0xFF);
    require(!stood || isFree_ || (after.size == before.size && after.pixels == before.pixels));
    ask();
  }

 private:
  void take(const ControlMessage& message) {
    const auto arrived = parseControl(serialise(message));
    if (!arrived) return;
    const auto before = assembler_.statistics().latest;
    if (const auto* info = std::get_if<FrameInfo>(&*arrived)) {
      if (std::uint64_t{info->width} * info->height > fuzz::kMaxPixels) return;
      assembler_.announce(*info, now_);
      isFree_ = !before || before->session != info->session;
    } else if (const auto* list = std::get_if<Superseded>(&*arrived)) {
      assembler_.supersede(*list);
    }
  }

  void announce() {
    if (input_.oneIn(8)) ++info_.session;
    if (input_.oneIn(8)) info_.window = input_.value<std::uint32_t>();
    if (input_.oneIn(4)) info_.width = static_cast<std::uint32_t>(input_.sizeUpTo(300));
    info_.frame += static_cast<std::uint32_t>(input_.below(3));
    info_.firstIndex = input_.oneIn(8) ? input_.value<std::uint32_t>() : 1;
    info_.latestIndex += static_cast<std::uint32_t>(input_.below(input_.oneIn(8) ? 3000 : 3));
    take(info_);
    info_.window = kWindow;
  }

  void supersede() {
    Superseded list;
    if (input_.oneIn(2)) list.until = static_cast<std::uint32_t>(input_.below(20));
    for (int i = input_.below(5); i > 0; --i) {
      list.indexes.push_back(static_cast<std::uint32_t>(input_.below(12)));
    }
    take(list);
  }

  // A message of any bytes.
  void any() {
    const auto arrived = parseControl(input_.rest());
    if (arrived) take(*arrived);
  }

  void packet() {
    Packet packet =
        packets_[static_cast<std::size_t>(input_.below(static_cast<int>(packets_.size())))];
    udp_header head = fuzz::headOf(packet);
    // A sender's place and number, more often than not.
    const int left = input_.below(200) - 20, bottom = input_.below(200) - 20;
    head.x = static_cast<std::int16_t>(head.x - head.frameX + left);
    head.y = static_cast<std::int16_t>(head.y - head.frameY + bottom);
    head.frameX = static_cast<std::int16_t>(left);
    head.frameY = static_cast<std::int16_t>(bottom);
    head.window = kWindow;
    head.index = input_.below(12);
    std::memcpy(packet.data(), &head, sizeof head);
    for (int i = input_.oneIn(3) ? input_.below(4) : 0; i > 0; --i) {
      packet[static_cast<std::size_t>(input_.below(static_cast<int>(packet.size())))] ^=
          static_cast<std::uint8_t>(1 << input_.below(8));
    }
    const std::uint64_t arrived = assembler_.statistics().arrived();
    isFree_ = assembler_.take(packet, now_) == Verdict::kPlaced;
    require(assembler_.statistics().arrived() == arrived + 1);
  }

  void ask() {
    now_ += std::chrono::milliseconds(input_.below(100));
    const std::vector<std::uint32_t> wanted = assembler_.toRepair(now_);
    const AssemblerStatistics statistics = assembler_.statistics();
    require(wanted.size() <= kMostIndexes);
    for (const std::uint32_t index : wanted) require(index <= statistics.latest->latestIndex);
    require(statistics.coverage >= 0 && statistics.coverage <= 100);
    require(!statistics.complete || statistics.coverage == 100);
  }

  Input& input_;
  FrameAssembler assembler_;
  std::vector<Packet> packets_;
  FrameInfo info_;
  FrameAssembler::Clock::time_point now_{std::chrono::seconds(1)};
  bool isFree_ = false;  // the picture may change
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  Viewer viewer(input);
  for (int i = 2 + input.below(16); i > 0; --i) viewer.step();
  return 0;
}
