// The functions under the codec's objects: one call per frame or packet, on the calling thread's
// own coders. Hosts use codec.h; these are for programs that choose format or sampling themselves.
#ifndef QRX_FRONT_END_H_
#define QRX_FRONT_END_H_

#include <pthread.h>

#include <cstdint>

#include "qrx/export.h"
#include "qrx/tile_header.h"

// Arguments of the two compress roads.
struct qrxJPEGArgs_type {
  std::int32_t signature;  // 1972; read by nobody
  std::int32_t quality;    // 1 up
  std::int32_t sampling;   // a _JPEG_SAMPLING value, 0 to 2
  // OpenGL number: 6407 (RGB) for bytes R, G, B; 6408 (RGBA) or 32993 (BGRA) for bytes B, G, R and
  // a fourth one.
  std::int32_t format;
  std::int32_t useAlpha;  // not 0: code four channels, as CMYK; ignored for 6407
};
static_assert(sizeof(qrxJPEGArgs_type) == 20);
using qrxTilesArgs_type = qrxJPEGArgs_type;

extern "C" {

using qrxReleaseFunction = void (*)(void*);
using qrxPacketFunction = void (*)(std::uint8_t* packet, int length, void* context);

// Compresses a frame into one baseline JPEG.
//   image     rows of `width` pixels, tightly packed: `channels` bytes each; with 4 channels and
//             useAlpha 0 the fourth byte is dropped, any other value of channels counts as the
//             number of channels that format and useAlpha give
//   output, release, size  the image, from malloc; its length; the function that frees it. The
//             caller owns it.
// Result 1, also where the encoder failed (a line on standard error; what stands so far is handed
// over) and where the format is not known (a line; *output untouched). Result 0, *output null and
// *size 0, with a line on standard error, for a null image, a size outside 0..65535 or a buffer
// size beyond an int, and a thread without coders. Throws std::bad_alloc.
QRX_API int CompressPatch(const std::uint8_t* image, int channels, int width, int height,
                          std::uint8_t** output, qrxReleaseFunction* release, int* size,
                          const qrxJPEGArgs_type* args);

// The same without the first test; null and *size 0 for everything that is refused.
QRX_API std::uint8_t* qrx_jpeg_encode(const std::uint8_t* image, int width, int height,
                                      const qrxJPEGArgs_type* args, int* size,
                                      qrxReleaseFunction* release, int channels);

// Compresses a rectangle into packets and hands each to `packetFunction`, in order; a packet's
// memory is valid until the call returns. `header` is the packets' head, filled in but for what
// differs from packet to packet; it is spent afterwards. Result 0 with no packet for a null image
// or function, a size outside 0..32767, a raw size beyond an int, and a thread without coders;
// else 1, also where the encoder fails on the way.
QRX_API int CompressTilesPatch(const std::uint8_t* image, int channels, int width, int height,
                               udp_header* header, const qrxTilesArgs_type* args,
                               qrxPacketFunction packetFunction, void* context);
QRX_API void qrx_jpeg_encode_tiles(const std::uint8_t* image, int width, int height, int channels,
                                   udp_header* header, const qrxTilesArgs_type* args,
                                   qrxPacketFunction packetFunction, void* context);

// Decodes a whole JPEG of `length` bytes into rows of the image's width, bytesPerPixel (3 or 4)
// bytes each: blue, green, red, and a fourth byte that stays as it was; four-component images give
// C, M, Y, K. The four ints after bytesPerPixel are ignored; `destinationSize` bounds the
// destination, 0 for no bound. Result 0, with nothing written, for a null pointer, another
// bytesPerPixel, four components in three bytes, and a thread without coders; else 1. What goes
// wrong inside the stream is told on standard error, and the destination then holds what was
// decoded before it. Throws std::bad_alloc.
QRX_API int DecompressPatch(const std::uint8_t* data, int bytesPerPixel, int, int, int, int,
                            int destinationSize, int length, std::uint8_t* destination);
QRX_API int qrx_jpeg_decode(const std::uint8_t* data, int length, std::uint8_t* destination,
                            int destinationSize, int bytesPerPixel);

// Decodes the JPEG slice of one packet, from its packet segment up to but without EOI, and places
// its pixels in `destination`: rows of `frameWidth` pixels, 1 to 32767; the first is the upper line
// of the packet's first MCU row. Only pixels of the packet's own MCUs are written, and of these
// only what lies within frameWidth and destinationSize.
//   bytesPerPixel    3 or 4; a fourth byte stays as it was
//   destinationSize  bytes from `destination` to the end of the rectangle
//   mcuCount         MCUs in the packet; 0 writes nothing
//   xOffset          left edge of the first MCU in the rectangle
// Result 0, with nothing written, where an argument is out of range or the slice is not a packet's
// that these arguments fit; else 1. Throws std::bad_alloc.
QRX_API int DecompressTilesPatch(const std::uint8_t* slice, int bytesPerPixel, int destinationSize,
                                 int length, int mcuCount, int xOffset, int frameWidth,
                                 std::uint8_t* destination);
QRX_API int qrx_jpeg_decode_tiles(const std::uint8_t* slice, int length, std::uint8_t* destination,
                                  int mcuCount, int xOffset, int frameWidth, int destinationSize,
                                  int bytesPerPixel);

// Start of the frame and of the packet road: choose the processor forms, make the thread key.
// initCodec does both. Not to be called while other threads use the library.
QRX_API void jpeg_init(void);
QRX_API void tiles_init(void);
// Delete the key and nothing else.
QRX_API void jpeg_fini(void);
QRX_API void tiles_fini(void);

}  // extern "C"

namespace qrx {

using TLSKey = pthread_key_t;

// No key: what createTLSKey gives when the system has none left (which it logs).
inline constexpr TLSKey kNoTLSKey = static_cast<TLSKey>(-1);

// A new thread key whose thread-end function is TLSKeyVerifier.
QRX_API TLSKey createTLSKey();
// Does nothing.
QRX_API void TLSKeyVerifier(void* value);

}  // namespace qrx

#endif  // QRX_FRONT_END_H_
