// libjpeg behind plain functions; its error exits become results.
#include "tests/interop/peer_jpeg.h"

#include <jpeglib.h>

#include <csetjmp>
#include <cstdio>
#include <cstdlib>

namespace qrx::test {
namespace {

struct ErrorManager {
  jpeg_error_mgr base;
  std::jmp_buf escape;
  char message[JMSG_LENGTH_MAX];
};

void leave(j_common_ptr info) {
  auto* errors = reinterpret_cast<ErrorManager*>(info->err);
  (*info->err->format_message)(info, errors->message);
  std::longjmp(errors->escape, 1);
}

void stayQuiet(j_common_ptr) {}

jpeg_error_mgr* prepare(ErrorManager* errors) {
  jpeg_std_error(&errors->base);
  errors->base.error_exit = leave;
  errors->base.output_message = stayQuiet;
  errors->message[0] = '\0';
  return &errors->base;
}

J_COLOR_SPACE inputSpace(PeerColor color) {
  switch (color) {
    case PeerColor::kGray: return JCS_GRAYSCALE;
    case PeerColor::kCmyk:
    case PeerColor::kYcck: return JCS_CMYK;
    default: return JCS_EXT_BGR;
  }
}

J_COLOR_SPACE streamSpace(PeerColor color) {
  switch (color) {
    case PeerColor::kGray: return JCS_GRAYSCALE;
    case PeerColor::kYcbcr: return JCS_YCbCr;
    case PeerColor::kRgb: return JCS_RGB;
    case PeerColor::kCmyk: return JCS_CMYK;
    case PeerColor::kYcck: return JCS_YCCK;
  }
  return JCS_UNKNOWN;
}

std::vector<jpeg_scan_info> makeScript(const std::vector<PeerScan>& scans) {
  std::vector<jpeg_scan_info> script;
  for (const PeerScan& scan : scans) {
    jpeg_scan_info info = {};
    info.comps_in_scan = static_cast<int>(scan.components.size());
    for (std::size_t i = 0; i < scan.components.size(); ++i) {
      info.component_index[i] = scan.components[i];
    }
    info.Ss = scan.ss;
    info.Se = scan.se;
    info.Ah = scan.ah;
    info.Al = scan.al;
    script.push_back(info);
  }
  return script;
}

void configure(jpeg_compress_struct* info, const PeerOptions& options) {
  jpeg_set_defaults(info);
  jpeg_set_colorspace(info, streamSpace(options.color));
  jpeg_set_quality(info, options.quality, TRUE);
  if (options.progressive) jpeg_simple_progression(info);
  for (int i = 0; i < info->num_components; ++i) {
    const bool full = i == 0 || i == 3;
    info->comp_info[i].h_samp_factor = full ? options.across : 1;
    info->comp_info[i].v_samp_factor = full ? options.down : 1;
  }
  info->optimize_coding = options.optimise ? TRUE : FALSE;
  info->restart_interval = static_cast<unsigned>(options.restartMCUs);
  info->restart_in_rows = options.restartRows;
}

}  // namespace

int channelsOf(PeerColor color) {
  switch (color) {
    case PeerColor::kGray: return 1;
    case PeerColor::kCmyk:
    case PeerColor::kYcck: return 4;
    default: return 3;
  }
}

Bytes peerEncode(const Pixels& pixels, const PeerOptions& options) {
  ErrorManager errors;
  jpeg_compress_struct info = {};
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  const std::vector<jpeg_scan_info> script = makeScript(options.scans);
  info.err = prepare(&errors);
  if (setjmp(errors.escape) != 0) {
    jpeg_destroy_compress(&info);
    std::free(buffer);
    std::fprintf(stderr, "peer: %s\n", errors.message);
    return {};
  }
  jpeg_create_compress(&info);
  jpeg_mem_dest(&info, &buffer, &size);
  info.image_width = static_cast<JDIMENSION>(pixels.width);
  info.image_height = static_cast<JDIMENSION>(pixels.height);
  info.input_components = pixels.channels;
  info.in_color_space = inputSpace(options.color);
  configure(&info, options);
  if (!script.empty()) {
    info.scan_info = script.data();
    info.num_scans = static_cast<int>(script.size());
  }
  jpeg_start_compress(&info, TRUE);
  if (!options.comment.empty()) {
    jpeg_write_marker(&info, JPEG_COM, reinterpret_cast<const JOCTET*>(options.comment.data()),
                      static_cast<unsigned>(options.comment.size()));
  }
  const auto stride =
      static_cast<std::size_t>(pixels.width) * static_cast<std::size_t>(pixels.channels);
  while (info.next_scanline < info.image_height) {
    auto* row = const_cast<JSAMPLE*>(pixels.bytes.data() + info.next_scanline * stride);
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  Bytes stream(buffer, buffer + size);
  jpeg_destroy_compress(&info);
  std::free(buffer);
  return stream;
}

PeerDecoded peerDecode(const Bytes& stream) {
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
  info.out_color_space = info.num_components == 1   ? JCS_GRAYSCALE
                         : info.num_components == 4 ? JCS_CMYK
                                                    : JCS_EXT_BGR;
  jpeg_start_decompress(&info);
  result.pixels.width = static_cast<int>(info.output_width);
  result.pixels.height = static_cast<int>(info.output_height);
  result.pixels.channels = info.output_components;
  const std::size_t stride =
      std::size_t{info.output_width} * static_cast<std::size_t>(info.output_components);
  result.pixels.bytes.resize(stride * info.output_height);
  while (info.output_scanline < info.output_height) {
    JSAMPLE* row = result.pixels.bytes.data() + info.output_scanline * stride;
    jpeg_read_scanlines(&info, &row, 1);
  }
  jpeg_finish_decompress(&info);
  result.warnings = errors.base.num_warnings;
  result.done = true;
  jpeg_destroy_decompress(&info);
  return result;
}

}  // namespace qrx::test
