// The C interface: any bytes as a JPEG and as a packet, any layout, any room. A refusal writes
// nothing, no call writes outside of the picture's rows, and what is coded comes back whole.
#include "fuzz/packets.h"
#include "qrx/qrx.h"

namespace {

using fuzz::Bytes;
using fuzz::Input;
using fuzz::require;

// A picture by a stride, in memory of exactly its size.
class Canvas {
 public:
  Canvas(Input& input, std::uint32_t width, std::uint32_t height)
      : format_(1 + input.below(6)), isUp_(input.oneIn(2)) {
    const std::size_t bytes = format_ == QRXC_GRAY ? 1 : format_ <= QRXC_BGR ? 3 : 4;
    line_ = bytes * width;
    step_ = line_ + static_cast<std::size_t>(input.oneIn(2) ? 0 : input.below(20));
    height_ = height;
    memory.assign(step_ * (height - 1) + line_, fuzz::kFill);
    const auto stride = static_cast<std::int64_t>(step_);
    layout = {isUp_ ? -stride : stride, width, height, format_, 0};
  }
  std::uint8_t* first() { return memory.data() + (isUp_ ? step_ * (height_ - 1) : 0); }
  void requireGaps() const {
    for (std::size_t i = 0; i < memory.size(); ++i) {
      require(i % step_ < line_ || memory[i] == fuzz::kFill);
    }
  }
  void requireUntouched() const {
    for (const std::uint8_t byte : memory) require(byte == fuzz::kFill);
  }

  qrxc_layout layout;
  Bytes memory;

 private:
  int format_;
  bool isUp_;
  std::size_t line_, step_, height_;
};

void check(qrxc_coder* coder, qrxc_code code, const qrxc_report& report, const Canvas& out) {
  require(report.covered >= 0 && report.covered <= 1 && report.rows <= out.layout.height);
  require((qrxc_text(coder)[0] != 0) && code != QRXC_NO_MEMORY);
  if (code < QRXC_DONE) {
    out.requireUntouched();
    require(report.covered == 0 && report.rows == 0);
  } else {
    out.requireGaps();
    fuzz::look(out.memory);
  }
}

void tryJpeg(qrxc_coder* coder, Input& input) {
  // What the header says decides most of the sizes.
  const int more = input.below(3);
  Canvas any(input, static_cast<std::uint32_t>(input.sizeUpTo(100)),
             static_cast<std::uint32_t>(input.sizeUpTo(100)));
  Input choices = input;
  const Bytes jpeg = input.rest();
  qrxc_info info = {};
  qrxc_report report = {};
  const qrxc_code asked = qrxc_read_info(coder, jpeg.data(), jpeg.size(), &info);
  require((asked == QRXC_DONE) == (info.width != 0));
  if (asked != QRXC_DONE || std::int64_t{info.width} * info.height > fuzz::kMaxPixels) {
    const qrxc_code code =
        qrxc_decode(coder, jpeg.data(), jpeg.size(), any.first(), &any.layout, &report);
    require(code < QRXC_DONE);
    check(coder, code, report, any);
    return;
  }
  Canvas out(choices, info.width + static_cast<std::uint32_t>(more), info.height);
  const qrxc_code code =
      qrxc_decode(coder, jpeg.data(), jpeg.size(), out.first(), &out.layout, &report);
  check(coder, code, report, out);
  require(code != QRXC_DONE || (report.covered == 1 && report.rows == info.height));
}

void tryPacket(qrxc_coder* coder, Input& input) {
  Input choices = input;
  Bytes packet = input.rest();
  if (packet.empty()) packet.resize(1);       // not null
  if (packet.size() > 5 && input.oneIn(2)) {  // past the first test of the head
    const std::size_t end = packet.size() - 2;
    packet[2] = 1;
    packet[4] = static_cast<std::uint8_t>(end);
    packet[5] = static_cast<std::uint8_t>(end >> 8);
  }
  qrxc_packet told = {};
  const qrxc_code asked = qrxc_read_packet(coder, packet.data(), packet.size(), &told);
  require((asked == QRXC_DONE) == (told.width != 0));
  if (std::int64_t{told.width} * told.height > fuzz::kMaxPixels) return;
  const bool isKnown = asked == QRXC_DONE;
  Canvas out(choices, isKnown ? told.width : 8, isKnown ? told.height : 8);
  qrxc_report report = {};
  const qrxc_code code = qrxc_decode_packet(coder, packet.data(), packet.size(), out.first(),
                                            &out.layout, nullptr, &report);
  require(isKnown || code == QRXC_BAD_DATA);
  check(coder, code, report, out);
  require(report.covered <= told.share + 1e-9 && told.share <= 1);
  require(told.left + told.columns <= told.width && told.top + told.rows <= told.height);
}

void tryRoundTrip(qrxc_coder* coder, Input& input) {
  Canvas in(input, static_cast<std::uint32_t>(input.sizeUpTo(130)),
            static_cast<std::uint32_t>(input.sizeUpTo(90)));
  for (std::uint8_t& byte : in.memory) byte = input.value<std::uint8_t>();
  const int quality = 1 + input.below(100), sampling = input.below(3);
  const qrxc_layout& l = in.layout;
  const std::size_t bound = qrxc_bound(l.width, l.height, l.format, sampling);
  Bytes jpeg(input.oneIn(4) ? static_cast<std::size_t>(input.below(int(bound))) : bound);
  std::size_t size = 0;
  const qrxc_code code =
      qrxc_encode(coder, in.first(), &l, quality, sampling, jpeg.data(), jpeg.size(), &size);
  require(size <= jpeg.size() && (code == QRXC_DONE) == (size != 0));
  require(code == QRXC_DONE || jpeg.size() < bound);
  if (code != QRXC_DONE) return;
  jpeg.resize(size);
  Canvas out(input, l.width, l.height);
  out.layout.format = l.format;
  out.layout.stride = l.stride;
  out.memory.assign(in.memory.size(), fuzz::kFill);
  std::uint8_t* const first = out.memory.data() + (in.first() - in.memory.data());
  qrxc_report report = {};
  require(qrxc_decode(coder, jpeg.data(), size, first, &out.layout, &report) == QRXC_DONE);
  require(report.rows == l.height && report.covered == 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qrxc_coder* const coder = qrxc_open();
  fuzz::Input input(data, size);
  if (input.oneIn(4)) {
    tryRoundTrip(coder, input);
  } else {
    Input again = input;
    tryJpeg(coder, input);
    tryPacket(coder, again);
  }
  qrxc_close(coder);
  return 0;
}
