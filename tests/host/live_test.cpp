// The live pair's logic without sockets: messages, the bad network, repair, and a long soak.
#include <SDL.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <map>

#include "tests/support/process.h"
#include "tools/host/session.h"
#include "tools/image/image_io.h"
#include "tools/live/bad_network.h"
#include "tools/live/control.h"
#include "tools/live/frame_assembler.h"
#include "tools/live/viewer_window.h"
#include "tools/live/window_sender.h"
#include "tools/scene/scene_renderer.h"
#include "tools/support/files.h"

namespace qrx::tool {
namespace {

constexpr std::uint64_t kDatagrams = test::kSanitized ? 10000 : 200000;
constexpr std::uint8_t kFill = 0xA5;
constexpr Size kRectangle = {250, 131};  // no whole number of MCUs

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
  const BadNetworkOptions options{
      .loss = 0.05, .reorder = 0.1, .duplicate = 0.01, .corrupt = 0.02, .burst = 8, .seed = 42};
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
    if (message) arrived[std::get<Hello>(*message).viewer] = true;
    damaged += message ? 0 : 1;
  }
  EXPECT_GE(damaged, counts.corrupted);
  std::uint64_t bursts = 0;
  for (std::size_t i = 1; i < kCount; ++i) bursts += arrived[i - 1] && !arrived[i];
  // Damaged ones are gaps too, of length one.
  EXPECT_NEAR(static_cast<double>(counts.lost) / static_cast<double>(bursts - counts.corrupted), 8,
              1);
}

// A sender and an assembler with a bad network between them, in simulated time.
class Link {
 public:
  Link(Size size, const BadNetworkOptions& options)
      : sender_(session_.compressor(), size, {}),
        assembler_(session_.decompressor()),
        network_(options) {
    sender_.restart(1);
    assembler_.announce(sender_.latest(), now_);
  }

  // Sends a frame; every packet may suffer, and so may the announcement.
  void send(const Image& frame, std::uint32_t number) {
    std::vector<Packet> packets, arriving;
    const FrameInfo info = sender_.send(frame, number, packets);
    for (Packet& packet : packets) network_.push(std::move(packet), arriving);
    network_.push(serialise(info), arriving);
    deliver(arriving);
    now_ += std::chrono::milliseconds(40);
    const std::vector<std::uint32_t> indexes = assembler_.toRepair(now_);
    std::vector<Packet> requests;
    if (!indexes.empty()) network_.push(serialise(RepairRequest{indexes}), requests);
    deliver(requests);
  }

  const FrameAssembler& assembler() const { return assembler_; }
  bool complete() const { return assembler_.statistics().complete; }
  Image picture() const {
    Image picture;
    assembler_.copyPicture(picture, false);
    return picture;
  }

 private:
  // To either side, by what a datagram is.
  void deliver(std::vector<Packet>& datagrams) {
    for (Packet& datagram : datagrams) {
      const auto message = parseControl(datagram);
      if (!message) {
        assembler_.take(datagram, now_);
      } else if (const auto* info = std::get_if<FrameInfo>(&*message)) {
        assembler_.announce(*info, now_);
      } else if (const auto* list = std::get_if<Superseded>(&*message)) {
        assembler_.supersede(*list);
      } else if (const auto* request = std::get_if<RepairRequest>(&*message)) {
        std::vector<Packet> arriving;
        network_.push(serialise(sender_.repair(*request)), arriving);
        deliver(arriving);
      }
    }
  }

  Session session_{{QRX_LIBRARY_PATH, {}}};
  WindowSender sender_;
  FrameAssembler assembler_;
  BadNetwork network_;
  FrameAssembler::Clock::time_point now_ = FrameAssembler::Clock::now();
};

TEST(Live, RepairedPictureEqualsTheLossFreeOne) {
  const Size size{600, 410};
  const SceneRenderer scene(size);
  constexpr std::uint32_t kFrames = 12;
  BadNetworkOptions bad{.loss = 0.2, .reorder = 0.2, .duplicate = 0.05, .burst = 4};
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

// On a screen that is not there. Pausing twice goes on; the overlay is not saved.
TEST(Window, TakesItsKeys) {
  setenv("SDL_VIDEODRIVER", "dummy", 1);
  const Size size{320, 200};
  Link link(size, {});
  link.send(SceneRenderer(size).render(0), 7);
  WindowOptions options;
  options.saveFolder = testing::TempDir();
  std::atomic<bool> stop = false;
  SDL_Init(SDL_INIT_EVENTS);
  for (const SDL_Keycode key : {SDLK_o, SDLK_o, SDLK_t, SDLK_p, SDLK_SPACE, SDLK_s, SDLK_q}) {
    SDL_Event event = {};
    event.type = SDL_KEYDOWN;
    event.key.keysym.sym = key;
    ASSERT_EQ(SDL_PushEvent(&event), 1);
  }
  showWindow(link.assembler(), options, stop);
  EXPECT_EQ(decodePng(readFile(options.saveFolder + "/view00007.png")).pixels,
            link.picture().pixels);
  stop = true;
  showWindow(link.assembler(), options, stop);
}

// Visits every byte of the packet's own pixels that lies within `size` bytes.
template <typename Visit>
void forOwnBytes(const Packet& packet, std::size_t size, Visit visit) {
  const auto head = readHead(packet);
  const auto cells = head ? cellsOf(*head) : std::nullopt;
  if (!cells) return;
  const Size rectangle = {head->frameWidth, head->frameHeight};
  for (int mcu = cells->first; mcu < cells->first + cells->count; ++mcu) {
    const Box box = cells->cell(mcu, rectangle);
    for (int y = box.top; y < box.bottom; ++y) {
      for (int x = box.left; x < box.right; ++x) {
        const auto at = static_cast<std::size_t>(y * rectangle.width + x) * 4;
        for (std::size_t c = 0; c < 3 && at + c < size; ++c) visit(at + c);
      }
    }
  }
}

// Packets over a bad network for a long time: every clean packet that arrives brings its own
// pixels, a damaged one changes no more than the cells that its own head claims, memory stays flat.
TEST(Soak, PacketsOverABadNetwork) {
  Session session({QRX_LIBRARY_PATH, {}});
  const Image picture = SceneRenderer(kRectangle).render(3);
  std::vector<Packet> packets;
  const auto keep = [](std::uint8_t* data, std::uint32_t size, void* list) {
    qrxMarkPacket(data);
    static_cast<std::vector<Packet>*>(list)->emplace_back(data, data + size);
  };
  ASSERT_TRUE(session.compressor().compress(picture.pixels.data(), 4, 1, 1, 0, 0, 250, 131, 0, 0,
                                            90, keep, &packets));
  ASSERT_GT(packets.size(), 10u);

  const std::size_t bytes = Image::byteCount(kRectangle);
  using Frame = std::vector<std::uint8_t>;
  const Frame blank(bytes + 4096, kFill);  // with guard bytes behind it
  const auto take = [&](Packet packet, Frame& frame) {
    const Buffer buffer = {nullptr, packet.data(), static_cast<std::uint32_t>(packet.size())};
    codec::Decompressor& decompressor = session.decompressor();
    return decompressor.isValid(&buffer) &&
           decompressor.decompressTile(&buffer, 4, 6408, frame.data(),
                                       static_cast<std::uint32_t>(bytes));
  };
  std::map<std::string, Frame> expected;  // what each packet brings, decoded alone
  const auto key = [](const Packet& packet) { return std::string(packet.begin(), packet.end()); };
  for (const Packet& packet : packets) {
    ASSERT_TRUE(take(packet, expected.try_emplace(key(packet), blank).first->second));
  }

  BadNetwork network({.loss = 0.1, .reorder = 0.1, .duplicate = 0.01, .corrupt = 0.01, .seed = 11});
  Frame frame = blank, before = blank;
  std::uint64_t clean = 0, damaged = 0;
  std::size_t memoryAtStart = 0;
  while (network.counts().taken < kDatagrams) {
    for (const Packet& packet : packets) {
      std::vector<Packet> arriving;
      network.push(packet, arriving);
      for (const Packet& arrived : arriving) {
        const auto known = expected.find(key(arrived));
        if (known == expected.end()) {
          before = frame;
          if (take(arrived, frame)) {
            forOwnBytes(arrived, bytes, [&](std::size_t at) { before[at] = frame[at]; });
          }
          ASSERT_TRUE(before == frame) << "a damaged packet touched what is not its own";
          ++damaged;
          continue;
        }
        ASSERT_TRUE(take(arrived, frame));
        bool right = true;
        forOwnBytes(arrived, bytes,
                    [&](std::size_t at) { right &= frame[at] == known->second[at]; });
        ASSERT_TRUE(right) << "a clean packet's pixels are wrong";
        ++clean;
      }
    }
    if (memoryAtStart == 0) memoryAtStart = mallinfo2().uordblks;
  }
  EXPECT_LT(mallinfo2().uordblks, memoryAtStart + 65536) << "memory grows";
  EXPECT_GT(clean, kDatagrams * 85 / 100);
  EXPECT_GT(damaged, kDatagrams / 200);
  // The fourth byte of every pixel and the guards are as they were.
  for (std::size_t at = 0; at < frame.size(); ++at) {
    ASSERT_TRUE(frame[at] == kFill || (at < bytes && at % 4 != 3)) << at;
  }
}

}  // namespace
}  // namespace qrx::tool
