// Colour conversion and down-sampling: interleaved source pixels become one plane per component,
// padded to whole MCUs and reduced to the component's resolution. A strip at a time for baseline
// and packets, the whole image at once for progressive.
#include "codecs/jpeg/library/colour_stage.h"

#include <cstring>

#include "codecs/jpeg/library/encoder_room.h"
#include "codecs/jpeg/library/encoder_stages.h"

namespace qrx::jpeg {
namespace {

enum class Conversion {
  kNone,
  kCopyByCount,
  kCopyGray,
  kCopyThree,
  kCopyFour,
  kRgbToGray,
  kRgbToYcbcr,
  kBgrToYcbcr,
  kCmykToYcck
};

Conversion conversionFor(_JPEG_COLOR source, _JPEG_COLOR jpeg) {
  constexpr struct {
    _JPEG_COLOR source, jpeg;
    Conversion conversion;
  } kPairs[] = {
      {JPEG_COLOR_NONE, JPEG_COLOR_NONE, Conversion::kCopyByCount},
      {JPEG_COLOR_GRAY, JPEG_COLOR_GRAY, Conversion::kCopyGray},
      {JPEG_COLOR_RGB, JPEG_COLOR_GRAY, Conversion::kRgbToGray},
      {JPEG_COLOR_RGB, JPEG_COLOR_RGB, Conversion::kCopyThree},
      {JPEG_COLOR_RGB, JPEG_COLOR_YCBCR, Conversion::kRgbToYcbcr},
      {JPEG_COLOR_BGR, JPEG_COLOR_YCBCR, Conversion::kBgrToYcbcr},
      {JPEG_COLOR_CMYK, JPEG_COLOR_CMYK, Conversion::kCopyFour},
      {JPEG_COLOR_CMYK, JPEG_COLOR_YCCK, Conversion::kCmykToYcck},
  };
  for (const auto& pair : kPairs) {
    if (pair.source == source && pair.jpeg == jpeg) return pair.conversion;
  }
  return Conversion::kNone;
}

// The conversion that copies so many channels.
IppStatus copyChannels(int channels, const Ipp8u* source, int sourceStep, Ipp8u** planes,
                       int planeStep, IppiSize region) {
  switch (channels) {
    case 1: return ippiCopy_8u_C1R(source, sourceStep, planes[0], planeStep, region);
    case 3: return ippiCopy_8u_C3P3R(source, sourceStep, planes, planeStep, region);
    default: return ippiCopy_8u_C4P4R(source, sourceStep, planes, planeStep, region);
  }
}

// Interleaved pixels as the primitives take them.
struct Pixels {
  const Ipp8u* first;
  int step;  // bytes from line to line
};

// Copies `region` without the fourth bytes of its pixels, which *pixels then is.
int dropFourthBytes(CJPEGEncoder& e, Pixels* pixels, IppiSize region) {
  EncoderRoom& room = *EncoderRoom::of(e);
  const int step = 3 * region.width;
  if (!fitBuffer(&room.pixels, &room.pixelsSize, std::int64_t{step} * e.mcu_height)) {
    return JPEG_OUT_OF_MEMORY;
  }
  QRX_TRY(
      resultOf(ippiCopy_8u_AC4C3R(pixels->first, pixels->step, room.pixels.get(), step, region)));
  *pixels = {room.pixels.get(), step};
  return JPEG_NO_ERROR;
}

// Copies `region` of a source with a wide step into lines that *pixels then has, of pixels without
// a fourth byte that is not read.
int gatherLines(CJPEGEncoder& e, const Ipp8u* line, Pixels* pixels, IppiSize region) {
  EncoderRoom& room = *EncoderRoom::of(e);
  const bool fourBytes = room.pixelBytes == 4;
  const int channels = e.source_color == JPEG_COLOR_GRAY   ? 1
                       : e.source_color == JPEG_COLOR_CMYK ? 4
                                                           : 3;
  const int step = channels * region.width;
  if (!fitBuffer(&room.pixels, &room.pixelsSize, std::int64_t{step} * e.mcu_height)) {
    return JPEG_OUT_OF_MEMORY;
  }
  *pixels = {room.pixels.get(), step};
  Ipp8u* target = room.pixels.get();
  for (int i = 0; i < region.height; ++i, line += room.wideStep, target += step) {
    QRX_TRY(resultOf(
        fourBytes ? ippiCopy_8u_AC4C3R(line, 4 * region.width, target, step, {region.width, 1})
                  : ippsCopy_8u(line, target, step)));
  }
  return JPEG_NO_ERROR;
}

// Converts `region` of the source into the components' cc_buffer.
int convertColors(CJPEGEncoder& e, const Pixels& pixels, IppiSize region, bool tableAllowed) {
  Ipp8u* planes[4] = {};
  for (int i = 0; i < e.component_count; ++i) planes[i] = e.components[i]->cc_buffer;
  const Ipp8u* const source = pixels.first;
  const int step = pixels.step, stride = e.strip_stride;
  const auto copy = [&](int channels) {
    return resultOf(copyChannels(channels, source, step, planes, stride, region));
  };
  switch (conversionFor(e.source_color, e.jpeg_color)) {
    case Conversion::kNone: break;
    case Conversion::kCopyByCount: {
      const int n = e.component_count;
      return n == 1 || n == 3 || n == 4 ? copy(n) : JPEG_NOT_SUPPORTED;
    }
    case Conversion::kCopyGray: return copy(1);
    case Conversion::kCopyThree: return copy(3);
    case Conversion::kCopyFour: return copy(4);
    case Conversion::kRgbToGray:
      return resultOf(ippiRGBToY_JPEG_8u_C3C1R(source, step, planes[0], stride, region));
    case Conversion::kRgbToYcbcr:
      return resultOf(ippiRGBToYCbCr_JPEG_8u_C3P3R(source, step, planes, stride, region));
    case Conversion::kBgrToYcbcr:
      if (tableAllowed) return e.qrxBGRToYCbCr_JPEG_8u_C3P3R(source, step, planes, stride, region);
      return resultOf(ippiBGRToYCbCr_JPEG_8u_C3P3R(source, step, planes, stride, region));
    case Conversion::kCmykToYcck:
      return resultOf(ippiCMYKToYCCK_JPEG_8u_C4P4R(source, step, planes, stride, region));
  }
  return JPEG_NO_ERROR;
}

// Repeats the last column of `lines` source lines, and with `lastLines`, where the image ends with
// them, the last line, up to whole MCUs.
void pad(const CJPEGEncoder& e, Ipp8u* plane, int lines, bool lastLines) {
  const auto stride = static_cast<std::size_t>(e.strip_stride);
  if (e.pad_columns != 0) {
    Ipp8u* right = plane + e.source_width;
    for (int line = 0; line < lines; ++line, right += stride) {
      std::memset(right, right[-1], static_cast<std::size_t>(e.pad_columns));
    }
  }
  if (!lastLines || lines <= 0) return;
  const Ipp8u* last = plane + stride * static_cast<std::size_t>(lines - 1);
  Ipp8u* below = plane + stride * static_cast<std::size_t>(lines);
  for (int line = 0; line < e.pad_rows; ++line, below += stride) {
    ippsCopy_8u(last, below, e.strip_stride);
  }
}

// Brings `lines` padded lines to the component's resolution. `clear`: what 2x1 reduction leaves
// free is zero.
int reduce(const CJPEGEncoder& e, const CJPEGColorComponent& c, int lines, bool clear) {
  const int stride = e.strip_stride;
  const IppiSize full = {stride, lines};
  if (c.h_factor != 2) {
    ippsCopy_8u(c.cc_buffer, c.ss_buffer, lines * stride);
    return JPEG_NO_ERROR;
  }
  if (c.v_factor == 2) {
    return resultOf(ippiSampleDownH2V2_JPEG_8u_C1R(c.cc_buffer, stride, full, c.ss_buffer, stride,
                                                   {stride / 2, lines / 2}));
  }
  if (clear) ippsZero_8u(c.ss_buffer, lines * stride);
  return resultOf(ippiSampleDownH2V1_JPEG_8u_C1R(c.cc_buffer, stride, full, c.ss_buffer, stride,
                                                 {stride / 2, lines}));
}

int reduceComponents(CJPEGEncoder& e, int sourceLines, int paddedLines, bool lastLines,
                     bool clear) {
  for (int i = 0; i < e.component_count; ++i) {
    const CJPEGColorComponent& c = *e.components[i];
    pad(e, c.cc_buffer, sourceLines, lastLines);
    QRX_TRY(reduce(e, c, paddedLines, clear));
  }
  return JPEG_NO_ERROR;
}

}  // namespace

bool hasColorConversion(_JPEG_COLOR source, _JPEG_COLOR jpeg) {
  return conversionFor(source, jpeg) != Conversion::kNone;
}

void settleStripRows(CJPEGEncoder& encoder, int strip) {
  if (strip == encoder.mcus_down - 1) encoder.strip_rows = encoder.mcu_height - encoder.pad_rows;
}

}  // namespace qrx::jpeg

using namespace qrx::jpeg;

int CJPEGEncoder::ColorConvert(int strip) {
  const bool table = useColourTable();
  settleStripRows(*this, strip);
  const std::int64_t offset = std::int64_t{strip} * mcu_height * EncoderRoom::sourceStep(*this);
  Pixels pixels = {source_data + offset, source_step};
  const IppiSize region = {source_width, strip_rows};
  if (EncoderRoom::hasWideStep(*this)) {
    QRX_TRY(gatherLines(*this, source_data + offset, &pixels, region));
  } else if (EncoderRoom::sourcePixelBytes(*this) == 4) {
    QRX_TRY(dropFourthBytes(*this, &pixels, region));
  }
  return convertColors(*this, pixels, region, table);
}

int CJPEGEncoder::ColorConvert() {
  return convertColors(*this, {source_data, source_step}, {source_width, source_height}, false);
}

int CJPEGEncoder::DownSampling(int strip) {
  return reduceComponents(*this, strip_rows, mcu_height, strip == mcus_down - 1, true);
}

int CJPEGEncoder::DownSampling() {
  return reduceComponents(*this, source_height, mcus_down * mcu_height, true, false);
}
