// From planes to the destination's layout: the pairs of colours that there are.
#include "codecs/jpeg/library/decoder/output_stage.h"
#include "codecs/jpeg/library/result.h"

namespace qrx::jpeg {
namespace {

enum class Output {
  kByCount,
  kOneChannel,
  kThreePlanes,
  kFourPlanes,
  kYcbcrToRgb,
  kYcbcrToBgr,
  kYcckToCmyk
};

struct Pair {
  _JPEG_COLOR jpeg, destination;
  Output output;
  int planes;    // that the frame must have
  int order[4];  // which planes the channels come from
};

constexpr Pair kPairs[] = {
    {JPEG_COLOR_NONE, JPEG_COLOR_NONE, Output::kByCount, 0, {0, 1, 2, 3}},
    {JPEG_COLOR_GRAY, JPEG_COLOR_GRAY, Output::kOneChannel, 1, {0}},
    {JPEG_COLOR_GRAY, JPEG_COLOR_RGB, Output::kThreePlanes, 1, {0, 0, 0}},
    {JPEG_COLOR_GRAY, JPEG_COLOR_BGR, Output::kThreePlanes, 1, {0, 0, 0}},
    {JPEG_COLOR_RGB, JPEG_COLOR_RGB, Output::kThreePlanes, 3, {0, 1, 2}},
    {JPEG_COLOR_RGB, JPEG_COLOR_BGR, Output::kThreePlanes, 3, {2, 1, 0}},
    {JPEG_COLOR_YCBCR, JPEG_COLOR_RGB, Output::kYcbcrToRgb, 3, {0, 1, 2}},
    {JPEG_COLOR_YCBCR, JPEG_COLOR_BGR, Output::kYcbcrToBgr, 3, {0, 1, 2}},
    {JPEG_COLOR_CMYK, JPEG_COLOR_CMYK, Output::kFourPlanes, 4, {0, 1, 2, 3}},
    {JPEG_COLOR_YCCK, JPEG_COLOR_CMYK, Output::kYcckToCmyk, 4, {0, 1, 2, 3}},
};

const Pair* findPair(_JPEG_COLOR jpeg, _JPEG_COLOR destination) {
  for (const Pair& pair : kPairs) {
    if (pair.jpeg == jpeg && pair.destination == destination) return &pair;
  }
  return nullptr;
}

}  // namespace

bool hasConversion(const CJPEGDecoder& d) {
  const Pair* pair = findPair(d.jpeg_color, d.dest_color);
  return pair != nullptr && pair->planes <= d.component_count;
}

int interleave(const CJPEGDecoder& d, const Ipp8u* const planes[4], Ipp8u* target, int step,
               IppiSize area) {
  if (!hasConversion(d)) return JPEG_NO_ERROR;
  const int planeStep = d.strip_stride;
  const Pair* pair = findPair(d.jpeg_color, d.dest_color);
  const Ipp8u* source[4];
  for (int i = 0; i < 4; ++i) source[i] = planes[pair->order[i]];

  Output output = pair->output;
  if (output == Output::kByCount) {
    switch (d.component_count) {
      case 1: output = Output::kOneChannel; break;
      case 3: output = Output::kThreePlanes; break;
      case 4: output = Output::kFourPlanes; break;
      default: return JPEG_NOT_SUPPORTED;
    }
  }
  IppStatus status = ippStsNoErr;
  switch (output) {
    case Output::kOneChannel:
      status = ippiCopy_8u_C1R(source[0], planeStep, target, step, area);
      break;
    case Output::kThreePlanes:
      status = ippiCopy_8u_P3C3R(source, planeStep, target, step, area);
      break;
    case Output::kFourPlanes:
      status = ippiCopy_8u_P4C4R(source, planeStep, target, step, area);
      break;
    case Output::kYcbcrToRgb:
      status = ippiYCbCrToRGB_JPEG_8u_P3C3R(source, planeStep, target, step, area);
      break;
    case Output::kYcbcrToBgr:
      status = ippiYCbCrToBGR_JPEG_8u_P3C3R(source, planeStep, target, step, area);
      break;
    case Output::kYcckToCmyk:
      status = ippiYCCKToCMYK_JPEG_8u_P4C4R(source, planeStep, target, step, area);
      break;
    case Output::kByCount: break;
  }
  return resultOf(status);
}

}  // namespace qrx::jpeg
