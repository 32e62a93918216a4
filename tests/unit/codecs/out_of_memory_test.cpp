// Every allocation by `new` that fails once: the exception reaches the caller, nothing leaks, and
// the same objects work afterwards.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <thread>

#include "qrx/codec.h"
#include "tests/support/pictures.h"
#include "tests/support/process.h"

namespace {

std::atomic<int> g_live;
thread_local int t_left = -1;  // allocations that this thread still gets; negative: all

void* allocate(std::size_t size) {
  if (t_left == 0) throw std::bad_alloc();
  if (t_left > 0) --t_left;
  void* block = std::malloc(size > 0 ? size : 1);
  if (block == nullptr) throw std::bad_alloc();
  ++g_live;
  return block;
}

void release(void* block) noexcept {
  if (block != nullptr) --g_live;
  std::free(block);
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* block) noexcept { release(block); }
void operator delete[](void* block) noexcept { release(block); }
void operator delete(void* block, std::size_t) noexcept { release(block); }
void operator delete[](void* block, std::size_t) noexcept { release(block); }

namespace qrx::test {
namespace {

void count(std::uint8_t*, std::uint32_t, void* userData) {
  ++*static_cast<std::uint64_t*>(userData);
}

// A host's whole work with a codec, on a thread whose coders are not there yet. False where
// std::bad_alloc came out of it.
bool useCodec(codec::Codec** codec, int allocations) {
  static const Image image = scenePicture({16, 16});
  bool done = false;
  std::thread([&] {
    std::uint64_t calls[2] = {};
    std::uint8_t jpeg[] = {0xFF, 0xD8, 0xFF, 0xFE, 0, 4, 'h', 'i', 0xFF, 0xD9}, target[4];
    const Buffer buffer{nullptr, jpeg, sizeof jpeg};
    try {
      t_left = allocations;
      if (*codec == nullptr) *codec = createCodec();
      codec::Compressor& compressor = *(*codec)->getCompressor();
      compressor.compress(image.pixels.data(), 4, 0, 0, 0, 0, 16, 16, 0, 80, count, calls);
      compressor.compress(image.pixels.data(), 4, 0, 1, 0, 0, 16, 16, 0, 0, 80, count, calls);
      (*codec)->getDecompressor()->decompress(&buffer, 4, 6408, target, 4);
      done = calls[0] == 2;
    } catch (const std::bad_alloc&) {
    }
    t_left = -1;
  }).join();
  return done;
}

TEST(OutOfMemory, PassesThroughAndLeavesNothing) {
  initCodec();
  errorsOf([] {
    // The process's settings are made on the way, and stay.
    codec::Codec* codec = nullptr;
    int failures = 0;
    while (!useCodec(&codec, failures)) ++failures;
    EXPECT_GT(failures, 10);
    codec->release();

    failures = 0;
    for (bool done = false; !done; ++failures) {
      const int live = g_live;
      codec = nullptr;
      done = useCodec(&codec, failures);
      EXPECT_TRUE(useCodec(&codec, -1)) << failures;  // the same object works afterwards
      codec->release();
      EXPECT_EQ(g_live, live) << failures;
    }
    EXPECT_GT(failures, 10);
  });
}

}  // namespace
}  // namespace qrx::test
