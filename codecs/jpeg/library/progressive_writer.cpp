// The progressive writer (T.81 Annex G): the whole image is converted and transformed once, then a
// script of scans runs over the stored coefficients.
#include <algorithm>
#include <cstddef>
#include <iterator>

#include "codecs/jpeg/library/coefficient_walk.h"
#include "qrx/jpeg_encoder.h"
#include "qrx/primitives.h"

namespace {

using Scan = CJPEGEncoder::ScanRecord;

constexpr Scan kGrayScript[] = {
    {1, {0}, 0, 0, 0, 1},  {1, {0}, 1, 5, 0, 2}, {1, {0}, 6, 63, 0, 2},
    {1, {0}, 1, 63, 2, 1}, {1, {0}, 0, 0, 1, 0}, {1, {0}, 1, 63, 1, 0},
};

constexpr Scan kThreeComponentScript[] = {
    {3, {0, 1, 2}, 0, 0, 0, 1}, {1, {0}, 1, 5, 0, 2},  {1, {2}, 1, 63, 0, 1},
    {1, {1}, 1, 63, 0, 1},      {1, {0}, 6, 63, 0, 2}, {1, {0}, 1, 63, 2, 1},
    {3, {0, 1, 2}, 0, 0, 1, 0}, {1, {2}, 1, 63, 1, 0}, {1, {1}, 1, 63, 1, 0},
    {1, {0}, 1, 63, 1, 0},
};

constexpr Scan kFourComponentScript[] = {
    {4, {0, 1, 2, 3}, 0, 0, 0, 1}, {1, {0}, 1, 5, 0, 2},          {1, {1}, 1, 5, 0, 2},
    {1, {2}, 1, 5, 0, 2},          {1, {3}, 1, 5, 0, 2},          {1, {0}, 6, 63, 0, 2},
    {1, {1}, 6, 63, 0, 2},         {1, {2}, 6, 63, 0, 2},         {1, {3}, 6, 63, 0, 2},
    {1, {0}, 1, 63, 2, 1},         {1, {1}, 1, 63, 2, 1},         {1, {2}, 1, 63, 2, 1},
    {1, {3}, 1, 63, 2, 1},         {4, {0, 1, 2, 3}, 0, 0, 1, 0}, {1, {0}, 1, 63, 1, 0},
    {1, {1}, 1, 63, 1, 0},         {1, {2}, 1, 63, 1, 0},         {1, {3}, 1, 63, 1, 0},
};

bool isScanAC(int ss, int se) { return ss != 0 && se != 0; }

}  // namespace

int CJPEGEncoder::SelectScanScripts() {
  const auto use = [this](const auto& script) {
    delete[] scan_script;
    scan_script = nullptr;
    scan_script = new ScanRecord[std::size(script)];
    std::copy(std::begin(script), std::end(script), scan_script);
    scan_count = static_cast<int>(std::size(script));
    return JPEG_NO_ERROR;
  };
  switch (component_count) {
    case 1: return use(kGrayScript);
    case 3: return use(kThreeComponentScript);
    case 4: return use(kFourComponentScript);
    default: return JPEG_NOT_SUPPORTED;
  }
}

int CJPEGEncoder::WriteImageProgressive() {
  int result = initFor(JPEG_MODE_PROGRESSIVE);
  if (result != JPEG_NO_ERROR) return result;
  if ((result = WriteSOI()) != 0) return result;
  if ((result = writeApplicationSegment()) != 0) return result;
  if ((result = WriteCOM(nullptr)) != 0) return result;
  if ((result = WriteDQT(&quant_tables[0])) != 0) return result;
  const bool chromaTable = component_count != 1 && jpeg_color != JPEG_COLOR_RGB &&
                           jpeg_color != JPEG_COLOR_CMYK && jpeg_color != JPEG_COLOR_NONE;
  if (chromaTable && (result = WriteDQT(&quant_tables[1])) != 0) return result;
  if ((result = WriteSOF2()) != 0) return result;

  if (mcus_down > 0) {
    if ((result = ColorConvert()) != 0) return result;
    if ((result = DownSampling()) != 0) return result;
    if ((result = PerformDCT()) != 0) return result;
  }

  if (restart_interval != 0 && (result = WriteDRI(restart_interval)) != 0) return result;
  for (int i = 0; i < scan_count; ++i) {
    const ScanRecord& scan = scan_script[i];
    next_restart = 0;
    restarts_to_go = restart_interval;
    result = EncodeScan(scan.count, scan.components, scan.ss, scan.se, scan.ah, scan.al);
    if (result != JPEG_NO_ERROR) return result;
  }
  return WriteEOI();
}

int CJPEGEncoder::PerformDCT() {
  Ipp16s* block = coefficients;
  for (int y = 0; y < mcus_down; ++y) {
    for (int x = 0; x < mcus_across; ++x) {
      for (int i = 0; i < component_count; ++i) {
        const CJPEGColorComponent& c = *components[i];
        const Ipp16u* quant = quant_tables[c.q_selector].fwd_table;
        const Ipp8u* line = c.ss_buffer + std::ptrdiff_t{8} * c.hsampling * x +
                            std::ptrdiff_t{8} * c.vsampling * strip_stride * y;
        for (int v = 0; v < c.vsampling; ++v, line += 8 * strip_stride) {
          for (int h = 0; h < c.hsampling; ++h, block += 64) {
            const IppStatus status =
                ippiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(line + 8 * h, strip_stride, block, quant);
            if (status != ippStsNoErr) return JPEG_INTERNAL_ERROR;
          }
        }
      }
    }
  }
  return JPEG_NO_ERROR;
}

// First pass over a scan's coefficients: the Huffman table that fits it best.
int CJPEGEncoder::GenerateHuffmanTables(int count, const int* indices, int ss, int se, int ah,
                                        int al) {
  int statistics[2][256] = {};  // by table number
  clearPredictions();
  if (huffman_state.Init() != JPEG_NO_ERROR) return JPEG_INTERNAL_ERROR;

  const auto restart = [&] { return ProcessRestart(statistics, indices, ss, se, ah, al); };
  if (isScanAC(ss, se)) {
    const CJPEGColorComponent& c = *components[indices[0]];
    const auto gather = ah != 0 ? ippiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1
                                : ippiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1;
    int* row = statistics[c.ac_selector];
    const int result = CoefficientWalk(*this).componentBlocks(c, restart, [&](const Ipp16s* block) {
      return gather(block, row, ss, se, al, huffman_state.state, 0);
    });
    if (result != JPEG_NO_ERROR) return result;
    if (gather(nullptr, row, ss, se, al, huffman_state.state, 1) < 0) return JPEG_INTERNAL_ERROR;
    return initFromStatistics(&ac_tables[c.ac_selector], c.ac_selector, 1, row);
  }

  if (ah != 0) return JPEG_NO_ERROR;  // single bits need no table
  const int result =
      CoefficientWalk(*this).allBlocks(restart, [&](CJPEGColorComponent& c, const Ipp16s* block) {
        return ippiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(block, statistics[c.dc_selector],
                                                               &c.last_dc, al);
      });
  if (result != JPEG_NO_ERROR) return result;
  for (int i = 0; i < count; ++i) {
    const int selector = components[indices[i]]->dc_selector;
    const int built = initFromStatistics(&dc_tables[selector], selector, 0, statistics[selector]);
    if (built != JPEG_NO_ERROR) return built;
  }
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::initFromStatistics(CJPEGEncoderHuffmanTable* table, int id, int hclass,
                                     const int* statistics) {
  Ipp8u bits[16] = {};
  Ipp8u values[256] = {};
  if (ippiEncodeHuffmanRawTableInit_JPEG_8u(statistics, bits, values) < 0) {
    return JPEG_INTERNAL_ERROR;
  }
  return table->Init(id, hclass, bits, values);
}

int CJPEGEncoder::ProcessRestart(int statistics[][256], const int* indices, int ss, int se, int ah,
                                 int al) {
  if (mode == JPEG_MODE_PROGRESSIVE && (ss != 0 || se != 0)) {
    const auto gather = ah != 0 ? ippiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1
                                : ippiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1;
    int* row = statistics[components[indices[0]]->ac_selector];
    if (gather(nullptr, row, ss, se, al, huffman_state.state, 1) < 0) return JPEG_INTERNAL_ERROR;
  }
  if (huffman_state.Init() != JPEG_NO_ERROR) return JPEG_INTERNAL_ERROR;
  clearPredictions();
  restarts_to_go = restart_interval;
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::EncodeScan(int count, const int* indices, int ss, int se, int ah, int al) {
  const int result = GenerateHuffmanTables(count, indices, ss, se, ah, al);
  if (result != JPEG_NO_ERROR) return result;
  clearPredictions();
  restarts_to_go = restart_interval;
  if (huffman_state.Init() != JPEG_NO_ERROR) return JPEG_INTERNAL_ERROR;
  return isScanAC(ss, se) ? encodeScanAC(count, indices, ss, se, ah, al)
                          : encodeScanDC(count, indices, ss, se, ah, al);
}

int CJPEGEncoder::encodeScanAC(int count, const int* indices, int ss, int se, int ah, int al) {
  const CJPEGColorComponent& c = *components[indices[0]];
  const CJPEGEncoderHuffmanTable& table = ac_tables[c.ac_selector];
  int result = WriteDHT(&table);
  if (result != JPEG_NO_ERROR) return result;
  if ((result = WriteSOS(count, indices, ss, se, ah, al)) != 0) return result;

  const auto encode = ah != 0 ? ippiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1
                              : ippiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1;
  result = CoefficientWalk(*this).componentBlocks(
      c, [&] { return ProcessRestart(indices, ss, se, ah, al); },
      [&](const Ipp16s* block) {
        return encode(block, stream.data, stream.capacity, &stream.position, ss, se, al, table.spec,
                      huffman_state.state, 0);
      });
  return result != JPEG_NO_ERROR ? result : flushProgressive(indices, ss, se, ah, al);
}

int CJPEGEncoder::encodeScanDC(int count, const int* indices, int ss, int se, int ah, int al) {
  int result = JPEG_NO_ERROR;
  if (ah == 0) {
    if ((result = WriteDHT(&dc_tables[0])) != 0) return result;
    if (component_count != 1 && (result = WriteDHT(&dc_tables[1])) != 0) return result;
  }
  if ((result = WriteSOS(count, indices, ss, se, ah, al)) != 0) return result;

  result = CoefficientWalk(*this).allBlocks(
      [&] { return ProcessRestart(indices, ss, se, ah, al); },
      [&](CJPEGColorComponent& c, const Ipp16s* block) {
        if (ah != 0) {
          return ippiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(
              block, stream.data, stream.capacity, &stream.position, al, huffman_state.state, 0);
        }
        return ippiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(
            block, stream.data, stream.capacity, &stream.position, &c.last_dc, al,
            dc_tables[c.dc_selector].spec, huffman_state.state, 0);
      });
  return result != JPEG_NO_ERROR ? result : flushProgressive(indices, ss, se, ah, al);
}

int CJPEGEncoder::flushProgressive(const int* indices, int ss, int se, int ah, int al) {
  IppStatus status;
  if (ss != 0 || se != 0) {
    if (indices == nullptr) return JPEG_INTERNAL_ERROR;
    const IppiEncodeHuffmanSpec* spec = ac_tables[components[indices[0]]->ac_selector].spec;
    const auto encode = ah != 0 ? ippiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1
                                : ippiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1;
    status = encode(nullptr, stream.data, stream.capacity, &stream.position, ss, se, al, spec,
                    huffman_state.state, 1);
  } else if (ah != 0) {
    status = ippiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(
        nullptr, stream.data, stream.capacity, &stream.position, al, huffman_state.state, 1);
  } else {
    status = ippiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(nullptr, stream.data, stream.capacity,
                                                        &stream.position, nullptr, al, nullptr,
                                                        huffman_state.state, 1);
  }
  return status < 0 ? JPEG_INTERNAL_ERROR : JPEG_NO_ERROR;
}
