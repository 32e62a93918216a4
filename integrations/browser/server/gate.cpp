#include "integrations/browser/server/gate.h"

#include <sodium.h>

#include <array>

#include "tools/support/error.h"

namespace qrx::web {
namespace {

constexpr std::size_t kTokenBytes = 16;

// In a time that tells nothing of where they differ.
bool equal(std::string_view a, std::string_view b) {
  return a.size() == b.size() && sodium_memcmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace

std::string randomToken() {
  if (sodium_init() < 0) throw tool::Error("no random numbers");
  std::array<unsigned char, kTokenBytes> bytes{};
  randombytes_buf(bytes.data(), bytes.size());
  std::array<char, 2 * kTokenBytes + 1> text{};
  sodium_bin2hex(text.data(), text.size(), bytes.data(), bytes.size());
  return text.data();
}

bool Gate::isHere(std::string_view host) const {
  if (!loopback_) return !host.empty();
  const std::size_t colon = host.rfind(':');
  const std::string_view name =
      colon == std::string_view::npos || host.ends_with(']') ? host : host.substr(0, colon);
  return name == "localhost" || name == "[::1]" || name.starts_with("127.");
}

std::optional<std::string> Gate::admit(const RequestHeaders& request) const {
  if (!isHere(request.host)) return std::nullopt;
  if (!request.origin.empty() && request.origin != "http://" + request.host) return std::nullopt;
  // Another site's page may lead here, as a link, and that's all.
  const bool ownSite =
      request.site.empty() || request.site == "same-origin" || request.site == "none";
  if (!ownSite && request.destination != "document") return std::nullopt;
  const std::string_view path = request.path;
  const std::size_t end = token_.size() + 1;
  if (path.size() <= end || path[0] != '/' || path[end] != '/') return std::nullopt;
  if (!equal(path.substr(1, token_.size()), token_)) return std::nullopt;
  return std::string(path.substr(end + 1));
}

std::optional<std::string> Gate::admitSocket(const RequestHeaders& request) const {
  if (request.origin.empty()) return std::nullopt;
  return admit(request);
}

}  // namespace qrx::web
