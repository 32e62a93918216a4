// The output stages: reduced components are enlarged, then colours are converted into the
// destination; for one row of MCUs, or for a whole progressive image.
#include "codecs/jpeg/library/decoder/output_stage.h"

#include <algorithm>
#include <cstddef>

#include "codecs/jpeg/library/decoder/decoder_room.h"
#include "codecs/jpeg/library/decoder/sample_planes.h"
#include "codecs/jpeg/library/result.h"

namespace qrx::jpeg {
namespace {

// What is enlarged at once.
struct Extent {
  int lines;      // of full resolution
  int step;       // bytes from line to line of a reduced plane
  IppiSize area;  // of the full-size planes, that is filled
  int slot;       // how many of such extents stand in front of it in the planes
  bool goesOn;    // above it stands the line that row_buffer kept
  bool keeps;     // keeps its own last line there
};

// Repeats the first and the last of `samples` samples in the guards at both ends of each line;
// `line` is the first line's left guard.
void setSideGuards(Ipp8u* line, int lines, int step, int samples) {
  for (int i = 0; i < lines; ++i, line += step) {
    line[0] = line[1];
    line[samples + 1] = line[samples];
  }
}

// The reduced lines and a guard line on either side. Below, where the next row is not decoded yet
// or the image ends, the last line is repeated.
void setLineGuards(const CJPEGColorComponent& c, const Extent& extent, Ipp8u* plane, int lines) {
  const int step = extent.step;
  Ipp8u* const first = plane + step;
  Ipp8u* const last = plane + std::ptrdiff_t{step} * lines;
  ippsCopy_8u(extent.goesOn ? c.row_buffer : first, plane, step);
  if (extent.keeps) ippsCopy_8u(last, c.row_buffer, step);
  ippsCopy_8u(last, last + step, step);
}

// Brings a component to full size in its cc_buffer.
int enlarge(const CJPEGDecoder& d, const CJPEGColorComponent& c, const Extent& extent) {
  const int stride = d.strip_stride, samples = stride / 2, step = extent.step;
  Ipp8u* const target = c.cc_buffer + std::ptrdiff_t{extent.slot} * stride * d.mcu_height;
  if (c.h_factor == 1) {
    // Of a row of MCUs it stands there already.
    if (c.ss_buffer != nullptr) {
      ippiCopy_8u_C1R(c.ss_buffer, stride, target, stride, extent.area);
    }
    return JPEG_NO_ERROR;
  }
  const std::ptrdiff_t before =
      std::ptrdiff_t{extent.slot} * d.mcus_across * (d.mcu_width / 2 + 2);  // lines of it
  if (c.v_factor == 1) {
    Ipp8u* const plane = c.ss_buffer + before * extent.lines;
    setSideGuards(plane, extent.lines, step, samples);
    return resultOf(ippiSampleUpH2V1_JPEG_8u_C1R(plane + 1, step, {samples, extent.lines}, target,
                                                 stride, extent.area));
  }
  const int lines = extent.lines / 2;
  Ipp8u* const plane = c.ss_buffer + before * (lines + 2);
  setSideGuards(plane + step, lines, step, samples);
  setLineGuards(c, extent, plane, lines);
  return resultOf(ippiSampleUpH2V2_JPEG_8u_C1R(plane + step + 1, step, {samples, lines}, target,
                                               stride, extent.area));
}

int enlargeAll(const CJPEGDecoder& d, const Extent& extent) {
  for (int i = 0; i < d.component_count; ++i) QRX_TRY(enlarge(d, *d.components[i], extent));
  return JPEG_NO_ERROR;
}

// Converts `area` of the planes, from byte `offset` of each, into lines of the destination from
// `top` on.
int convert(CJPEGDecoder& d, std::ptrdiff_t offset, int top, IppiSize area) {
  DecoderRoom* const room = DecoderRoom::of(d);
  if (room == nullptr) return JPEG_OUT_OF_MEMORY;
  const Ipp8u* planes[4] = {};
  for (int i = 0; i < d.component_count; ++i) planes[i] = d.components[i]->cc_buffer + offset;
  bool written = false;
  const int result =
      interleave(d, planes, d.dest_data + std::ptrdiff_t{d.dest_step} * top, area, &written);
  if (written) room->linesWritten = std::max(room->linesWritten, top + area.height);
  return result;
}

}  // namespace

int convertRow(CJPEGDecoder& d, int row, int slot, int width) {
  if (row == d.mcus_down - 1) d.strip_rows = d.mcu_height - d.pad_rows;
  const int top = row * d.mcu_height;
  const int lines = std::min(d.strip_rows, d.dest_height - top);
  if (lines <= 0) return JPEG_NO_ERROR;
  return convert(d, std::ptrdiff_t{slot} * d.strip_stride * d.mcu_height, top, {width, lines});
}

}  // namespace qrx::jpeg

int CJPEGDecoder::UpSampling(int row, int slot) {
  const IppiSize whole = {strip_stride, mcu_height};
  return qrx::jpeg::enlargeAll(
      *this, {mcu_height, qrx::jpeg::reducedStep(*this), whole, slot, row != 0, true});
}

int CJPEGDecoder::UpSampling() {
  const IppiSize area = {dest_width, dest_height};
  return qrx::jpeg::enlargeAll(*this, {strip_rows, strip_stride, area, 0, false, false});
}

int CJPEGDecoder::ColorConvert(int row, int slot) {
  return qrx::jpeg::convertRow(*this, row, slot, dest_width);
}

int CJPEGDecoder::ColorConvert() {
  return qrx::jpeg::convert(*this, 0, 0, {dest_width, dest_height});
}
