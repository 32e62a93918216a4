// The output stage of progressive decoding: the whole image at once.
#include <algorithm>
#include <cstddef>

#include "qrx/jpeg_decoder.h"
#include "qrx/primitives.h"

int CJPEGDecoder::UpSampling() {
  const int samples = strip_stride / 2;
  const IppiSize area = {dest_width, dest_height};
  for (int i = 0; i < component_count; ++i) {
    CJPEGColorComponent& c = *components[i];
    IppStatus status = ippStsNoErr;
    if (c.h_factor == 1) {
      ippiCopy_8u_C1R(c.ss_buffer, strip_stride, c.cc_buffer, strip_stride, area);
    } else if (c.v_factor == 1) {
      setSideGuards(c.ss_buffer, strip_rows, strip_stride, samples);
      status = ippiSampleUpH2V1_JPEG_8u_C1R(c.ss_buffer + 1, strip_stride, {samples, strip_rows},
                                            c.cc_buffer, strip_stride, area);
    } else {
      const int lines = strip_rows / 2;
      Ipp8u* const first = c.ss_buffer + strip_stride;
      Ipp8u* const last = c.ss_buffer + std::ptrdiff_t{strip_stride} * lines;
      setSideGuards(first, lines, strip_stride, samples);
      ippsCopy_8u(first, c.ss_buffer, strip_stride);
      ippsCopy_8u(last, last + strip_stride, strip_stride);
      status = ippiSampleUpH2V2_JPEG_8u_C1R(first + 1, strip_stride, {samples, lines}, c.cc_buffer,
                                            strip_stride, area);
    }
    if (status != ippStsNoErr) return JPEG_INTERNAL_ERROR;
  }
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::ColorConvert() {
  const Ipp8u* planes[4] = {};
  for (int i = 0; i < component_count; ++i) planes[i] = components[i]->cc_buffer;
  bool written = false;
  const int result = interleave(planes, dest_data, {dest_width, dest_height}, &written);
  if (written) lines_written = std::max(lines_written, dest_height);
  return result;
}
