// The frame road out: one frame of pixels becomes one baseline JPEG on the thread's encoder.
#include "codecs/jpeg/diagnostics.h"
#include "codecs/jpeg/library/image_limits.h"
#include "codecs/jpeg/malloc_buffer.h"
#include "codecs/jpeg/source_image.h"
#include "codecs/jpeg/thread_coders.h"
#include "qrx/front_end.h"

using namespace qrx::codec;

namespace {

void releaseBuffer(void* buffer) { std::free(buffer); }

std::uint8_t* refuse(const char* text, int* size) {
  printError(text);
  *size = 0;
  return nullptr;
}

}  // namespace

extern "C" {

int CompressPatch(const std::uint8_t* image, int channels, int width, int height,
                  std::uint8_t** output, qrxReleaseFunction* release, int* size,
                  const qrxJPEGArgs_type* args) {
  if (!isKnownFormat(args->format)) {
    printError(kInvalidFormat);
    return 1;
  }
  *output = qrx_jpeg_encode(image, width, height, args, size, release, channels);
  return *output != nullptr ? 1 : 0;
}

std::uint8_t* qrx_jpeg_encode(const std::uint8_t* image, int width, int height,
                              const qrxJPEGArgs_type* args, int* size, qrxReleaseFunction* release,
                              int channels) {
  if (!isKnownFormat(args->format)) return refuse(kInvalidFormat, size);
  if (image == nullptr) return refuse(kInvalidArgument, size);
  const PixelLayout layout = pixelLayout(*args);
  if (!isCodableSize(layout, width, height, kMaxImageSide)) return refuse(kInvalidSize, size);
  ThreadCoders* coders = getJpegContext();
  if (coders == nullptr) return refuse(kNoCoders, size);

  const std::int64_t capacity = streamCapacity(layout, width, height);
  MallocBuffer buffer = allocateBuffer(capacity);
  *release = releaseBuffer;

  CJPEGEncoder& encoder = *coders->encoder;
  encoder.Clean();
  setSource(encoder, image, {width, height}, layout, channels == 4 && args->useAlpha == 0);
  encoder.SetDestination(buffer.get(), static_cast<int>(capacity), args->quality,
                         static_cast<_JPEG_SAMPLING>(args->sampling), layout.jpeg,
                         JPEG_MODE_BASELINE, 0);
  if (encoder.WriteImageBaseline() != JPEG_NO_ERROR) printFailed("WriteImageBaseline");
  *size = encoder.stream.position;
  return buffer.release();
}

}  // extern "C"
