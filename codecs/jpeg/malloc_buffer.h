// Pixel and stream buffers of the front end, from malloc.
#ifndef QRX_CODECS_JPEG_MALLOC_BUFFER_H_
#define QRX_CODECS_JPEG_MALLOC_BUFFER_H_

#include <cstdint>
#include <cstdlib>
#include <new>

#include "common/malloc_ptr.h"

namespace qrx::codec {

using MallocBuffer = MallocPtr<std::uint8_t[]>;

// `size` bytes, uninitialised. Throws std::bad_alloc.
inline MallocBuffer allocateBuffer(std::int64_t size) {
  // Either answer to a size of 0 will do. NOLINTNEXTLINE(clang-analyzer-optin.portability.UnixAPI)
  auto* memory = static_cast<std::uint8_t*>(std::malloc(static_cast<std::size_t>(size)));
  if (memory == nullptr && size > 0) throw std::bad_alloc();
  return MallocBuffer(memory);
}

}  // namespace qrx::codec

#endif  // QRX_CODECS_JPEG_MALLOC_BUFFER_H_
