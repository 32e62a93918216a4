// Memory that begins or ends at a page that nobody may touch.
#ifndef QRX_TESTS_SUPPORT_FENCED_BYTES_H_
#define QRX_TESTS_SUPPORT_FENCED_BYTES_H_

#include <sys/mman.h>
#include <unistd.h>

#include <new>
#include <span>

namespace qrx::test {

enum class Fence { kBefore, kAfter };

class FencedBytes {
 public:
  FencedBytes(size_t size, Fence fence) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t inner = (size + page - 1) / page * page;
    length_ = inner + 2 * page;
    mapped_ = mmap(nullptr, length_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped_ == MAP_FAILED) throw std::bad_alloc();
    auto* const first = static_cast<unsigned char*>(mapped_) + page;
    mprotect(mapped_, page, PROT_NONE);
    mprotect(first + inner, page, PROT_NONE);
    bytes = {first + (fence == Fence::kAfter ? inner - size : 0), size};
  }
  FencedBytes(const FencedBytes&) = delete;
  FencedBytes& operator=(const FencedBytes&) = delete;
  ~FencedBytes() { munmap(mapped_, length_); }

  std::span<unsigned char> bytes;

 private:
  size_t length_;
  void* mapped_;
};

}  // namespace qrx::test

#endif  // QRX_TESTS_SUPPORT_FENCED_BYTES_H_
