// Closing of entropy-coded intervals.
#include "codecs/jpeg/library/entropy_interval.h"

#include "codecs/jpeg/library/progressive_scan.h"
#include "codecs/jpeg/library/result.h"
#include "qrx/primitives.h"

namespace qrx::jpeg {
namespace {

int flushBaseline(CJPEGEncoder& encoder) {
  _bitstream& stream = encoder.stream;
  return resultOf(ippiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, stream.data, stream.capacity,
                                                     &stream.position, nullptr, nullptr, nullptr,
                                                     encoder.huffman_state.state, 1));
}

int flushLossless(CJPEGEncoder& encoder) {
  _bitstream& stream = encoder.stream;
  return resultOf(ippiEncodeHuffmanOne_JPEG_16s1u_C1(nullptr, stream.data, stream.capacity,
                                                     &stream.position, nullptr,
                                                     encoder.huffman_state.state, 1));
}

}  // namespace

void clearPredictions(CJPEGEncoder& encoder) {
  for (int i = 0; i < encoder.component_count; ++i) encoder.components[i]->last_dc = 0;
}

int flushEntropy(CJPEGEncoder& encoder, const Scan& scan) {
  switch (encoder.mode) {
    case JPEG_MODE_BASELINE: return flushBaseline(encoder);
    case JPEG_MODE_PROGRESSIVE: return flushProgressive(encoder, scan);
    case JPEG_MODE_LOSSLESS: return flushLossless(encoder);
  }
  return JPEG_NO_ERROR;
}

int endInterval(CJPEGEncoder& encoder, const Scan& scan) {
  QRX_TRY(flushEntropy(encoder, scan));
  QRX_TRY(encoder.huffman_state.Init());
  clearPredictions(encoder);
  return JPEG_NO_ERROR;
}

int restartInterval(CJPEGEncoder& encoder, const Scan& scan) {
  QRX_TRY(endInterval(encoder, scan));
  if (encoder.WriteRST(encoder.next_restart) != JPEG_NO_ERROR) return JPEG_INTERNAL_ERROR;
  encoder.restarts_to_go = encoder.restart_interval;
  return JPEG_NO_ERROR;
}

}  // namespace qrx::jpeg

using namespace qrx::jpeg;

int CJPEGEncoder::ProcessRestart(const int* indices, int ss, int se, int ah, int al) {
  return restartInterval(*this, scanAt(indices, ss, se, ah, al));
}

int CJPEGEncoder::TerminatePacket(const int* indices, int ss, int se, int ah, int al) {
  return endInterval(*this, scanAt(indices, ss, se, ah, al));
}
