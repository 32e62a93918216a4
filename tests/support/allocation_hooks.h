// The library's allocator hooks in a test's hands: counted, filled, failing on demand.
#ifndef QRX_TESTS_SUPPORT_ALLOCATION_HOOKS_H_
#define QRX_TESTS_SUPPORT_ALLOCATION_HOOKS_H_

#include <atomic>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace qrx::test {

// In place from construction to destruction; one at a time. Give it the addresses of the library's
// i_malloc and i_free before the library is used.
class AllocationHooks {
 public:
  using Malloc = void* (*)(std::size_t);
  using Free = void (*)(void*);

  AllocationHooks(Malloc* mallocHook, Free* freeHook) : malloc_(mallocHook), free_(freeHook) {
    live_ = 0;
    left_ = INT_MAX;
    fill_ = -1;
    *malloc_ = [](std::size_t size) -> void* {
      if (left_ != INT_MAX && left_-- <= 0) return nullptr;
      ++live_;
      void* const block = std::malloc(size);
      return block != nullptr && fill_ >= 0 ? std::memset(block, fill_, size) : block;
    };
    *free_ = [](void* block) {
      if (block != nullptr) --live_;
      std::free(block);
    };
  }
  ~AllocationHooks() {
    *malloc_ = std::malloc;
    *free_ = std::free;
  }

  // Blocks that are out.
  int live() const { return live_; }
  // Lets `count` more allocations succeed and no other.
  void failAfter(int count) { left_ = count; }
  void stopFailing() { left_ = INT_MAX; }
  // What new blocks hold.
  void fillWith(int byte) { fill_ = byte; }

 private:
  inline static std::atomic<int> live_, left_, fill_;
  Malloc* malloc_;
  Free* free_;
};

}  // namespace qrx::test

#endif  // QRX_TESTS_SUPPORT_ALLOCATION_HOOKS_H_
