// The start and the common parts of the marker segments that the encoder writes (T.81 B.1.1.4).
#ifndef QRX_CODECS_JPEG_LIBRARY_SEGMENT_WRITER_H_
#define QRX_CODECS_JPEG_LIBRARY_SEGMENT_WRITER_H_

#include <cstdint>

#include "codecs/jpeg/library/result.h"
#include "qrx/jpeg_encoder.h"

namespace qrx::jpeg {

// The room test counts the length word's value, not the marker in front of it, and asks for one
// byte to spare. The bound of the buffer itself is kept by the stream in every case.
inline int needRoom(const _bitstream& stream, int size) {
  return std::int64_t{stream.position} + size < stream.capacity ? JPEG_NO_ERROR
                                                                : JPEG_BUFFER_TOO_SMALL;
}

// A marker that stands alone.
inline int writeMarker(_bitstream& stream, int marker) {
  QRX_TRY(needRoom(stream, 2));
  return stream._WRITE_WORD(marker);
}

// A segment's marker and its length word, which counts itself and what follows.
inline int beginSegment(_bitstream& stream, int marker, int length) {
  QRX_TRY(needRoom(stream, length));
  stream._WRITE_WORD(marker);
  stream._WRITE_WORD(length);
  return JPEG_NO_ERROR;
}

// The number of components, and for each its identifier, sampling factors and quantisation table,
// as the frame header and the packet segment end.
inline void writeComponents(CJPEGEncoder& encoder) {
  _bitstream& stream = encoder.stream;
  stream._WRITE_BYTE(encoder.component_count);
  for (int i = 0; i < encoder.component_count; ++i) {
    const CJPEGColorComponent& c = *encoder.components[i];
    stream._WRITE_BYTE(i);
    stream._WRITE_BYTE(c.hsampling << 4 | c.vsampling);
    stream._WRITE_BYTE(c.q_selector);
  }
}

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_SEGMENT_WRITER_H_
