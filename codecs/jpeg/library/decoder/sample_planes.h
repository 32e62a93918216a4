// Where the inverse transform puts a component's samples: a row of MCUs, or a whole image, that
// still has to be up-sampled.
#ifndef QRX_CODECS_JPEG_LIBRARY_DECODER_SAMPLE_PLANES_H_
#define QRX_CODECS_JPEG_LIBRARY_DECODER_SAMPLE_PLANES_H_

#include <cstddef>

#include "codecs/jpeg/library/mcu_walk.h"
#include "codecs/jpeg/library/result.h"
#include "qrx/jpeg_decoder.h"
#include "qrx/primitives.h"

namespace qrx::jpeg {

struct SamplePlane {
  Ipp8u* first;  // the first sample, behind the guards of a reduced component
  int step;      // bytes from line to line
};

// Bytes from line to line of a reduced component's row of MCUs: the samples and a guard at each
// end.
inline int reducedStep(const CJPEGDecoder& decoder) { return decoder.strip_stride / 2 + 2; }

// Of one row of MCUs. A component at full resolution goes straight to where colours are converted.
inline SamplePlane stripPlane(const CJPEGDecoder& decoder, const CJPEGColorComponent& c) {
  if (c.h_factor == 1) return {c.cc_buffer, decoder.strip_stride};
  const int step = reducedStep(decoder);
  return {c.ss_buffer + (c.v_factor == 2 ? step : 0) + 1, step};
}

// Of the whole image.
inline SamplePlane imagePlane(const CJPEGDecoder& decoder, const CJPEGColorComponent& c) {
  const int step = decoder.strip_stride;
  return {c.ss_buffer + (c.v_factor == 2 ? step : 0) + (c.h_factor == 2 ? 1 : 0), step};
}

// Multiplies a block by its quantisation table and transforms it into its place of `plane`.
inline int transformBlock(const CJPEGDecoder& decoder, const CJPEGColorComponent& c,
                          const Ipp16s* block, const SamplePlane& plane, const BlockPlace& place) {
  Ipp8u* const line = plane.first + std::ptrdiff_t{8} * place.line * plane.step;
  return resultOf(
      ippiDCTQuantInv8x8LS_JPEG_16s8u_C1R(block, line + std::ptrdiff_t{8} * place.column,
                                          plane.step, decoder.quant_tables[c.q_selector].inverse));
}

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_DECODER_SAMPLE_PLANES_H_
