#include "codecs/jpeg/library/decoder/strip_decoder.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "codecs/jpeg/library/decoder/decoder_room.h"
#include "codecs/jpeg/library/decoder/decoder_stages.h"
#include "codecs/jpeg/library/decoder/sample_planes.h"
#include "codecs/jpeg/library/image_limits.h"
#include "qrx/primitives.h"

namespace qrx::jpeg {
namespace {

// Those of the slot in force.
const strips::Routes& routes() { return *strips::kRoutes[ippJumpIndexForMergedLibs]; }

strips::Layout layoutOf(const CJPEGDecoder& d) {
  return {d.components[0]->hsampling, d.components[0]->vsampling};
}

// Whether the routes write such pixels: three colours in lines that do not overlap.
bool hasRoutePixels(const CJPEGDecoder& d) {
  if (d.jpeg_color != JPEG_COLOR_YCBCR || d.component_count != strips::kComponents) return false;
  if (d.dest_color != JPEG_COLOR_RGB && d.dest_color != JPEG_COLOR_BGR) return false;
  const DecoderRoom* const room = DecoderRoom::existing(d);
  if (room != nullptr && room->window) return true;
  const std::int64_t bytes = room != nullptr && room->fourBytes ? 4 : 3;
  const std::int64_t step =
      room != nullptr && room->wideStep != 0 ? std::abs(room->wideStep) : d.dest_step;
  return d.dest_data != nullptr && d.dest_width > 0 && step >= bytes * d.dest_width;
}

bool hasRouteStream(const CJPEGDecoder& d) {
  return d.stream.data != nullptr && d.huffman_state.state != nullptr && d.block_buffer != nullptr;
}

// The tables of a component; false where it lacks one.
bool takeTables(CJPEGDecoder& d, int index, DecoderRoom* room, KnownTables* known,
                strips::ScanIn* scan) {
  CJPEGColorComponent& c = *d.components[index];
  const IppiDecodeHuffmanSpec* dc = d.dc_tables[c.dc_selector].spec;
  const IppiDecodeHuffmanSpec* ac = d.ac_tables[c.ac_selector].spec;
  if (dc == nullptr || ac == nullptr) return false;
  if (!known->dc[c.dc_selector]) makeDcTable(*dc, &room->dcTables[c.dc_selector]);
  if (!known->ac[c.ac_selector]) makeAcTable(*ac, &room->acTables[c.ac_selector]);
  known->dc[c.dc_selector] = known->ac[c.ac_selector] = true;
  scan->dc[index] = &room->dcTables[c.dc_selector];
  scan->ac[index] = &room->acTables[c.ac_selector];
  scan->quant[index] = d.quant_tables[c.q_selector].inverse;
  scan->lastDc[index] = &c.last_dc;
  return true;
}

// The most MCUs that a row has. Packets of any width come and go, none wider than its rectangle.
int widestRow(const CJPEGDecoder& d, const DecoderRoom& room) {
  if (!room.window) return d.mcus_across;
  const int width = std::min(room.window->width, kMaxImageSide);
  return std::max(d.mcus_across, width / d.mcu_width + 1);
}

}  // namespace

StripDecoder::StripDecoder(CJPEGDecoder& decoder) : decoder_(decoder) {
  if (!takeScan()) return;
  shows_ = takePlanes();
  decodes_ = shows_ || takeStagePlanes();
}

bool StripDecoder::takeScan() {
  CJPEGDecoder& d = decoder_;
  if (d.component_count != 1 && d.component_count != strips::kComponents) return false;
  if (!hasRouteStream(d)) return false;
  DecoderRoom* const room = DecoderRoom::of(d);
  if (room == nullptr) return false;
  KnownTables once;
  KnownTables& known = room->known.lasts ? room->known : once;
  for (int i = 0; i < d.component_count; ++i) {
    if (!takeTables(d, i, room, &known, &scan_)) return false;
  }
  scan_.layout = layoutOf(d);
  scan_.components = d.component_count;
  scan_.blocks = d.block_buffer;
  setRouteStream(d, &scan_);
  // Behind a restart marker the position counts.
  if (d.restart_interval == 0) scan_.ahead = &ahead_;
  return true;
}

// Planes of the routes' own.
bool StripDecoder::takePlanes() {
  if (!hasRoutePixels(decoder_)) return false;
  DecoderRoom* const room = DecoderRoom::of(decoder_);
  if (room == nullptr) return false;
  const int mcus = decoder_.mcus_across, widest = widestRow(decoder_, *room);
  if (!room->planes.fit(layoutOf(decoder_), mcus, widest)) return false;
  scan_.planes = room->planes.planes();
  return true;
}

// Those that the stages enlarge and convert.
bool StripDecoder::takeStagePlanes() {
  for (int i = 0; i < decoder_.component_count; ++i) {
    const CJPEGColorComponent& c = *decoder_.components[i];
    if ((c.h_factor == 1 ? c.cc_buffer : c.ss_buffer) == nullptr) return false;
    const SamplePlane plane = stripPlane(decoder_, c);
    scan_.planes.plane[i] = plane.first;
    scan_.planes.step[i] = plane.step;
  }
  return true;
}

// A packet's pixels lie in short pieces of many lines, which the processor does not foresee.
void StripDecoder::fetchTarget(int row, const RowSpan& span) {
  const DecoderRoom* const room = DecoderRoom::existing(decoder_);
  if (room == nullptr || !room->window) return;
  constexpr std::ptrdiff_t kCacheLine = 64;
  const auto target = rowTarget(decoder_, row, span);
  if (!target) return;
  const std::ptrdiff_t bytes = std::ptrdiff_t{target->bytesPerPixel} * target->area.width;
  for (int line = 0; line < target->area.height; ++line) {
    const Ipp8u* const pixels = target->pixels + line * target->step;
    for (std::ptrdiff_t i = 0; i < bytes; i += kCacheLine) __builtin_prefetch(pixels + i, 1);
  }
}

// What the routes of another slot have read ahead is given back first.
const strips::Routes& StripDecoder::takeRoutes() {
  const strips::Routes& now = routes();
  if (decoding_ != &now) {
    if (decoding_ != nullptr) decoding_->settle(scan_);
    decoding_ = &now;
  }
  return now;
}

int StripDecoder::decode(int mcus) {
  CJPEGDecoder& d = decoder_;
  scan_.held = DecoderRoom::existing(d)->heldMcus.value_or(mcus);
  int column = 0, begun = 0;
  while (column < mcus) {
    int together = mcus - column;
    if (d.restart_interval != 0) {
      if (d.restarts_to_go == 0 && d.ProcessRestart() != JPEG_NO_ERROR) break;
      if (d.restarts_to_go > 0) together = std::min(together, d.restarts_to_go);
    }
    const int done = takeRoutes().decode(scan_, column, together);
    if (d.restart_interval != 0) d.restarts_to_go -= done;
    column += done;
    begun = column + (done < together ? 1 : 0);
    if (done < together) break;
  }
  holdBlocks(d, begun, mcus);
  routes().transform(scan_, column, mcus - column);
  return column;
}

bool StripDecoder::standsAtEnd() {
  if (scan_.ahead == nullptr) return true;
  if (decoding_ != nullptr) decoding_->settle(scan_);
  if (scan_.state->bitCount >= 8) return false;
  const int position = *scan_.position;
  if (*scan_.marker != 0 || position < 0 || position >= scan_.length) return true;
  return scan_.bytes[position] == 0xFF && position + 1 < scan_.length &&
         scan_.bytes[position + 1] != 0;
}

// Behind the last MCU of a packet's first row lies memory that this packet never wrote. The
// up-sampling filter looks there, so each line's last sample is repeated to the plane's end. Where
// only the packet's own pixels are shown, one sample of chroma is enough, or one behind the last
// MCU of the rows that follow: they find there what this row left.
void StripDecoder::extend(int mcus) {
  const DecoderRoom* const room = DecoderRoom::existing(decoder_);
  const bool ownPixels = room != nullptr && room->window;
  const std::int64_t longest = std::max<std::int64_t>(mcus, decoder_.tile_mcu_count - mcus);
  for (int i = 0; i < strips::kComponents; ++i) {
    const CJPEGColorComponent& c = *decoder_.components[i];
    if (ownPixels && c.h_factor == 1) continue;
    const int decoded = 8 * c.hsampling * mcus;
    std::int64_t missing = decoder_.strip_stride / c.h_factor - decoded;
    if (ownPixels) missing = std::min(missing, 8 * longest + 1 - decoded);
    Ipp8u* line = scan_.planes.plane[i];
    for (int y = 0; y < 8 * c.vsampling; ++y, line += scan_.planes.step[i]) {
      std::memset(line + decoded, line[decoded - 1], static_cast<std::size_t>(missing));
    }
  }
}

// The next row's filter looks at this row's last line of chroma.
void StripDecoder::keepLastLines() {
  const auto size = static_cast<std::size_t>(decoder_.strip_stride) / 2 + 2;
  for (int i = 1; i < strips::kComponents; ++i) {
    Ipp8u* const guard = scan_.planes.plane[i] - 1;
    std::memcpy(guard - scan_.planes.step[i], guard + 7 * scan_.planes.step[i], size);
  }
}

void StripDecoder::show(int row, const RowSpan& span) {
  CJPEGDecoder& d = decoder_;
  if (d.tile_mcu_count >= 0 && row == 0) extend(span.mcus);
  const auto target = rowTarget(d, row, span);
  if (!target) return;
  const strips::Planes& planes = scan_.planes;
  strips::PixelsOut out = {};
  out.format = {target->bytesPerPixel, d.dest_color == JPEG_COLOR_RGB ? 0 : 2};
  out.pixels = target->pixels;
  out.step = target->step;
  out.width = span.width;
  out.last = target->area.width;
  out.lines = target->area.height;
  out.samples = d.strip_stride;
  for (int i = 1; i < strips::kComponents; ++i) {
    out.above[i] = planes.plane[i] - (row == 0 ? 0 : planes.step[i]);
  }
  routes().toPixels(out, scan_.layout, planes);
  noteWritten(d, row);
  if (scan_.layout.down == 2) keepLastLines();
}

}  // namespace qrx::jpeg
