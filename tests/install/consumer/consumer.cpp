// A stranger's program: compresses a pixel and looks at the stream's first and last bytes.
#include <cstdint>
#include <cstdio>

#include "qrx/codec.h"

static void check(std::uint8_t* data, std::uint32_t size, void* ok) {
  *static_cast<bool*>(ok) = size > 4 && data[0] == 0xFF && data[1] == 0xD8 &&
                            data[size - 2] == 0xFF && data[size - 1] == 0xD9;
}

int main() {
  initCodec();
  qrx::codec::Codec* codec = createCodec();
  const std::uint8_t pixel[4] = {1, 2, 3, 4};
  bool ok = false;
  codec->getCompressor()->compress(pixel, 4, 0, 0, 0, 0, 1, 1, 0, 80, check, &ok);
  codec->release();
  std::puts(ok ? "compressed" : "failed");
  return ok ? 0 : 1;
}
