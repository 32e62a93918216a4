// The decoder object: set-up, geometry and working buffers.
#include <x86intrin.h>

#include <optional>

#include "codecs/jpeg/library/decoder/buffer_sizes.h"
#include "codecs/jpeg/library/decoder/decoder_room.h"
#include "codecs/jpeg/library/decoder/decoder_stages.h"
#include "codecs/jpeg/library/mcu_grid.h"

namespace qrx::jpeg {
namespace {

constexpr std::int64_t kBlockBytes = 64 * sizeof(Ipp16s);

bool isBaselinePacket(const CJPEGDecoder& d) {
  const DecoderRoom* const room = DecoderRoom::existing(d);
  return room != nullptr && room->window && d.mode == JPEG_MODE_BASELINE;
}

// A packet's routes write little of these buffers, and the next packet's, of other sizes, begin
// elsewhere in the same memory. Its pages are written once here, so that none is met late.
template <typename T>
bool allocateForRow(const CJPEGDecoder& d, T** buffer, std::int64_t size) {
  if (!allocate(buffer, size)) return false;
  if (!isBaselinePacket(d)) return true;
  constexpr std::int64_t kPage = 4096;
  auto* const bytes = reinterpret_cast<volatile Ipp8u*>(*buffer);
  for (std::int64_t i = 0; i < size; i += kPage) bytes[i] = 0;
  return true;
}

// The planes of component `index`, those that it has not got yet.
int allocateComponent(CJPEGDecoder& d, int index, const BufferSizes& sizes) {
  CJPEGColorComponent& c = *d.components[index];
  const bool reduced = componentSampling(d.sampling, index).reductionAcross != 1;
  const std::int64_t samples = reduced ? sizes.reduced : sizes.samples;
  if (c.ss_buffer == nullptr && samples != 0) {
    if (!allocateForRow(d, &c.ss_buffer, samples)) return JPEG_OUT_OF_MEMORY;
    c.curr_row = reinterpret_cast<Ipp16s*>(c.ss_buffer);
    c.prev_row = c.curr_row + d.dest_width;
  }
  if (c.cc_buffer == nullptr && !allocateForRow(d, &c.cc_buffer, sizes.full)) {
    return JPEG_OUT_OF_MEMORY;
  }
  if (c.row_buffer == nullptr && sizes.row != 0) {
    if (!allocateForRow(d, &c.row_buffer, sizes.row)) return JPEG_OUT_OF_MEMORY;
  }
  return JPEG_NO_ERROR;
}

// Of a packet only the MCUs that it has are written, as it decodes them.
bool allocateBlocks(CJPEGDecoder& d, std::int64_t size) {
  DecoderRoom* const room = DecoderRoom::existing(d);
  if (room != nullptr) room->heldMcus.reset();
  if (!isBaselinePacket(d)) return allocateZeroed(&d.block_buffer, size);
  room->heldMcus = 0;
  return allocateForRow(d, &d.block_buffer, size);
}

}  // namespace

std::int64_t coefficientBytes(const CJPEGDecoder& d) {
  if (d.mode != JPEG_MODE_PROGRESSIVE) return 0;
  const std::int64_t mcus = std::int64_t{d.mcus_across} * d.mcus_down;
  return mcus * walkOf(d, d.mcus_across).blocksPerMCU() * kBlockBytes;
}

BufferSizes bufferSizes(const CJPEGDecoder& d) {
  const std::int64_t across = d.mcus_across, down = d.mcus_down, stride = d.strip_stride;
  const std::int64_t reducedWidth = d.mcu_width / 2 + 2;
  BufferSizes sizes;
  switch (d.mode) {
    case JPEG_MODE_BASELINE:
      sizes.blocks = across * d.mcu_blocks * kBlockBytes;
      sizes.full = stride * d.mcu_height;
      if (d.sampling == JPEG_SAMPLING_422) {
        sizes.reduced = 2 * across * d.mcu_height * reducedWidth;
      } else if (d.sampling == JPEG_SAMPLING_420) {
        sizes.reduced = 2 * across * reducedWidth * (d.mcu_height / 2 + 2);
      }
      break;
    case JPEG_MODE_PROGRESSIVE:
      sizes.coefficients = coefficientBytes(d);
      sizes.full = stride * d.mcu_height * down;
      sizes.reduced = sizes.samples = 2 * (down * d.mcu_height + 2) * (stride + 2);
      break;
    case JPEG_MODE_LOSSLESS:
      sizes.blocks = across * 2;
      sizes.full = 2 * stride;
      sizes.samples = 4 * stride;
      break;
  }
  if (d.sampling == JPEG_SAMPLING_420) sizes.row = stride / 2 + 2;
  return sizes;
}

void deleteComponents(CJPEGDecoder& d) {
  for (CJPEGColorComponent*& component : d.components) {
    delete component;
    component = nullptr;
  }
}

}  // namespace qrx::jpeg

CJPEGDecoder::CJPEGDecoder()
    : dest_data(nullptr),
      dest_width(0),
      dest_height(0),
      dest_step(0),
      dest_precision(0),
      dest_channels(0),
      dest_color(JPEG_COLOR_NONE),
      comment(nullptr),
      coefficients(nullptr),
      block_buffer(nullptr),
      tile_mcu_count(-1),
      tile_x(0),
      tile_width(0),
      components{},
      room_(nullptr) {
  Reset();
}

CJPEGDecoder::~CJPEGDecoder() {
  Clean();
  delete room_;
}

void CJPEGDecoder::Reset() {
  stream.data = nullptr;
  stream.capacity = 0;
  jpeg_width = jpeg_height = component_count = 0;
  precision = 8;
  sampling = JPEG_SAMPLING_444;
  jpeg_color = JPEG_COLOR_NONE;
  quality = 100;
  restart_interval = 0;
  mode = JPEG_MODE_BASELINE;
  has_comment = comment_length = 0;
  comment = nullptr;
  jfif_found = jfif_major = jfif_minor = jfif_units = 0;
  jfif_x_density = jfif_y_density = jfif_thumb_width = jfif_thumb_height = 0;
  jfxx_found = jfxx_thumb_type = 0;
  adobe_found = adobe_version = adobe_flags0 = adobe_flags1 = adobe_transform = 0;
  mcus_across = mcus_down = mcu_width = mcu_height = 0;
  strip_stride = strip_rows = pad_columns = pad_rows = 0;
  restarts_to_go = next_restart = 0;
  sos_length = scan_component = scan_start = scan_end = approx_low = approx_high = 0;
  dc_scan_done = ac_scans_done = 0;
  marker = JPEG_MARKER_NONE;
  coefficients = nullptr;
  block_buffer = nullptr;
  mcu_blocks = 1;
  for (CJPEGColorComponent*& component : components) component = nullptr;
  if (room_ != nullptr) room_->startImage();
}

int CJPEGDecoder::Clean() {
  qrx::jpeg::deleteComponents(*this);
  ippFree(coefficients);
  coefficients = nullptr;
  delete[] comment;
  comment = nullptr;
  ippFree(block_buffer);
  block_buffer = nullptr;
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::SetSource(const Ipp8u* pSrc, int srcSize) {
  stream.data = const_cast<Ipp8u*>(pSrc);  // the decoder only reads through the cursor
  stream.capacity = srcSize;
  stream.position = 0;
  if (room_ != nullptr) room_->forgetDestination();
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::SetDestination(Ipp8u* pDst, int dstStep, IppiSize dstSize, int dstChannels,
                                 _JPEG_COLOR dstColor, int dstPrecision) {
  dest_data = pDst;
  dest_step = dstStep;
  dest_width = dstSize.width;
  dest_height = dstSize.height;
  dest_channels = dstChannels;
  dest_color = dstColor;
  dest_precision = dstPrecision;
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::SetDestination(Ipp16s* pDst, int dstStep, IppiSize dstSize, int dstChannels,
                                 _JPEG_COLOR dstColor, int dstPrecision) {
  return SetDestination(reinterpret_cast<Ipp8u*>(pDst), dstStep, dstSize, dstChannels, dstColor,
                        dstPrecision);
}

int CJPEGDecoder::_set_sampling() {
  if (component_count == 0 || component_count == 2) return JPEG_NO_ERROR;
  const std::optional<_JPEG_SAMPLING> layout = samplingOf(component_count, [this](int i) {
    return ComponentSampling{components[i]->hsampling, components[i]->vsampling, 1, 1};
  });
  if (component_count == 1 && !layout) return JPEG_BAD_SAMPLING;
  sampling = layout.value_or(JPEG_SAMPLING_OTHER);
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::Init() {
  mcu_blocks = 1;
  if (sampling == JPEG_SAMPLING_OTHER) return JPEG_NOT_SUPPORTED;
  if (component_count == 0 || component_count == 2) return JPEG_NOT_SUPPORTED;
  for (int i = 0; i < component_count; ++i) {
    if (components[i] == nullptr) return JPEG_NOT_SUPPORTED;
  }
  if (mode == JPEG_MODE_BASELINE) {
    mcu_blocks = qrx::jpeg::walkOf(*this, mcus_across).blocksPerMCU();
  }
  const qrx::jpeg::BufferSizes sizes = qrx::jpeg::bufferSizes(*this);
  if (!sizes.fitInInt()) return JPEG_NOT_SUPPORTED;

  // The coefficients of a progressive image wait for a scan that brings some.
  if (mode != JPEG_MODE_PROGRESSIVE && block_buffer == nullptr) {
    if (!qrx::jpeg::allocateBlocks(*this, sizes.blocks)) return JPEG_OUT_OF_MEMORY;
  }
  for (int i = 0; i < component_count; ++i) {
    QRX_TRY(qrx::jpeg::allocateComponent(*this, i, sizes));
  }
  // One that fails stays null, and the scan decoder reports it.
  if (huffman_state.Create() != JPEG_NO_ERROR) qrx::jpeg::noteLackOfMemory(*this);
  return JPEG_NO_ERROR;
}

std::uint64_t CJPEGDecoder::getRTClock() { return __rdtsc(); }

int CJPEGDecoder::PrintProgress(const char*) { return 0; }

int CJPEGDecoder::OutputProgress() { return 0; }
