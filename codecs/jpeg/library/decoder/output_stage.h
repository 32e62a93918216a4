// The end of the decoder's road: planes of samples become pixels of the destination.
#ifndef QRX_CODECS_JPEG_LIBRARY_DECODER_OUTPUT_STAGE_H_
#define QRX_CODECS_JPEG_LIBRARY_DECODER_OUTPUT_STAGE_H_

#include <cstddef>
#include <optional>

#include "qrx/jpeg_decoder.h"
#include "qrx/primitives.h"

namespace qrx::jpeg {

// The stretch of a row of MCUs that a scan holds. It stands at the planes' column 0, whatever its
// place in the picture.
struct RowSpan {
  int mcus;
  int width;  // pixels of each line that the destination has
};

// Pixels of the destination.
struct Target {
  Ipp8u* pixels;        // the first
  std::ptrdiff_t step;  // bytes from line to line
  int bytesPerPixel;
  IppiSize area;  // that is written
};

// Where row `row` goes; none where the destination takes no line of it.
std::optional<Target> rowTarget(CJPEGDecoder& decoder, int row, const RowSpan& span);

// Notes that the destination has the lines of row `row`. JPEG_OUT_OF_MEMORY.
int noteWritten(CJPEGDecoder& decoder, int row);

// Whether the destination's colour is one that the stream's converts to.
bool hasConversion(const CJPEGDecoder& decoder);

// Converts `area` of the full-size planes into lines that lie `step` bytes apart. Where there is no
// conversion it writes nothing.
int interleave(const CJPEGDecoder& decoder, const Ipp8u* const planes[4], Ipp8u* target, int step,
               IppiSize area);

// Converts a row of MCUs.
int convertRow(CJPEGDecoder& decoder, int row, int slot, const RowSpan& span);

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_DECODER_OUTPUT_STAGE_H_
