// Why a file is no picture for this tool.
#ifndef QRX_TOOLS_JPEG_REASONS_H_
#define QRX_TOOLS_JPEG_REASONS_H_

#include <span>
#include <string>

#include "tools/jpeg/walk.h"

namespace qrx::tool {

// "an empty file", "a text", "a GIF picture" and so on; empty for what is not known.
std::string kindOfFile(std::span<const std::uint8_t> data);

// "WHAT IT IS: what to do", for a file that is not what a command reads; `wanted` for what is not
// known, such as "not a JPEG".
std::string notWanted(std::span<const std::uint8_t> data, const std::string& wanted);

// What of a sound JPEG the library does not decode, and what to do; empty where it decodes it.
std::string outsideOfSubset(const JpegInfo& info);

// Whether a progressive image is one that the library decodes to nonsense: it takes the first scan
// of DC coefficients to bring those of all components.
bool hasPartialDcScan(const JpegInfo& info);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_JPEG_REASONS_H_
