// The argument record that both compress roads of the host get.
#ifndef QRX_CODECS_JPEG_COMPRESS_ARGS_H_
#define QRX_CODECS_JPEG_COMPRESS_ARGS_H_

#include <cstdint>

#include "qrx/codec.h"
#include "qrx/front_end.h"
#include "qrx/jpeg_types.h"

namespace qrx::codec {

inline constexpr std::uint32_t kMaxQuality = 97;
inline constexpr std::int32_t kArgsSignature = 1972;

inline qrxJPEGArgs_type compressArgs(std::uint32_t quality, _JPEG_SAMPLING sampling) {
  return {kArgsSignature, static_cast<std::int32_t>(quality < kMaxQuality ? quality : kMaxQuality),
          sampling, static_cast<std::int32_t>(kFormatRgba), 0};
}

}  // namespace qrx::codec

#endif  // QRX_CODECS_JPEG_COMPRESS_ARGS_H_
