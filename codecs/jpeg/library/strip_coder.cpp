// Rows of MCUs of a baseline scan.
#include "codecs/jpeg/library/strip_coder.h"

#include <algorithm>
#include <climits>

#include "codecs/jpeg/library/colour_stage.h"
#include "codecs/jpeg/library/encoder_room.h"
#include "codecs/jpeg/library/encoder_route.h"
#include "codecs/jpeg/library/encoder_stages.h"
#include "codecs/jpeg/library/entropy_interval.h"
#include "qrx/primitives.h"

namespace qrx::jpeg {
namespace {

// Those of the slot in force.
const strips::Routes& routes() { return *strips::kRoutes[ippJumpIndexForMergedLibs]; }

}  // namespace

StripCoder::StripCoder(CJPEGEncoder& encoder) : encoder_(encoder), walk_(walkOf(encoder)) {}

// Settles what a strip is filled from.
bool StripCoder::takeFillRoute() {
  CJPEGEncoder& e = encoder_;
  const bool hasTable = useColourTable();
  if (e.source_color == JPEG_COLOR_BGR && hasTable) return false;  // which the routes do not use
  if (!hasRoutePixels(e, EncoderRoom::sourcePixelBytes(e))) return false;
  EncoderRoom* const room = EncoderRoom::of(e);
  if (room == nullptr || !room->planes.fit(layoutOf(e), e.mcus_across, e.mcus_across)) return false;
  pixels_ = routePixels(e, room->pixelBytes);
  return true;
}

// Settles what a strip is coded with, and where to.
bool StripCoder::takeCodeRoute() {
  CJPEGEncoder& e = encoder_;
  EncoderRoom* const room = EncoderRoom::of(e);
  if (room == nullptr || !hasRouteComponents(e) || !hasRouteStream(e)) return false;
  if (!takeMultipliers(e, scan_.quant)) return false;
  scan_.layout = layoutOf(e);
  scan_.components = e.component_count;
  for (int i = 0; i < 2; ++i) {
    const IppiEncodeHuffmanSpec *dc = e.dc_tables[i].spec, *ac = e.ac_tables[i].spec;
    if (dc == nullptr || !makeDcCodes(*dc, &room->dcCodes[i])) return false;
    if (ac == nullptr || !makeAcCodes(*ac, &room->acCodes[i])) return false;
  }
  bool hasFlat[2];
  for (int i = 0; i < 2; ++i) {
    hasFlat[i] = makeFlatBlocks(e.quant_tables[i].fwd_table, &room->flat[i]);
  }
  for (int i = 0; i < e.component_count; ++i) {
    CJPEGColorComponent& c = *e.components[i];
    scan_.flat[i] = hasFlat[c.q_selector] ? &room->flat[c.q_selector] : nullptr;
    scan_.dc[i] = &room->dcCodes[c.dc_selector];
    scan_.ac[i] = &room->acCodes[c.ac_selector];
    scan_.lastDc[i] = &c.last_dc;
  }
  scan_.bytes = e.stream.data;
  scan_.length = e.stream.capacity;
  scan_.position = &e.stream.position;
  scan_.state = e.huffman_state.state;
  return true;
}

// What lies in the planes that are filled, by a route or by the stages.
void StripCoder::settleSamples() {
  const CJPEGEncoder& e = encoder_;
  if (fillsByRoute_) {
    scan_.planes = EncoderRoom::of(encoder_)->planes.planes();
    return;
  }
  for (int i = 0; i < e.component_count; ++i) {
    scan_.planes.plane[i] = e.components[i]->ss_buffer;
    scan_.planes.step[i] = e.strip_stride;
  }
}

int StripCoder::fill(int strip) {
  if (strip == 0) {
    fillsByRoute_ = takeFillRoute();
    codesByRoute_ = takeCodeRoute();
    settleSamples();
  }
  if (fillsByRoute_) {
    fillByRoute(strip);
    return JPEG_NO_ERROR;
  }
  QRX_TRY(encoder_.ColorConvert(strip));
  return encoder_.DownSampling(strip);
}

void StripCoder::fillByRoute(int strip) {
  CJPEGEncoder& e = encoder_;
  settleStripRows(e, strip);
  pixels_.pixels = e.source_data + std::int64_t{strip} * e.mcu_height * pixels_.step;
  pixels_.lines = e.strip_rows;
  routes().toPlanes(pixels_, layoutOf(e), e.mcus_across, scan_.planes);
}

int StripCoder::code(int column, int count, std::int64_t stopAt, int* coded) {
  CJPEGEncoder& e = encoder_;
  const int routeStopsAt = static_cast<int>(std::min<std::int64_t>(stopAt, INT_MAX));
  *coded = 0;
  while (*coded < count) {
    int together = count - *coded;
    if (e.restart_interval != 0) {
      if (e.restarts_to_go == 0) QRX_TRY(restartInterval(e, kBaselineScan));
      together = std::min(together, e.restarts_to_go);
    }
    int done = codeByRoute(column + *coded, together, routeStopsAt);
    if (done == 0) {
      QRX_TRY(codeMCU(column + *coded));
      done = 1;
    }
    if (e.restart_interval != 0) e.restarts_to_go -= done;
    *coded += done;
    if (e.stream.position > stopAt) break;
  }
  return JPEG_NO_ERROR;
}

// Routes read MCUs in twos; the stages' planes end with the last one.
int StripCoder::codeByRoute(int column, int count, int stopAt) {
  if (!codesByRoute_) return 0;
  const bool readsBeyond = count % 2 != 0 && column + count == encoder_.mcus_across;
  if (readsBeyond && !fillsByRoute_) --count;
  return count > 0 ? routes().code(scan_, column, count, stopAt) : 0;
}

int StripCoder::codeMCU(int column) {
  return walk_.mcu(0, column, [this](CJPEGColorComponent& c, const BlockPlace& place) {
    const int i = c.comp_no;
    const PlaneView plane = {scan_.planes.plane[i], scan_.planes.step[i]};
    QRX_TRY(transformBlock(encoder_, c, plane, place, block_));
    _bitstream& stream = encoder_.stream;
    return resultOf(ippiEncodeHuffman8x8_JPEG_16s1u_C1(
        block_, stream.data, stream.capacity, &stream.position, &c.last_dc,
        encoder_.dc_tables[c.dc_selector].spec, encoder_.ac_tables[c.ac_selector].spec,
        encoder_.huffman_state.state, 0));
  });
}

}  // namespace qrx::jpeg
