// The output stage of sequential decoding: one row of MCUs goes from its planes through
// up-sampling and colour conversion into the destination.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "qrx/jpeg_decoder.h"
#include "qrx/primitives.h"

// Repeats the first and the last of `samples` samples in the guard bytes on both sides of each
// line; `line` is the first line's left guard.
void CJPEGDecoder::setSideGuards(Ipp8u* line, int lines, int step, int samples) const {
  for (int i = 0; i < lines; ++i, line += step) {
    line[0] = line[1];
    line[samples + 1] = line[samples];
  }
}

int CJPEGDecoder::UpSampling(int row, int slot) {
  const int samples = strip_stride / 2;
  const int step = samples + 2;
  const std::ptrdiff_t target = std::ptrdiff_t{slot} * strip_stride * mcu_height;
  const IppiSize full = {strip_stride, mcu_height};
  for (int i = 0; i < component_count; ++i) {
    CJPEGColorComponent& c = *components[i];
    IppStatus status = ippStsNoErr;
    if (c.h_factor == 1) {
      if (c.ss_buffer != nullptr) {
        ippsCopy_8u(c.ss_buffer, c.cc_buffer + target, mcu_height * strip_stride);
      }
    } else if (c.v_factor == 1) {
      Ipp8u* plane =
          c.ss_buffer + std::ptrdiff_t{slot} * mcus_across * (mcu_width / 2 + 2) * mcu_height;
      setSideGuards(plane, mcu_height, step, samples);
      status = ippiSampleUpH2V1_JPEG_8u_C1R(plane + 1, step, {samples, mcu_height},
                                            c.cc_buffer + target, strip_stride, full);
    } else {
      const int lines = mcu_height / 2;
      Ipp8u* plane =
          c.ss_buffer + std::ptrdiff_t{slot} * mcus_across * (mcu_width / 2 + 2) * (lines + 2);
      setSideGuards(plane + step, lines, step, samples);
      Ipp8u* const first = plane + step;
      Ipp8u* const last = plane + std::ptrdiff_t{step} * lines;
      // Above stands the last line of the row before; below, where the next row is not decoded yet,
      // the last line is repeated.
      ippsCopy_8u(row == 0 ? first : c.row_buffer, plane, step);
      ippsCopy_8u(last, c.row_buffer, step);
      ippsCopy_8u(last, last + step, step);
      status = ippiSampleUpH2V2_JPEG_8u_C1R(first + 1, step, {samples, lines}, c.cc_buffer + target,
                                            strip_stride, full);
    }
    if (status != ippStsNoErr) return JPEG_INTERNAL_ERROR;
  }
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::ColorConvert(int row, int slot) {
  if (row == mcus_down - 1) strip_rows = mcu_height - pad_rows;
  const int top = row * mcu_height;
  const int lines = std::min(strip_rows, dest_height - top);
  if (lines <= 0) return JPEG_NO_ERROR;

  const Ipp8u* planes[4] = {};
  for (int i = 0; i < component_count; ++i) {
    planes[i] = components[i]->cc_buffer + std::ptrdiff_t{slot} * strip_stride * mcu_height;
  }
  bool written = false;
  const int result = interleave(planes, dest_data + std::ptrdiff_t{dest_step} * top,
                                {dest_width, lines}, &written);
  if (written) lines_written = std::max(lines_written, top + lines);
  return result;
}
