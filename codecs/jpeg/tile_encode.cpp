// The packet road out: a rectangle becomes a run of packets on the thread's encoder. This road
// reports nothing.
#include "codecs/jpeg/malloc_buffer.h"
#include "codecs/jpeg/source_image.h"
#include "codecs/jpeg/thread_coders.h"
#include "qrx/front_end.h"

using namespace qrx::codec;

namespace {

constexpr int kMaxSide = 32767;  // the head has signed 16-bit fields
// Room behind the capacity that the encoder is told.
constexpr std::int64_t kSpareRoom = 4096;

bool encodeTiles(const std::uint8_t* image, int width, int height, int channels, udp_header* header,
                 const qrxTilesArgs_type& args, qrxPacketFunction packetFunction, void* context) {
  if (image == nullptr || packetFunction == nullptr) return false;
  const PixelLayout layout = pixelLayout(args);
  if (!isCodableSize(layout, width, height, kMaxSide)) return false;
  ThreadCoders* coders = getTilesContext();
  if (coders == nullptr) return false;

  const std::int64_t capacity = streamCapacity(layout, width, height);
  // All packets of the call are made one behind the other in one buffer.
  const MallocBuffer buffer = allocateBuffer(capacity + kSpareRoom);

  CJPEGEncoder& encoder = *coders->encoder;
  encoder.Clean();
  setSource(encoder, image, {width, height}, layout, channels == 4 && args.useAlpha == 0);
  encoder.SetDestinationTiles(buffer.get(), static_cast<int>(capacity), args.quality,
                              static_cast<_JPEG_SAMPLING>(args.sampling), layout.jpeg,
                              JPEG_MODE_BASELINE, 0, 0);
  encoder.WriteImageBaselineCB(nullptr, header, buffer.get(), packetFunction, context);
  return true;
}

}  // namespace

extern "C" {

int CompressTilesPatch(const std::uint8_t* image, int channels, int width, int height,
                       udp_header* header, const qrxTilesArgs_type* args,
                       qrxPacketFunction packetFunction, void* context) {
  if (!isKnownFormat(args->format)) return 1;
  return encodeTiles(image, width, height, channels, header, *args, packetFunction, context) ? 1
                                                                                             : 0;
}

void qrx_jpeg_encode_tiles(const std::uint8_t* image, int width, int height, int channels,
                           udp_header* header, const qrxTilesArgs_type* args,
                           qrxPacketFunction packetFunction, void* context) {
  if (!isKnownFormat(args->format)) return;
  encodeTiles(image, width, height, channels, header, *args, packetFunction, context);
}

}  // extern "C"
