// The mangled names of the classes' members.
#include "bench/coder_entries.h"

namespace qrx::bench {
namespace {

template <typename Function>
void resolve(const tool::Library& library, Function& entry, const char* name) {
  entry = reinterpret_cast<Function>(library.symbol(name));
}

}  // namespace

CoderEntries::CoderEntries(const tool::Library& library) {
  const auto find = [&library](auto& entry, const char* name) { resolve(library, entry, name); };
  find(makeEncoder, "_ZN12CJPEGEncoderC1Ev");
  find(endEncoder, "_ZN12CJPEGEncoderD1Ev");
  find(cleanEncoder, "_ZN12CJPEGEncoder5CleanEv");
  find(setEncoderSource, "_ZN12CJPEGEncoder9SetSourceEPKhi8IppiSizei11_JPEG_COLOR");
  find(setEncoderDestination,
       "_ZN12CJPEGEncoder14SetDestinationEPhii14_JPEG_SAMPLING11_JPEG_COLOR10_JPEG_MODEi");
  find(write[JPEG_MODE_BASELINE], "_ZN12CJPEGEncoder18WriteImageBaselineEv");
  find(write[JPEG_MODE_PROGRESSIVE], "_ZN12CJPEGEncoder21WriteImageProgressiveEv");
  find(write[JPEG_MODE_LOSSLESS], "_ZN12CJPEGEncoder18WriteImageLosslessEv");
  find(makeDecoder, "_ZN12CJPEGDecoderC1Ev");
  find(endDecoder, "_ZN12CJPEGDecoderD1Ev");
  find(cleanDecoder, "_ZN12CJPEGDecoder5CleanEv");
  find(resetDecoder, "_ZN12CJPEGDecoder5ResetEv");
  find(setDecoderSource, "_ZN12CJPEGDecoder9SetSourceEPKhi");
  find(readHeader, "_ZN12CJPEGDecoder10ReadHeaderEPiS0_S0_P11_JPEG_COLORP14_JPEG_SAMPLINGS0_");
  find(setDecoderDestination, "_ZN12CJPEGDecoder14SetDestinationEPhi8IppiSizei11_JPEG_COLORi");
  find(readData, "_ZN12CJPEGDecoder8ReadDataEv");
}

}  // namespace qrx::bench
