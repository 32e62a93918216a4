// How a live session is guarded: messages, envelopes, addresses, the server's door, the age map.
#include "tools/host/session.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tools/live/age_map.h"
#include "tools/live/channel.h"
#include "tools/live/relay.h"
#include "tools/live/server.h"
#include "tools/live/viewer.h"
#include "tools/scene/scene_renderer.h"
#include "tools/scene/wandering_box.h"

namespace qrx::tool {
namespace {

TEST(Control, RefusesEveryDamagedMessage) {
  FrameInfo info;
  info.width = 640;
  info.latestIndex = 0xFFFFFFFF;
  const ControlMessage messages[] = {Hello{7, 8, 9},
                                     Bye{},
                                     info,
                                     RepairRequest{{1, 2, 0x80000000}},
                                     Superseded{9, {}},
                                     Welcome{1, 1ULL << 63},
                                     Alive{5},
                                     Changes{4, 3, {2, 1}},
                                     Closing{},
                                     Report{1, 2, 3, 4, 5, 6}};
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

// What was sealed comes out as it was; a changed bit, another key, session or side do not, nor does
// the same datagram twice, in whatever order they come.
TEST(Channel, TakesOnlyWhatIsItsOwnAndNew) {
  const Key key = publicKey(), other = randomKey();
  Channel server(key, PayloadKind::kFromServer, 5), viewer(key, PayloadKind::kFromViewer, 5);
  const auto open = [&](Packet datagram, const Key& with, Channel& at) {
    EnvelopeHead head;
    const Arrival arrival = openEnvelope(with, datagram, head);
    return arrival == Arrival::kFresh ? at.admit(head) : arrival;
  };
  std::vector<Packet> sent;
  constexpr std::size_t kCount = 40000;
  sent.reserve(kCount);
  for (std::size_t i = 0; i < kCount; ++i) sent.push_back(server.seal(Alive{i}));
  Packet damaged = sent[0];
  for (std::size_t bit = 0; bit < damaged.size() * 8; ++bit) {
    damaged[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
    EXPECT_EQ(open(damaged, key, viewer), Arrival::kCorrupted) << bit;
    damaged[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
  }
  for (std::size_t n = 0; n < damaged.size(); ++n) {
    EXPECT_EQ(
        open({damaged.begin(), damaged.begin() + static_cast<std::ptrdiff_t>(n)}, key, viewer),
        Arrival::kCorrupted);
  }
  EXPECT_EQ(open(sent[0], other, viewer), Arrival::kCorrupted);
  EXPECT_EQ(open(sent[0], key, server), Arrival::kOtherSession) << "its own side's";
  Channel elsewhere(key, PayloadKind::kFromViewer, 6);
  EXPECT_EQ(open(sent[0], key, elsewhere), Arrival::kOtherSession);
  EnvelopeHead next;
  next.version = kEnvelopeVersion + 1;
  EXPECT_EQ(open(sealEnvelope(key, next, sent[0]), key, viewer), Arrival::kOtherVersion);

  // 1 to 100 without each seventh, backwards; then far ahead, by less and by more than the window.
  for (std::size_t i = 100; i-- > 0;) {
    if (i % 7 == 0) continue;
    EXPECT_EQ(open(sent[i], key, viewer), Arrival::kFresh) << i;
  }
  EXPECT_EQ(viewer.lost(), 15U);
  for (std::size_t i = 0; i < 100; ++i) {
    EXPECT_EQ(open(sent[i], key, viewer), i % 7 == 0 ? Arrival::kFresh : Arrival::kReplayed) << i;
  }
  EXPECT_EQ(viewer.lost(), 0U);
  for (const std::size_t i : {std::size_t{10000}, kCount - 1}) {
    EXPECT_EQ(open(sent[i], key, viewer), Arrival::kFresh);
    EXPECT_EQ(open(sent[i], key, viewer), Arrival::kReplayed);
  }
  EXPECT_EQ(open(sent[99], key, viewer), Arrival::kReplayed) << "nobody can tell any more";
  EXPECT_EQ(viewer.arrived(), 102U);
  EXPECT_EQ(viewer.lost(), kCount - 102);
}

TEST(Endpoint, ReadsWhatPeopleWrite) {
  struct Case {
    const char* text;
    const char* reads;  // empty: a usage error
    bool loopback;
  };
  const Case cases[] = {{"5600", "127.0.0.1:5600", true},
                        {":5600", "127.0.0.1:5600", true},
                        {"localhost:0", "127.0.0.1:0", true},
                        {"192.0.2.7:65535", "192.0.2.7:65535", false},
                        {"127.3.2.1:1", "127.3.2.1:1", true},
                        {"0.0.0.0:1", "0.0.0.0:1", false},
                        {"[::1]:5600", "[::1]:5600", true},
                        {"[::]:5600", "[::]:5600", false},
                        {"[::ffff:127.0.0.1]:2", "[::ffff:127.0.0.1]:2", true},
                        {"[2001:db8::5]:80", "[2001:db8::5]:80", false},
                        {"localhost", "", false},
                        {"localhost:", "", false},
                        {"localhost:99999", "", false},
                        {"localhost:99999999999999999999999", "", false},
                        {"localhost:-1", "", false},
                        {"::1:5600", "", false},
                        {"[localhost]:1", "", false},
                        {"[]:1", "", false}};
  for (const Case& c : cases) {
    try {
      const Endpoint endpoint = Endpoint::parse(c.text);
      EXPECT_EQ(endpoint.text(), c.reads) << c.text;
      EXPECT_EQ(endpoint.isLoopback(), c.loopback) << c.text;
    } catch (const Error& error) {
      EXPECT_STREQ(c.reads, "") << error.what();
      EXPECT_EQ(error.code(), kUsage) << error.what();
    }
  }
}

// An address that asks without bringing its session number back gets no more than it sends; what
// one session sent opens no other.
TEST(Server, GivesAStrangerNoMoreThanItSends) {
  Session session({QRX_LIBRARY_PATH, {}});
  ServerOptions options;
  options.size = {320, 200};
  options.listen = Endpoint::parse("0");
  Server server(
      session.compressor(),
      [frame = Image()](int n) mutable -> const Image& {
        static const SceneRenderer scene({320, 200});
        scene.render(n, frame);
        return frame;
      },
      options);
  std::atomic<bool> stop = false;
  ServerReport report;
  std::thread running([&] { report = server.run(stop); });
  const Key key = publicKey();
  UdpSocket socket(options.listen);
  std::size_t sent = 0, got = 0, datagrams = 0;
  const auto send = [&](const Packet& datagram) {
    sent += datagram.size();
    socket.send(server.local(), datagram);
  };
  Welcome welcome;
  const auto take = [&](int ms) {  // until so long nothing has come, or a stream has
    while (auto datagram = socket.receive(ms)) {
      got += datagram->bytes.size();
      if (++datagrams > 200) break;
      EnvelopeHead head;
      openEnvelope(key, datagram->bytes, head);
      const auto message = parseControl(datagram->bytes);
      const auto* answer = message ? std::get_if<Welcome>(&*message) : nullptr;
      if (answer != nullptr) welcome = *answer;
    }
  };
  const auto startOver = [&] { sent = got = datagrams = 0; };
  const auto hello = [&](std::uint64_t echo) {
    return sealLoose(key, PayloadKind::kFromViewer, Hello{77, 88, echo});
  };
  Channel forged(key, PayloadKind::kFromViewer, 12345);
  for (const Packet& datagram : {hello(0), hello(1), Packet(1400, 7), Packet{}, forged.seal(Bye{}),
                                 forged.seal(RepairRequest{{1, 2, 3}}), hello(0)}) {
    send(datagram);
  }
  for (int i = 0; i < 20 && datagrams < 3; ++i) take(150);
  take(150);  // no more than that
  EXPECT_EQ(datagrams, 3U);
  EXPECT_LE(got, sent);
  ASSERT_NE(welcome.session, 0U);
  EXPECT_EQ(welcome.ticket, 88U);

  startOver();
  const Packet opening = hello(welcome.session);
  send(opening);
  for (int i = 0; i < 50 && datagrams <= 20; ++i) take(60);
  EXPECT_GT(datagrams, 20U) << "the session has not begun";
  Channel channel(key, PayloadKind::kFromViewer, welcome.session);
  const Packet alive = channel.seal(Alive{1});
  for (int i = 0; i < 3; ++i) send(alive);
  send(channel.seal(Bye{}));
  do {
    startOver();
    take(300);  // what was on its way
  } while (datagrams > 0);
  send(opening);  // again: that session is over
  send(alive);
  take(100);
  EXPECT_LE(datagrams, 1U);
  EXPECT_LE(got, sent);
  stop = true;
  running.join();
  EXPECT_EQ(report.viewers, 1U);
  EXPECT_EQ(report.arrivals[Arrival::kReplayed], 3U);
  EXPECT_EQ(report.arrivals[Arrival::kCorrupted], 2U);
  EXPECT_EQ(report.arrivals[Arrival::kOtherSession], 2U);
}

// A line that loses and damages, before a socket with hardly any room: what is missing in the end
// is what the line lost, what came damaged, and what the socket had no room for.
TEST(Viewer, CountsWhatItsSocketDropped) {
  Session session({QRX_LIBRARY_PATH, {}});
  ServerOptions options;
  options.size = {640, 400};
  options.framesPerSecond = 50;
  options.listen = Endpoint::parse("0");
  WanderingBox box(options.size, 1);
  Server server(
      session.compressor(), [&](int n) -> const Image& { return box.render(n); }, options);
  Relay relay({options.listen, server.local(), {.loss = 0.05, .corrupt = 0.05, .burst = 2}});
  std::atomic<bool> stop = false, stopRelay = false;
  std::thread serving([&] { server.run(stop); });
  std::thread relaying([&] {
    while (!stopRelay) relay.step(5);
  });
  ViewerOptions viewing;
  viewing.server = relay.local();
  viewing.room = 1;  // the system makes that a datagram or two
  Viewer viewer(session.decompressor(), viewing);
  const auto enough = [&] {
    return viewer.link().dropped >= 100 && viewer.link().arrivals[Arrival::kCorrupted] > 0;
  };
  for (int i = 0; i < 400 && !enough(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(25));
  }
  viewer.leave();
  stop = true;
  serving.join();
  stopRelay = true;
  relaying.join();
  const LinkStatistics link = viewer.link();
  EXPECT_GE(link.dropped, 100U);
  EXPECT_GT(relay.toViewer().lost, 0U);
  EXPECT_GT(link.arrivals[Arrival::kCorrupted], 0U);
  EXPECT_EQ(link.sessions, 1U);
  EXPECT_EQ(link.state, ViewerState::kEnded) << "no last number came";
  EXPECT_EQ(link.lost, relay.toViewer().lost + link.arrivals[Arrival::kCorrupted] + link.dropped);
}

TEST(AgeMap, TellsHowLongACellHasBeenOutOfDate) {
  AgeMap map({20, 9});  // 3 by 2 cells, cut at the edges
  ASSERT_EQ(map.columns() * map.rows(), 6);
  const auto ages = [&](std::uint32_t now) {
    std::vector<std::uint32_t> list(6);
    for (std::size_t i = 0; i < list.size(); ++i) {
      const int cell = static_cast<int>(i);
      list[i] = map.age(cell % 3, cell / 3, now);
    }
    return list;
  };
  using List = std::vector<std::uint32_t>;
  constexpr std::uint32_t kNone = AgeMap::kNever;
  EXPECT_EQ(ages(0), List(6, kNone));
  map.hold({0, 0, 20, 8}, 3);  // the upper row; the right cell ends with the window
  map.hold({0, 8, 7, 9}, 3);   // not a whole cell
  EXPECT_EQ(ages(3), (List{0, 0, 0, kNone, kNone, kNone}));
  EXPECT_EQ(map.currentPercent(), 50);
  map.changed({0, 0, 9, 1}, 5);
  EXPECT_EQ(ages(9), (List{5, 5, 0, kNone, kNone, kNone}));
  map.changed({0, 0, 9, 1}, 8);  // out of date since 5 all the same
  map.hold({0, 0, 8, 8}, 6);     // caught up a little: that one since 7
  map.hold({8, 0, 16, 8}, 8);
  EXPECT_EQ(ages(9), (List{3, 0, 0, kNone, kNone, kNone}));
  map.hold({0, 0, 8, 8}, 2);  // late, and changes nothing
  map.hold({0, 0, 20, 9}, 9);
  EXPECT_EQ(ages(9), List(6, 0));
  EXPECT_EQ(map.currentPercent(), 100);
}

}  // namespace
}  // namespace qrx::tool
