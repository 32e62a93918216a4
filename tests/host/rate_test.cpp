// The rate of a live session over a simulated line, in simulated time: a sender with the codec, a
// line of some capacity with a queue, and the viewer's reports on the way back.
#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <map>

#include "tools/host/session.h"
#include "tools/live/byte_budget.h"
#include "tools/live/pacer.h"
#include "tools/live/rate_control.h"
#include "tools/live/rate_window.h"
#include "tools/live/tile_plan.h"
#include "tools/live/transit_meter.h"
#include "tools/live/window_sender.h"
#include "tools/scene/wandering_box.h"

namespace qrx::tool {
namespace {

using Clock = WindowSender::Clock;
using std::chrono::milliseconds;

constexpr milliseconds kPeriod{40}, kTravel{20}, kLongestQueue{200};
constexpr Size kWindow{640, 400};

// A line that takes so many Mbit/s at each second, and loses what its queue has no room for.
class Simulation {
 public:
  Simulation(double most, std::function<double(double second)> capacity)
      : control_(most * 1e6), capacity_(std::move(capacity)) {}

  // Runs until that second; what changes is a box of this share, or nothing.
  void run(double until, double share) {
    WanderingBox box(kWindow, share > 0 ? share : 1);
    for (; seconds() < until; now_ += milliseconds(1), ++ms_) {
      if (ms_ % kPeriod.count() == 0) sendFrame(box.render(share > 0 ? frame_ : 0));
      while (auto packet = pacer_.take(now_)) send(packet->size());
      arrive();
      if (ms_ % 30 == 0) report();
      while (!reports_.empty() && reports_.front().first <= now_) {
        control_.take(reports_.front().second, now_);
        reports_.pop_front();
      }
    }
  }

  // Mbit/s that were sent in the second that ends here.
  double sentIn(int second) { return sent_[second] * 8 / 1e6; }
  std::pair<double, double> leastAndMost() const {
    return {window_.least() / 1e6, window_.most() / 1e6};
  }
  const WindowSender& sender() const { return sender_; }
  double lossPercent() const {
    return 100.0 * static_cast<double>(lost_) / static_cast<double>(lost_ + arrived_);
  }
  double largestBunch() const { return largestBunch_; }
  double queueMsSince(double second) const {
    double worst = 0;
    for (auto at = worstQueue_.lower_bound(second); at != worstQueue_.end(); ++at) {
      worst = std::max(worst, at->second);
    }
    return worst;
  }

 private:
  double seconds() const { return static_cast<double>(ms_) / 1000; }
  std::uint64_t micros(Clock::time_point at) const {
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(at - start_).count() + 1000000);
  }

  void sendFrame(const Image& frame) {
    WindowSender::Allowance allowance;
    allowance.now = now_;
    allowance.period = kPeriod;
    const double bytesPerSecond = control_.rate(now_) / 8;
    budget_.earn(bytesPerSecond, now_, milliseconds(100));
    allowance.bytes = budget_.left();
    allowance.income = bytesPerSecond * 0.04;
    pacer_.begin(now_, milliseconds(32));
    sender_.send(frame, static_cast<std::uint32_t>(frame_++), allowance,
                 [this](std::vector<Packet> packets, double progress) {
                   pacer_.push(std::move(packets), progress);
                 });
  }

  void send(std::size_t size) {
    budget_.spend(static_cast<double>(size));
    window_.add(size, now_);
    sent_[static_cast<int>(seconds())] += static_cast<double>(size);
    bunch_.emplace_back(ms_, size);
    while (bunch_.front().first + 4 < ms_) bunch_.pop_front();
    double sum = 0;
    for (const auto& [ms, bytes] : bunch_) sum += static_cast<double>(bytes);
    if (ms_ > 1000) largestBunch_ = std::max(largestBunch_, sum);  // sizes are known by then
    free_ = std::max(free_, now_);
    if (free_ - now_ > kLongestQueue) {
      ++lost_;
      return;
    }
    free_ += std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double, std::micro>(
        static_cast<double>(size) * 8 / capacity_(seconds())));
    worstQueue_[seconds()] = std::chrono::duration<double, std::milli>(free_ - now_).count();
    onTheWay_.push_back({free_ + kTravel, micros(now_), size});
  }

  void arrive() {
    for (; !onTheWay_.empty() && onTheWay_.front().at <= now_; onTheWay_.pop_front()) {
      transit_.add(onTheWay_.front().sent, micros(onTheWay_.front().at));
      bytes_ += onTheWay_.front().size;
      ++arrived_;
    }
  }

  void report() {
    reports_.emplace_back(now_ + kTravel,
                          Report{micros(now_), bytes_, arrived_, lost_, transit_.takeQueue(), 0});
  }

  struct OnTheWay {
    Clock::time_point at;
    std::uint64_t sent;
    std::size_t size;
  };

  Session session_{{QRX_LIBRARY_PATH, {}}};
  WindowSender sender_{session_.compressor(), kWindow, {.tile = 64}};
  RateControl control_;
  ByteBudget budget_;
  Pacer pacer_;
  RateWindow window_;
  TransitMeter transit_;
  std::function<double(double)> capacity_;
  const Clock::time_point start_ = Clock::now();
  Clock::time_point now_ = start_, free_{};
  std::int64_t ms_ = 0;
  int frame_ = 0;
  std::deque<OnTheWay> onTheWay_;
  std::deque<std::pair<Clock::time_point, Report>> reports_;
  std::deque<std::pair<std::int64_t, std::size_t>> bunch_;
  std::map<int, double> sent_;
  std::map<double, double> worstQueue_;
  std::uint64_t bytes_ = 0, arrived_ = 0, lost_ = 0;
  double largestBunch_ = 0;
};

// Far more changes than the rate can carry at full quality: it is held all the same, in a stream.
TEST(Rate, IsHeldOverAnyTwoSeconds) {
  for (const double rate : {1.0, 3.0, 8.0}) {
    Simulation line(rate, [](double) { return 1000.0; });
    line.run(12, 1);
    const auto [least, most] = line.leastAndMost();
    EXPECT_GT(least, rate * 0.9) << rate;
    EXPECT_LT(most, rate * 1.1) << rate;
    // 4 ms are an eighth of a frame's time; sizes are guessed, so twice that, and two packets.
    EXPECT_LT(line.largestBunch(), rate * 1e6 / 8 * 0.04 * 0.3 + 2 * 1400) << rate;
  }
}

TEST(Rate, FollowsTheLineAndComesBack) {
  // 6 Mbit/s asked for: the line has room, then for 6 seconds a third of it, then room again.
  Simulation line(6, [](double second) { return second >= 4 && second < 10 ? 2.0 : 50.0; });
  line.run(20, 1);
  for (int second = 6; second < 10; ++second) {
    EXPECT_GT(line.sentIn(second), 1.2) << second;
    EXPECT_LT(line.sentIn(second), 2.3) << second;
  }
  for (int second = 17; second < 20; ++second) EXPECT_GT(line.sentIn(second), 5.4) << second;
  EXPECT_LT(line.queueMsSince(6), 120);
  EXPECT_LT(line.lossPercent(), 3);
}

// What stands still gets sharp within a second, beside a part that goes on changing.
TEST(Rate, SharpensWhatStandsStill) {
  for (const double share : {0.0, 0.05}) {
    Simulation line(6, [](double) { return 50.0; });
    line.run(1, 1);
    EXPECT_FALSE(line.sender().settled());
    EXPECT_LT(line.sender().quality(), 80U);
    line.run(2, share);
    if (share == 0) {
      EXPECT_TRUE(line.sender().settled());
    }
    line.run(6, share);
    const std::chrono::duration<double> slowest = line.sender().sharpening().slowest;
    EXPECT_GT(slowest.count(), 0.1) << share;
    EXPECT_LT(slowest.count(), 1) << share;
  }
}

// Who waits longest goes first, and what stands still for 200 ms is sent sharp, once.
TEST(TilePlan, OrdersTilesAndNotesWhenTheyGotSharp) {
  const auto at = [](int ms) { return Clock::time_point{} + milliseconds(ms); };
  const auto list = [](std::initializer_list<std::size_t> tiles) {
    return std::vector<std::size_t>(tiles);
  };
  TilePlan plan(3);
  EXPECT_EQ(plan.due(), list({0, 1, 2}));
  EXPECT_FALSE(plan.lost(1, at(0))) << "it is to be sent anyway";
  for (std::size_t tile = 0; tile < 3; ++tile) plan.sent(tile, true, at(0));
  EXPECT_TRUE(plan.settled());

  EXPECT_TRUE(plan.lost(2, at(10)));
  plan.changed(0, at(20));
  plan.changed(2, at(30));
  EXPECT_EQ(plan.due(), list({2, 0}));
  plan.sent(0, false, at(30));
  plan.sent(2, false, at(31));
  EXPECT_FALSE(plan.settled());
  EXPECT_EQ(plan.soft(at(219)), list({}));
  EXPECT_EQ(plan.soft(at(220)), list({0}));
  EXPECT_EQ(plan.soft(at(230)), list({0, 2}));
  EXPECT_EQ(plan.sharpBy(2), at(630));

  plan.sent(0, true, at(1020));
  plan.sent(2, true, at(1031));
  EXPECT_EQ(plan.sharpening().tiles, 2);
  EXPECT_EQ(plan.sharpening().withinSecond, 1);
  EXPECT_EQ(plan.sharpening().slowest, milliseconds(1001));
  EXPECT_TRUE(plan.settled());

  plan.allLost(at(2000));
  EXPECT_EQ(plan.due(), list({0, 1, 2}));
  EXPECT_EQ(plan.soft(at(3000)), list({}));
}

}  // namespace
}  // namespace qrx::tool
