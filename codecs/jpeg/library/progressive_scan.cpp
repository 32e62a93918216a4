// The two passes of a progressive scan.
#include "codecs/jpeg/library/progressive_scan.h"

#include <algorithm>

#include "codecs/jpeg/library/encoder_stages.h"

namespace qrx::jpeg {
namespace {

constexpr int kMaxComponents = 4;  // of a scan (T.81 B.2.3)

bool isScanAC(int ss, int se) { return ss != 0 && se != 0; }

// The scan that the arguments of a stated operation name.
int scanOf(int count, const int* components, int ss, int se, int ah, int al, Scan* scan) {
  if (count > kMaxComponents) return JPEG_NOT_SUPPORTED;
  if (components == nullptr && isScanAC(ss, se)) return JPEG_NOT_SUPPORTED;
  *scan = scanAt(components, ss, se, ah, al);
  scan->count = count;
  if (count > 0 && components != nullptr) std::copy_n(components, count, scan->components);
  return JPEG_NO_ERROR;
}

// `visit` gets component and block of what the scan covers and returns a primitive's status;
// `close` ends a full restart interval.
template <typename Close, typename Visit>
int walkScan(CJPEGEncoder& e, const Scan& scan, Close close, Visit visit) {
  const MCUWalk walk = walkOf(e);
  const auto open = [&] { return openInterval(e, close); };
  const auto atBlock = [&](CJPEGColorComponent& c, const BlockPlace& place) {
    return resultOf(visit(c, e.coefficients + 64 * place.index));
  };
  return isAC(scan) ? walk.component(scan.components[0], e.mcus_down, e.source_width,
                                     e.source_height, open, atBlock)
                    : walk.mcus(e.mcus_down, open, atBlock);
}

// Counts a block's AC symbols; null counts what is pending.
IppStatus countAC(CJPEGEncoder& e, const Scan& scan, const Ipp16s* block, int* counts) {
  const auto count = scan.ah != 0 ? ippiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1
                                  : ippiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1;
  return count(block, counts, scan.ss, scan.se, scan.al, e.huffman_state.state, block == nullptr);
}

// Codes a block; null writes out what is pending, and needs neither prediction nor a DC table.
IppStatus codeBlock(CJPEGEncoder& e, const Scan& scan, bool ac, const Ipp16s* block,
                    Ipp16s* prediction, const IppiEncodeHuffmanSpec* spec) {
  _bitstream& s = e.stream;
  const int flush = block == nullptr;
  if (ac) {
    const auto encode = scan.ah != 0 ? ippiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1
                                     : ippiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1;
    return encode(block, s.data, s.capacity, &s.position, scan.ss, scan.se, scan.al, spec,
                  e.huffman_state.state, flush);
  }
  if (scan.ah != 0) {
    return ippiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(block, s.data, s.capacity, &s.position,
                                                       scan.al, e.huffman_state.state, flush);
  }
  return ippiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(block, s.data, s.capacity, &s.position,
                                                    prediction, scan.al, spec,
                                                    e.huffman_state.state, flush);
}

int initFromStatistics(CJPEGEncoderHuffmanTable& table, int id, int tableClass, const int* counts) {
  Ipp8u bits[16] = {};
  Ipp8u values[256] = {};
  QRX_TRY(resultOf(ippiEncodeHuffmanRawTableInit_JPEG_8u(counts, bits, values)));
  return table.Init(id, tableClass, bits, values);
}

// The restart of a pass that writes nothing. `counts` are by number of the AC table.
int restartStatistics(CJPEGEncoder& e, const Scan& scan, Statistics* counts) {
  if (e.mode == JPEG_MODE_PROGRESSIVE && endsInAC(scan)) {
    if (scan.components[0] == kNoComponent) return JPEG_INTERNAL_ERROR;
    int* const row = counts[e.components[scan.components[0]]->ac_selector];
    QRX_TRY(resultOf(countAC(e, scan, nullptr, row)));
  }
  QRX_TRY(e.huffman_state.Init());
  clearPredictions(e);
  e.restarts_to_go = e.restart_interval;
  return JPEG_NO_ERROR;
}

int buildTableAC(CJPEGEncoder& e, const Scan& scan) {
  Statistics counts[2] = {};  // by table number
  int* const row = counts[e.components[scan.components[0]]->ac_selector];
  QRX_TRY(walkScan(
      e, scan, [&] { return restartStatistics(e, scan, counts); },
      [&](CJPEGColorComponent&, const Ipp16s* block) { return countAC(e, scan, block, row); }));
  QRX_TRY(resultOf(countAC(e, scan, nullptr, row)));
  return initScanTables(e, scan, counts);
}

int buildTablesDC(CJPEGEncoder& e, const Scan& scan) {
  Statistics counts[2] = {};
  QRX_TRY(walkScan(
      e, scan, [&] { return restartStatistics(e, scan, counts); },
      [&](CJPEGColorComponent& c, const Ipp16s* block) {
        return ippiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(block, counts[c.dc_selector],
                                                               &c.last_dc, scan.al);
      }));
  return initScanTables(e, scan, counts);
}

int writeTables(CJPEGEncoder& e, const Scan& scan) {
  if (isAC(scan)) return e.WriteDHT(&e.ac_tables[e.components[scan.components[0]]->ac_selector]);
  if (scan.ah != 0) return JPEG_NO_ERROR;
  QRX_TRY(e.WriteDHT(&e.dc_tables[0]));
  return e.component_count != 1 ? e.WriteDHT(&e.dc_tables[1]) : JPEG_NO_ERROR;
}

}  // namespace

bool isAC(const Scan& scan) { return isScanAC(scan.ss, scan.se); }

int initScanTables(CJPEGEncoder& e, const Scan& scan, const Statistics* counts) {
  if (isAC(scan)) {
    const int selector = e.components[scan.components[0]]->ac_selector;
    return initFromStatistics(e.ac_tables[selector], selector, 1, counts[selector]);
  }
  if (scan.ah != 0) return JPEG_NO_ERROR;
  for (int i = 0; i < scan.count; ++i) {
    const int selector = e.components[scan.components[i]]->dc_selector;
    QRX_TRY(initFromStatistics(e.dc_tables[selector], selector, 0, counts[selector]));
  }
  return JPEG_NO_ERROR;
}

int buildScanTables(CJPEGEncoder& e, const Scan& scan) {
  clearPredictions(e);
  QRX_TRY(e.huffman_state.Init());
  if (isAC(scan)) return buildTableAC(e, scan);
  return scan.ah != 0 ? JPEG_NO_ERROR : buildTablesDC(e, scan);
}

int encodeScan(CJPEGEncoder& e, const Scan& scan) {
  QRX_TRY(buildScanTables(e, scan));
  QRX_TRY(openScan(e, scan));
  return codeScan(e, scan);
}

int openScan(CJPEGEncoder& e, const Scan& scan) {
  clearPredictions(e);
  e.restarts_to_go = e.restart_interval;
  QRX_TRY(e.huffman_state.Init());
  QRX_TRY(writeTables(e, scan));
  return e.WriteSOS(scan.count, scan.components, scan.ss, scan.se, scan.ah, scan.al);
}

int codeScan(CJPEGEncoder& e, const Scan& scan) {
  const bool ac = isAC(scan);
  QRX_TRY(walkScan(
      e, scan, [&] { return restartInterval(e, scan); },
      [&](CJPEGColorComponent& c, const Ipp16s* block) {
        const auto& table = ac ? e.ac_tables[c.ac_selector] : e.dc_tables[c.dc_selector];
        return codeBlock(e, scan, ac, block, &c.last_dc, table.spec);
      }));
  return flushProgressive(e, scan);
}

int flushProgressive(CJPEGEncoder& e, const Scan& scan) {
  const bool ac = endsInAC(scan);
  if (!ac) return resultOf(codeBlock(e, scan, false, nullptr, nullptr, nullptr));
  if (scan.components[0] == kNoComponent) return JPEG_INTERNAL_ERROR;
  const IppiEncodeHuffmanSpec* spec =
      e.ac_tables[e.components[scan.components[0]]->ac_selector].spec;
  return resultOf(codeBlock(e, scan, true, nullptr, nullptr, spec));
}

}  // namespace qrx::jpeg

using namespace qrx::jpeg;

int CJPEGEncoder::GenerateHuffmanTables(int count, const int* indices, int ss, int se, int ah,
                                        int al) {
  ScanRecord scan;
  QRX_TRY(scanOf(count, indices, ss, se, ah, al, &scan));
  return buildScanTables(*this, scan);
}

int CJPEGEncoder::EncodeScan(int count, const int* indices, int ss, int se, int ah, int al) {
  ScanRecord scan;
  QRX_TRY(scanOf(count, indices, ss, se, ah, al, &scan));
  return encodeScan(*this, scan);
}

int CJPEGEncoder::ProcessRestart(int statistics[][256], const int* indices, int ss, int se, int ah,
                                 int al) {
  return restartStatistics(*this, scanAt(indices, ss, se, ah, al), statistics);
}
