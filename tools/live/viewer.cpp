// Receiving, decoding and repair of the viewer.
#include "tools/live/viewer.h"

#include <random>
#include <utility>

namespace qrx::tool {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kHelloEvery{300};
constexpr milliseconds kRepairEvery{10};
constexpr std::size_t kLongestQueue = 8192;  // beyond this, packets are as good as lost

}  // namespace

Viewer::Viewer(codec::Decompressor& decompressor, const Endpoint& server, int decoders)
    : socket_(Endpoint{server.address == 0x7F000001 ? server.address : 0, 0}),
      server_(server),
      assembler_(decompressor) {
  threads_.emplace_back([this](const std::stop_token& stop) { receive(stop); });
  for (int i = 0; i < decoders; ++i) {
    threads_.emplace_back([this](const std::stop_token& stop) { decode(stop); });
  }
}

Viewer::~Viewer() {
  for (std::jthread& thread : threads_) thread.request_stop();
  threads_.clear();
  constexpr int kTimes = 3;  // the network may lose some
  for (int i = 0; i < kTimes; ++i) socket_.send(server_, serialise(Bye{}));
}

void Viewer::receive(const std::stop_token& stop) {
  const Hello hello{std::random_device{}() | 1};
  Clock::time_point helloDue = Clock::now(), repairDue = helloDue;
  while (!stop.stop_requested()) {
    const Clock::time_point now = Clock::now();
    if (now >= helloDue) {
      helloDue = now + kHelloEvery;
      socket_.send(server_, serialise(hello));
    }
    if (now >= repairDue) {
      repairDue = now + kRepairEvery;
      askForRepair(now);
    }
    auto datagram = socket_.receive(static_cast<int>(kRepairEvery.count()));
    if (datagram && datagram->from == server_) take(std::move(datagram->bytes));
  }
}

void Viewer::take(Packet datagram) {
  if (looksLikeControl(datagram)) {
    const auto message = parseControl(datagram);
    if (!message) return;
    if (const auto* info = std::get_if<FrameInfo>(&*message))
      assembler_.announce(*info, Clock::now());
    if (const auto* list = std::get_if<Superseded>(&*message)) assembler_.supersede(*list);
    return;
  }
  const std::lock_guard lock(mutex_);
  if (queue_.size() >= kLongestQueue) return;
  queue_.push_back(std::move(datagram));
  arrived_.notify_one();
}

void Viewer::askForRepair(Clock::time_point now) {
  std::vector<std::uint32_t> indexes = assembler_.toRepair(now);
  if (!indexes.empty()) socket_.send(server_, serialise(RepairRequest{std::move(indexes)}));
}

void Viewer::decode(const std::stop_token& stop) {
  std::unique_lock lock(mutex_);
  while (arrived_.wait(lock, stop, [this] { return !queue_.empty(); })) {
    Packet packet = std::move(queue_.front());
    queue_.pop_front();
    lock.unlock();
    assembler_.take(packet, Clock::now());
    lock.lock();
  }
}

}  // namespace qrx::tool
