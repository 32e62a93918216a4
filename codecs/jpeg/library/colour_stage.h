// The encoder's colour stage, as its other files see it.
#ifndef QRX_CODECS_JPEG_LIBRARY_COLOUR_STAGE_H_
#define QRX_CODECS_JPEG_LIBRARY_COLOUR_STAGE_H_

#include "qrx/jpeg_encoder.h"

namespace qrx::jpeg {

// Whether the stage has a conversion for the pair. Without one it fills no buffer.
bool hasColorConversion(_JPEG_COLOR source, _JPEG_COLOR jpeg);

// Whether BGR strips go through the table of all colours: the environment variable
// ZMT_COLOR_CONVERSION is 1. It is read once per process.
bool useColourTable();

// The last strip has fewer source lines than the others: strip_rows for `strip` and those behind
// it.
void settleStripRows(CJPEGEncoder& encoder, int strip);

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_COLOUR_STAGE_H_
