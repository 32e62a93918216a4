// The frame road in: one JPEG becomes pixels in the host's frame buffer, on the thread's decoder.
#include <algorithm>
#include <climits>
#include <new>

#include "codecs/jpeg/decoded_layout.h"
#include "codecs/jpeg/diagnostics.h"
#include "codecs/jpeg/library/decoder/decoder_room.h"
#include "codecs/jpeg/malloc_buffer.h"
#include "codecs/jpeg/thread_coders.h"
#include "qrx/front_end.h"

using namespace qrx::codec;

namespace {

struct Header {
  int width, height, components;
};

bool readHeader(CJPEGDecoder& decoder, Header* header) {
  _JPEG_COLOR color;
  _JPEG_SAMPLING sampling;
  int precision;
  const int result = decoder.ReadHeader(&header->width, &header->height, &header->components,
                                        &color, &sampling, &precision);
  if (result != JPEG_NO_ERROR) printFailed("ReadHeader");
  return result == JPEG_NO_ERROR;
}

// Decodes into `target`, whose lines are tightly packed, `bytesPerPixel` bytes a pixel; tells how
// many lines were written.
int readPixels(CJPEGDecoder& decoder, const Header& header, const DecodedLayout& layout,
               int bytesPerPixel, std::uint8_t* target) {
  decoder.SetDestination(target, bytesPerPixel * header.width, {header.width, header.height},
                         layout.channels, layout.color, 8);
  const bool fourBytes = bytesPerPixel != layout.channels;
  if (fourBytes && qrx::jpeg::setFourByteDestination(decoder) != JPEG_NO_ERROR) {
    throw std::bad_alloc();
  }
  if (decoder.ReadData() != JPEG_NO_ERROR) printFailed("ReadData");
  return std::min(qrx::jpeg::linesWritten(decoder), header.height);
}

// Spreads one channel over the first three of each pixel.
void widenGray(const std::uint8_t* gray, std::int64_t pixels, int bytesPerPixel,
               std::uint8_t* destination) {
  for (std::int64_t i = 0; i < pixels; ++i, destination += bytesPerPixel) {
    destination[0] = destination[1] = destination[2] = gray[i];
  }
}

}  // namespace

extern "C" {

int DecompressPatch(const std::uint8_t* data, int bytesPerPixel, int, int, int, int,
                    int destinationSize, int length, std::uint8_t* destination) {
  return qrx_jpeg_decode(data, length, destination, destinationSize, bytesPerPixel);
}

int qrx_jpeg_decode(const std::uint8_t* data, int length, std::uint8_t* destination,
                    int destinationSize, int bytesPerPixel) {
  if (data == nullptr || destination == nullptr || length < 0) return 0;
  if (bytesPerPixel != 3 && bytesPerPixel != 4) return 0;
  ThreadCoders* coders = getJpegContext();
  if (coders == nullptr) {
    printError(kNoCoders);
    return 0;
  }
  CJPEGDecoder& decoder = *coders->decoder;
  decoder.Clean();
  decoder.Reset();
  if (decoder.SetSource(data, length) != JPEG_NO_ERROR) printFailed("SetSource");
  Header header;
  if (!readHeader(decoder, &header)) return 1;

  DecodedLayout layout = decodedLayout(header.components);
  if (layout.channels == 0) printError(kInvalidChannels);
  if (layout.channels > bytesPerPixel) return 0;
  // A lossless image comes as one packed channel.
  const bool lossless = decoder.mode == JPEG_MODE_LOSSLESS;
  if (lossless) layout.channels = 1;

  const std::int64_t pixels = std::int64_t{header.width} * header.height;
  const std::int64_t bound = destinationSize > 0 ? destinationSize : INT64_MAX;
  if (pixels * bytesPerPixel > bound || pixels * layout.channels > INT_MAX) {
    printFailed("SetDestination");
    return 1;
  }
  if (!lossless) {
    readPixels(decoder, header, layout, bytesPerPixel, destination);
    return 1;
  }
  const MallocBuffer gray = allocateBuffer(pixels);
  const int lines = readPixels(decoder, header, layout, layout.channels, gray.get());
  widenGray(gray.get(), std::int64_t{lines} * header.width, bytesPerPixel, destination);
  return 1;
}

}  // extern "C"
