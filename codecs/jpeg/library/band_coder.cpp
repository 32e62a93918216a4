// Progressive images by the fused routes.
#include "codecs/jpeg/library/band_coder.h"

#include <algorithm>
#include <cstdint>

#include "codecs/jpeg/library/encoder_room.h"
#include "codecs/jpeg/library/encoder_route.h"
#include "codecs/jpeg/library/encoder_stages.h"
#include "codecs/jpeg/library/mcu_grid.h"
#include "codecs/jpeg/library/progressive_scan.h"

namespace qrx::jpeg {
namespace {

// Pixels have three bytes here: only strips skip a fourth one.
constexpr int kPixelBytes = 3;

}  // namespace

// Settles what the routes need. False where they do not take the image.
bool BandCoder::takeRoute() {
  CJPEGEncoder& e = encoder_;
  if (e.restart_interval != 0 || e.mcus_down <= 0) return false;
  if (!hasRoutePixels(e, kPixelBytes) || !hasRouteStream(e)) return false;
  if (!takeMultipliers(e, image_.quant)) return false;
  const strips::Layout layout = layoutOf(e);
  image_.store = {layout, e.coefficients, e.mcus_across, e.mcus_down};
  for (int i = 0; i < strips::kComponents; ++i) {
    const CJPEGColorComponent& c = *e.components[i];
    image_.grid[i] = {i, std::min(e.mcus_down * c.vsampling, mcuCount(e.source_height, 8)),
                      std::min(e.mcus_across * c.hsampling, mcuCount(e.source_width, 8))};
  }
  EncoderRoom* const room = EncoderRoom::of(e);
  if (room == nullptr || !room->planes.fit(layout, e.mcus_across, e.mcus_across)) return false;
  if (!room->bands.fit(&image_, &tokens_)) return false;
  image_.planes = room->planes.planes();
  return true;
}

int BandCoder::fill() {
  CJPEGEncoder& e = encoder_;
  if (e.mcus_down <= 0) return JPEG_NO_ERROR;  // and no coefficients
  hasRoute_ = takeRoute();
  if (hasRoute_) {
    fillByRoute();
    return JPEG_NO_ERROR;
  }
  clearCoefficients(e);
  QRX_TRY(e.ColorConvert());
  QRX_TRY(e.DownSampling());
  return e.PerformDCT();
}

void BandCoder::fillByRoute() {
  const CJPEGEncoder& e = encoder_;
  strips::PixelsIn pixels = routePixels(e, kPixelBytes);
  for (int strip = 0; strip < e.mcus_down; ++strip) {
    const int line = strip * e.mcu_height;
    pixels.pixels = e.source_data + std::int64_t{line} * e.source_step;
    pixels.lines = std::min(e.mcu_height, e.source_height - line);
    const int slot = ippJumpIndexForMergedLibs;
    strips::kRoutes[slot]->toPlanes(pixels, image_.store.layout, e.mcus_across, image_.planes);
    strips::kBandRoutes[slot]->keep(image_, strip);
  }
}

int BandCoder::code(const Scan& scan) {
  return hasRoute_ ? codeByRoute(scan) : encodeScan(encoder_, scan);
}

// `counts` are by table number.
strips::BandsOut BandCoder::bandsOf(const Scan& scan, int (&counts)[2][256]) const {
  CJPEGEncoder& e = encoder_;
  const bool ac = isAC(scan);
  const int first = scan.components[0];
  strips::BandsOut out = {};
  out.store = image_.store;
  out.Ss = scan.ss;
  out.Se = scan.se;
  out.Ah = scan.ah;
  out.Al = scan.al;
  out.grid = image_.grid[first];
  out.magnitudes = image_.magnitudes[first];
  out.dc = image_.dc;
  for (int i = 0; i < scan.count; ++i) {
    const CJPEGColorComponent& c = *e.components[scan.components[i]];
    const int selector = ac ? c.ac_selector : c.dc_selector;
    out.statistics[i] = counts[selector];
    out.tables[i] = (ac ? e.ac_tables : e.dc_tables)[selector].spec;
  }
  out.bytes = e.stream.data;
  out.length = e.stream.capacity;
  out.position = &e.stream.position;
  out.state = e.huffman_state.state;
  return out;
}

// As a pass over the scan's blocks leaves them.
void BandCoder::setPredictions(const Scan& scan) {
  if (isAC(scan) || scan.ah != 0) return;
  const strips::Store& store = image_.store;
  const int chroma = strips::kComponents - 1;
  const std::int64_t perMCU = store.layout.across * store.layout.down + chroma;
  const Ipp16s* const end = image_.dc + perMCU * store.mcusAcross * store.mcusDown;
  for (int i = 0; i < strips::kComponents; ++i) {
    encoder_.components[i]->last_dc = static_cast<Ipp16s>(end[i - strips::kComponents] >> scan.al);
  }
}

int BandCoder::codeByRoute(const Scan& scan) {
  CJPEGEncoder& e = encoder_;
  const strips::BandRoutes& routes = *strips::kBandRoutes[ippJumpIndexForMergedLibs];
  int counts[2][256] = {};
  const strips::BandsOut bands = bandsOf(scan, counts);
  if (!routes.gather(bands, &tokens_)) return encodeScan(e, scan);
  clearPredictions(e);
  setPredictions(scan);
  QRX_TRY(initScanTables(e, scan, counts));
  QRX_TRY(openScan(e, scan));
  if (!routes.code(bands, &tokens_)) return codeScan(e, scan);
  setPredictions(scan);
  return JPEG_NO_ERROR;
}

}  // namespace qrx::jpeg
