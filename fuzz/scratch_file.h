// A file in memory, for what reads files by name only.
#ifndef QRX_FUZZ_SCRATCH_FILE_H_
#define QRX_FUZZ_SCRATCH_FILE_H_

#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "fuzz/kit.h"

namespace fuzz {

class ScratchFile {
 public:
  ScratchFile() : file_(memfd_create("scratch", 0)) {
    require(file_ >= 0);
    path_ = "/proc/self/fd/" + std::to_string(file_);
  }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;
  ~ScratchFile() { close(file_); }

  const char* path() const { return path_.c_str(); }

  void fill(std::span<const std::uint8_t> content) const {
    require(ftruncate(file_, 0) == 0);
    require(pwrite(file_, content.data(), content.size(), 0) ==
            static_cast<ssize_t>(content.size()));
  }

 private:
  int file_;
  std::string path_;
};

}  // namespace fuzz

#endif  // QRX_FUZZ_SCRATCH_FILE_H_
