// The host contract of libqrx_jpeg: all that a host needs, in one header.
//
// A host loads the library, resolves `version`, `initCodec` and `createCodec` by these plain
// names, and works with the objects that it gets:
//
//   void* library = dlopen("libqrx_jpeg.so", RTLD_NOW | RTLD_LOCAL);
//   auto init = reinterpret_cast<qrx::codec::InitCodecFn>(dlsym(library, "initCodec"));
//   auto create = reinterpret_cast<qrx::codec::CreateCodecFn>(dlsym(library, "createCodec"));
//   init();
//   qrx::codec::Codec* codec = create();
//   codec->getCompressor()->compress(pixels, 4, 0, 0, 0, 0, width, height, 0, 80, send, context);
//   codec->release();
//
// Threads. `initCodec`, `createCodec`, the first `getCompressor` and the first `getDecompressor`
// come before the objects are used from several threads. After that every operation of
// Compressor and Decompressor may run on any thread at the same time: each thread has coders of
// its own, which live until the thread ends. The library starts no thread.
//
// Ownership. The host owns pixels, packets and qrx::Buffer; the library only points at them for
// the length of a call. The codec owns its compressor and decompressor.
//
// Errors. Operations report by their result as told at each; std::bad_alloc passes through when
// memory runs out, and so does an exception that the host's callback throws, after everything of
// the call is freed. Once loaded, the library is never unmapped: dlclose is safe at any time.
#ifndef QRX_CODEC_H_
#define QRX_CODEC_H_

#include <cstddef>
#include <cstdint>

#pragma GCC visibility push(default)

namespace qrx {

// The host's holder of received data. The library reads `data` and `size` only; percentCoverage
// alone writes to the bytes at `data`. Hosts with a class of their own for this keep to the layout.
struct Buffer {
  void* reserved;      // the host's; the library does not touch it
  std::uint8_t* data;  // a whole JPEG stream, or a packet with its head
  std::uint32_t size;  // bytes at data
};
static_assert(offsetof(Buffer, data) == sizeof(void*) &&
                  offsetof(Buffer, size) == 2 * sizeof(void*),
              "qrx::Buffer is a word, data, size");

namespace codec {

// The `format` of four bytes a pixel: OpenGL's number. The bytes are B, G, R and a fourth one.
inline constexpr std::uint32_t kFormatRgba = 6408;

// Receives a JPEG image or a packet on the thread of the compress call, before that call returns.
// `data` belongs to the library and is valid until the callback returns: copy or consume it there.
// The callback may change the bytes in place.
using CompressCallback = void (*)(std::uint8_t* data, std::uint32_t size, void* userData);

class Compressor {
 public:
  virtual ~Compressor() = default;

  // The compressor has no attributes: stores null, null and 0. No pointer may be null.
  virtual void getAttributes(const char*** names, const char*** values, std::uint32_t* count) = 0;

  // Compresses one frame into a whole baseline JPEG (ITU T.81) with 4:2:2 sampling, or what the
  // setting "subsampling" asks for, and calls back once.
  //   image     height rows of width pixels, tightly packed, first row first; bytes B, G, R and,
  //             with 4 channels, one that is ignored
  //   channels  bytes per pixel: 4, or any other value for 3
  //   width, height  1 to 65535; the raw size must fit in an int
  //   quality   1 to 97; larger values count as 97
  //   callback, userData  see CompressCallback; userData may be null
  // False, with a line on standard error and no call back, for: a null image or callback, a size
  // out of range, a thread without coders (initCodec was not called). True otherwise. An encoder
  // that fails (quality 0; noise whose data exceeds the raw size) writes a line to standard error
  // and hands over what stands so far: a result that does not end in FF D9 is not complete.
  virtual bool compress(const std::uint8_t* image, std::uint32_t channels, std::uint32_t ignored2,
                        std::uint32_t ignored3, std::uint32_t ignored4, std::uint32_t ignored5,
                        std::uint32_t width, std::uint32_t height, std::uint32_t ignored8,
                        std::uint32_t quality, CompressCallback callback, void* userData) = 0;

  // Compresses a rectangle of a frame into packets, each decodable alone, and calls back once per
  // packet, in order.
  //   image, channels  as above, for the rectangle's pixels
  //   window, index    go into every packet; index, if above 0, is negated in the last one
  //   x, y             left and lower edge of the rectangle in the window (y grows upwards); the
  //                    low 16 bits count
  //   width, height    up to 32767; the raw size must fit in an int
  //   quality          as above
  //   userData         a block of at least five bytes; byte 4 goes into every packet's head
  // Before a packet goes on the wire, call qrxMarkPacket on it.
  // False, with no call back, for arguments as above. True otherwise: an encoder error ends the
  // run of packets early, and no packet then carries the last-packet mark.
  virtual bool compress(const std::uint8_t* image, std::uint32_t channels, std::uint32_t window,
                        std::uint32_t index, std::uint32_t x, std::uint32_t y, std::uint32_t width,
                        std::uint32_t height, std::uint32_t ignored8, std::uint32_t ignored9,
                        std::uint32_t quality, CompressCallback callback, void* userData) = 0;
};

class Decompressor {
 public:
  virtual ~Decompressor() = default;

  // The decompressor has no attributes: ignores both and returns 1.
  virtual int setAttribute(const char* name, const char* value) = 0;

  // Decodes a whole JPEG into `destination`: rows of the image's width, tightly packed, blue,
  // green, red and, with 4 bytes per pixel, one byte that stays as it was.
  //   bytesPerPixel    3 or 4
  //   format           ignored
  //   destinationSize  bytes at destination; an image that needs more is refused. 0: the host
  //                    vouches for the size.
  // False, with nothing written, for a null buffer or destination and for a bytesPerPixel other
  // than 3 or 4. True otherwise; what goes wrong inside the stream is told on standard error, and
  // the destination then holds what was decoded before it.
  virtual bool decompress(const Buffer* buffer, std::uint32_t bytesPerPixel, std::uint32_t format,
                          std::uint8_t* destination, std::uint32_t destinationSize) = 0;

  // Decodes one packet and places its pixels in `destination`, which stands for the packet's whole
  // rectangle: rows of frameWidth pixels, top row first, getOutputSize bytes in all. Only the
  // packet's own pixels are written. Arguments as for decompress; destinationSize 0 means
  // getOutputSize bytes. False, with nothing written, where the packet is refused.
  virtual bool decompressTile(const Buffer* buffer, std::uint32_t bytesPerPixel,
                              std::uint32_t format, std::uint8_t* destination,
                              std::uint32_t destinationSize) = 0;

  // Whether the data is a packet. Ask this first: the operations below take it for granted. For a
  // null buffer, or one of less than 32 bytes, this is false and they give 0.
  virtual bool isValid(const Buffer* buffer) = 0;

  // Bytes that the destination of the packet's rectangle needs: width and height rounded up to
  // whole MCUs. 0 for a format other than kFormatRgba and for sizes that an unsigned int can't
  // hold.
  virtual std::uint32_t getOutputSize(const Buffer* buffer, std::uint32_t bytesPerPixel,
                                      std::uint32_t format) = 0;

  // Percentage of the rectangle that this packet brings. Clears the last-packet mark in the
  // buffer (a negative index is replaced by its absolute value), so a buffer is not shared
  // between threads during this call.
  virtual double percentCoverage(Buffer* buffer) = 0;

  virtual std::uint32_t getWindow(const Buffer* buffer) = 0;

  // The index given to compress, without the last-packet mark.
  virtual std::uint32_t getIndex(const Buffer* buffer) = 0;

  // The whole rectangle of the compress call, each value widened from a signed 16-bit number. The
  // pointers must not be null.
  virtual void getDimensions(const Buffer* buffer, std::uint32_t* x, std::uint32_t* y,
                             std::uint32_t* width, std::uint32_t* height) = 0;
};

class Codec {
 public:
  virtual ~Codec() = default;

  virtual const char* getName() = 0;  // "JPEG"
  virtual bool getIsLossless() = 0;   // false
  virtual bool getSupportsUDP() = 0;  // true
  virtual std::uint32_t id() = 0;     // 65536
  // Made on first use and owned by the codec; the same object on every call.
  virtual Compressor* getCompressor() = 0;
  virtual Decompressor* getDecompressor() = 0;
  // Ends the codec with its compressor and decompressor.
  virtual void release() = 0;
};

using VersionFn = int (*)();
using InitCodecFn = int (*)();
using CreateCodecFn = Codec* (*)();

}  // namespace codec
}  // namespace qrx

extern "C" {

// Version of this contract: 1.
int version(void);
// One-time start: chooses the processor forms and makes the thread keys. Returns 1.
int initCodec(void);
// A new codec; end it with release().
qrx::codec::Codec* createCodec(void);

// Call this on a packet from compress before it goes on the wire: the writer stores 231 in the
// packet's kind byte, and isValid takes 1.
inline void qrxMarkPacket(std::uint8_t* packet) { packet[2] = 1; }

}  // extern "C"

#pragma GCC visibility pop

#endif  // QRX_CODEC_H_
