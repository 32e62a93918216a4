// libjpeg on the other side: an independent writer and reader of the public standard, behind plain
// functions. Its error exits and warnings become results.
#ifndef QRX_TESTS_INTEROP_PEER_JPEG_H_
#define QRX_TESTS_INTEROP_PEER_JPEG_H_

// jpeglib.h does not bring what it needs.
// clang-format off
#include <cstdio>
#include <jpeglib.h>
// clang-format on

#include <csetjmp>
#include <cstdlib>
#include <functional>
#include <string>

#include "tests/support/pictures.h"

namespace qrx::test {

// Rows tightly packed: gray; blue, green, red; or C, M, Y, K.
struct Pixels {
  Size size;
  int channels = 0;
  Bytes bytes;
};

struct ErrorManager {
  jpeg_error_mgr base;
  std::jmp_buf escape;
  char message[JMSG_LENGTH_MAX];
};

inline jpeg_error_mgr* prepare(ErrorManager* errors) {
  jpeg_std_error(&errors->base);
  errors->base.error_exit = [](j_common_ptr info) {
    auto* escaping = reinterpret_cast<ErrorManager*>(info->err);
    (*info->err->format_message)(info, escaping->message);
    std::longjmp(escaping->escape, 1);
  };
  errors->message[0] = 0;
  errors->base.output_message = [](j_common_ptr info) {  // the first warning
    (*info->err->format_message)(info, reinterpret_cast<ErrorManager*>(info->err)->message);
  };
  return &errors->base;
}

inline J_COLOR_SPACE pixelSpace(int channels) {
  return channels == 1 ? JCS_GRAYSCALE : channels == 4 ? JCS_CMYK : JCS_EXT_BGR;
}

// A stream of this colour space, with a comment and with settings that differ from libjpeg's own.
using Configure = std::function<void(jpeg_compress_struct&)>;
inline Bytes peerEncode(const Pixels& pixels, J_COLOR_SPACE space, const Configure& configure) {
  ErrorManager errors;
  jpeg_compress_struct info = {};
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  info.err = prepare(&errors);
  if (setjmp(errors.escape) != 0) {
    jpeg_destroy_compress(&info);
    std::free(buffer);
    std::fprintf(stderr, "peer: %s\n", errors.message);
    return {};
  }
  jpeg_create_compress(&info);
  jpeg_mem_dest(&info, &buffer, &size);
  info.image_width = static_cast<JDIMENSION>(pixels.size.width);
  info.image_height = static_cast<JDIMENSION>(pixels.size.height);
  info.input_components = pixels.channels;
  info.in_color_space = pixelSpace(pixels.channels);
  jpeg_set_defaults(&info);
  jpeg_set_colorspace(&info, space);
  configure(info);
  jpeg_start_compress(&info, TRUE);
  const Bytes comment(300, 0xFF);
  jpeg_write_marker(&info, JPEG_COM, comment.data(), static_cast<unsigned>(comment.size()));
  const std::size_t step = pixels.bytes.size() / info.image_height;
  while (info.next_scanline < info.image_height) {
    auto* row = const_cast<JSAMPLE*>(pixels.bytes.data() + info.next_scanline * step);
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  Bytes stream(buffer, buffer + size);
  jpeg_destroy_compress(&info);
  std::free(buffer);
  return stream;
}

struct PeerDecoded {
  bool done = false;
  std::string message;
  Pixels pixels;
};
inline PeerDecoded peerDecode(const Bytes& stream) {
  PeerDecoded result;
  ErrorManager errors;
  jpeg_decompress_struct info = {};
  info.err = prepare(&errors);
  if (setjmp(errors.escape) != 0) {
    result.message = errors.message;
    jpeg_destroy_decompress(&info);
    return result;
  }
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, stream.data(), stream.size());
  jpeg_read_header(&info, TRUE);
  info.out_color_space = pixelSpace(info.num_components);
  jpeg_start_decompress(&info);
  Pixels& p = result.pixels;
  p.size = {static_cast<int>(info.output_width), static_cast<int>(info.output_height)};
  p.channels = info.output_components;
  const std::size_t step = std::size_t{info.output_width} * static_cast<unsigned>(p.channels);
  p.bytes.resize(step * info.output_height);
  while (info.output_scanline < info.output_height) {
    JSAMPLE* row = p.bytes.data() + info.output_scanline * step;
    jpeg_read_scanlines(&info, &row, 1);
  }
  jpeg_finish_decompress(&info);
  result.done = true;
  jpeg_destroy_decompress(&info);
  return result;
}

// What a stream carries: coefficients, and what decides their meaning.
struct PeerCoefficients {
  bool done = false;
  long warnings = 0;
  std::string message;        // of the error, or of the first warning
  std::vector<int> shape;     // of the picture; and of each component
  std::vector<JCOEF> values;  // by component: the quantisation table, then the blocks
};
inline PeerCoefficients peerCoefficients(const Bytes& stream) {
  PeerCoefficients result;
  ErrorManager errors;
  jpeg_decompress_struct info = {};
  info.err = prepare(&errors);
  if (setjmp(errors.escape) != 0) {
    result.message = errors.message;
    jpeg_destroy_decompress(&info);
    return result;
  }
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, stream.data(), stream.size());
  jpeg_read_header(&info, TRUE);
  jvirt_barray_ptr* const arrays = jpeg_read_coefficients(&info);
  result.shape = {static_cast<int>(info.image_width), static_cast<int>(info.image_height)};
  for (int i = 0; i < info.num_components; ++i) {
    const jpeg_component_info& c = info.comp_info[i];
    result.shape.insert(result.shape.end(), {c.component_id, c.h_samp_factor, c.v_samp_factor});
    const UINT16* const table = info.quant_tbl_ptrs[c.quant_tbl_no]->quantval;
    result.values.insert(result.values.end(), table, table + DCTSIZE2);
    for (JDIMENSION y = 0; y < c.height_in_blocks; ++y) {
      const JBLOCKARRAY rows = (*info.mem->access_virt_barray)(
          reinterpret_cast<j_common_ptr>(&info), arrays[i], y, 1, FALSE);
      const JCOEF* const row = rows[0][0];
      result.values.insert(result.values.end(), row, row + c.width_in_blocks * DCTSIZE2);
    }
  }
  jpeg_finish_decompress(&info);
  result.done = true;
  result.warnings = errors.base.num_warnings;
  result.message = errors.message;
  jpeg_destroy_decompress(&info);
  return result;
}

}  // namespace qrx::test

#endif  // QRX_TESTS_INTEROP_PEER_JPEG_H_
