// Reads the bytes of one marker segment. Past the end of the data every read gives 0.
#ifndef QRX_CODECS_JPEG_LIBRARY_DECODER_SEGMENT_READER_H_
#define QRX_CODECS_JPEG_LIBRARY_DECODER_SEGMENT_READER_H_

#include <climits>
#include <cstring>

#include "qrx/jpeg_decoder.h"

struct CJPEGDecoder::SegmentReader {
  explicit SegmentReader(_bitstream& source) : stream(source) {}

  int readByte() {
    int value = 0;
    stream._READ_BYTE(&value);
    --remaining;
    return value;
  }

  int readWord() {
    int value = 0;
    stream._READ_WORD(&value);
    remaining -= 2;
    return value;
  }

  // Copies `count` bytes; what lies past the end of the data becomes 0.
  void readBytes(Ipp8u* target, int count) {
    for (int i = 0; i < count; ++i) target[i] = static_cast<Ipp8u>(readByte());
  }

  // Whether the next bytes are those of `text`; they are passed over if so.
  bool take(const char* text, int length) {
    if (length > stream.capacity - stream.position) return false;
    if (std::memcmp(stream.data + stream.position, text, static_cast<std::size_t>(length)) != 0) {
      return false;
    }
    stream.position += length;
    remaining -= length;
    return true;
  }

  // Moves behind the segment, which may lie past the end of the data.
  void skipRest() {
    if (remaining > 0) {
      stream.position =
          stream.position > INT_MAX - remaining ? INT_MAX : stream.position + remaining;
    }
    remaining = 0;
  }

  _bitstream& stream;
  int remaining = 0;  // bytes of the segment that were not read yet
};

#endif  // QRX_CODECS_JPEG_LIBRARY_DECODER_SEGMENT_READER_H_
