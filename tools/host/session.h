// A started codec: the library loaded, initialised and asked for its objects.
#ifndef QRX_TOOLS_HOST_SESSION_H_
#define QRX_TOOLS_HOST_SESSION_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "tools/host/library.h"

namespace qrx::tool {

enum class Sampling { k444, k422, k420 };

// "4:4:4" and so on.
const char* samplingName(Sampling sampling);

// Asks for a sampling by the environment variable of the setting. Before the library makes its
// settings, that is before the first Session::compressor. A file of the administrator outranks
// the environment, so look at the result.
void requestSampling(Sampling sampling);

struct HostOptions {
  std::string library;      // empty: beside the program
  std::optional<int> slot;  // forces the processor forms of a slot
};

class Session {
 public:
  // Throws Error where the library cannot be loaded or the processor lacks the slot.
  explicit Session(const HostOptions& options);

  codec::Compressor& compressor() { return *codec_->getCompressor(); }
  codec::Decompressor& decompressor() { return *codec_->getDecompressor(); }
  // The slot whose forms run.
  int slot() const { return *slot_; }

 private:
  struct Release {
    void operator()(codec::Codec* codec) const { codec->release(); }
  };

  Library library_;
  std::int32_t* slot_;
  std::unique_ptr<codec::Codec, Release> codec_;
};

// Started when first asked for.
class LazySession {
 public:
  explicit LazySession(HostOptions options) : options_(std::move(options)) {}
  Session& get() { return session_ ? *session_ : session_.emplace(options_); }

 private:
  HostOptions options_;
  std::optional<Session> session_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_HOST_SESSION_H_
