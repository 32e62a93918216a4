#include "codecs/jpeg/library/plane_room.h"

#include <cstddef>
#include <new>

namespace qrx::jpeg {
namespace {

constexpr std::int64_t kCacheLine = 64;

// An odd number of cache lines, so that lines one above the other do not share their places in the
// cache.
std::int64_t stepFor(std::int64_t width) {
  const std::int64_t lines = (width + 2 * strips::kGuard + kCacheLine - 1) / kCacheLine;
  return (lines | 1) * kCacheLine;
}

// In bytes, of strips of `mcus` MCUs.
struct PlaneSizes {
  std::int64_t lumaStep, chromaStep, luma, chroma;

  PlaneSizes(strips::Layout layout, int mcus) {
    const std::int64_t width = std::int64_t{8} * (mcus + mcus % 2);
    lumaStep = stepFor(layout.across * width);
    chromaStep = stepFor(width);
    luma = 8 * layout.down * lumaStep;
    chroma = 9 * chromaStep;
  }

  std::int64_t all() const { return luma + 2 * chroma + kCacheLine; }
};

}  // namespace

bool fitBuffer(std::unique_ptr<Ipp8u[]>* buffer, std::int64_t* held, std::int64_t size) {
  if (*held >= size && *held <= 2 * size) return true;
  buffer->reset();  // never both at once
  buffer->reset(new (std::nothrow) Ipp8u[static_cast<std::size_t>(size)]);
  *held = *buffer != nullptr ? size : 0;
  return *buffer != nullptr;
}

bool PlaneRoom::fit(strips::Layout layout, int mcus, int widest) {
  if (!fitBuffer(&memory_, &size_, PlaneSizes(layout, widest).all())) return false;
  const PlaneSizes sizes(layout, mcus);
  const auto start = reinterpret_cast<std::uintptr_t>(memory_.get());
  Ipp8u* const first = memory_.get() + (-start & (kCacheLine - 1)) + strips::kGuard;
  Ipp8u* const chroma = first + sizes.luma + sizes.chromaStep;
  const int lumaStep = static_cast<int>(sizes.lumaStep);
  const int chromaStep = static_cast<int>(sizes.chromaStep);
  planes_ = {{first, chroma, chroma + sizes.chroma}, {lumaStep, chromaStep, chromaStep}};
  return true;
}

}  // namespace qrx::jpeg
