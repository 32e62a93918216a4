// Owner of memory from malloc and its kin: calloc, strdup, vasprintf.
#ifndef QRX_COMMON_MALLOC_PTR_H_
#define QRX_COMMON_MALLOC_PTR_H_

#include <cstdlib>
#include <memory>

namespace qrx {

struct FreeDeleter {
  void operator()(void* memory) const { std::free(memory); }
};
template <typename T>
using MallocPtr = std::unique_ptr<T, FreeDeleter>;

}  // namespace qrx

#endif  // QRX_COMMON_MALLOC_PTR_H_
