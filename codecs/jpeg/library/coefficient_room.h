// The coefficients of a progressive image between images: pages that were touched once come without
// a fault the next time.
#ifndef QRX_CODECS_JPEG_LIBRARY_COEFFICIENT_ROOM_H_
#define QRX_CODECS_JPEG_LIBRARY_COEFFICIENT_ROOM_H_

#include "qrx/primitive_types.h"

namespace qrx::jpeg {

class CoefficientRoom {
 public:
  CoefficientRoom() = default;
  CoefficientRoom(const CoefficientRoom&) = delete;
  CoefficientRoom& operator=(const CoefficientRoom&) = delete;
  ~CoefficientRoom() { release(); }

  // Memory for `size` bytes, unwritten, for the caller to give back; what is kept, if it is no more
  // than twice as large. Null without memory.
  Ipp16s* take(int size);
  // Keeps it if it was taken last, and frees it if not.
  void giveBack(Ipp16s* memory);
  // Frees what is kept.
  void release();

 private:
  Ipp16s* kept_ = nullptr;
  const Ipp16s* taken_ = nullptr;
  int size_ = 0;  // of either
};

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_COEFFICIENT_ROOM_H_
