// The end of the decoder's road: planes of samples become pixels of the destination.
#ifndef QRX_CODECS_JPEG_LIBRARY_DECODER_OUTPUT_STAGE_H_
#define QRX_CODECS_JPEG_LIBRARY_DECODER_OUTPUT_STAGE_H_

#include "qrx/jpeg_decoder.h"
#include "qrx/primitives.h"

namespace qrx::jpeg {

// Converts `area` of the full-size planes into `target`; *written tells whether it did. A pair of
// colours without a conversion, or whose planes the frame lacks, writes nothing and is no error.
int interleave(const CJPEGDecoder& decoder, const Ipp8u* const planes[4], Ipp8u* target,
               IppiSize area, bool* written);

// Converts a row of MCUs, of which the destination takes `width` pixels of each line.
int convertRow(CJPEGDecoder& decoder, int row, int slot, int width);

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_DECODER_OUTPUT_STAGE_H_
