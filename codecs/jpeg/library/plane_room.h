// Planes that a strip's routes work in. They last from image to image.
#ifndef QRX_CODECS_JPEG_LIBRARY_PLANE_ROOM_H_
#define QRX_CODECS_JPEG_LIBRARY_PLANE_ROOM_H_

#include <cstdint>
#include <memory>

#include "primitives/strips/strips.h"

namespace qrx::jpeg {

// Sees to room for `size` bytes, at most twice as many, whose content is not kept. False without
// memory.
bool fitBuffer(std::unique_ptr<Ipp8u[]>* buffer, std::int64_t* held, std::int64_t size);

class PlaneRoom {
 public:
  // Makes room for strips of `mcus` MCUs: at most twice what strips of `widest` need, which is at
  // least `mcus`. False without memory.
  bool fit(strips::Layout layout, int mcus, int widest);

  // Above each plane of chroma there is room for one line more, with its guards.
  const strips::Planes& planes() const { return planes_; }

 private:
  std::unique_ptr<Ipp8u[]> memory_;
  std::int64_t size_ = 0;
  strips::Planes planes_ = {};
};

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_PLANE_ROOM_H_
