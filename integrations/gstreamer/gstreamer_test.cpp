// The elements as a pipeline drives them.
#include <gst/check/gstharness.h>
#include <gst/video/video.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "integrations/gstreamer/frame_receiver.h"
#include "integrations/gstreamer/frame_sender.h"
#include "qrx/qrx.hpp"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int kWidth = 400, kHeight = 300;

// Flat patches and a gradient, shifted by `phase`.
Bytes frame(std::size_t pixelSize, int phase) {
  Bytes pixels(pixelSize * kWidth * kHeight, 255);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      std::uint8_t* p =
          &pixels[pixelSize * (static_cast<std::size_t>(y) * kWidth + static_cast<std::size_t>(x))];
      p[0] = static_cast<std::uint8_t>(x + phase);
      p[1] = static_cast<std::uint8_t>(y);
      p[2] = static_cast<std::uint8_t>((x / 32 + y / 32 + phase) % 2 * 200);
    }
  }
  return pixels;
}

std::string capsOf(const char* format, int width = kWidth, int height = kHeight) {
  return std::string("video/x-raw,format=") + format + ",width=" + std::to_string(width) +
         ",height=" + std::to_string(height) + ",framerate=30/1";
}

Bytes bytesOf(GstBuffer* buffer) {
  GstMapInfo map;
  Bytes bytes;
  if (gst_buffer_map(buffer, &map, GST_MAP_READ)) {
    bytes.assign(map.data, map.data + map.size);
    gst_buffer_unmap(buffer, &map);
  }
  return bytes;
}

GstBuffer* bufferOf(const Bytes& bytes) {
  return bytes.empty() ? gst_buffer_new() : gst_buffer_new_memdup(bytes.data(), bytes.size());
}

// An element between a source and a sink of the test's.
class Harness {
 public:
  explicit Harness(const char* launch)
      : harness_(gst_harness_new_parse(launch)), bus_(gst_bus_new()) {
    gst_element_set_bus(harness_->element, bus_);
  }
  ~Harness() {
    gst_element_set_bus(harness_->element, nullptr);
    gst_object_unref(bus_);
    gst_harness_teardown(harness_);
  }
  Harness(const Harness&) = delete;
  Harness& operator=(const Harness&) = delete;

  GstHarness* get() const { return harness_; }
  void setCaps(const std::string& caps) { gst_harness_set_src_caps_str(harness_, caps.c_str()); }
  void setSinkCaps(const std::string& caps) {
    gst_harness_set_sink_caps_str(harness_, caps.c_str());
  }
  GstFlowReturn push(const Bytes& bytes) { return gst_harness_push(harness_, bufferOf(bytes)); }
  std::vector<Bytes> pull() {
    std::vector<Bytes> result;
    while (GstBuffer* buffer = gst_harness_try_pull(harness_)) {
      result.push_back(bytesOf(buffer));
      gst_buffer_unref(buffer);
    }
    return result;
  }
  // The figures that the element of this name posted last, when the stream had ended.
  std::map<std::string, std::uint64_t> figures(const std::string& element) {
    gst_harness_push_event(harness_, gst_event_new_eos());
    std::map<std::string, std::uint64_t> result;
    while (GstMessage* const message = gst_bus_pop_filtered(bus_, GST_MESSAGE_ELEMENT)) {
      const GstStructure* const all = gst_message_get_structure(message);
      if (gst_structure_get_name(all) == element + "-statistics") {
        for (int i = 0; i < gst_structure_n_fields(all); ++i) {
          const gchar* const name = gst_structure_nth_field_name(all, static_cast<guint>(i));
          guint64 value = 0;
          EXPECT_TRUE(gst_structure_get_uint64(all, name, &value)) << name;
          result[name] = value;
        }
      }
      gst_message_unref(message);
    }
    return result;
  }

 private:
  GstHarness* harness_;
  GstBus* bus_;
};

// What qrxdepay warns of as long as this lives, by its reason.
class Warnings {
 public:
  Warnings() {
    gst_debug_set_active(TRUE);
    gst_debug_set_threshold_for_name("qrxdepay", GST_LEVEL_WARNING);
    gst_debug_remove_log_function(gst_debug_log_default);
    gst_debug_add_log_function(note, this, nullptr);
  }
  ~Warnings() {
    gst_debug_remove_log_function_by_data(this);
    gst_debug_add_log_function(gst_debug_log_default, nullptr, nullptr);
    gst_debug_unset_threshold_for_name("qrxdepay");
  }
  Warnings(const Warnings&) = delete;
  Warnings& operator=(const Warnings&) = delete;

  std::map<std::string, std::uint64_t> byReason;

 private:
  static void note(GstDebugCategory* category, GstDebugLevel level, const gchar*, const gchar*,
                   gint, GObject*, GstDebugMessage* message, gpointer user) {
    if (level != GST_LEVEL_WARNING) return;
    if (std::string(gst_debug_category_get_name(category)) != "qrxdepay") return;
    const std::string text = gst_debug_message_get(message);
    ++static_cast<Warnings*>(user)->byReason[text.substr(text.rfind(' ') + 1)];
  }
};

// What the library makes of a frame by itself, from bare packets.
Bytes expected(const Bytes& pixels, qrxc_format format, int quality) {
  qrx::host::Coder coder;
  qrxc_place place = {};
  place.index = 1;
  Bytes result(pixels.size(), 255);
  coder.encodePackets({pixels.data(), kWidth, kHeight, format}, quality, QRXC_420, place,
                      [&](qrx::host::Bytes packet) {
                        qrx::host::Coder other;
                        other.decodePacket(packet, {result.data(), kWidth, kHeight, format});
                      });
  return result;
}

std::vector<Bytes> datagramsOf(const char* launch, const std::vector<Bytes>& frames,
                               const char* format = "BGRx") {
  Harness pay(launch);
  pay.setCaps(capsOf(format));
  for (const Bytes& one : frames) EXPECT_EQ(pay.push(one), GST_FLOW_OK);
  return pay.pull();
}

TEST(Pipeline, BarePacketsGiveTheLibrarysPicture) {
  const struct {
    const char* format;
    std::size_t pixelSize;
    qrxc_format code;
  } cases[] = {{"BGRx", 4, QRXC_BGRX}, {"BGRA", 4, QRXC_BGRX}, {"RGB", 3, QRXC_RGB}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.format);
    const Bytes pixels = frame(c.pixelSize, 3);
    Harness both("qrxpay envelope=false quality=70 sampling=420 ! qrxdepay");
    both.setSinkCaps(std::string("video/x-raw,format=") + c.format);
    both.setCaps(capsOf(c.format));
    ASSERT_EQ(both.push(pixels), GST_FLOW_OK);
    const std::vector<Bytes> out = both.pull();
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0], expected(pixels, c.code, 70));
  }
}

TEST(Pipeline, LinesWithGapsAndAChangedSize) {
  Harness both("qrxpay ! qrxdepay");
  both.setSinkCaps("video/x-raw,format=RGB");
  const int sizes[][2] = {{37, 21}, {513, 257}, {37, 21}};  // lines of 37 RGB pixels have a gap
  for (const auto& size : sizes) {
    both.setCaps(capsOf("RGB", size[0], size[1]));
    GstVideoInfo info;
    gst_video_info_set_format(&info, GST_VIDEO_FORMAT_RGB, static_cast<guint>(size[0]),
                              static_cast<guint>(size[1]));
    ASSERT_EQ(both.push(Bytes(info.size, 90)), GST_FLOW_OK);
    const std::vector<Bytes> out = both.pull();
    ASSERT_EQ(out.size(), 1u);
    ASSERT_EQ(out[0].size(), info.size);
    for (int y = 0; y < size[1]; ++y) {
      const std::uint8_t* line =
          &out[0][static_cast<std::size_t>(y) * static_cast<std::size_t>(info.stride[0])];
      EXPECT_EQ(std::count(line, line + 3 * size[0], 90), 3 * size[0]) << y;
    }
  }
}

TEST(Sender, SendsWhatChangedAndAllAtKeyframes) {
  Bytes still = frame(4, 0), moved = still;
  std::fill_n(&moved[4 * (200 * kWidth + 300)], 40,
              std::uint8_t{0});  // in the second of four tiles
  const auto sizes = [](const std::vector<Bytes>& all) {
    std::size_t sum = 0;
    for (const Bytes& one : all) sum += one.size();
    return sum;
  };
  Harness pay("qrxpay keyframe-interval=4 repair-interval=0");
  pay.setCaps(capsOf("BGRx"));
  std::vector<std::size_t> sent;
  for (const Bytes* one : {&still, &still, &moved, &moved, &moved}) {
    ASSERT_EQ(pay.push(*one), GST_FLOW_OK);
    sent.push_back(sizes(pay.pull()));
  }
  EXPECT_LT(sent[1], 300u);         // nothing but its description
  EXPECT_GT(sent[2], sent[1]);      // one tile
  EXPECT_LT(sent[2], sent[0] / 2);  // of four
  EXPECT_EQ(sent[3], sent[1]);
  EXPECT_GT(sent[4], sent[0] - 2000);
}

TEST(Sender, RepairsEachTileWithinItsInterval) {
  const Bytes still = frame(4, 0);
  const auto count = [&](const char* launch) {
    return datagramsOf(launch, std::vector<Bytes>(9, still)).size();
  };
  const std::size_t once = count("qrxpay keyframe-interval=0 repair-interval=0");
  const std::size_t thrice = count("qrxpay keyframe-interval=0 repair-interval=4");
  const std::size_t packets = once - 9 * 2 - 1;  // besides them two messages a frame, and one more
  EXPECT_EQ(thrice - once, 2 * packets);
}

TEST(Receiver, ALostPacketCostsItsOwnPixelsUntilTheNextKeyframe) {
  const std::vector<Bytes> frames = {frame(4, 0), frame(4, 9)};
  const std::vector<Bytes> all = datagramsOf("qrxpay keyframe-interval=1", frames);
  const auto play = [](const std::vector<Bytes>& datagrams) {
    Harness depay("qrxdepay");
    depay.setSinkCaps("video/x-raw,format=BGRx");
    depay.setCaps("application/x-qrx-packet,envelope=true");
    for (const Bytes& one : datagrams) EXPECT_EQ(depay.push(one), GST_FLOW_OK);
    return depay.pull();
  };
  const std::vector<Bytes> whole = play(all);
  ASSERT_EQ(whole.size(), 2u);
  std::vector<Bytes> some = all;
  const auto largest =
      std::max_element(some.begin(), some.begin() + static_cast<std::ptrdiff_t>(some.size() / 2),
                       [](const Bytes& a, const Bytes& b) { return a.size() < b.size(); });
  some.erase(largest);
  const std::vector<Bytes> torn = play(some);
  ASSERT_EQ(torn.size(), 2u);
  std::size_t differ = 0;
  for (std::size_t i = 0; i < torn[0].size(); i += 4) {
    differ += !std::equal(&torn[0][i], &torn[0][i + 3], &whole[0][i]);
  }
  EXPECT_GT(differ, 0u);
  EXPECT_LT(differ, std::size_t{kWidth} * kHeight / 2);
  EXPECT_EQ(torn[1], whole[1]);
}

TEST(Receiver, TakesNothingTwiceNothingDamagedAndNoSecondSender) {
  const std::vector<Bytes> ours = datagramsOf("qrxpay", {frame(4, 0)});
  const std::vector<Bytes> theirs = datagramsOf("qrxpay", {frame(4, 77)});
  Harness depay("qrxdepay");
  depay.setSinkCaps("video/x-raw,format=BGRx");
  depay.setCaps("application/x-qrx-packet");
  for (const Bytes& one : ours) depay.push(one);
  const std::vector<Bytes> shown = depay.pull();
  ASSERT_EQ(shown.size(), 1u);
  for (const Bytes& one : ours) depay.push(one);
  for (const Bytes& one : theirs) depay.push(one);
  for (Bytes one : theirs) {
    one[one.size() / 2] ^= 1;
    depay.push(one);
  }
  EXPECT_TRUE(depay.pull().empty());
}

TEST(Statistics, BothElementsTellWhatBecameOfEveryDatagram) {
  Harness pay("qrxpay");
  pay.setCaps(capsOf("BGRx"));
  for (int phase = 0; phase < 3; ++phase) ASSERT_EQ(pay.push(frame(4, phase)), GST_FLOW_OK);
  std::vector<Bytes> all = pay.pull();
  auto sent = pay.figures("qrxpay");
  const std::vector<Bytes> closing = pay.pull();
  ASSERT_FALSE(closing.empty());
  std::size_t bytes = 0;
  all.insert(all.end(), closing.begin(), closing.end());
  for (const Bytes& one : all) bytes += one.size();
  EXPECT_EQ(sent["frames"], 3u);
  EXPECT_EQ(sent["bytes"], bytes);
  EXPECT_GT(sent["packets"], 3u);
  EXPECT_LE(sent["packets"], all.size());
  EXPECT_GT(sent["encode-time"], 0u);

  Warnings warnings;
  Harness depay("qrxdepay");
  depay.setSinkCaps("video/x-raw,format=BGRx");
  depay.setCaps("application/x-qrx-packet");
  const std::size_t middle = all.size() / 2;
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (i == middle) continue;
    depay.push(all[i]);
    if (i == 2) depay.push(all[i]);
    if (i != 3) continue;
    Bytes damaged = all[i];
    damaged.back() ^= 1;
    depay.push(damaged);
    depay.push(damaged);
  }
  auto told = depay.figures("qrxdepay");
  EXPECT_EQ(told["frames"], 3u);
  EXPECT_EQ(told["lost"], 1u);
  EXPECT_EQ(told["taken"], all.size() - 1);
  EXPECT_EQ(told["replayed"], 1u);
  EXPECT_EQ(told["corrupted"], 2u);
  EXPECT_EQ(warnings.byReason,
            (std::map<std::string, std::uint64_t>{{"replayed", 1}, {"corrupted", 2}}));
}

TEST(Receiver, RefusesAFrameBeyondItsLimit) {
  Harness both("qrxpay ! qrxdepay max-pixels=1000");
  both.setCaps(capsOf("BGRx"));
  EXPECT_EQ(both.push(frame(4, 0)), GST_FLOW_OK);
  EXPECT_TRUE(both.pull().empty());
}

// Bare, without a tag, and behind one: each is refused with a warning that has the reason, or
// taken.
TEST(Receiver, HostileDatagrams) {
  std::vector<Bytes> hostile = {{}, {0}, Bytes(60000, 0xFF)};
  for (const char* target :
       {"decompress_tile", "packet_inspection", "packet_sequence", "viewer", "host_readers"}) {
    const std::filesystem::path folder = std::filesystem::path(QRX_FUZZ_CORPUS) / target;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      std::ifstream file(entry.path(), std::ios::binary);
      hostile.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
      if (hostile.back().size() > 60000) hostile.back().resize(60000);
    }
  }
  ASSERT_GT(hostile.size(), 500u);
  for (const Bytes& one : datagramsOf("qrxpay envelope=false", {frame(4, 0)})) {
    hostile.emplace_back(one.begin(),
                         one.begin() + static_cast<std::ptrdiff_t>(one.size() * 2 / 3));
  }
  namespace tool = qrx::tool;
  const struct {
    const char* caps;
    bool sealed;
  } cases[] = {{"application/x-qrx-packet,envelope=false", false},
               {"application/x-qrx-packet,envelope=true", false},
               {"application/x-qrx-packet,envelope=true", true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.caps) + (c.sealed ? ", sealed" : ""));
    Warnings warnings;
    Harness depay("qrxdepay max-pixels=4000000");
    depay.setSinkCaps("video/x-raw,format=BGRx");
    depay.setCaps(c.caps);
    std::uint64_t given = 0;
    const auto give = [&](const Bytes& datagram) {
      EXPECT_EQ(depay.push(datagram), GST_FLOW_OK);
      ++given;
    };
    tool::Channel channel(tool::publicKey(), tool::PayloadKind::kFromServer, 5);
    tool::FrameInfo info;
    info.width = kWidth;
    info.height = kHeight;
    if (c.sealed) give(channel.seal(info));
    for (const Bytes& one : hostile) give(c.sealed ? channel.sealPacket(one) : one);
    depay.pull();
    auto told = depay.figures("qrxdepay");
    std::uint64_t refused = 0;
    for (const auto& [reason, count] : warnings.byReason) {
      EXPECT_EQ(told[reason], count) << reason;
      refused += count;
    }
    EXPECT_EQ(refused + told["taken"], given);
    EXPECT_GT(refused, given / 2);
  }
}

// Behind the tag: a sender whose datagrams are sound, and say what they like.
TEST(Receiver, TakesWhatLiesInTheWindowAndOneSenderUntilItCloses) {
  using qrx::gst::Fate;
  namespace tool = qrx::tool;
  const tool::Key key = tool::publicKey();
  qrx::gst::FrameReceiver receiver(QRXC_BGRX, key);
  tool::Channel first(key, tool::PayloadKind::kFromServer, 5);
  tool::Channel second(key, tool::PayloadKind::kFromServer, 6);
  const auto take = [&](const tool::Packet& datagram) {
    receiver.take(datagram, {});
    return receiver.fate();
  };
  std::int32_t index = 0;
  const auto rectangle = [&](std::int32_t x, std::int32_t y) {
    const Bytes gray(32 * 32, 9);
    tool::Packet packet;
    qrx::host::Coder().encodePackets({gray.data(), 32, 32, QRXC_GRAY}, 80, QRXC_444,
                                     {7, ++index, x, y, 0, {}}, [&](qrx::host::Bytes bytes) {
                                       const auto* data =
                                           static_cast<const std::uint8_t*>(bytes.data);
                                       packet.assign(data, data + bytes.size);
                                     });
    return first.sealPacket(packet);
  };
  tool::FrameInfo info;
  info.window = 7;
  info.width = 96;
  info.height = 64;
  EXPECT_EQ(take(rectangle(0, 0)), Fate::kNoWindow);
  EXPECT_EQ(take(first.seal(info)), Fate::kTaken);
  const struct {
    std::int32_t x, y;
    Fate fate;
  } cases[] = {{0, 0, Fate::kTaken},     {64, 32, Fate::kTaken},   {-1, 0, Fate::kNoWindow},
               {65, 0, Fate::kNoWindow}, {0, -1, Fate::kNoWindow}, {0, 33, Fate::kNoWindow}};
  for (const auto& c : cases) EXPECT_EQ(take(rectangle(c.x, c.y)), c.fate) << c.x << ", " << c.y;

  // A frame is over once, and again when it got sharper.
  EXPECT_TRUE(receiver.take(first.seal(info), {}));
  EXPECT_FALSE(receiver.take(first.seal(info), {}));
  EXPECT_EQ(take(rectangle(0, 0)), Fate::kTaken);
  EXPECT_TRUE(receiver.take(first.seal(info), {}));

  rectangle(0, 0);  // is lost
  EXPECT_EQ(take(second.seal(info)), Fate::kOtherSession);
  EXPECT_EQ(take(first.seal(tool::Closing{})), Fate::kTaken);
  EXPECT_EQ(receiver.statistics().lost, 1u);
  EXPECT_EQ(take(second.seal(info)), Fate::kTaken);
  second.seal(info);  // is lost
  EXPECT_EQ(take(second.seal(info)), Fate::kTaken);
  EXPECT_EQ(receiver.statistics().lost, 3u);  // the one refused before counts as well
}

// More tiles than one message can list.
TEST(Sender, TellsOfEveryTileWhenItChanged) {
  namespace tool = qrx::tool;
  constexpr std::uint32_t kWide = 2 * 256 + 1, kHigh = 85 * 256 + 1, kTiles = 3 * 86;
  qrx::gst::FrameSender sender(tool::publicKey());
  sender.start(kWide, kHigh, QRXC_BGR);
  Bytes pixels(3 * kWide * kHigh, 9);
  std::vector<std::uint32_t> told;
  const auto take = [&](qrx::host::Bytes bytes) {
    const auto* const data = static_cast<const std::uint8_t*>(bytes.data);
    tool::Packet datagram(data, data + bytes.size);
    tool::EnvelopeHead head;
    ASSERT_EQ(tool::openEnvelope(tool::publicKey(), datagram, head), tool::Arrival::kFresh);
    if (head.kind != tool::PayloadKind::kFromServer) return;
    const auto message = tool::parseControl(datagram);
    ASSERT_TRUE(message);
    const auto* const changes = std::get_if<tool::Changes>(&*message);
    if (changes == nullptr) return;
    EXPECT_EQ(changes->first, told.size());
    told.insert(told.end(), changes->frames.begin(), changes->frames.end());
  };
  const qrx::gst::SenderSettings settings = {.keyframeInterval = 0, .repairInterval = 0};
  sender.send(pixels.data(), 3 * kWide, settings, take);
  EXPECT_EQ(told, std::vector<std::uint32_t>(kTiles, 0));

  told.clear();
  pixels.back() = 200;
  sender.send(pixels.data(), 3 * kWide, settings, take);
  std::vector<std::uint32_t> expected(kTiles, 0);
  expected.back() = 1;
  EXPECT_EQ(told, expected);
}

TEST(Sender, TakesEverySideThatPacketsCanTell) {
  qrx::gst::FrameSender sender(qrx::tool::publicKey());
  const struct {
    std::uint32_t width, height;
    bool good;
  } cases[] = {{1, 32767, true}, {32767, 1, true},  {0, 1, false},
               {1, 0, false},    {32768, 1, false}, {1, 32768, false}};
  for (const auto& c : cases) {
    bool good = true;
    try {
      sender.start(c.width, c.height, QRXC_BGRX);
    } catch (const qrx::host::Error&) {
      good = false;
    }
    EXPECT_EQ(good, c.good) << c.width << " x " << c.height;
  }
}

TEST(Receiver, ABareFrameIsOverOnce) {
  qrx::gst::FrameSender sender(qrx::tool::publicKey());
  qrx::gst::FrameReceiver receiver(QRXC_BGRX, qrx::tool::publicKey());
  sender.start(kWidth, kHeight, QRXC_BGRX);
  const Bytes pixels = frame(4, 0);
  int frames = 0;
  for (int i = 0; i < 3; ++i) {
    sender.send(pixels.data(), 4 * kWidth, {.envelope = false}, [&](qrx::host::Bytes packet) {
      frames += receiver.take({static_cast<const std::uint8_t*>(packet.data), packet.size},
                              {.envelope = false});
    });
  }
  EXPECT_EQ(frames, 3);
}

}  // namespace

int main(int argc, char** argv) {
  gst_init(&argc, &argv);
  testing::InitGoogleTest(&argc, argv);
  const int result = RUN_ALL_TESTS();
  gst_deinit();  // the leak tracer reports here
  return result;
}
