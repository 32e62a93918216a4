// Which images the fused routes of the encoder take, and what they read of it. All others go
// through its stages one after another.
#ifndef QRX_CODECS_JPEG_LIBRARY_ENCODER_ROUTE_H_
#define QRX_CODECS_JPEG_LIBRARY_ENCODER_ROUTE_H_

#include "primitives/strips/strips.h"
#include "qrx/jpeg_encoder.h"

namespace qrx::jpeg {

// Three colours in lines of pixels, of so many bytes, that do not overlap. The encoder is
// initialised.
bool hasRoutePixels(const CJPEGEncoder& encoder, int pixelBytes);

// As many components as the routes code, for baseline.
bool hasRouteComponents(const CJPEGEncoder& encoder);

// Of an encoder with components.
strips::Layout layoutOf(const CJPEGEncoder& encoder);

// A buffer to write to, and a state of its bits.
bool hasRouteStream(const CJPEGEncoder& encoder);

// The source's pixels but for the lines.
strips::PixelsIn routePixels(const CJPEGEncoder& encoder, int pixelBytes);

// One table to each component. False where the routes do not multiply by such a table: none that a
// quality gives.
bool takeMultipliers(const CJPEGEncoder& encoder, const Ipp16u** quant);

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_ENCODER_ROUTE_H_
