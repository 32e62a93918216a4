// The codec's objects behind the host contract.
#ifndef QRX_CODECS_JPEG_JPEG_CODEC_H_
#define QRX_CODECS_JPEG_JPEG_CODEC_H_

#include <memory>

#include "qrx/codec.h"
#include "qrx/export.h"
#include "qrx/jpeg_types.h"

namespace qrx::codec {

class JpegCodec;

// Immutable after construction, so that any number of threads may use one object.
class QRX_API JpegCompressor : public Compressor {
 public:
  // Takes the sampling from the setting "subsampling": 1 for 4:2:0, 4 for 4:4:4, else 4:2:2.
  explicit JpegCompressor(JpegCodec* owner);
  ~JpegCompressor() override;

  void getAttributes(const char*** names, const char*** values, std::uint32_t* count) override;
  bool compress(const std::uint8_t* image, std::uint32_t channels, std::uint32_t, std::uint32_t,
                std::uint32_t, std::uint32_t, std::uint32_t width, std::uint32_t height,
                std::uint32_t, std::uint32_t quality, CompressCallback callback,
                void* userData) override;
  bool compress(const std::uint8_t* image, std::uint32_t channels, std::uint32_t window,
                std::uint32_t index, std::uint32_t x, std::uint32_t y, std::uint32_t width,
                std::uint32_t height, std::uint32_t, std::uint32_t, std::uint32_t quality,
                CompressCallback callback, void* userData) override;

 private:
  JpegCodec* codec_;  // not owned
  _JPEG_SAMPLING sampling_;
};

class QRX_API JpegDecompressor : public Decompressor {
 public:
  explicit JpegDecompressor(JpegCodec* owner);
  ~JpegDecompressor() override;

  int setAttribute(const char* name, const char* value) override;
  bool decompress(const Buffer* buffer, std::uint32_t bytesPerPixel, std::uint32_t format,
                  std::uint8_t* destination, std::uint32_t destinationSize) override;
  bool decompressTile(const Buffer* buffer, std::uint32_t bytesPerPixel, std::uint32_t format,
                      std::uint8_t* destination, std::uint32_t destinationSize) override;
  bool isValid(const Buffer* buffer) override;
  std::uint32_t getOutputSize(const Buffer* buffer, std::uint32_t bytesPerPixel,
                              std::uint32_t format) override;
  double percentCoverage(Buffer* buffer) override;
  std::uint32_t getWindow(const Buffer* buffer) override;
  std::uint32_t getIndex(const Buffer* buffer) override;
  void getDimensions(const Buffer* buffer, std::uint32_t* x, std::uint32_t* y, std::uint32_t* width,
                     std::uint32_t* height) override;

 private:
  JpegCodec* codec_;  // not owned
};

class QRX_API JpegCodec : public Codec {
 public:
  JpegCodec();
  ~JpegCodec() override;
  JpegCodec(const JpegCodec&) = delete;
  JpegCodec& operator=(const JpegCodec&) = delete;

  const char* getName() override;
  bool getIsLossless() override;
  bool getSupportsUDP() override;
  std::uint32_t id() override;
  Compressor* getCompressor() override;
  Decompressor* getDecompressor() override;
  void release() override;

 private:
  std::unique_ptr<JpegCompressor> compressor_;  // both null until first asked for
  std::unique_ptr<JpegDecompressor> decompressor_;
};

}  // namespace qrx::codec

#endif  // QRX_CODECS_JPEG_JPEG_CODEC_H_
