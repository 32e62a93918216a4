// The encoder object: what a frame is made of, from SetSource to Init.
#include <x86intrin.h>

#include <algorithm>
#include <climits>

#include "codecs/jpeg/library/colour_stage.h"
#include "codecs/jpeg/library/default_tables.h"
#include "codecs/jpeg/library/encoder_room.h"
#include "codecs/jpeg/library/encoder_stages.h"
#include "codecs/jpeg/library/image_limits.h"
#include "codecs/jpeg/library/mcu_grid.h"

namespace qrx::jpeg {
namespace {

constexpr int kMaxRestartInterval = 65535;
// Room per MCU in the coefficient store: 20 blocks, more than any sampling uses.
constexpr int kCoefficientBytesPerMCU = 2560;

// Components of a stream; `current` where the colour space does not tell.
int componentsOf(_JPEG_COLOR color, int current) {
  switch (color) {
    case JPEG_COLOR_GRAY: return 1;
    case JPEG_COLOR_RGB:
    case JPEG_COLOR_YCBCR: return 3;
    case JPEG_COLOR_CMYK:
    case JPEG_COLOR_YCCK: return 4;
    case JPEG_COLOR_NONE:
    case JPEG_COLOR_BGR: break;
  }
  return current;
}

bool sizeFitsHeader(int size) { return size >= 0 && size <= kMaxImageSide; }

// A stream of one component is coded 1x1: in a scan of a single component T.81 A.2.2 has no other
// block order.
_JPEG_SAMPLING codedSampling(const CJPEGEncoder& e) {
  return componentsOf(e.jpeg_color, e.component_count) == 1 ? JPEG_SAMPLING_444 : e.sampling;
}

void setGrid(CJPEGEncoder& e) {
  const MCUSize mcu = mcuSize(e.mode, codedSampling(e));
  e.mcu_width = mcu.width;
  e.mcu_height = mcu.height;
  e.mcus_across = mcuCount(e.source_width, e.mcu_width);
  e.mcus_down = mcuCount(e.source_height, e.mcu_height);
}

// Size of a component's buffers: a strip, the whole padded image, or a line of 16-bit values.
int componentBytes(const CJPEGEncoder& e, std::int64_t* size) {
  const std::int64_t strip = std::int64_t{e.strip_rows} * e.strip_stride;
  switch (e.mode) {
    case JPEG_MODE_BASELINE: *size = strip; break;
    case JPEG_MODE_PROGRESSIVE: *size = strip * e.mcus_down; break;
    case JPEG_MODE_LOSSLESS: *size = std::int64_t{2} * e.strip_stride; break;
    default: return JPEG_INTERNAL_ERROR;
  }
  return *size <= INT_MAX ? JPEG_NO_ERROR : JPEG_OUT_OF_MEMORY;
}

void placeComponent(const CJPEGEncoder& e, int index, CJPEGColorComponent* c) {
  c->id = index;
  c->comp_no = index;
  const ComponentSampling factors = componentSampling(codedSampling(e), index);
  c->hsampling = factors.horizontal;
  c->vsampling = factors.vertical;
  c->h_factor = factors.reductionAcross;
  c->v_factor = factors.reductionDown;
  c->nblocks = c->hsampling * c->vsampling;

  const bool chroma = index == 1 || index == 2;
  const bool chromaTable = e.jpeg_color == JPEG_COLOR_YCBCR || e.jpeg_color == JPEG_COLOR_YCCK;
  c->q_selector = chroma && chromaTable ? 1 : 0;
  c->dc_selector = chroma ? 1 : 0;
  c->ac_selector = chroma ? 1 : 0;
}

int initComponent(CJPEGEncoder& e, int index, int bufferSize) {
  delete e.components[index];
  e.components[index] = nullptr;
  CJPEGColorComponent* const c = e.components[index] = new CJPEGColorComponent;
  placeComponent(e, index, c);
  for (Ipp8u** buffer : {&c->cc_buffer, &c->ss_buffer, &c->row_buffer}) {
    *buffer = static_cast<Ipp8u*>(ippMalloc(bufferSize));
    if (*buffer == nullptr) return JPEG_OUT_OF_MEMORY;
  }
  // A pair of colours without a conversion fills no buffer: what is coded then must not be memory
  // that was never written.
  if (e.mode != JPEG_MODE_LOSSLESS && !hasColorConversion(e.source_color, e.jpeg_color)) {
    ippsZero_8u(c->cc_buffer, bufferSize);
  }
  c->curr_row = reinterpret_cast<Ipp16s*>(c->cc_buffer);
  c->prev_row = reinterpret_cast<Ipp16s*>(c->ss_buffer);
  return JPEG_NO_ERROR;
}

std::int64_t coefficientBytes(const CJPEGEncoder& e) {
  return std::int64_t{e.mcus_across} * e.mcus_down * kCoefficientBytesPerMCU;
}

int initCoefficients(CJPEGEncoder& e) {
  // Of an image before, where Clean was left out, they may be too few.
  EncoderRoom::giveBackCoefficients(e);
  const std::int64_t size = coefficientBytes(e);
  EncoderRoom* const room = EncoderRoom::of(e);
  if (size > INT_MAX || room == nullptr) return JPEG_OUT_OF_MEMORY;
  e.coefficients = room->coefficients.take(static_cast<int>(size));
  return e.coefficients != nullptr ? JPEG_NO_ERROR : JPEG_OUT_OF_MEMORY;
}

int initTables(CJPEGEncoder& e) {
  // A table or state without memory stays null, and the primitive that needs it reports.
  for (int i = 0; i < 2; ++i) e.dc_tables[i].Create();
  for (int i = 0; i < 2; ++i) e.ac_tables[i].Create();

  if (e.mode != JPEG_MODE_LOSSLESS) {
    QRX_TRY(e.quant_tables[0].Init(0, e.quality, DefaultLuminanceQuant));
    QRX_TRY(e.quant_tables[1].Init(1, e.quality, DefaultChrominanceQuant));
  }
  for (const DefaultHuffmanTable& source : DefaultHuffmanTables) {
    auto& tables = source.tableClass == 0 ? e.dc_tables : e.ac_tables;
    QRX_TRY(tables[source.id].Init(source.id, source.tableClass, source.bits, source.values));
  }
  e.huffman_state.Create();
  return JPEG_NO_ERROR;
}

int initComponents(CJPEGEncoder& e) {
  if (e.component_count <= 0) return JPEG_NO_ERROR;
  std::int64_t bufferSize = 0;
  QRX_TRY(componentBytes(e, &bufferSize));
  for (int i = 0; i < e.component_count; ++i) {
    QRX_TRY(initComponent(e, i, static_cast<int>(bufferSize)));
  }
  return JPEG_NO_ERROR;
}

int initEncoder(CJPEGEncoder& e, CoefficientStore store) {
  if (!sizeFitsHeader(e.source_width) || !sizeFitsHeader(e.source_height)) {
    return JPEG_NOT_SUPPORTED;
  }
  e.component_count = componentsOf(e.jpeg_color, e.component_count);
  e.pad_columns = e.mcu_width * e.mcus_across - e.source_width;
  e.pad_rows = e.mcu_height * e.mcus_down - e.source_height;
  e.strip_rows = e.mcu_height;
  e.strip_stride = e.mcus_across * e.mcu_width;
  QRX_TRY(initComponents(e));
  if (e.mode != JPEG_MODE_PROGRESSIVE) {
    EncoderRoom::releaseCoefficients(e);
    return initTables(e);
  }

  e.SelectScanScripts();
  QRX_TRY(initCoefficients(e));
  const int result = initTables(e);
  if (result != JPEG_NO_ERROR || store == CoefficientStore::kCleared) clearCoefficients(e);
  return result;
}

}  // namespace

int initFor(CJPEGEncoder& encoder, _JPEG_MODE mode, CoefficientStore store) {
  QRX_TRY(initEncoder(encoder, store));
  return encoder.mode == mode ? JPEG_NO_ERROR : JPEG_NOT_SUPPORTED;
}

void clearCoefficients(CJPEGEncoder& encoder) {
  ippsZero_8u(reinterpret_cast<Ipp8u*>(encoder.coefficients),
              static_cast<int>(coefficientBytes(encoder)));
}

}  // namespace qrx::jpeg

using namespace qrx::jpeg;

CJPEGEncoder::CJPEGEncoder()
    : source_data(nullptr),
      source_width(0),
      source_height(0),
      source_step(0),
      source_channels(0),
      source_color(JPEG_COLOR_NONE),
      component_count(0),
      precision(8),
      sampling(JPEG_SAMPLING_444),
      jpeg_color(JPEG_COLOR_NONE),
      quality(100),
      restart_interval(0),
      mode(JPEG_MODE_BASELINE),
      mcus_across(0),
      mcus_down(0),
      mcu_width(0),
      mcu_height(0),
      strip_stride(0),
      strip_rows(0),
      pad_columns(0),
      pad_rows(0),
      restarts_to_go(0),
      next_restart(0),
      scan_count(0),
      scan_start(0),
      scan_end(63),
      approx_low(0),
      approx_high(0),
      predictor(1),
      point_transform(0),
      scan_script(nullptr),
      coefficients(nullptr),
      components{},
      room_(nullptr) {}

CJPEGEncoder::~CJPEGEncoder() {
  Clean();
  delete room_;
}

int CJPEGEncoder::Clean() {
  for (CJPEGColorComponent*& component : components) {
    delete component;
    component = nullptr;
  }
  delete[] scan_script;
  scan_script = nullptr;
  EncoderRoom::giveBackCoefficients(*this);

  source_data = nullptr;
  source_width = source_height = source_channels = source_step = 0;
  stream = _bitstream();
  component_count = 0;
  sampling = JPEG_SAMPLING_444;
  jpeg_color = JPEG_COLOR_NONE;
  restart_interval = 0;
  mode = JPEG_MODE_BASELINE;
  mcus_across = mcus_down = mcu_width = mcu_height = 0;
  strip_stride = strip_rows = pad_columns = pad_rows = 0;
  restarts_to_go = next_restart = 0;
  scan_count = 0;
  quality = 100;
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::SetSource(const Ipp8u* pSrc, int srcStep, IppiSize srcSize, int srcChannels,
                            _JPEG_COLOR srcColor) {
  source_data = pSrc;
  source_step = srcStep;
  source_width = srcSize.width;
  source_height = srcSize.height;
  source_channels = srcChannels;
  source_color = srcColor;
  if (room_ != nullptr) {
    room_->pixelBytes = 3;
    room_->wideStep = 0;
  }
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::SetDestination(Ipp8u* pDst, int dstSize, int dstQuality,
                                 _JPEG_SAMPLING dstSampling, _JPEG_COLOR jpegColor,
                                 _JPEG_MODE dstMode, int restartInterval) {
  return SetDestinationTiles(pDst, dstSize, dstQuality, dstSampling, jpegColor, dstMode,
                             restartInterval, 0);
}

int CJPEGEncoder::SetDestinationTiles(Ipp8u* pDst, int dstSize, int dstQuality,
                                      _JPEG_SAMPLING dstSampling, _JPEG_COLOR jpegColor,
                                      _JPEG_MODE dstMode, int restartInterval, int startPosition) {
  stream.data = pDst;
  stream.capacity = dstSize;
  stream.position = startPosition;
  quality = dstQuality;
  sampling = dstSampling;
  jpeg_color = jpegColor;
  mode = dstMode;
  restart_interval = std::clamp(restartInterval, 0, kMaxRestartInterval);
  restarts_to_go = restart_interval;
  setGrid(*this);
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::Init() { return initEncoder(*this, CoefficientStore::kCleared); }

std::uint64_t CJPEGEncoder::getRTClock() { return __rdtsc(); }

int CJPEGEncoder::PrintProgress(const char*) { return 0; }

int CJPEGEncoder::OutputProgress() { return 0; }
