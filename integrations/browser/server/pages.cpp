#include "integrations/browser/server/pages.h"

#include <algorithm>
#include <array>

// The assembler brings in the bytes; QRX_PAGE_ paths come from the build.
#define QRX_FILE(symbol, path)                                       \
  __asm__(                                                           \
      ".pushsection .rodata\n"                                       \
      ".global " #symbol "_begin\n.global " #symbol "_end\n" #symbol \
      "_begin:\n"                                                    \
      ".incbin \"" path "\"\n" #symbol "_end:\n.popsection\n");      \
  extern "C" const std::uint8_t symbol##_begin[], symbol##_end[];

QRX_FILE(qrx_page_index, QRX_PAGE_INDEX)
QRX_FILE(qrx_page_viewer, QRX_PAGE_VIEWER)
QRX_FILE(qrx_page_decoder, QRX_PAGE_DECODER)
QRX_FILE(qrx_page_wasm, QRX_PAGE_WASM)

namespace qrx::web {

const PageFile* findPageFile(std::string_view name) {
  static const std::array<PageFile, 4> kFiles = {{
      {"", "text/html; charset=utf-8", {qrx_page_index_begin, qrx_page_index_end}},
      {"viewer.js", "text/javascript", {qrx_page_viewer_begin, qrx_page_viewer_end}},
      {"decoder.js", "text/javascript", {qrx_page_decoder_begin, qrx_page_decoder_end}},
      {"decoder.wasm", "application/wasm", {qrx_page_wasm_begin, qrx_page_wasm_end}},
  }};
  const auto found = std::find_if(kFiles.begin(), kFiles.end(),
                                  [name](const PageFile& file) { return file.name == name; });
  return found != kFiles.end() ? &*found : nullptr;
}

}  // namespace qrx::web
