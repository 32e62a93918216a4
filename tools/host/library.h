// The codec library, loaded at run time as a foreign host does it.
#ifndef QRX_TOOLS_HOST_LIBRARY_H_
#define QRX_TOOLS_HOST_LIBRARY_H_

#include <memory>
#include <string>

#include "qrx/codec.h"

namespace qrx::tool {

// A file in the program's folder, or where an installation puts libraries.
std::string besideProgram(const std::string& name);

class Library {
 public:
  // libqrx_jpeg.so, by besideProgram().
  static std::string defaultPath();

  // Throws Error with the loader's reason, or when the library speaks another contract version.
  explicit Library(const std::string& path);

  // Address of an exported name; throws Error where there is none.
  void* symbol(const char* name) const;

  int contractVersion() const;
  codec::InitCodecFn initCodec() const { return initCodec_; }
  codec::CreateCodecFn createCodec() const { return createCodec_; }

 private:
  struct Close {
    void operator()(void* handle) const;
  };
  std::unique_ptr<void, Close> handle_;
  codec::InitCodecFn initCodec_ = nullptr;
  codec::CreateCodecFn createCodec_ = nullptr;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_HOST_LIBRARY_H_
