// Colour conversion and down-sampling: interleaved source pixels become one plane per component,
// padded to whole MCUs and reduced to the component's resolution. A strip at a time for baseline
// and packets, the whole image at once for progressive.
#include <pthread.h>

#include <cstring>

#include "codecs/jpeg/library/mcu_grid.h"
#include "qrx/env.h"
#include "qrx/jpeg_encoder.h"
#include "qrx/primitives.h"

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

pthread_once_t g_switchOnce = PTHREAD_ONCE_INIT;
bool g_useTable = false;

void readSwitch() { g_useTable = qrx::Env::getInt("ZMT_COLOR_CONVERSION", 0) == 1; }

// Whether BGR strips go through the colour table. The variable is read once per process.
bool useColourTable() {
  pthread_once(&g_switchOnce, readSwitch);
  return g_useTable;
}

}  // namespace

bool hasColorConversion(_JPEG_COLOR source, _JPEG_COLOR jpeg) {
  return conversionFor(source, jpeg) != Conversion::kNone;
}

int CJPEGEncoder::ColorConvert(int strip) {
  const bool table = useColourTable();
  if (strip == mcus_down - 1) strip_rows = mcu_height - pad_rows;
  const std::int64_t offset = std::int64_t{strip} * mcu_height * source_step;
  return convertColors(source_data + offset, {source_width, strip_rows}, table);
}

int CJPEGEncoder::ColorConvert() {
  return convertColors(source_data, {source_width, source_height}, false);
}

int CJPEGEncoder::convertColors(const Ipp8u* source, IppiSize region, bool tableAllowed) {
  Ipp8u* planes[4] = {};
  for (int i = 0; i < component_count; ++i) planes[i] = components[i]->cc_buffer;

  const auto copy = [&](int channels) {
    switch (channels) {
      case 1: return ippiCopy_8u_C1R(source, source_step, planes[0], strip_stride, region);
      case 3: return ippiCopy_8u_C3P3R(source, source_step, planes, strip_stride, region);
      default: return ippiCopy_8u_C4P4R(source, source_step, planes, strip_stride, region);
    }
  };
  IppStatus status = ippStsNoErr;
  switch (conversionFor(source_color, jpeg_color)) {
    case Conversion::kNone: break;
    case Conversion::kCopyByCount:
      if (component_count != 1 && component_count != 3 && component_count != 4) {
        return JPEG_NOT_SUPPORTED;
      }
      status = copy(component_count);
      break;
    case Conversion::kCopyGray: status = copy(1); break;
    case Conversion::kCopyThree: status = copy(3); break;
    case Conversion::kCopyFour: status = copy(4); break;
    case Conversion::kRgbToGray:
      status = ippiRGBToY_JPEG_8u_C3C1R(source, source_step, planes[0], strip_stride, region);
      break;
    case Conversion::kRgbToYcbcr:
      status = ippiRGBToYCbCr_JPEG_8u_C3P3R(source, source_step, planes, strip_stride, region);
      break;
    case Conversion::kBgrToYcbcr:
      status =
          tableAllowed
              ? qrxBGRToYCbCr_JPEG_8u_C3P3R(source, source_step, planes, strip_stride, region)
              : ippiBGRToYCbCr_JPEG_8u_C3P3R(source, source_step, planes, strip_stride, region);
      break;
    case Conversion::kCmykToYcck:
      status = ippiCMYKToYCCK_JPEG_8u_C4P4R(source, source_step, planes, strip_stride, region);
      break;
  }
  return status == ippStsNoErr ? JPEG_NO_ERROR : JPEG_INTERNAL_ERROR;
}

int CJPEGEncoder::DownSampling(int strip) {
  return reduceComponents(strip_rows, mcu_height, strip == mcus_down - 1, true);
}

int CJPEGEncoder::DownSampling() {
  return reduceComponents(source_height, mcus_down * mcu_height, true, false);
}

// Pads `sourceLines` lines to whole MCUs and reduces `paddedLines` of them; `lastLines` tells that
// the image ends with them, `clearReduced` that the right half of 2x1 reduced lines is cleared.
int CJPEGEncoder::reduceComponents(int sourceLines, int paddedLines, bool lastLines,
                                   bool clearReduced) {
  const auto stride = static_cast<std::size_t>(strip_stride);
  for (int i = 0; i < component_count; ++i) {
    CJPEGColorComponent& c = *components[i];
    if (pad_columns != 0) {
      Ipp8u* pad = c.cc_buffer + source_width;
      for (int line = 0; line < sourceLines; ++line, pad += stride) {
        std::memset(pad, pad[-1], static_cast<std::size_t>(pad_columns));
      }
    }
    if (lastLines && sourceLines > 0) {
      const Ipp8u* last = c.cc_buffer + stride * static_cast<std::size_t>(sourceLines - 1);
      Ipp8u* pad = c.cc_buffer + stride * static_cast<std::size_t>(sourceLines);
      for (int line = 0; line < pad_rows; ++line, pad += stride) {
        ippsCopy_8u(last, pad, strip_stride);
      }
    }

    const IppiSize full = {strip_stride, paddedLines};
    IppStatus status = ippStsNoErr;
    if (c.h_factor == 2 && c.v_factor == 2) {
      status = ippiSampleDownH2V2_JPEG_8u_C1R(c.cc_buffer, strip_stride, full, c.ss_buffer,
                                              strip_stride, {strip_stride / 2, paddedLines / 2});
    } else if (c.h_factor == 2) {
      if (clearReduced) ippsZero_8u(c.ss_buffer, paddedLines * strip_stride);
      status = ippiSampleDownH2V1_JPEG_8u_C1R(c.cc_buffer, strip_stride, full, c.ss_buffer,
                                              strip_stride, {strip_stride / 2, paddedLines});
    } else {
      ippsCopy_8u(c.cc_buffer, c.ss_buffer, paddedLines * strip_stride);
    }
    if (status != ippStsNoErr) return JPEG_INTERNAL_ERROR;
  }
  return JPEG_NO_ERROR;
}
