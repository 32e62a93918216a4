// Memory that begins or ends at a page that nobody may touch.
#ifndef QRX_TESTS_FORMS_FENCED_H_
#define QRX_TESTS_FORMS_FENCED_H_

#include <stddef.h>
#include <sys/mman.h>
#include <unistd.h>

enum class Fence { kBefore, kAfter };

class FencedBytes {
 public:
  FencedBytes(size_t size, Fence fence) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t inner = (size + page - 1) / page * page;
    length_ = inner + 2 * page;
    void* memory =
        mmap(nullptr, length_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return;
    begin_ = static_cast<unsigned char*>(memory);
    mprotect(begin_, page, PROT_NONE);
    mprotect(begin_ + page + inner, page, PROT_NONE);
    data_ = begin_ + page + (fence == Fence::kAfter ? inner - size : 0);
  }
  FencedBytes(const FencedBytes&) = delete;
  FencedBytes& operator=(const FencedBytes&) = delete;
  ~FencedBytes() {
    if (begin_ != nullptr) munmap(begin_, length_);
  }

  unsigned char* data() { return data_; }

 private:
  size_t length_ = 0;
  unsigned char* begin_ = nullptr;
  unsigned char* data_ = nullptr;
};

#endif  // QRX_TESTS_FORMS_FENCED_H_
