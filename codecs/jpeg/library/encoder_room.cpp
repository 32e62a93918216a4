#include "codecs/jpeg/library/encoder_room.h"

#include <new>
#include <utility>

#include "qrx/primitives.h"

namespace qrx::jpeg {

EncoderRoom* EncoderRoom::of(CJPEGEncoder& encoder) {
  if (encoder.room_ == nullptr) encoder.room_ = new (std::nothrow) EncoderRoom;
  return encoder.room_;
}

void EncoderRoom::giveBackCoefficients(CJPEGEncoder& encoder) {
  Ipp16s* const coefficients = std::exchange(encoder.coefficients, nullptr);
  if (encoder.room_ != nullptr) {
    encoder.room_->coefficients.giveBack(coefficients);
  } else {
    ippFree(coefficients);
  }
}

void EncoderRoom::releaseCoefficients(const CJPEGEncoder& encoder) {
  if (encoder.room_ != nullptr) encoder.room_->coefficients.release();
}

int setFourByteSource(CJPEGEncoder& encoder) {
  EncoderRoom* const room = EncoderRoom::of(encoder);
  if (room == nullptr) return JPEG_OUT_OF_MEMORY;
  room->pixelBytes = 4;
  return JPEG_NO_ERROR;
}

int setWideSourceStep(CJPEGEncoder& encoder, std::ptrdiff_t step) {
  EncoderRoom* const room = EncoderRoom::of(encoder);
  if (room == nullptr) return JPEG_OUT_OF_MEMORY;
  room->wideStep = step;
  return JPEG_NO_ERROR;
}

}  // namespace qrx::jpeg
