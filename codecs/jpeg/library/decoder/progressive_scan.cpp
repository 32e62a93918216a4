// Progressive scans (T.81 Annex G): each adds to the coefficients of the whole image.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "codecs/jpeg/library/decoder/band_decoder.h"
#include "codecs/jpeg/library/decoder/buffer_sizes.h"
#include "codecs/jpeg/library/decoder/decoder_stages.h"
#include "codecs/jpeg/library/decoder/sample_planes.h"

namespace qrx::jpeg {
namespace {

bool isSpectral(const CJPEGDecoder& d) { return d.scan_start != 0 && d.scan_end != 0; }

// The next block of the scan, of component `c`: adds to the 64 coefficients.
int decodeBlock(CJPEGDecoder& d, CJPEGColorComponent& c, Ipp16s* block) {
  _bitstream& in = d.stream;
  IppiDecodeHuffmanState* const state = d.huffman_state.state;
  const bool refines = d.approx_high != 0;
  return decodeCode(d, [&](int* marker) {
    if (isSpectral(d)) {
      const auto decode = refines ? ippiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1
                                  : ippiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1;
      return decode(in.data, in.capacity, &in.position, block, marker, d.scan_start, d.scan_end,
                    d.approx_low, d.ac_tables[c.ac_selector].spec, state);
    }
    if (refines) {
      return ippiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(in.data, in.capacity, &in.position, block,
                                                         marker, d.approx_low, state);
    }
    return ippiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(in.data, in.capacity, &in.position, block,
                                                      &c.last_dc, marker, d.approx_low,
                                                      d.dc_tables[c.dc_selector].spec, state);
  });
}

// The same while the image has no memory, which it gets with its first coefficient: what a header
// claims is not believed before.
int decodeFirstBlock(CJPEGDecoder& d, CJPEGColorComponent& c, std::ptrdiff_t index) {
  Ipp16s block[64] = {};
  const int result = decodeBlock(d, c, block);
  if (std::all_of(block, block + 64, [](Ipp16s value) { return value == 0; })) return result;
  if (!allocateZeroed(&d.coefficients, coefficientBytes(d))) return JPEG_OUT_OF_MEMORY;
  std::copy(block, block + 64, d.coefficients + 64 * index);
  return result;
}

// Decodes the blocks of a walk, which takes what opens an interval and what visits a block.
template <typename Walk>
int decodeBlocks(CJPEGDecoder& d, const Walk& walk) {
  BandDecoder bands(d, isSpectral(d));
  bool isDecoded = false;
  const auto open = [&]() -> int {
    QRX_TRY(openInterval(d));
    isDecoded = bands.open();
    return JPEG_NO_ERROR;
  };
  return walk(open, [&](CJPEGColorComponent& c, const BlockPlace& place) -> int {
    if (isDecoded) return JPEG_NO_ERROR;
    const int result = d.coefficients != nullptr
                           ? decodeBlock(d, c, d.coefficients + 64 * place.index)
                           : decodeFirstBlock(d, c, place.index);
    bands.note();
    return keepCount(d, result);
  });
}

// A scan of one component: the blocks that hold image data, in the component's raster order.
int decodeScanAC(CJPEGDecoder& d) {
  const MCUWalk walk = walkOf(d, d.mcus_across);
  QRX_TRY(decodeBlocks(d, [&](const auto& open, const auto& visit) {
    return walk.component(d.scan_component, d.mcus_down, d.jpeg_width, d.jpeg_height, open, visit);
  }));
  if (d.approx_low == 0) d.components[d.scan_component]->ac_scan_done = 1;
  return JPEG_NO_ERROR;
}

// A scan of all components of the frame, whatever its header names.
int decodeScanDC(CJPEGDecoder& d) {
  const MCUWalk walk = walkOf(d, d.mcus_across);
  QRX_TRY(decodeBlocks(
      d, [&](const auto& open, const auto& visit) { return walk.mcus(d.mcus_down, open, visit); }));
  if (d.approx_low == 0) d.dc_scan_done = 1;
  return JPEG_NO_ERROR;
}

// Blocks of zeros become 128, whatever the quantisation table.
int fillPlanes(const CJPEGDecoder& d) {
  const auto samples = static_cast<std::size_t>(std::int64_t{d.strip_stride} * d.strip_rows);
  for (int i = 0; i < d.component_count; ++i) {
    if (d.components[i]->ss_buffer == nullptr) return JPEG_INTERNAL_ERROR;
    std::memset(d.components[i]->ss_buffer, 128, samples);
  }
  return JPEG_NO_ERROR;
}

}  // namespace
}  // namespace qrx::jpeg

int CJPEGDecoder::DecodeScanProgressive() {
  QRX_TRY(qrx::jpeg::startScan(*this));
  return qrx::jpeg::isSpectral(*this) ? qrx::jpeg::decodeScanAC(*this)
                                      : qrx::jpeg::decodeScanDC(*this);
}

int CJPEGDecoder::PerformDCT() {
  using namespace qrx::jpeg;
  if (mode != JPEG_MODE_PROGRESSIVE) return JPEG_INTERNAL_ERROR;
  if (coefficients == nullptr) return fillPlanes(*this);
  if (transformImage(*this)) return JPEG_NO_ERROR;
  return walkOf(*this, mcus_across)
      .mcus(
          mcus_down, [] { return JPEG_NO_ERROR; },
          [this](const CJPEGColorComponent& c, const BlockPlace& place) {
            return transformBlock(*this, c, coefficients + 64 * place.index, imagePlane(*this, c),
                                  place);
          });
}
