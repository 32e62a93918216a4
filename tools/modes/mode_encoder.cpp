// The tool's side of the module for JPEGs beyond the host contract.
#include "tools/modes/mode_encoder.h"

#include <dlfcn.h>

#include <limits>
#include <string>

#include "tools/host/library.h"

namespace qrx::tool {
namespace {

constexpr char kModule[] = "qrx-jpeg-modes.so";
constexpr std::size_t kHeaderRoom = 8192;

// The picture's channels as the encoder takes them: one for gray, else blue, green, red.
std::vector<std::uint8_t> packedPixels(const Image& image, bool gray) {
  std::vector<std::uint8_t> pixels;
  pixels.reserve(image.pixels.size());
  for (std::size_t i = 0; i < image.pixels.size(); i += Image::kBytesPerPixel) {
    const std::uint8_t* p = &image.pixels[i];
    if (gray && (p[0] != p[1] || p[1] != p[2])) {
      throw Error(
          "the lossless mode takes gray pictures, and this one has colours: give --gray to drop "
          "them");
    }
    pixels.insert(pixels.end(), p, p + (gray ? 1 : 3));
  }
  return pixels;
}

int samplingNumber(Sampling sampling) {
  return sampling == Sampling::k444 ? 0 : sampling == Sampling::k422 ? 1 : 2;
}

}  // namespace

ModeEncoder::ModeEncoder() {
  const std::string path = besideProgram(kModule);
  void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) throw Error(std::string("the modes' module does not load: ") + dlerror());
  encode_ = reinterpret_cast<EncodeFn>(dlsym(module, "qrxToolEncode"));
  text_ = reinterpret_cast<TextFn>(dlsym(module, "qrxToolErrorText"));
  if (encode_ == nullptr || text_ == nullptr) throw Error(path + " is another program's module");
}

std::vector<std::uint8_t> ModeEncoder::encode(const Image& image, const ModeJob& job) const {
  const bool gray = job.gray || job.mode == Mode::kLossless;
  const std::vector<std::uint8_t> pixels = packedPixels(image, gray);
  // Noise at the best quality takes more than its pixels.
  const std::size_t room = 2 * pixels.size() + kHeaderRoom;
  if (room > std::numeric_limits<int>::max()) throw Error("the image is too large for this mode");
  std::vector<std::uint8_t> stream(room);
  int size = 0;
  const int result = encode_(pixels.data(), gray ? 1 : 3, image.size.width, image.size.height,
                             static_cast<int>(job.quality), samplingNumber(job.sampling),
                             static_cast<int>(job.mode), job.restart, stream.data(),
                             static_cast<int>(stream.size()), &size);
  if (result != 0) throw Error(std::string("the library's encoder: ") + text_(result));
  stream.resize(static_cast<std::size_t>(size));
  return stream;
}

}  // namespace qrx::tool
