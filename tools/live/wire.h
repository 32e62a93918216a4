// Little-endian numbers to and from bytes.
#ifndef QRX_TOOLS_LIVE_WIRE_H_
#define QRX_TOOLS_LIVE_WIRE_H_

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace qrx::tool {

class WireWriter {
 public:
  void u8(std::uint8_t value) { data_.push_back(value); }
  void u32(std::uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) u8(static_cast<std::uint8_t>(value >> shift));
  }
  void u64(std::uint64_t value) {
    u32(static_cast<std::uint32_t>(value));
    u32(static_cast<std::uint32_t>(value >> 32));
  }
  void bytes(std::span<const std::uint8_t> data) {
    data_.insert(data_.end(), data.begin(), data.end());
  }
  void reserve(std::size_t size) { data_.reserve(size); }
  std::span<const std::uint8_t> written() const { return data_; }
  std::vector<std::uint8_t> take() { return std::move(data_); }

 private:
  std::vector<std::uint8_t> data_;
};

// Reading past the end gives zeros and is remembered.
class WireReader {
 public:
  explicit WireReader(std::span<const std::uint8_t> data) : data_(data) {}

  std::uint8_t u8() {
    const std::span<const std::uint8_t> byte = bytes(1);
    return byte.empty() ? std::uint8_t{0} : byte[0];
  }
  std::uint32_t u32() {
    std::uint32_t value = 0;
    for (int shift = 0; shift < 32; shift += 8) value |= std::uint32_t{u8()} << shift;
    return value;
  }
  std::uint64_t u64() {
    const std::uint64_t low = u32();
    return low | std::uint64_t{u32()} << 32;
  }
  std::span<const std::uint8_t> bytes(std::size_t count) {
    if (count > data_.size()) {
      failed_ = true;
      data_ = {};
      return {};
    }
    const std::span<const std::uint8_t> taken = data_.first(count);
    data_ = data_.subspan(count);
    return taken;
  }
  std::size_t left() const { return data_.size(); }
  bool failed() const { return failed_; }

 private:
  std::span<const std::uint8_t> data_;
  bool failed_ = false;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_WIRE_H_
