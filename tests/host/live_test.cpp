// The live pair's logic without sockets: the bad network, repair, the window, and a long soak.
#include <SDL.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <cstring>
#include <map>
#include <random>

#include "tests/support/process.h"
#include "tools/host/session.h"
#include "tools/image/image_io.h"
#include "tools/live/bad_network.h"
#include "tools/live/channel.h"
#include "tools/live/frame_assembler.h"
#include "tools/live/rectangle_encoder.h"
#include "tools/live/viewer_window.h"
#include "tools/live/window_sender.h"
#include "tools/scene/scene_renderer.h"
#include "tools/support/files.h"

namespace qrx::tool {
namespace {

constexpr std::uint64_t kDatagrams = test::kSanitized ? 10000 : 200000;
constexpr std::uint8_t kFill = 0xA5;
constexpr Size kRectangle = {250, 131};  // no whole number of MCUs

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
      : sender_(session_.compressor(), size, {.tile = 64}),
        assembler_(session_.decompressor()),
        toViewer_(options),
        toServer_(options) {
    sender_.restart(1);
    assembler_.announce(sender_.latest(), now_);
  }

  // Sends a frame; every datagram may suffer.
  void send(const Image& frame, std::uint32_t number, bool repair = true) {
    std::vector<Packet> packets, arriving;
    const FrameInfo info = sender_.send(frame, number, {}, [&](std::vector<Packet> some, double) {
      for (Packet& packet : some) packets.push_back(std::move(packet));
    });
    for (Packet& packet : packets) toViewer_.push(server_.sealPacket(packet), arriving);
    for (const Changes& changes : sender_.changes()) push(changes, arriving);
    push(info, arriving);
    take(arriving);
    now_ += std::chrono::milliseconds(40);
    const std::vector<std::uint32_t> indexes = assembler_.toRepair(now_);
    if (!indexes.empty() && repair) ask(RepairRequest{indexes});
  }

  // What is held back comes, and the last messages, which nothing harms: whoever has not heard of a
  // change cannot know that something is out of date.
  void close() {
    std::vector<Packet> arriving;
    toViewer_.flush(arriving);
    for (const Changes& changes : sender_.changes()) arriving.push_back(server_.seal(changes));
    arriving.push_back(server_.seal(sender_.latest()));
    arriving.push_back(server_.seal(Closing{}));
    take(arriving);
  }

  const FrameAssembler& assembler() const { return assembler_; }
  const BadNetworkCounts& network() const { return toViewer_.counts(); }
  const Channel& viewer() const { return viewer_; }
  const ArrivalCounts& arrivals() const { return arrivals_; }
  AssemblerStatistics statistics() const { return assembler_.statistics(); }
  bool complete() const { return statistics().complete; }
  Image picture(bool tint = false) const {
    Image picture;
    assembler_.copyPicture(picture, tint);
    return picture;
  }

 private:
  void push(const ControlMessage& message, std::vector<Packet>& arriving) {
    toViewer_.push(server_.seal(message), arriving);
  }

  void take(std::vector<Packet>& datagrams) {
    for (Packet& datagram : datagrams) {
      EnvelopeHead head;
      Arrival arrival = openEnvelope(key_, datagram, head);
      if (arrival == Arrival::kFresh) arrival = viewer_.admit(head);
      ++arrivals_[arrival];
      if (arrival != Arrival::kFresh) continue;
      if (head.kind == PayloadKind::kPacket) {
        assembler_.take(datagram, now_);
        continue;
      }
      const auto message = parseControl(datagram);
      ASSERT_TRUE(message);
      if (const auto* info = std::get_if<FrameInfo>(&*message)) assembler_.announce(*info, now_);
      if (const auto* list = std::get_if<Superseded>(&*message)) assembler_.supersede(*list);
      if (const auto* changes = std::get_if<Changes>(&*message)) assembler_.changes(*changes);
    }
  }

  void ask(const RepairRequest& request) {
    std::vector<Packet> requests, answers;
    toServer_.push(serialise(request), requests);
    for (const Packet& datagram : requests) {
      const auto message = parseControl(datagram);
      if (!message) continue;
      push(sender_.repair(std::get<RepairRequest>(*message)), answers);
    }
    take(answers);
  }

  Session session_{{QRX_LIBRARY_PATH, {}}};
  WindowSender sender_;
  FrameAssembler assembler_;
  BadNetwork toViewer_, toServer_;
  const Key key_ = publicKey();
  Channel server_{key_, PayloadKind::kFromServer, 1}, viewer_{key_, PayloadKind::kFromViewer, 1};
  ArrivalCounts arrivals_;
  FrameAssembler::Clock::time_point now_ = FrameAssembler::Clock::now();
};

// Whatever the network does: nothing corrupted is shown, every datagram is accounted for, and what
// is not told to be out of date is right.
TEST(Live, WhatIsCalledUpToDateIsRight) {
  const Size size{400, 300};
  const SceneRenderer scene(size);
  for (const double loss : {0.01, 0.05, 0.2}) {
    for (const double corrupt : {0.0, 0.3}) {
      Link clean(size, {});
      Link bad(size, {.loss = loss,
                      .reorder = 0.1,
                      .duplicate = 0.05,
                      .corrupt = corrupt,
                      .burst = 3,
                      .seed = 9});
      for (std::uint32_t n = 0; n < 25; ++n) {
        const Image frame = scene.render(static_cast<int>(n));
        clean.send(frame, n);
        bad.send(frame, n, n < 15);
      }
      bad.close();
      const std::string name = std::to_string(loss) + " " + std::to_string(corrupt);
      EXPECT_EQ(bad.viewer().lost(), bad.network().lost + bad.network().corrupted) << name;
      EXPECT_GE(bad.arrivals()[Arrival::kCorrupted], bad.network().corrupted) << name;
      EXPECT_GT(bad.arrivals()[Arrival::kReplayed], 0U) << name;
      EXPECT_EQ(bad.statistics().refused(), 0U) << name;
      if (loss + corrupt > 0.04) {
        EXPECT_LT(bad.statistics().coverage, 100) << name;
      }
      EXPECT_EQ(clean.statistics().coverage, 100);
      for (const Verdict other : {Verdict::kDuplicate, Verdict::kLate}) {
        EXPECT_EQ(clean.statistics().verdicts[static_cast<std::size_t>(other)], 0U);
      }
      const Image right = clean.picture(), plain = bad.picture(), tinted = bad.picture(true);
      std::size_t current = 0;
      for (std::size_t i = 0; i < plain.pixels.size(); i += 4) {
        if (std::memcmp(&plain.pixels[i], &tinted.pixels[i], 3) != 0) continue;
        ++current;
        ASSERT_EQ(std::memcmp(&plain.pixels[i], &right.pixels[i], 3), 0) << name << ", byte " << i;
      }
      // Cells at the edges are smaller, so that the shares differ a little.
      EXPECT_NEAR(400.0 * static_cast<double>(current) / static_cast<double>(plain.pixels.size()),
                  bad.statistics().coverage, 1)
          << name;
    }
  }
}

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

// Rectangles that lack packets are asked for, until later ones lie over all that is missing.
TEST(Live, AsksForNothingThatIsCoveredMeanwhile) {
  Session session{{QRX_LIBRARY_PATH, {}}};
  const Size size{192, 128};
  WindowSender sender(session.compressor(), size, {.tile = 64});
  FrameAssembler assembler(session.decompressor());
  auto now = FrameAssembler::Clock::now();
  sender.restart(1);
  Image frame(size);
  std::minstd_rand noise(1);
  for (std::uint32_t number = 0; number < 2; ++number) {
    for (std::uint8_t& byte : frame.pixels) byte = static_cast<std::uint8_t>(noise() >> 8);
    assembler.announce(sender.latest(), now);
    const FrameInfo info = sender.send(frame, number, {}, [&](std::vector<Packet> packets, double) {
      for (Packet& packet : packets) {
        if (number == 0 && readHead(packet)->index < 0) continue;  // the last of its rectangle
        EXPECT_EQ(assembler.take(packet, now), Verdict::kPlaced);
      }
    });
    assembler.announce(info, now);
    now += std::chrono::seconds(1);
    if (number == 0) {
      EXPECT_EQ(assembler.toRepair(now).size(), info.latestIndex);
      now += std::chrono::seconds(1);
    }
  }
  EXPECT_EQ(assembler.toRepair(now).size(), 0U);
  EXPECT_TRUE(assembler.statistics().complete);
}

// Rectangles as large as the window, of each of which one packet comes: what is missing is held by
// MCU, and only so much of it.
TEST(Live, HoldsABoundedNumberOfHoles) {
  Session session{{QRX_LIBRARY_PATH, {}}};
  const Size size{256, 256};
  Image frame(size);
  std::minstd_rand noise(1);
  for (std::uint8_t& byte : frame.pixels) byte = static_cast<std::uint8_t>(noise() >> 8);
  const RectangleJob job{};
  const EncodedRectangle whole =
      encodeRectangle(session.compressor(), frame, {0, 0, size.width, size.height}, job);
  ASSERT_GT(whole.packets.size(), 2U);
  const auto mcus = static_cast<std::size_t>(cellsOf(*readHead(whole.packets.front()))->total());
  const std::size_t most = size.pixels() / mcus;  // rectangles
  FrameAssembler assembler(session.decompressor());
  auto now = FrameAssembler::Clock::now();
  FrameInfo info;
  info.session = 1;
  info.window = job.window;
  info.width = info.height = 256;
  info.firstIndex = 1;
  assembler.announce(info, now);
  const auto take = [&](std::size_t packet, std::uint32_t index) {
    Packet copy = whole.packets[packet];
    udp_header head = *readHead(copy);
    head.index = static_cast<int>(index);
    std::memcpy(copy.data(), &head, sizeof head);
    return assembler.take(copy, now);
  };
  const auto sent = static_cast<std::uint32_t>(2 * most);
  for (std::uint32_t index = 1; index <= sent; ++index) {
    // The second packets alone, so that later ones cover nothing of the rest.
    ASSERT_EQ(take(1, index), Verdict::kPlaced);
  }
  info.latestIndex = sent;
  assembler.announce(info, now);
  EXPECT_EQ(take(1, 1), Verdict::kLate) << "forgotten";
  EXPECT_EQ(take(1, sent), Verdict::kDuplicate);
  std::size_t asked = 0;
  for (int i = 0; i < 3; ++i) {
    now += std::chrono::milliseconds(50);  // those asked for do not come up again at once
    asked += assembler.toRepair(now).size();
  }
  EXPECT_EQ(asked, most);
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
  for (const SDL_Keycode key :
       {SDLK_o, SDLK_o, SDLK_t, SDLK_t, SDLK_p, SDLK_SPACE, SDLK_s, SDLK_h, SDLK_f, SDLK_q}) {
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
