// Pictures through the coder classes: progressive and lossless ones, and what else no frame of the
// contract is.
#ifndef QRX_BENCH_CODER_ROADS_H_
#define QRX_BENCH_CODER_ROADS_H_

#include <cstdint>
#include <memory>
#include <vector>

#include "bench/our_library.h"
#include "tools/host/roads.h"

namespace qrx::bench {

// Rows of `channels` bytes a pixel, tightly packed.
struct PackedPicture {
  tool::Size size;
  int channels;
  std::vector<std::uint8_t> pixels;
};

// Gray, B G R, or C M Y K made of what the picture has.
PackedPicture packPicture(const tool::Image& image, int channels);

struct CoderSettings {
  _JPEG_COLOR source;
  _JPEG_COLOR stream;
  _JPEG_MODE mode = JPEG_MODE_BASELINE;
  int quality = 85;
  tool::Sampling sampling = tool::Sampling::k422;
  int restartInterval = 0;
};

using SharedPicture = std::shared_ptr<const PackedPicture>;

std::vector<std::uint8_t> codeOnce(OurLibrary& library, const SharedPicture& picture,
                                   const CoderSettings& settings);
tool::Work coderEncode(OurLibrary& library, const SharedPicture& picture,
                       const CoderSettings& settings);
// Back to the source's colour.
tool::Work coderDecode(OurLibrary& library, const SharedPicture& picture,
                       const CoderSettings& settings, std::vector<std::uint8_t> stream);

}  // namespace qrx::bench

#endif  // QRX_BENCH_CODER_ROADS_H_
