// Reads the bytes of one marker segment. Past the end of the data every read gives 0.
#ifndef QRX_CODECS_JPEG_LIBRARY_DECODER_SEGMENT_READER_H_
#define QRX_CODECS_JPEG_LIBRARY_DECODER_SEGMENT_READER_H_

#include <climits>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "codecs/jpeg/library/decoder/decoder_stages.h"
#include "codecs/jpeg/library/result.h"
#include "qrx/jpeg_decoder.h"

namespace qrx::jpeg {

struct SegmentReader {
  explicit SegmentReader(_bitstream& source) : stream(source) {}

  // Whether a word stands at the position, and something behind it.
  int needWord() const {
    return std::int64_t{stream.position} + 2 < stream.capacity ? JPEG_NO_ERROR
                                                               : JPEG_BUFFER_TOO_SMALL;
  }

  // Reads the segment's length word.
  int open() {
    QRX_TRY(needWord());
    const int length = readWord();
    if (length < 2) return JPEG_BAD_SEGMENT_LENGTH;
    remaining = length - 2;
    return JPEG_NO_ERROR;
  }

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

  // What lies past the end of the data becomes 0.
  void readBytes(std::span<Ipp8u> target) {
    for (Ipp8u& byte : target) byte = static_cast<Ipp8u>(readByte());
  }

  // Whether the next bytes are those of `text`; they are passed over if so.
  bool take(std::string_view text) {
    const int length = static_cast<int>(text.size());
    if (length > stream.capacity - stream.position) return false;
    if (std::memcmp(stream.data + stream.position, text.data(), text.size()) != 0) return false;
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

// Opens the segment at the position, lets `read(decoder, segment)` take what it brings, and puts
// the marker away. The first non-zero result is returned, and the marker stays.
template <typename Read>
int parseSegment(CJPEGDecoder& decoder, const Read& read) {
  SegmentReader segment(decoder.stream);
  QRX_TRY(segment.open());
  QRX_TRY(read(decoder, segment));
  return clearMarker(decoder);
}

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_DECODER_SEGMENT_READER_H_
