// The module's side: a direct user of the encoder class.
#include "qrx/jpeg_encoder.h"

extern "C" {

// `pixels`: gray, or blue, green, red, tightly packed. `mode`: 0 baseline, 1 progressive,
// 2 lossless. `restart`: MCUs between restart markers, or 0. A _JPEG_ERROR code; the stream's
// length in *size.
QRX_API int qrxToolEncode(const std::uint8_t* pixels, int channels, int width, int height,
                          int quality, int sampling, int mode, int restart, std::uint8_t* stream,
                          int capacity, int* size) {
  const bool gray = channels == 1;
  CJPEGEncoder encoder;
  encoder.SetSource(pixels, channels * width, {width, height}, channels,
                    gray ? JPEG_COLOR_GRAY : JPEG_COLOR_BGR);
  encoder.SetDestination(stream, capacity, quality, static_cast<_JPEG_SAMPLING>(sampling),
                         gray ? JPEG_COLOR_GRAY : JPEG_COLOR_YCBCR, static_cast<_JPEG_MODE>(mode),
                         restart);
  int result = JPEG_NOT_SUPPORTED;
  switch (encoder.mode) {
    case JPEG_MODE_BASELINE: result = encoder.WriteImageBaseline(); break;
    case JPEG_MODE_PROGRESSIVE: result = encoder.WriteImageProgressive(); break;
    case JPEG_MODE_LOSSLESS: result = encoder.WriteImageLossless(); break;
  }
  *size = encoder.stream.position;
  return result;
}

QRX_API const char* qrxToolErrorText(int code) {
  return GetErrorStr(static_cast<_JPEG_ERROR>(code));
}

}  // extern "C"
