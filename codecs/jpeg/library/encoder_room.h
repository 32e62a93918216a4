// What an encoder keeps beside its stated fields, from image to image: made on first use, and
// without throwing.
#ifndef QRX_CODECS_JPEG_LIBRARY_ENCODER_ROOM_H_
#define QRX_CODECS_JPEG_LIBRARY_ENCODER_ROOM_H_

#include <cstddef>
#include <cstdint>
#include <memory>

#include "codecs/jpeg/library/band_room.h"
#include "codecs/jpeg/library/coefficient_room.h"
#include "codecs/jpeg/library/plane_room.h"
#include "primitives/strips/flat_blocks.h"
#include "primitives/strips/wide_tables.h"
#include "qrx/jpeg_encoder.h"

namespace qrx::jpeg {

struct EncoderRoom {
  // Null without memory.
  static EncoderRoom* of(CJPEGEncoder& encoder);
  // Bytes of a source pixel of three channels.
  static int sourcePixelBytes(const CJPEGEncoder& encoder) {
    return encoder.room_ != nullptr ? encoder.room_->pixelBytes : 3;
  }

  // Bytes from line to line of the source.
  static std::ptrdiff_t sourceStep(const CJPEGEncoder& encoder) {
    return hasWideStep(encoder) ? encoder.room_->wideStep : encoder.source_step;
  }
  static bool hasWideStep(const CJPEGEncoder& encoder) {
    return encoder.room_ != nullptr && encoder.room_->wideStep != 0;
  }

  // The image's are the encoder's no more; they are kept where the encoder has room.
  static void giveBackCoefficients(CJPEGEncoder& encoder);
  // Frees those that are kept.
  static void releaseCoefficients(const CJPEGEncoder& encoder);

  int pixelBytes = 3;
  std::ptrdiff_t wideStep = 0;  // in the place of source_step; 0 for none
  PlaneRoom planes;
  BandRoom bands;
  CoefficientRoom coefficients;
  strips::WideCodes dcCodes[2] = {};  // by table number
  strips::WideCodes acCodes[2] = {};
  strips::FlatBlocks flat[2] = {};
  std::unique_ptr<Ipp8u[]> pixels;  // of a strip, in three bytes, for want of a route
  std::int64_t pixelsSize = 0;
};

// Tells, after SetSource, that pixels have a fourth byte, which is not read. Until the next
// SetSource. JPEG_OUT_OF_MEMORY.
int setFourByteSource(CJPEGEncoder& encoder);

// Tells, after SetSource, a step that lies outside of what source_step can say: below 0, or beyond
// an int. Until the next SetSource. JPEG_OUT_OF_MEMORY.
int setWideSourceStep(CJPEGEncoder& encoder, std::ptrdiff_t step);

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_ENCODER_ROOM_H_
