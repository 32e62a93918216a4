#include "codecs/jpeg/library/coefficient_room.h"

#include <utility>

#include "qrx/primitives.h"

namespace qrx::jpeg {

Ipp16s* CoefficientRoom::take(int size) {
  if (size_ < size || size_ / 2 > size) release();
  Ipp16s* memory = std::exchange(kept_, nullptr);
  if (memory == nullptr) {
    memory = static_cast<Ipp16s*>(ippMalloc(size));
    size_ = size;
  }
  taken_ = memory;
  return memory;
}

void CoefficientRoom::giveBack(Ipp16s* memory) {
  if (memory == nullptr) return;
  if (memory != std::exchange(taken_, nullptr)) return ippFree(memory);
  release();
  kept_ = memory;
}

void CoefficientRoom::release() {
  ippFree(kept_);
  kept_ = nullptr;
}

}  // namespace qrx::jpeg
