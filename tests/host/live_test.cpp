// The live pair's logic without sockets: geometry, the bad network, messages, repair.
#include <gtest/gtest.h>

#include "tools/host/session.h"
#include "tools/live/bad_network.h"
#include "tools/live/control.h"
#include "tools/live/frame_assembler.h"
#include "tools/live/rectangle_encoder.h"
#include "tools/live/window_sender.h"
#include "tools/scene/scene_renderer.h"

namespace qrx::tool {
namespace {

using Clock = FrameAssembler::Clock;
using std::chrono::milliseconds;

Session& session() {
  static Session* instance = new Session({QRX_LIBRARY_PATH, {}});
  return *instance;
}

TEST(Control, RefusesEveryDamagedMessage) {
  FrameInfo info;
  info.width = 640;
  info.latestIndex = 0xFFFFFFFF;
  const ControlMessage messages[] = {Hello{7}, Bye{}, info, RepairRequest{{1, 2, 0x80000000}},
                                     Superseded{9, {}}};
  for (const ControlMessage& message : messages) {
    Packet data = serialise(message);
    const auto parsed = parseControl(data);
    ASSERT_TRUE(parsed);
    EXPECT_EQ(serialise(*parsed), data);
    for (std::size_t bit = 0; bit < data.size() * 8; ++bit) {
      data[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
      EXPECT_FALSE(parseControl(data)) << bit;
      data[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
    }
    for (std::size_t n = 0; n < data.size(); ++n)
      EXPECT_FALSE(parseControl(std::span(data).first(n)));
  }
}

TEST(BadNetwork, TreatsTheSharesAskedFor) {
  BadNetworkOptions options;
  options.loss = 0.05;
  options.burst = 8;
  options.reorder = 0.1;
  options.duplicate = 0.01;
  options.corrupt = 0.02;
  options.seed = 42;
  BadNetwork network(options), twin(options);
  constexpr std::uint32_t kCount = 200000;
  std::vector<Packet> out, twinOut;
  for (std::uint32_t i = 0; i < kCount; ++i) {
    Packet datagram = serialise(Hello{i});
    network.push(datagram, out);
    twin.push(std::move(datagram), twinOut);
  }
  network.flush(out);
  twin.flush(twinOut);
  EXPECT_EQ(out, twinOut);
  const BadNetworkCounts& counts = network.counts();
  EXPECT_EQ(out.size(), counts.taken - counts.lost + counts.duplicated);
  EXPECT_NEAR(static_cast<double>(counts.lost) / kCount, 0.05, 0.005);
  const double arriving = static_cast<double>(counts.taken - counts.lost);
  EXPECT_NEAR(static_cast<double>(counts.reordered) / arriving, 0.1, 0.005);
  EXPECT_NEAR(static_cast<double>(counts.duplicated) / arriving, 0.01, 0.002);
  EXPECT_NEAR(static_cast<double>(counts.corrupted) / arriving, 0.02, 0.002);

  // Gaps in what arrived tell the bursts.
  std::vector<bool> arrived(kCount, false);
  std::uint64_t damaged = 0;
  for (const Packet& datagram : out) {
    const auto message = parseControl(datagram);
    if (message) {
      arrived[std::get<Hello>(*message).viewer] = true;
    } else {
      ++damaged;
    }
  }
  EXPECT_GE(damaged, counts.corrupted);
  std::uint64_t bursts = 0;
  for (std::size_t i = 1; i < kCount; ++i) bursts += arrived[i - 1] && !arrived[i];
  // Damaged ones are gaps too, of length one.
  EXPECT_NEAR(static_cast<double>(counts.lost) / static_cast<double>(bursts - counts.corrupted), 8,
              1);
}

// Gives nothing above a quality, as the library does when its buffer is full.
class ShortCompressor : public codec::Compressor {
 public:
  void getAttributes(const char***, const char***, std::uint32_t*) override {}
  bool compress(const std::uint8_t*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t,
                std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t,
                codec::CompressCallback, void*) override {
    return false;
  }
  bool compress(const std::uint8_t* image, std::uint32_t channels, std::uint32_t window,
                std::uint32_t index, std::uint32_t x, std::uint32_t y, std::uint32_t width,
                std::uint32_t height, std::uint32_t a, std::uint32_t b, std::uint32_t quality,
                codec::CompressCallback callback, void* userData) override {
    if (quality <= 60) {
      return session().compressor().compress(image, channels, window, index, x, y, width, height, a,
                                             b, quality, callback, userData);
    }
    return true;
  }
};

TEST(RectangleEncoder, FallsBackToALowerQuality) {
  const Image frame = SceneRenderer({64, 64}).render(0);
  ShortCompressor compressor;
  const EncodedRectangle rectangle =
      encodeRectangle(compressor, frame, wholeImage(frame), {1, 1, 97, 0});
  EXPECT_TRUE(rectangle.complete);
  EXPECT_EQ(rectangle.quality, 54u);  // 97, 72, 54
  ASSERT_FALSE(rectangle.packets.empty());
  EXPECT_LT(readHead(rectangle.packets.back())->index, 0);
}

// A sender and an assembler with a bad network between them, in simulated time.
class Link {
 public:
  Link(Size size, const BadNetworkOptions& options)
      : sender_(session().compressor(), size, {}),
        assembler_(session().decompressor()),
        network_(options) {
    sender_.restart(1);
    assembler_.announce(sender_.latest(), now_);
  }

  // Sends a frame; every packet may suffer, and so may the announcement.
  void send(const Image& frame, std::uint32_t number) {
    std::vector<Packet> packets, arriving;
    info_ = sender_.send(frame, number, packets);
    for (Packet& packet : packets) network_.push(std::move(packet), arriving);
    network_.push(serialise(info_), arriving);
    deliver(arriving);
    now_ += milliseconds(40);
    const std::vector<std::uint32_t> indexes = assembler_.toRepair(now_);
    if (indexes.empty()) return;
    std::vector<Packet> requests;
    network_.push(serialise(RepairRequest{indexes}), requests);
    for (const Packet& datagram : requests) {
      if (const auto request = parseControl(datagram)) answer(*request);
    }
  }

  bool complete() const { return assembler_.statistics().complete; }
  FrameAssembler& assembler() { return assembler_; }
  Clock::time_point now() const { return now_; }

  Image picture() const {
    Image picture;
    assembler_.copyPicture(picture, false);
    return picture;
  }

 private:
  void answer(const ControlMessage& message) {
    const auto* request = std::get_if<RepairRequest>(&message);
    if (request == nullptr) return;
    std::vector<Packet> arriving;
    network_.push(serialise(sender_.repair(*request)), arriving);
    deliver(arriving);
  }

  void deliver(std::vector<Packet>& datagrams) {
    for (Packet& datagram : datagrams) {
      const auto message = parseControl(datagram);
      if (!message) {
        assembler_.take(datagram, now_);
      } else if (const auto* info = std::get_if<FrameInfo>(&*message)) {
        assembler_.announce(*info, now_);
      } else if (const auto* list = std::get_if<Superseded>(&*message)) {
        assembler_.supersede(*list);
      } else {
        answer(*message);  // held back on its way to the sender
      }
    }
  }

  WindowSender sender_;
  FrameAssembler assembler_;
  BadNetwork network_;
  FrameInfo info_;
  Clock::time_point now_ = Clock::now();
};

TEST(Live, RepairedPictureEqualsTheLossFreeOne) {
  const Size size{600, 410};
  const SceneRenderer scene(size);
  constexpr std::uint32_t kFrames = 12;
  BadNetworkOptions bad;
  bad.loss = 0.2;
  bad.burst = 4;
  bad.reorder = 0.2;
  bad.duplicate = 0.05;
  for (std::uint64_t seed = 1; seed <= 4; ++seed) {
    bad.seed = seed;
    Link clean(size, {}), lossy(size, bad);
    for (std::uint32_t n = 0; n < kFrames; ++n) {
      const Image frame = scene.render(static_cast<int>(n));
      clean.send(frame, n);
      lossy.send(frame, n);
    }
    EXPECT_TRUE(clean.complete());
    const Image last = scene.render(kFrames - 1);
    int rounds = 0;
    while (!lossy.complete() && ++rounds < 200) lossy.send(last, kFrames - 1);
    EXPECT_TRUE(lossy.complete()) << "seed " << seed;
    EXPECT_EQ(lossy.picture().pixels, clean.picture().pixels) << "seed " << seed;
  }
}

TEST(Live, OlderRectanglesDoNotOverwriteNewerOnes) {
  const Size size{64, 48};
  Image dark(size, 40), bright(size, 220);
  const auto encode = [](const Image& image, std::uint32_t index) {
    return encodeRectangle(session().compressor(), image, wholeImage(image), {1, index, 90, 0})
        .packets;
  };
  std::vector<Packet> older = encode(dark, 1), newer = encode(bright, 2);
  FrameAssembler assembler(session().decompressor());
  FrameInfo info;
  info.window = 1;
  info.width = 64;
  info.height = 48;
  const Clock::time_point now = Clock::now();
  EXPECT_EQ(assembler.take(older[0], now), Verdict::kOtherWindow);  // before any announcement
  assembler.announce(info, now);
  for (Packet& packet : newer) EXPECT_EQ(assembler.take(packet, now), Verdict::kPlaced);
  for (Packet& packet : older) EXPECT_EQ(assembler.take(packet, now), Verdict::kLate);
  for (Packet& packet : newer) EXPECT_EQ(assembler.take(packet, now), Verdict::kDuplicate);
  Image picture;
  ASSERT_TRUE(assembler.copyPicture(picture, true));
  EXPECT_NEAR(picture.pixels[0], 220, 2);
  EXPECT_EQ(picture.pixels[3], 255);
}

}  // namespace
}  // namespace qrx::tool
