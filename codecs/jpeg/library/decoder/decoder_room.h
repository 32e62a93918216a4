// What a decoder keeps beside its stated fields, from image to image: made on first use, and
// without throwing.
#ifndef QRX_CODECS_JPEG_LIBRARY_DECODER_DECODER_ROOM_H_
#define QRX_CODECS_JPEG_LIBRARY_DECODER_DECODER_ROOM_H_

#include "qrx/jpeg_decoder.h"

namespace qrx::jpeg {

struct DecoderRoom {
  // Null without memory.
  static DecoderRoom* of(CJPEGDecoder& decoder);
  // Null where none was made yet.
  static DecoderRoom* existing(const CJPEGDecoder& decoder) { return decoder.room_; }

  int linesWritten = 0;    // of the destination, by this image
  int scansSeen = 0;       // of the data run so far
  bool outputDue = false;  // a complete progressive image whose last scan was not shown yet
};

// Lines of the destination that the image has written, from the top.
int linesWritten(const CJPEGDecoder& decoder);

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_DECODER_DECODER_ROOM_H_
