// One scan of a progressive image (T.81 Annex G) over the encoder's coefficient store: a pass for
// its Huffman tables, a pass for its code.
#ifndef QRX_CODECS_JPEG_LIBRARY_PROGRESSIVE_SCAN_H_
#define QRX_CODECS_JPEG_LIBRARY_PROGRESSIVE_SCAN_H_

#include "codecs/jpeg/library/entropy_interval.h"
#include "qrx/jpeg_encoder.h"

namespace qrx::jpeg {

using Statistics = int[256];  // by symbol

// An AC scan has one component; any other goes over all of them, MCU by MCU.
bool isAC(const Scan& scan);

// Gathers the scan's symbols and builds the tables that fit them best. A refinement of DC needs
// none.
int buildScanTables(CJPEGEncoder& encoder, const Scan& scan);

// The tables that fit `counts` best, which are by table number.
int initScanTables(CJPEGEncoder& encoder, const Scan& scan, const Statistics* counts);

// Writes DHT and SOS. The coder and the predictions start afresh.
int openScan(CJPEGEncoder& encoder, const Scan& scan);

// Writes the code of a scan that is open.
int codeScan(CJPEGEncoder& encoder, const Scan& scan);

// Builds the tables and writes DHT, SOS and code.
int encodeScan(CJPEGEncoder& encoder, const Scan& scan);

// Writes out what the scan's coder holds back.
int flushProgressive(CJPEGEncoder& encoder, const Scan& scan);

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_PROGRESSIVE_SCAN_H_
