// Rows of MCUs of a baseline scan.
#include "codecs/jpeg/library/strip_coder.h"

#include "codecs/jpeg/library/encoder_stages.h"
#include "codecs/jpeg/library/entropy_interval.h"
#include "qrx/primitives.h"

namespace qrx::jpeg {

StripCoder::StripCoder(CJPEGEncoder& encoder) : encoder_(encoder), walk_(walkOf(encoder)) {}

int StripCoder::fill(int strip) {
  QRX_TRY(encoder_.ColorConvert(strip));
  return encoder_.DownSampling(strip);
}

int StripCoder::code(int column, int count, std::int64_t stopAt, int* coded) {
  *coded = 0;
  while (*coded < count) {
    QRX_TRY(openInterval(encoder_, [&] { return restartInterval(encoder_, kBaselineScan); }));
    QRX_TRY(codeMCU(column + *coded));
    ++*coded;
    if (encoder_.stream.position > stopAt) break;
  }
  return JPEG_NO_ERROR;
}

int StripCoder::codeMCU(int column) {
  return walk_.mcu(0, column, [this](CJPEGColorComponent& c, const BlockPlace& place) {
    QRX_TRY(transformBlock(encoder_, c, place, block_));
    _bitstream& stream = encoder_.stream;
    return resultOf(ippiEncodeHuffman8x8_JPEG_16s1u_C1(
        block_, stream.data, stream.capacity, &stream.position, &c.last_dc,
        encoder_.dc_tables[c.dc_selector].spec, encoder_.ac_tables[c.ac_selector].spec,
        encoder_.huffman_state.state, 0));
  });
}

}  // namespace qrx::jpeg
