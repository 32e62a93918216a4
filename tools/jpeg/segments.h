// Metadata in and out of a JPEG's application segments.
#ifndef QRX_TOOLS_JPEG_SEGMENTS_H_
#define QRX_TOOLS_JPEG_SEGMENTS_H_

#include <span>
#include <string>
#include <vector>

#include "tools/image/metadata.h"
#include "tools/jpeg/walk.h"

namespace qrx::tool {

// The Exif data, and the profile where all its parts are there; else its fault. `info` is a walk
// over `data`.
Metadata readMetadata(std::span<const std::uint8_t> data, const JpegInfo& info);

// The stream with the metadata behind its JFIF segment. What does not fit in segments is left out:
// Exif data has one of them, a profile 255.
std::vector<std::uint8_t> addMetadata(std::span<const std::uint8_t> data, const Metadata& metadata);

// What addMetadata would leave out, in words; empty for nothing.
std::string tooLargeForSegments(const Metadata& metadata);

// The stream without its comments.
std::vector<std::uint8_t> dropComments(std::span<const std::uint8_t> data);

// The stream with an Adobe segment of that colour transform behind SOI.
std::vector<std::uint8_t> addAdobe(std::span<const std::uint8_t> data, int transform);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_JPEG_SEGMENTS_H_
