// dlopen and dlsym with messages.
#include "tools/host/library.h"

#include <dlfcn.h>

#include <filesystem>

#include "tools/support/error.h"

namespace qrx::tool {
namespace {

constexpr int kContractVersion = 1;

// A plain name would send dlopen through the system's search path.
std::string asPath(const std::string& path) {
  return path.find('/') == std::string::npos ? "./" + path : path;
}

}  // namespace

std::string besideProgram(const std::string& name) {
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) throw Error("cannot tell the program's folder; give --library");
  const std::filesystem::path folder = program.parent_path();
  const auto installed = folder / QRX_TOOL_LIBRARY_FOLDER / name;
  const bool isInstalled =
      !std::filesystem::exists(folder / name, error) && std::filesystem::exists(installed, error);
  return isInstalled ? installed.lexically_normal().string() : (folder / name).string();
}

std::string Library::defaultPath() { return besideProgram("libqrx_jpeg.so"); }

void Library::Close::operator()(void* handle) const { dlclose(handle); }

Library::Library(const std::string& path)
    : handle_(dlopen(asPath(path).c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (!handle_) throw Error(std::string("cannot load the library: ") + dlerror());
  if (contractVersion() != kContractVersion) {
    throw Error(path + " has contract version " + std::to_string(contractVersion()) + ", not " +
                std::to_string(kContractVersion));
  }
  initCodec_ = reinterpret_cast<codec::InitCodecFn>(symbol("initCodec"));
  createCodec_ = reinterpret_cast<codec::CreateCodecFn>(symbol("createCodec"));
}

int Library::contractVersion() const {
  return reinterpret_cast<codec::VersionFn>(symbol("version"))();
}

void* Library::symbol(const char* name) const {
  void* address = dlsym(handle_.get(), name);
  if (address == nullptr) throw Error(std::string("the library does not export ") + name);
  return address;
}

}  // namespace qrx::tool
