// The packet road out: a rectangle becomes a run of packets on the thread's encoder. This road
// reports nothing.
#include "codecs/jpeg/compress_args.h"
#include "codecs/jpeg/jpeg_codec.h"
#include "codecs/jpeg/malloc_buffer.h"
#include "codecs/jpeg/packets/packet_head.h"
#include "codecs/jpeg/source_image.h"
#include "codecs/jpeg/thread_coders.h"
#include "qrx/front_end.h"

namespace qrx::codec {
namespace {

constexpr std::uint8_t kWrittenKind = 231;  // the host makes it 1: qrxMarkPacket
// Room behind the capacity that the encoder is told.
constexpr std::int64_t kSpareRoom = 4096;

std::uint8_t mcuShapeOf(_JPEG_SAMPLING sampling) {
  const int across = sampling == JPEG_SAMPLING_444 ? 1 : 2;
  const int down = sampling == JPEG_SAMPLING_420 ? 2 : 1;
  return static_cast<std::uint8_t>(across << 4 | down);
}

std::int16_t low16(std::uint32_t value) { return static_cast<std::int16_t>(value); }

// Carries the host's callback through the encoder's packet function.
struct CallbackClosure {
  CompressCallback callback;
  void* userData;
};

void handPacketOver(std::uint8_t* packet, int length, void* context) {
  const auto* closure = static_cast<const CallbackClosure*>(context);
  closure->callback(packet, static_cast<std::uint32_t>(length), closure->userData);
}

bool encodePackets(const std::uint8_t* image, int width, int height, int channels,
                   udp_header* header, const qrxTilesArgs_type& args,
                   qrxPacketFunction packetFunction, void* context) {
  if (image == nullptr || packetFunction == nullptr) return false;
  const PixelLayout layout = pixelLayout(args);
  if (!isCodableSize(layout, width, height, kMaxRectangleSide)) return false;
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

bool JpegCompressor::compress(const std::uint8_t* image, std::uint32_t channels,
                              std::uint32_t window, std::uint32_t index, std::uint32_t x,
                              std::uint32_t y, std::uint32_t width, std::uint32_t height,
                              std::uint32_t, std::uint32_t, std::uint32_t quality,
                              CompressCallback callback, void* userData) {
  if (callback == nullptr || userData == nullptr) return false;
  const qrxTilesArgs_type args = compressArgs(quality, sampling_);
  udp_header header = {};
  header.headerSize = kHeadSize;
  header.contextByte = static_cast<const std::uint8_t*>(userData)[4];
  header.kind = kWrittenKind;
  header.mcuShape = mcuShapeOf(sampling_);
  header.window = window;
  header.index = static_cast<std::int32_t>(index);
  header.x = header.frameX = low16(x);
  header.y = header.frameY = low16(y);
  header.width = header.frameWidth = low16(width);
  header.height = header.frameHeight = low16(height);
  CallbackClosure closure = {callback, userData};
  return CompressTilesPatch(image, static_cast<int>(channels), static_cast<int>(width),
                            static_cast<int>(height), &header, &args, handPacketOver,
                            &closure) != 0;
}

}  // namespace qrx::codec

extern "C" {

int CompressTilesPatch(const std::uint8_t* image, int channels, int width, int height,
                       udp_header* header, const qrxTilesArgs_type* args,
                       qrxPacketFunction packetFunction, void* context) {
  using namespace qrx::codec;
  if (!isKnownFormat(args->format)) return 1;
  return encodePackets(image, width, height, channels, header, *args, packetFunction, context) ? 1
                                                                                               : 0;
}

void qrx_jpeg_encode_tiles(const std::uint8_t* image, int width, int height, int channels,
                           udp_header* header, const qrxTilesArgs_type* args,
                           qrxPacketFunction packetFunction, void* context) {
  using namespace qrx::codec;
  if (!isKnownFormat(args->format)) return;
  encodePackets(image, width, height, channels, header, *args, packetFunction, context);
}

}  // extern "C"
