// The files of the page, which are part of the program.
#ifndef QRX_INTEGRATIONS_BROWSER_SERVER_PAGES_H_
#define QRX_INTEGRATIONS_BROWSER_SERVER_PAGES_H_

#include <cstdint>
#include <span>
#include <string_view>

namespace qrx::web {

struct PageFile {
  std::string_view name;  // "" for the page itself
  const char* type;
  std::span<const std::uint8_t> bytes;
};

// Null where there is no such file.
const PageFile* findPageFile(std::string_view name);

}  // namespace qrx::web

#endif  // QRX_INTEGRATIONS_BROWSER_SERVER_PAGES_H_
