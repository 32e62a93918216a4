// What the band routes keep of a progressive image. It lasts from image to image.
#ifndef QRX_CODECS_JPEG_LIBRARY_BAND_ROOM_H_
#define QRX_CODECS_JPEG_LIBRARY_BAND_ROOM_H_

#include <cstdint>
#include <memory>

#include "primitives/strips/bands.h"

namespace qrx::jpeg {

class BandRoom {
 public:
  // Makes room, at most twice what the image needs, for its notes and DC values by its store and
  // grids, and for tokens. False without memory.
  bool fit(strips::StoreOut* image, strips::Tokens* tokens);

 private:
  std::unique_ptr<Ipp8u[]> memory_;
  std::int64_t size_ = 0;
};

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_BAND_ROOM_H_
