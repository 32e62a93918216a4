// libqrx_jpeg for C++17: qrx.h with owners, exceptions and ranges of bytes. Nothing but this header
// and the library is needed.
//
//   qrx::host::Coder coder;
//   std::vector<std::uint8_t> jpeg = coder.encode({pixels, width, height, QRXC_RGB}, 85, QRXC_420);
//   qrxc_info info = coder.info(jpeg);
//   std::vector<std::uint8_t> picture(std::size_t{3} * info.width * info.height);
//   bool whole = coder.decode(jpeg, {picture.data(), info.width, info.height, QRXC_RGB}).isWhole();
//
// What qrx.h says of coders, threads, memory and results holds. A refusal is thrown as Error, with
// its code and text; damage is no refusal.
#ifndef QRX_QRX_HPP_
#define QRX_QRX_HPP_

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>
#include <vector>

#include "qrx/qrx.h"

namespace qrx::host {

// Bytes of the caller's that are only looked at.
struct Bytes {
  const void* data;
  std::size_t size;

  Bytes(const void* first, std::size_t count) : data(first), size(count) {}
  // Of anything that has data() and size(), in bytes.
  template <typename Range, typename = decltype(std::declval<const Range&>().data()),
            typename = decltype(std::declval<const Range&>().size())>
  Bytes(const Range& range) : Bytes(range.data(), range.size()) {  // NOLINT
    static_assert(sizeof(*range.data()) == 1, "a range of bytes");
  }
};

// Pixels of the caller's: the upper left one, and how they lie (see qrxc_layout).
template <typename Void>
struct BasicPicture {
  Void* pixels;
  qrxc_layout layout;

  BasicPicture(Void* first, std::uint32_t width, std::uint32_t height, qrxc_format format,
               std::int64_t stride = 0)
      : pixels(first), layout{stride, width, height, format, 0} {}
};
using ConstPicture = BasicPicture<const void>;
using Picture = BasicPicture<void>;

class Error : public std::runtime_error {
 public:
  Error(qrxc_code code, const char* text) : std::runtime_error(text), code_(code) {}
  qrxc_code code() const { return code_; }

 private:
  qrxc_code code_;
};

struct Outcome {
  qrxc_code code;  // QRXC_DONE or QRXC_DAMAGED
  qrxc_report report;

  bool isWhole() const { return code == QRXC_DONE; }
};

class Coder {
 public:
  Coder() : coder_(qrxc_open()) {
    if (coder_ == nullptr) throw std::bad_alloc();
  }

  qrxc_coder* get() const { return coder_.get(); }

  // Into memory of the caller's; gives the JPEG's length.
  std::size_t encode(const ConstPicture& picture, int quality, qrxc_sampling sampling, void* jpeg,
                     std::size_t capacity) {
    std::size_t size = 0;
    check(qrxc_encode(get(), picture.pixels, &picture.layout, quality, sampling, jpeg, capacity,
                      &size));
    return size;
  }
  std::vector<std::uint8_t> encode(const ConstPicture& picture, int quality,
                                   qrxc_sampling sampling) {
    const qrxc_layout& l = picture.layout;
    const std::size_t bound = qrxc_bound(l.width, l.height, l.format, sampling);
    const std::unique_ptr<std::uint8_t[]> room(new std::uint8_t[bound > 0 ? bound : 1]);
    const std::size_t size = encode(picture, quality, sampling, room.get(), bound);
    return std::vector<std::uint8_t>(room.get(), room.get() + size);
  }

  qrxc_info info(Bytes jpeg) {
    qrxc_info result = {};
    check(qrxc_read_info(get(), jpeg.data, jpeg.size, &result));
    return result;
  }
  Outcome decode(Bytes jpeg, const Picture& picture) {
    Outcome outcome = {};
    outcome.code = check(
        qrxc_decode(get(), jpeg.data, jpeg.size, picture.pixels, &picture.layout, &outcome.report));
    return outcome;
  }

  // `take` is called with the Bytes of each packet; what it throws passes through.
  template <typename Take>
  void encodePackets(const ConstPicture& picture, int quality, qrxc_sampling sampling,
                     const qrxc_place& place, Take&& take) {
    Hand<Take> hand = {take, nullptr};
    const qrxc_code code = qrxc_encode_packets(get(), picture.pixels, &picture.layout, quality,
                                               sampling, &place, Hand<Take>::give, &hand);
    if (hand.thrown) std::rethrow_exception(hand.thrown);
    check(code);
  }
  qrxc_packet packet(Bytes bytes) {
    qrxc_packet told = {};
    check(qrxc_read_packet(get(), bytes.data, bytes.size, &told));
    return told;
  }
  Outcome decodePacket(Bytes bytes, const Picture& picture, qrxc_packet* told = nullptr) {
    Outcome outcome = {};
    outcome.code = check(qrxc_decode_packet(get(), bytes.data, bytes.size, picture.pixels,
                                            &picture.layout, told, &outcome.report));
    return outcome;
  }

 private:
  // An exception waits until the library's call is over: packets behind it are not taken.
  template <typename Take>
  struct Hand {
    Take& take;
    std::exception_ptr thrown;

    static void give(void* user, const std::uint8_t* packet, std::size_t size) {
      auto& hand = *static_cast<Hand*>(user);
      if (hand.thrown) return;
      try {
        hand.take(Bytes(packet, size));
      } catch (...) {
        hand.thrown = std::current_exception();
      }
    }
  };
  struct Close {
    void operator()(qrxc_coder* coder) const { qrxc_close(coder); }
  };

  qrxc_code check(qrxc_code code) const {
    if (code < QRXC_DONE) throw Error(code, qrxc_text(get()));
    return code;
  }

  std::unique_ptr<qrxc_coder, Close> coder_;
};

}  // namespace qrx::host

#endif  // QRX_QRX_HPP_
