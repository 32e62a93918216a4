// JPEGs to pictures.
#include <algorithm>
#include <climits>

#include "codecs/jpeg/c_interface/decoding.h"
#include "codecs/jpeg/library/image_limits.h"
#include "codecs/jpeg/malloc_buffer.h"

namespace qrx::codec {
namespace {

struct Header {
  int width, height, components;
  _JPEG_COLOR color;
  _JPEG_SAMPLING sampling;
  int precision;
};

// Reads the header into the decoder, which then stands before the data. DONE, with the text of the
// call before, or a refusal.
qrxc_code readHeader(qrxc_coder* coder, const void* jpeg, std::size_t size, Header* header) {
  if (jpeg == nullptr) return tell(coder, QRXC_BAD_ARGUMENT, "the JPEG is null");
  if (size > INT_MAX) return tell(coder, QRXC_BAD_ARGUMENT, "%zu bytes are too many", size);
  const auto* const bytes = static_cast<const std::uint8_t*>(jpeg);
  if (size < 2 || bytes[0] != 0xFF || bytes[1] != 0xD8) {
    return tell(coder, QRXC_BAD_DATA, "not a JPEG: it does not begin with FF D8");
  }
  CJPEGDecoder& decoder = coder->decoder;
  startDecoder(decoder, bytes, size);
  const int result = decoder.ReadHeader(&header->width, &header->height, &header->components,
                                        &header->color, &header->sampling, &header->precision);
  if (result != JPEG_NO_ERROR) return tellDecoderError(coder, result);
  if (header->width < 1 || header->height < 1 || header->components < 1) {
    return tell(coder, QRXC_BAD_DATA, "not a good JPEG: it has no picture of a size");
  }
  const int at = decoder.stream.position;  // of the first scan's marker, unless the data ends
  if (static_cast<std::int64_t>(size) - at < 2 || bytes[at] != 0xFF || bytes[at + 1] != 0xDA) {
    return tell(coder, QRXC_BAD_DATA, "not a good JPEG: it ends in front of its data");
  }
  return QRXC_DONE;
}

// The colour to ask of the decoder; none where the two don't go together.
std::optional<_JPEG_COLOR> decodedColor(const Header& header, const FormatTraits& format) {
  const bool isCmyk = format.color == JPEG_COLOR_CMYK;
  switch (header.components) {
    case 1:
      if (isCmyk || header.color != JPEG_COLOR_GRAY) return std::nullopt;
      return format.color;
    case 3:
      if (isCmyk || format.channels == 1) return std::nullopt;
      if (header.color != JPEG_COLOR_YCBCR && header.color != JPEG_COLOR_RGB) return std::nullopt;
      return format.color;
    case 4:
      if (format.channels == 1) return std::nullopt;
      if (header.color == JPEG_COLOR_NONE) return JPEG_COLOR_NONE;  // C, M, Y, K as they stand
      if (header.color != JPEG_COLOR_CMYK && header.color != JPEG_COLOR_YCCK) return std::nullopt;
      return JPEG_COLOR_CMYK;
    default: return std::nullopt;
  }
}

// What the decoder writes to where that is not the host's memory: rows without a gap.
struct Detour {
  MallocBuffer memory;
  Pixels pixels;
};

Detour detourOf(const Header& header, const FormatTraits& format) {
  const std::int64_t step = std::int64_t{format.bytes} * header.width;
  Detour detour = {allocateBuffer(step * header.height), {}};
  detour.pixels = {detour.memory.get(), step, header.width, header.height, format};
  return detour;
}

void spreadGray(const Detour& from, const Pixels& to, int lines) {
  for (int row = 0; row < lines; ++row) {
    const std::uint8_t* gray = from.pixels.line(row);
    std::uint8_t* target = to.line(row);
    for (std::int64_t i = 0; i < from.pixels.width; ++i, target += to.format.bytes) {
      std::fill_n(target, to.format.channels, gray[i]);
    }
  }
}

std::uint8_t light(int paper, int black) {
  return static_cast<std::uint8_t>((paper * black + 127) / 255);
}

// `isTurned`: 255 is no ink in the JPEG, as Adobe's segment says of CMYK.
void placeCmyk(const Detour& from, const Pixels& to, int lines, bool isTurned) {
  const int turn = isTurned ? 0 : 255;
  for (int row = 0; row < lines; ++row) {
    const std::uint8_t* pixel = from.pixels.line(row);
    std::uint8_t* target = to.line(row);
    for (std::int64_t i = 0; i < from.pixels.width; ++i, pixel += 4, target += to.format.bytes) {
      const int cyan = pixel[0] ^ turn, magenta = pixel[1] ^ turn, yellow = pixel[2] ^ turn;
      const int black = pixel[3] ^ turn;  // all four: 255 for no ink
      if (to.format.color == JPEG_COLOR_CMYK) {
        const int inks[] = {cyan, magenta, yellow, black};
        for (int c = 0; c < 4; ++c) target[c] = static_cast<std::uint8_t>(255 - inks[c]);
        continue;
      }
      const bool isRgb = to.format.color == JPEG_COLOR_RGB;
      target[isRgb ? 0 : 2] = light(cyan, black);
      target[1] = light(magenta, black);
      target[isRgb ? 2 : 0] = light(yellow, black);
    }
  }
}

// A progressive picture of which too little has come for the decoder to show it.
void showIncomplete(CJPEGDecoder& decoder) {
  if (decoder.mode != JPEG_MODE_PROGRESSIVE || decoder.coefficients == nullptr ||
      jpeg::linesWritten(decoder) != 0) {
    return;
  }
  if (decoder.PerformDCT() != JPEG_NO_ERROR || decoder.UpSampling() != JPEG_NO_ERROR) return;
  decoder.ColorConvert();
}

bool endsWithEoi(const CJPEGDecoder& decoder) {
  const int end = decoder.stream.position;
  return end >= 2 && decoder.stream.data[end - 2] == 0xFF && decoder.stream.data[end - 1] == 0xD9;
}

bool isWhole(const CJPEGDecoder& decoder) {
  switch (decoder.mode) {
    case JPEG_MODE_BASELINE:
      return goodMcus(decoder) == std::int64_t{decoder.mcus_across} * decoder.mcus_down;
    case JPEG_MODE_PROGRESSIVE:
      return decoder.dc_scan_done != 0 && decoder.ac_scans_done == decoder.component_count;
    case JPEG_MODE_LOSSLESS: return jpeg::linesWritten(decoder) == decoder.jpeg_height;
  }
  return false;
}

qrxc_report reportOf(const CJPEGDecoder& decoder) {
  qrxc_report report = {};
  const int height = decoder.jpeg_height;
  if (decoder.mode == JPEG_MODE_BASELINE) {
    report.rows = static_cast<std::uint32_t>(
        std::min<std::int64_t>(std::int64_t{goodRows(decoder)} * decoder.mcu_height, height));
    report.covered = static_cast<double>(goodMcus(decoder)) /
                     (static_cast<double>(decoder.mcus_across) * decoder.mcus_down);
  } else {
    const int lines = std::min(jpeg::linesWritten(decoder), height);
    report.rows = static_cast<std::uint32_t>(lines);
    report.covered = static_cast<double>(lines) / height;
  }
  return report;
}

qrxc_code decode(qrxc_coder* coder, const Header& header, const Pixels& pixels,
                 qrxc_report* report) {
  const auto color = decodedColor(header, pixels.format);
  if (!color || header.sampling == JPEG_SAMPLING_OTHER || header.precision > 8) {
    return tell(coder, QRXC_NOT_SUPPORTED,
                "%d components of %d bits and this sampling and colour don't go to this format",
                header.components, header.precision);
  }
  if (pixels.width < header.width || pixels.height < header.height) {
    return tell(coder, QRXC_NO_ROOM, "%d x %d pixels don't fit in %d x %d", header.width,
                header.height, static_cast<int>(pixels.width), static_cast<int>(pixels.height));
  }
  CJPEGDecoder& decoder = coder->decoder;
  const bool lossless = decoder.mode == JPEG_MODE_LOSSLESS, cmyk = header.components == 4;
  Detour detour = {};
  if (lossless) detour = detourOf(header, {1, 1, JPEG_COLOR_GRAY});
  if (cmyk) detour = detourOf(header, {4, 4, *color});
  const Pixels& target = lossless || cmyk ? detour.pixels : pixels;
  setTarget(decoder, target, {header.width, header.height}, cmyk ? *color : target.format.color);
  const int result = decoder.ReadData();
  if (!lacksMemory(decoder, result)) showIncomplete(decoder);
  const int lines = std::min(jpeg::linesWritten(decoder), header.height);
  if (lossless) spreadGray(detour, pixels, lines);
  if (cmyk) placeCmyk(detour, pixels, lines, decoder.adobe_found != 0);
  if (lacksMemory(decoder, result)) throw std::bad_alloc();
  if (lines == 0) {
    if (result != JPEG_NO_ERROR) return tellDecoderError(coder, result);
    return tell(coder, QRXC_BAD_DATA, "not a good JPEG: there is no picture in it");
  }
  const qrxc_report found = reportOf(decoder);
  if (report != nullptr) *report = found;
  if (result == JPEG_NO_ERROR && !isFaulty(decoder) && isWhole(decoder) && endsWithEoi(decoder)) {
    return done(coder);
  }
  return tell(coder, QRXC_DAMAGED, "damaged: %u of %d rows are good", found.rows, header.height);
}

qrxc_info infoOf(const Header& header, const CJPEGDecoder& decoder) {
  qrxc_info info = {};
  info.width = static_cast<std::uint32_t>(header.width);
  info.height = static_cast<std::uint32_t>(header.height);
  info.components = header.components;
  info.precision = header.precision;
  info.color = header.color;
  info.sampling = header.sampling;
  info.mode = decoder.mode;
  info.restart_interval = decoder.restart_interval;
  info.format = header.components == 1 ? QRXC_GRAY : header.components == 4 ? QRXC_CMYK : QRXC_RGB;
  return info;
}

}  // namespace
}  // namespace qrx::codec

using namespace qrx::codec;

extern "C" {

qrxc_code qrxc_read_info(qrxc_coder* coder, const void* jpeg, std::size_t size, qrxc_info* info) {
  return call(coder, [&] {
    if (info == nullptr) return tell(coder, QRXC_BAD_ARGUMENT, "the info is null");
    Header header = {};
    const qrxc_code code = readHeader(coder, jpeg, size, &header);
    if (code != QRXC_DONE) return code;
    *info = infoOf(header, coder->decoder);
    return done(coder);
  });
}

qrxc_code qrxc_decode(qrxc_coder* coder, const void* jpeg, std::size_t size, void* pixels,
                      const qrxc_layout* layout, qrxc_report* report) {
  if (report != nullptr) *report = {};
  return call(coder, [&] {
    const auto target = pixelsOf(coder, pixels, layout, INT_MAX);
    if (!target) return QRXC_BAD_ARGUMENT;
    Header header = {};
    const qrxc_code code = readHeader(coder, jpeg, size, &header);
    return code != QRXC_DONE ? code : decode(coder, header, *target, report);
  });
}

}  // extern "C"
