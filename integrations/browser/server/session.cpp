#include "integrations/browser/server/session.h"

#include <charconv>
#include <utility>
#include <variant>

#include "integrations/browser/view/datagram.h"
#include "tools/live/envelope.h"

namespace qrx::web {
namespace {

constexpr std::size_t kMostQueued = 2u << 20;  // bytes, before a frame is added

std::uint32_t sessionNumber() {
  std::uint32_t number = 0;
  while (number == 0) number = static_cast<std::uint32_t>(tool::randomNumber());
  return number;
}

}  // namespace

Session::Session(codec::Compressor& compressor, tool::Size window,
                 const tool::WindowSenderOptions& options, const tool::BadNetworkOptions& network)
    : sender_(compressor, window, options), options_(network), network_(network) {
  sender_.restart(sessionNumber());
  tell(sender_.latest());
}

void Session::send(const tool::Image& frame, bool isLast, Clock::time_point ready) {
  if (queued_ > kMostQueued) return;
  tool::FrameInfo info = sender_.send(frame, frame_, {}, [this](const auto& packets, double) {
    for (const tool::Packet& packet : packets) push(packet);
  });
  for (const tool::Changes& changes : sender_.changes()) tell(changes);
  info.finished = isLast && sender_.settled() ? 1 : 0;
  const auto age = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - ready);
  info.ageMicroseconds = static_cast<std::uint32_t>(age.count());
  tell(info);
  if (!isLast) ++frame_;
}

bool Session::hear(std::span<const std::uint8_t> message) {
  const auto parsed = tool::parseControl(message);
  if (!parsed) return false;
  if (std::holds_alternative<tool::Alive>(*parsed)) {
    tell(*parsed);
    return true;
  }
  const auto* request = std::get_if<tool::RepairRequest>(&*parsed);
  if (request == nullptr) return false;
  const tool::Superseded answer = sender_.repair(*request);
  if (!answer.indexes.empty()) tell(answer);
  return true;
}

bool Session::hearText(std::string_view text) {
  constexpr std::string_view kLoss = "loss ";
  if (!text.starts_with(kLoss)) return false;
  text.remove_prefix(kLoss.size());
  double share = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), share);
  if (error != std::errc() || end != text.data() + text.size() || !(share >= 0 && share <= 1)) {
    return false;
  }
  network_.flush(arriving_);
  options_.loss = share;
  network_ = tool::BadNetwork(options_);
  return true;
}

std::optional<tool::Packet> Session::take() {
  if (queue_.empty()) return std::nullopt;
  tool::Packet datagram = std::move(queue_.front());
  queue_.pop_front();
  queued_ -= datagram.size();
  return datagram;
}

void Session::tell(const tool::ControlMessage& message) { push(tool::serialise(message)); }

void Session::push(std::span<const std::uint8_t> payload) {
  network_.push(sealDatagram({++sequence_, steadyMicroseconds()}, payload), arriving_);
  for (tool::Packet& datagram : arriving_) {
    queued_ += datagram.size();
    queue_.push_back(std::move(datagram));
  }
  arriving_.clear();
}

}  // namespace qrx::web
