// What all targets share: the input as typed values, limits, and ways to say what has to hold.
#ifndef QRX_FUZZ_KIT_H_
#define QRX_FUZZ_KIT_H_

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <type_traits>
#include <vector>

#if defined(__has_feature)
#if __has_feature(memory_sanitizer)
#define QRX_FUZZ_MEMORY_SANITIZER
#include <sanitizer/msan_interface.h>
#endif
#endif

namespace fuzz {

using Bytes = std::vector<std::uint8_t>;

// Larger pictures are not decoded: keeps one run short.
inline constexpr std::int64_t kMaxPixels = 1 << 18;
// What destinations hold before the library writes to them.
inline constexpr std::uint8_t kFill = 0xA5;

// Tells the place on the standard error stream: a run of one input shows it.
inline void require(bool condition, int line = __builtin_LINE(),
                    const char* file = __builtin_FILE()) {
  if (condition) return;
  std::fprintf(stderr, "%s:%d: does not hold\n", file, line);
  std::abort();
}

// Choices are taken from the end of the input, so that a stream in front of them keeps its place.
// Once it is used up they come from a fixed sequence: short inputs choose too.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : left_(data, size) {}

  template <typename T>
  T value() {
    std::make_unsigned_t<T> value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
      value = static_cast<decltype(value)>(value << (8 % (8 * sizeof(T))) | byte());
    }
    return static_cast<T>(value);
  }

  // 0 to n - 1.
  int below(int n) {
    const auto limit = static_cast<std::uint32_t>(n);
    const std::uint32_t any = n <= 256     ? byte()
                              : n <= 65536 ? value<std::uint16_t>()
                                           : value<std::uint32_t>();
    return static_cast<int>(any % limit);
  }
  bool oneIn(int n) { return below(n) == 0; }

  // What choosers of the tests draw on.
  unsigned number() { return 0x10001u * value<std::uint16_t>(); }

  // A number that is small more often than not.
  int sizeUpTo(int most) { return 1 + below(oneIn(4) ? most : most < 40 ? most : 40); }

  Bytes bytes(std::size_t count) {
    Bytes result(count);
    for (std::uint8_t& byte : result) byte = this->byte();
    return result;
  }

  // What no choice has taken, in memory of its own exact size.
  Bytes rest() const { return {left_.begin(), left_.end()}; }
  bool empty() const { return left_.empty(); }

 private:
  std::uint8_t byte() {
    if (!left_.empty()) {
      const std::uint8_t last = left_.back();
      left_ = left_.first(left_.size() - 1);
      return last;
    }
    sequence_ = sequence_ * 1664525u + 1013904223u;
    return static_cast<std::uint8_t>(sequence_ >> 24);
  }

  std::span<const std::uint8_t> left_;
  std::uint32_t sequence_ = 1;
};

// Looks at every byte of a result, so that the sanitizers see one that is not there or that nobody
// wrote.
#ifdef __clang__
__attribute__((no_sanitize("coverage")))
#endif
inline void
look(std::span<const std::uint8_t> bytes) {
#ifdef QRX_FUZZ_MEMORY_SANITIZER
  // Which takes a comparison for settled where any bit that was written differs, as in a sum's.
  __msan_check_mem_is_initialized(bytes.data(), bytes.size());
#endif
  std::uint64_t sum = 0, word = 0;
  const std::uint8_t* const data = bytes.data();
  std::size_t i = 0;
  for (; i + sizeof word <= bytes.size(); i += sizeof word) {
    std::memcpy(&word, data + i, sizeof word);
    sum = sum * 31 + word;
  }
  for (; i < bytes.size(); ++i) sum = sum * 31 + data[i];
  static volatile std::uint64_t seen;
  if (sum != seen) seen = sum;
}

}  // namespace fuzz

#endif  // QRX_FUZZ_KIT_H_
