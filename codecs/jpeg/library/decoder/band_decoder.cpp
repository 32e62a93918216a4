#include "codecs/jpeg/library/decoder/band_decoder.h"

#include <algorithm>
#include <optional>

#include "codecs/jpeg/library/decoder/decoder_room.h"
#include "codecs/jpeg/library/decoder/decoder_stages.h"
#include "codecs/jpeg/library/decoder/output_stage.h"
#include "codecs/jpeg/library/decoder/sample_planes.h"
#include "codecs/jpeg/library/mcu_grid.h"
#include "qrx/primitives.h"

namespace qrx::jpeg {
namespace {

constexpr int kLastPlace = 63;
constexpr int kMaxPointTransform = 13;

// Those of the slot in force.
const strips::BandRoutes& bandRoutes() { return *strips::kBandRoutes[ippJumpIndexForMergedLibs]; }
const strips::Routes& stripRoutes() { return *strips::kRoutes[ippJumpIndexForMergedLibs]; }

bool hasFactors(const CJPEGColorComponent& c, int across, int down) {
  return c.hsampling == across && c.vsampling == down;
}

// How the image's blocks lie, if the routes know it.
std::optional<strips::Layout> layoutOf(const CJPEGDecoder& d) {
  if (d.component_count != strips::kComponents || d.mcus_across <= 0 || d.mcus_down <= 0) {
    return std::nullopt;
  }
  for (int i = 0; i < strips::kComponents; ++i) {
    if (d.components[i] == nullptr) return std::nullopt;
    if (i > 0 && !hasFactors(*d.components[i], 1, 1)) return std::nullopt;
  }
  const CJPEGColorComponent& luma = *d.components[0];
  if (!hasFactors(luma, 1, 1) && !hasFactors(luma, 2, 1) && !hasFactors(luma, 2, 2)) {
    return std::nullopt;
  }
  return strips::Layout{luma.hsampling, luma.vsampling};
}

// The blocks of component `which` as an AC scan visits them.
strips::Grid gridOf(const CJPEGDecoder& d, int which) {
  const CJPEGColorComponent& c = *d.components[which];
  return {which, std::min(d.mcus_down * c.vsampling, mcuCount(d.jpeg_height, 8)),
          std::min(d.mcus_across * c.hsampling, mcuCount(d.jpeg_width, 8))};
}

std::ptrdiff_t blocksOf(const strips::Grid& grid) {
  return std::ptrdiff_t{grid.lines} * grid.columns;
}

}  // namespace

BandDecoder::BandDecoder(CJPEGDecoder& decoder, bool isSpectral)
    : decoder_(decoder),
      isSpectral_(isSpectral),
      startsEmpty_(decoder.coefficients == nullptr),
      serves_(takeRoute()) {
  DecoderRoom* const room = DecoderRoom::existing(decoder);
  if (!serves_ && isSpectral && room != nullptr) room->bands.forget();
}

BandDecoder::~BandDecoder() {
  DecoderRoom* const room = DecoderRoom::existing(decoder_);
  if (room != nullptr && !room->bands.inRun) room->bands.forget();
}

bool BandDecoder::takeRoute() {
  CJPEGDecoder& d = decoder_;
  const auto layout = layoutOf(d);
  if (!layout || d.restart_interval != 0 || d.approx_low > kMaxPointTransform) return false;
  if (d.stream.data == nullptr || d.huffman_state.state == nullptr) return false;
  scan_.store = {*layout, nullptr, d.mcus_across, d.mcus_down};
  count_ = std::ptrdiff_t{d.mcus_across} * d.mcus_down;
  if (isSpectral_) {
    if (d.scan_start > d.scan_end || d.scan_end > kLastPlace) return false;
    scan_.Ss = d.scan_start;
    scan_.Se = d.scan_end;
    scan_.grid = gridOf(d, d.scan_component);
    count_ = blocksOf(scan_.grid);
  }
  scan_.Ah = d.approx_high;
  scan_.Al = d.approx_low;
  setRouteStream(d, &scan_);
  return takeTables();
}

bool BandDecoder::takeTables() {
  CJPEGDecoder& d = decoder_;
  DecoderRoom* const room = DecoderRoom::of(d);
  if (room == nullptr) return false;
  const bool refines = d.approx_high != 0;
  if (isSpectral_) {
    const int selector = d.components[d.scan_component]->ac_selector;
    scan_.ac = d.ac_tables[selector].spec;
    if (scan_.ac == nullptr) return false;
    scan_.first = &room->bands.tables[selector];
    if (!refines) makeBandTable(*scan_.ac, &room->bands.tables[selector]);
    return true;
  }
  for (int i = 0; i < strips::kComponents && !refines; ++i) {
    CJPEGColorComponent& c = *d.components[i];
    const IppiDecodeHuffmanSpec* const spec = d.dc_tables[c.dc_selector].spec;
    if (spec == nullptr) return false;
    makeDcTable(*spec, &room->dcTables[c.dc_selector]);
    scan_.dc[i] = &room->dcTables[c.dc_selector];
    scan_.lastDc[i] = &c.last_dc;
  }
  return true;
}

// Once the image has coefficients, what is known of them has to be in step.
bool BandDecoder::takeStore() {
  CJPEGDecoder& d = decoder_;
  BandRoom& room = DecoderRoom::existing(d)->bands;
  std::ptrdiff_t blocks = 0, first = 0;
  for (int i = 0; i < strips::kComponents; ++i) {
    if (i == scan_.grid.component) first = blocks;
    blocks += blocksOf(gridOf(d, i));
  }
  if (!room.fit(blocks)) return false;
  scan_.store.coefficients = d.coefficients;
  if (startsEmpty_) room.clear(blocks);
  if (!isSpectral_) return true;
  scan_.places = room.places() + first;
  bool& known = room.known[scan_.grid.component];
  if (startsEmpty_ || !known) bandRoutes().note(scan_, 0, count_);
  known = true;
  return true;
}

bool BandDecoder::open() {
  if (serves_ && next_ == done_ && decoder_.coefficients != nullptr) {
    if (!hasStore_) hasStore_ = serves_ = takeStore();
    if (serves_) done_ += bandRoutes().decode(scan_, next_, count_ - next_);
  }
  const bool decoded = next_++ < done_;
  done_ = std::max(done_, next_);
  return decoded;
}

void BandDecoder::note() {
  if (hasStore_ && isSpectral_) bandRoutes().note(scan_, next_ - 1, 1);
}

namespace {

// Rows of MCUs on their way from coefficients to planes, and from there to pixels.
class ImageView {
 public:
  enum class Planes { kKept, kFree };  // of the whole image, once the rows are through

  ImageView(CJPEGDecoder& decoder, Planes planes) : decoder_(decoder) {
    CJPEGDecoder& d = decoder_;
    const auto layout = layoutOf(d);
    if (!layout || d.coefficients == nullptr) return;
    scan_.layout = *layout;
    scan_.components = strips::kComponents;
    // Unless a filter looks from row to row, all rows can go through the same lines, which stay in
    // the cache.
    sharesLines_ = planes == Planes::kFree && layout->down == 1;
    for (int i = 0; i < strips::kComponents; ++i) {
      const CJPEGColorComponent& c = *d.components[i];
      const bool reduced = i != 0;
      if (c.ss_buffer == nullptr || c.h_factor != (reduced ? layout->across : 1) ||
          c.v_factor != (reduced ? layout->down : 1)) {
        return;
      }
      const SamplePlane plane = imagePlane(d, c);
      scan_.planes.plane[i] = plane.first;
      scan_.planes.step[i] = plane.step;
      scan_.quant[i] = d.quant_tables[c.q_selector].inverse;
    }
    scan_.blocks = d.coefficients;
    serves_ = d.strip_stride == 8 * layout->across * d.mcus_across;
  }

  bool serves() const { return serves_; }

  bool hasPixels() const {
    const CJPEGDecoder& d = decoder_;
    if (!serves_ || d.jpeg_color != JPEG_COLOR_YCBCR) return false;
    if (d.dest_color != JPEG_COLOR_RGB && d.dest_color != JPEG_COLOR_BGR) return false;
    if (d.dest_data == nullptr || d.dest_width <= 0 || d.dest_width > d.strip_stride) return false;
    if (d.dest_height <= 0 || d.dest_height > 8 * scan_.layout.down * d.mcus_down) return false;
    return d.dest_step >= std::int64_t{bytesPerPixel()} * d.dest_width;
  }

  // Of row `row` of MCUs.
  void transform(int row) const {
    const strips::Layout layout = scan_.layout;
    const int perMCU = layout.across * layout.down + strips::kComponents - 1;
    strips::ScanIn scan = scan_;
    scan.planes = planesFrom(8 * row);
    scan.blocks += std::ptrdiff_t{64} * perMCU * decoder_.mcus_across * row;
    stripRoutes().transform(scan, 0, decoder_.mcus_across);
  }

  // Gives the destination what it can have once `rows` rows are transformed.
  void show(int rows) {
    // The filter of 4:2:0 looks a line further than it writes.
    const int further = scan_.layout.down - 1, together = 8 - further;
    const int lines = 8 * rows;
    const bool last = rows == decoder_.mcus_down;
    if (last && further != 0) repeatLastLine(lines);
    while (last ? shown_ < lines : shown_ + together + further <= lines) {
      showLines(std::min(together, lines - shown_));
    }
  }

 private:
  int bytesPerPixel() const {
    const DecoderRoom* const room = DecoderRoom::existing(decoder_);
    return room != nullptr && room->fourBytes ? 4 : 3;
  }

  // The planes from line `line` of chroma on.
  strips::Planes planesFrom(int line) const {
    strips::Planes planes = scan_.planes;
    if (sharesLines_) line %= 8;
    for (int i = 0; i < strips::kComponents; ++i) {
      const int lines = i == 0 ? scan_.layout.down * line : line;
      planes.plane[i] += std::ptrdiff_t{lines} * planes.step[i];
    }
    return planes;
  }

  void repeatLastLine(int lines) const {
    const strips::Planes below = planesFrom(lines);
    for (int i = 1; i < strips::kComponents; ++i) {
      const Ipp8u* const line = below.plane[i] - below.step[i];
      std::copy(line, line + decoder_.strip_stride / 2, below.plane[i]);
    }
  }

  // The next `count` lines of chroma with their luma.
  void showLines(int count) {
    const CJPEGDecoder& d = decoder_;
    const int top = scan_.layout.down * shown_;
    const strips::Planes planes = planesFrom(shown_);
    strips::PixelsOut out = {};
    out.format = {bytesPerPixel(), d.dest_color == JPEG_COLOR_RGB ? 0 : 2};
    out.pixels = d.dest_data + std::ptrdiff_t{d.dest_step} * top;
    out.step = d.dest_step;
    out.width = out.last = d.dest_width;
    out.lines = std::min(scan_.layout.down * count, d.dest_height - top);
    out.samples = d.strip_stride;
    for (int i = 1; i < strips::kComponents; ++i) {
      out.above[i] = planes.plane[i] - (shown_ == 0 ? 0 : planes.step[i]);
    }
    if (out.lines > 0) stripRoutes().toPixels(out, scan_.layout, planes);
    shown_ += count;
  }

  CJPEGDecoder& decoder_;
  strips::ScanIn scan_ = {};
  bool serves_ = false;
  bool sharesLines_ = false;
  int shown_ = 0;  // lines of chroma
};

}  // namespace

bool transformImage(CJPEGDecoder& decoder) {
  const ImageView view(decoder, ImageView::Planes::kKept);
  if (!view.serves()) return false;
  for (int row = 0; row < decoder.mcus_down; ++row) view.transform(row);
  return true;
}

bool showImage(CJPEGDecoder& decoder) {
  ImageView view(decoder, ImageView::Planes::kFree);
  if (!view.hasPixels()) return false;
  for (int row = 0; row < decoder.mcus_down; ++row) {
    view.transform(row);
    view.show(row + 1);
  }
  return noteWritten(decoder, 0) == JPEG_NO_ERROR;
}

}  // namespace qrx::jpeg
