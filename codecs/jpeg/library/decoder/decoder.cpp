// The decoder object: set-up, geometry and working buffers.
#include <x86intrin.h>

#include <climits>

#include "codecs/jpeg/library/decoder/buffer_sizes.h"
#include "codecs/jpeg/library/mcu_grid.h"
#include "qrx/jpeg_decoder.h"
#include "qrx/primitives.h"

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
      components{} {
  Reset();
}

CJPEGDecoder::~CJPEGDecoder() { Clean(); }

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
  lines_written = 0;
  scans_seen_ = 0;
  output_due_ = false;
}

int CJPEGDecoder::Clean() {
  deleteComponents();
  ippFree(coefficients);
  coefficients = nullptr;
  delete[] comment;
  comment = nullptr;
  ippFree(block_buffer);
  block_buffer = nullptr;
  return JPEG_NO_ERROR;
}

void CJPEGDecoder::deleteComponents() {
  for (CJPEGColorComponent*& component : components) {
    delete component;
    component = nullptr;
  }
}

int CJPEGDecoder::SetSource(const Ipp8u* pSrc, int srcSize) {
  stream.data = const_cast<Ipp8u*>(pSrc);  // the decoder only reads through the cursor
  stream.capacity = srcSize;
  stream.position = 0;
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
  const auto matches = [this](_JPEG_SAMPLING layout) {
    for (int i = 0; i < component_count; ++i) {
      const ComponentSampling factors = componentSampling(layout, i);
      if (components[i]->hsampling != factors.horizontal ||
          components[i]->vsampling != factors.vertical) {
        return false;
      }
    }
    return true;
  };
  if (component_count == 1 && !matches(JPEG_SAMPLING_444)) return JPEG_BAD_SAMPLING;
  sampling = JPEG_SAMPLING_OTHER;
  for (const _JPEG_SAMPLING layout : {JPEG_SAMPLING_444, JPEG_SAMPLING_422, JPEG_SAMPLING_420}) {
    if (matches(layout)) {
      sampling = layout;
      break;
    }
  }
  return JPEG_NO_ERROR;
}

bool CJPEGDecoder::isReduced(int index) const {
  return sampling != JPEG_SAMPLING_444 && (index == 1 || index == 2);
}

void CJPEGDecoder::settleGeometry() {
  const MCUSize mcu = mcuSize(mode, sampling);
  mcu_width = mcu.width;
  mcu_height = mcu.height;
  mcus_across = mcuCount(jpeg_width, mcu_width);
  mcus_down = mcuCount(jpeg_height, mcu_height);
  strip_stride = mcus_across * mcu_width;
  strip_rows = mode == JPEG_MODE_PROGRESSIVE ? mcus_down * mcu_height : mcu_height;
  pad_columns = strip_stride - jpeg_width;
  pad_rows = mcu_height * mcus_down - jpeg_height;
}

int CJPEGDecoder::blocksPerMCU() const {
  int blocks = 0;
  for (int i = 0; i < component_count; ++i) {
    blocks += components[i]->hsampling * components[i]->vsampling;
  }
  return blocks;
}

// Bytes of each working buffer, 0 for none. False where one does not fit in an int.
bool CJPEGDecoder::computeBufferSizes(BufferSizes* sizes) {
  const std::int64_t across = mcus_across, down = mcus_down, stride = strip_stride;
  constexpr std::int64_t kBlockBytes = 64 * sizeof(Ipp16s);
  *sizes = {};
  switch (mode) {
    case JPEG_MODE_BASELINE:
      mcu_blocks = blocksPerMCU();
      sizes->blocks = across * mcu_blocks * kBlockBytes;
      sizes->full = stride * mcu_height;
      if (sampling == JPEG_SAMPLING_422) {
        sizes->reduced = 2 * across * mcu_height * (mcu_width / 2 + 2);
      } else if (sampling == JPEG_SAMPLING_420) {
        sizes->reduced = 2 * across * (mcu_width / 2 + 2) * (mcu_height / 2 + 2);
      }
      break;
    case JPEG_MODE_PROGRESSIVE:
      sizes->coefficients = across * down * blocksPerMCU() * kBlockBytes;
      sizes->full = stride * mcu_height * down;
      sizes->reduced = sizes->samples = 2 * (down * mcu_height + 2) * (stride + 2);
      break;
    case JPEG_MODE_LOSSLESS:
      sizes->blocks = across * 2;
      sizes->full = 2 * stride;
      sizes->samples = 4 * stride;
      break;
  }
  if (sampling == JPEG_SAMPLING_420) sizes->row = stride / 2 + 2;
  return sizes->fitInInt();
}

int CJPEGDecoder::Init() {
  mcu_blocks = 1;
  if (sampling == JPEG_SAMPLING_OTHER) return JPEG_NOT_SUPPORTED;
  if (component_count == 0 || component_count == 2) return JPEG_NOT_SUPPORTED;
  for (int i = 0; i < component_count; ++i) {
    if (components[i] == nullptr) return JPEG_NOT_SUPPORTED;
  }
  BufferSizes sizes;
  if (!computeBufferSizes(&sizes)) return JPEG_NOT_SUPPORTED;

  // The coefficients of a progressive image wait for a scan that brings some.
  if (mode != JPEG_MODE_PROGRESSIVE && block_buffer == nullptr) {
    if (!allocateZeroed(&block_buffer, sizes.blocks)) return JPEG_OUT_OF_MEMORY;
  }
  for (int i = 0; i < component_count; ++i) {
    const int result = allocateComponent(components[i], isReduced(i), sizes);
    if (result != JPEG_NO_ERROR) return result;
  }
  huffman_state.Create();  // one that fails stays null, and the scan decoder reports it
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::allocateComponent(CJPEGColorComponent* component, bool reduced,
                                    const BufferSizes& sizes) {
  CJPEGColorComponent& c = *component;
  const std::int64_t samples = reduced ? sizes.reduced : sizes.samples;
  if (c.ss_buffer == nullptr && samples != 0) {
    if (!allocate(&c.ss_buffer, samples)) return JPEG_OUT_OF_MEMORY;
    c.curr_row = reinterpret_cast<Ipp16s*>(c.ss_buffer);
    c.prev_row = c.curr_row + dest_width;
  }
  if (c.cc_buffer == nullptr && !allocate(&c.cc_buffer, sizes.full)) return JPEG_OUT_OF_MEMORY;
  if (c.row_buffer == nullptr && sizes.row != 0) {
    if (!allocate(&c.row_buffer, sizes.row)) return JPEG_OUT_OF_MEMORY;
  }
  return JPEG_NO_ERROR;
}

std::uint64_t CJPEGDecoder::getRTClock() { return __rdtsc(); }

int CJPEGDecoder::PrintProgress(const char*) { return 0; }

int CJPEGDecoder::OutputProgress() { return 0; }
