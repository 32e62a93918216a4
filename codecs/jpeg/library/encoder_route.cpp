#include "codecs/jpeg/library/encoder_route.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "codecs/jpeg/library/encoder_room.h"

namespace qrx::jpeg {
namespace {

bool isInMCU(int padding, int side) { return padding >= 0 && padding < side; }

// Whether the grid of MCUs is the source's. It is not where another source was set behind the
// destination.
bool hasOwnGrid(const CJPEGEncoder& e) {
  return isInMCU(e.pad_columns, e.mcu_width) && isInMCU(e.pad_rows, e.mcu_height);
}

}  // namespace

bool hasRoutePixels(const CJPEGEncoder& e, int pixelBytes) {
  if (e.jpeg_color != JPEG_COLOR_YCBCR || e.component_count != strips::kComponents) return false;
  if (e.source_color != JPEG_COLOR_RGB && e.source_color != JPEG_COLOR_BGR) return false;
  const std::int64_t line = std::int64_t{e.source_width} * pixelBytes;
  const std::ptrdiff_t step =
      EncoderRoom::hasWideStep(e) ? std::abs(EncoderRoom::sourceStep(e)) : e.source_step;
  return e.source_data != nullptr && e.source_width > 0 && step >= line && hasOwnGrid(e);
}

bool hasRouteComponents(const CJPEGEncoder& e) {
  const int count = e.component_count;
  return count == 1 || count == strips::kComponents || count == strips::kMostComponents;
}

strips::Layout layoutOf(const CJPEGEncoder& e) {
  return {e.components[0]->hsampling, e.components[0]->vsampling};
}

bool hasRouteStream(const CJPEGEncoder& e) {
  return e.stream.data != nullptr && e.stream.capacity > 0 && e.huffman_state.state != nullptr;
}

strips::PixelsIn routePixels(const CJPEGEncoder& e, int pixelBytes) {
  strips::PixelsIn pixels = {};
  pixels.format = {pixelBytes, e.source_color == JPEG_COLOR_RGB ? 0 : 2};
  pixels.step = EncoderRoom::sourceStep(e);
  pixels.width = e.source_width;
  return pixels;
}

bool takeMultipliers(const CJPEGEncoder& e, const Ipp16u** quant) {
  for (int i = 0; i < e.component_count; ++i) {
    quant[i] = e.quant_tables[e.components[i]->q_selector].fwd_table;
    const bool fits = std::all_of(quant[i], quant[i] + 64,
                                  [](Ipp16u m) { return m <= strips::kLargestMultiplier; });
    if (!fits) return false;
  }
  return true;
}

}  // namespace qrx::jpeg
