// What the encoder's writers share: their set-up, and the steps of a walk over blocks.
#ifndef QRX_CODECS_JPEG_LIBRARY_ENCODER_STAGES_H_
#define QRX_CODECS_JPEG_LIBRARY_ENCODER_STAGES_H_

#include <cstddef>

#include "codecs/jpeg/library/mcu_walk.h"
#include "codecs/jpeg/library/result.h"
#include "qrx/jpeg_encoder.h"
#include "qrx/primitives.h"

namespace qrx::jpeg {

// Whether the coefficients of a progressive image are zero after Init, or whatever was in their
// memory: then the writer has to set all of them, or to clear them.
enum class CoefficientStore { kCleared, kUnwritten };

// Init for a writer of one mode: buffers and grid of another mode would not fit its walk. Where it
// fails, coefficients are zero.
int initFor(CJPEGEncoder& encoder, _JPEG_MODE mode,
            CoefficientStore store = CoefficientStore::kCleared);

// Of a progressive image that is initialised.
void clearCoefficients(CJPEGEncoder& encoder);

// JFIF's segment or Adobe's, as the stream's colour asks.
int writeApplicationSegment(CJPEGEncoder& encoder);

// The walk over the blocks of an initialised encoder.
inline MCUWalk walkOf(const CJPEGEncoder& encoder) {
  return MCUWalk(encoder.components, encoder.component_count, encoder.mcus_across);
}

// Counts one MCU, or block of a single component, into the restart interval; `close` ends an
// interval that is full.
template <typename Close>
int openInterval(CJPEGEncoder& encoder, const Close& close) {
  if (encoder.restart_interval == 0) return JPEG_NO_ERROR;
  if (encoder.restarts_to_go == 0) QRX_TRY(close());
  --encoder.restarts_to_go;
  return JPEG_NO_ERROR;
}

// The samples of a component.
struct PlaneView {
  const Ipp8u* samples;
  int step;  // bytes from line to line
};

// Transforms and quantises the block at `place` of a component's plane.
inline int transformBlock(const CJPEGEncoder& encoder, const CJPEGColorComponent& c,
                          const PlaneView& plane, const BlockPlace& place, Ipp16s* block) {
  const std::ptrdiff_t offset = std::ptrdiff_t{8} * place.line * plane.step;
  return resultOf(ippiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(
      plane.samples + offset + std::ptrdiff_t{8} * place.column, plane.step, block,
      encoder.quant_tables[c.q_selector].fwd_table));
}

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_ENCODER_STAGES_H_
