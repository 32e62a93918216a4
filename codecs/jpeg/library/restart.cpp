// Closing of an entropy-coded interval: at a restart marker, at a packet's end, and in the
// statistics pass of the progressive writer.
#include "qrx/jpeg_encoder.h"
#include "qrx/primitives.h"

void CJPEGEncoder::clearPredictions() {
  for (int i = 0; i < component_count; ++i) components[i]->last_dc = 0;
}

int CJPEGEncoder::ProcessRestart(const int* indices, int ss, int se, int ah, int al) {
  const int result = TerminatePacket(indices, ss, se, ah, al);
  if (result != JPEG_NO_ERROR) return result;
  if (WriteRST(next_restart) != JPEG_NO_ERROR) return JPEG_INTERNAL_ERROR;
  restarts_to_go = restart_interval;
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::TerminatePacket(const int* indices, int ss, int se, int ah, int al) {
  int result = JPEG_NO_ERROR;
  switch (mode) {
    case JPEG_MODE_BASELINE: result = flushBaseline(); break;
    case JPEG_MODE_LOSSLESS: result = flushLossless(); break;
    case JPEG_MODE_PROGRESSIVE: result = flushProgressive(indices, ss, se, ah, al); break;
  }
  if (result != JPEG_NO_ERROR) return result;
  if (huffman_state.Init() != JPEG_NO_ERROR) return JPEG_INTERNAL_ERROR;
  clearPredictions();
  return JPEG_NO_ERROR;
}
