// What pictures and packets share on their way in.
#ifndef QRX_CODECS_JPEG_C_INTERFACE_DECODING_H_
#define QRX_CODECS_JPEG_C_INTERFACE_DECODING_H_

#include "codecs/jpeg/c_interface/pixels.h"
#include "codecs/jpeg/library/decoder/decoder_room.h"
#include "codecs/jpeg/library/result.h"

namespace qrx::codec {

inline void startDecoder(CJPEGDecoder& decoder, const std::uint8_t* bytes, std::size_t size) {
  jpeg::keepTables(decoder);
  decoder.Clean();
  decoder.Reset();
  decoder.SetSource(bytes, static_cast<int>(size));
}

// Sets the destination and what it lacks. Throws std::bad_alloc.
inline void setTarget(CJPEGDecoder& decoder, const Pixels& pixels, IppiSize size,
                      _JPEG_COLOR color) {
  decoder.SetDestination(pixels.first, plainStep(pixels.step), size, pixels.format.channels, color,
                         8);
  int result = JPEG_NO_ERROR;
  if (pixels.format.bytes != pixels.format.channels) result = jpeg::setFourByteDestination(decoder);
  if (result == JPEG_NO_ERROR && !isPlainStep(pixels.step)) {
    result = jpeg::setWideStep(decoder, pixels.step);
  }
  if (result != JPEG_NO_ERROR) throw std::bad_alloc();
}

// Whether a result of the decoder's is want of memory.
inline bool lacksMemory(const CJPEGDecoder& decoder, int result) {
  return result == JPEG_OUT_OF_MEMORY || jpeg::DecoderRoom::existing(decoder)->lacksMemory;
}

inline std::int64_t goodMcus(const CJPEGDecoder& decoder) {
  return jpeg::DecoderRoom::existing(decoder)->goodMcus;
}
inline int goodRows(const CJPEGDecoder& decoder) {
  return jpeg::DecoderRoom::existing(decoder)->goodRows;
}
inline bool isFaulty(const CJPEGDecoder& decoder) {
  return jpeg::DecoderRoom::existing(decoder)->isFaulty;
}

}  // namespace qrx::codec

#endif  // QRX_CODECS_JPEG_C_INTERFACE_DECODING_H_
