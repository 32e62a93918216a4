// Programs read the coders' fields where they have always stood: a field that moves breaks them
// without a word from the linker. Only the two coders may grow, at their ends.
#include <gtest/gtest.h>

#include <bit>
#include <cstddef>
#include <cstring>
#include <vector>

#include "qrx/codec.h"
#include "qrx/jpeg_decoder.h"
#include "qrx/jpeg_encoder.h"

namespace qrx::test {
namespace {

using Offsets = std::vector<std::ptrdiff_t>;

// A pointer to a data member is the member's offset (Itanium C++ ABI 2.3).
template <typename Class, typename... Types>
Offsets offsets(Types Class::*... members) {
  return {std::bit_cast<std::ptrdiff_t>(members)...};
}

// A pointer to a virtual function holds its slot's offset, plus one (Itanium C++ ABI 2.3).
template <typename Class, typename Result, typename... Arguments>
std::ptrdiff_t slot(Result (Class::*function)(Arguments...)) {
  std::ptrdiff_t words[2];
  static_assert(sizeof words == sizeof function);
  std::memcpy(words, &function, sizeof words);
  return (words[0] - 1) / std::ptrdiff_t{sizeof(void*)};
}

// Hosts that were built against the interface call by slot. The destructor has the first two.
TEST(Layout, VirtualTables) {
  using C = codec::Codec;
  EXPECT_EQ(
      (Offsets{slot(&C::getName), slot(&C::getIsLossless), slot(&C::getSupportsUDP), slot(&C::id),
               slot(&C::getCompressor), slot(&C::getDecompressor), slot(&C::release)}),
      (Offsets{2, 3, 4, 5, 6, 7, 8}));
  using D = codec::Decompressor;
  EXPECT_EQ((Offsets{slot(&D::setAttribute), slot(&D::decompress), slot(&D::decompressTile),
                     slot(&D::isValid), slot(&D::getOutputSize), slot(&D::percentCoverage),
                     slot(&D::getWindow), slot(&D::getIndex), slot(&D::getDimensions)}),
            (Offsets{2, 3, 4, 5, 6, 7, 8, 9, 10}));
  using U = std::uint32_t;
  using Frames = bool (codec::Compressor::*)(const std::uint8_t*, U, U, U, U, U, U, U, U, U,
                                             codec::CompressCallback, void*);
  using Packets = bool (codec::Compressor::*)(const std::uint8_t*, U, U, U, U, U, U, U, U, U, U,
                                              codec::CompressCallback, void*);
  EXPECT_EQ((Offsets{slot(&codec::Compressor::getAttributes),
                     slot(static_cast<Frames>(&codec::Compressor::compress)),
                     slot(static_cast<Packets>(&codec::Compressor::compress))}),
            (Offsets{2, 3, 4}));
}

TEST(Layout, SharedRecords) {
  EXPECT_EQ(offsets(&_bitstream::data, &_bitstream::capacity, &_bitstream::position),
            (Offsets{0, 8, 12}));
  EXPECT_EQ(sizeof(_bitstream), 16u);
  using C = CJPEGColorComponent;
  EXPECT_EQ(offsets(&C::id, &C::comp_no, &C::hsampling, &C::vsampling, &C::h_factor, &C::v_factor,
                    &C::nblocks, &C::q_selector, &C::dc_selector, &C::ac_selector, &C::ac_scan_done,
                    &C::last_dc, &C::cc_buffer, &C::ss_buffer, &C::row_buffer, &C::spare_buffer,
                    &C::curr_row, &C::prev_row),
            (Offsets{8, 12, 16, 20, 24, 28, 32, 36, 40, 44, 48, 52, 56, 64, 72, 80, 88, 96}));
  EXPECT_EQ(sizeof(C), 104u);
}

TEST(Layout, Encoder) {
  using C = CJPEGEncoder;
  EXPECT_EQ(
      offsets(&C::source_data, &C::source_width, &C::source_height, &C::source_step,
              &C::source_channels, &C::source_color, &C::stream, &C::component_count, &C::precision,
              &C::sampling, &C::jpeg_color, &C::quality, &C::restart_interval, &C::mode,
              &C::mcus_across, &C::mcus_down, &C::mcu_width, &C::mcu_height, &C::strip_stride,
              &C::strip_rows, &C::pad_columns, &C::pad_rows, &C::restarts_to_go, &C::next_restart,
              &C::scan_count, &C::scan_start, &C::scan_end, &C::approx_low, &C::approx_high,
              &C::predictor, &C::point_transform, &C::scan_script, &C::coefficients, &C::components,
              &C::quant_tables, &C::dc_tables, &C::ac_tables, &C::huffman_state),
      (Offsets{8,   16,  20,  24,  28,  32,  40,  56,  60,  64,   68,   72,  76,
               80,  84,  88,  92,  96,  100, 104, 108, 112, 116,  120,  124, 128,
               132, 136, 140, 144, 148, 152, 160, 168, 200, 1384, 2568, 3752}));
}

TEST(Layout, Decoder) {
  using C = CJPEGDecoder;
  EXPECT_EQ(
      offsets(&C::stream, &C::dest_data, &C::dest_width, &C::dest_height, &C::dest_step,
              &C::dest_precision, &C::dest_channels, &C::dest_color, &C::jpeg_width,
              &C::jpeg_height, &C::component_count, &C::precision, &C::sampling, &C::jpeg_color,
              &C::quality, &C::restart_interval, &C::mode, &C::has_comment, &C::comment_length,
              &C::comment, &C::jfif_found, &C::jfif_major, &C::jfif_minor, &C::jfif_units,
              &C::jfif_x_density, &C::jfif_y_density, &C::jfif_thumb_width, &C::jfif_thumb_height,
              &C::jfxx_found, &C::jfxx_thumb_type, &C::adobe_found, &C::adobe_version,
              &C::adobe_flags0, &C::adobe_flags1, &C::adobe_transform, &C::mcus_across,
              &C::mcus_down, &C::mcu_width, &C::mcu_height, &C::strip_stride, &C::strip_rows,
              &C::pad_columns, &C::pad_rows, &C::restarts_to_go, &C::next_restart, &C::sos_length,
              &C::scan_component, &C::scan_start, &C::scan_end, &C::approx_low, &C::approx_high,
              &C::dc_scan_done, &C::ac_scans_done, &C::marker, &C::coefficients, &C::block_buffer,
              &C::mcu_blocks, &C::tile_mcu_count, &C::tile_x, &C::tile_width, &C::components,
              &C::quant_tables, &C::dc_tables, &C::ac_tables, &C::huffman_state),
      (Offsets{8,   24,  32,  36,  40,  44,  48,  52,  56,  60,  64,   68,   72,
               76,  80,  84,  88,  92,  96,  104, 112, 116, 120, 124,  128,  132,
               136, 140, 144, 148, 152, 156, 160, 164, 168, 172, 176,  180,  184,
               188, 192, 196, 200, 204, 208, 212, 216, 220, 224, 228,  232,  236,
               240, 244, 248, 256, 264, 268, 272, 276, 280, 312, 1496, 2712, 3928}));
}

TEST(Layout, Tables) {
  EXPECT_EQ(offsets(&CJPEGEncoderQuantTable::id, &CJPEGEncoderQuantTable::precision,
                    &CJPEGEncoderQuantTable::raw, &CJPEGEncoderQuantTable::fwd_table,
                    &CJPEGEncoderQuantTable::ready),
            (Offsets{8, 12, 16, 24, 32}));
  EXPECT_EQ(sizeof(CJPEGEncoderQuantTable), 296u);
  EXPECT_EQ(offsets(&CJPEGEncoderHuffmanTable::id, &CJPEGEncoderHuffmanTable::hclass,
                    &CJPEGEncoderHuffmanTable::bits, &CJPEGEncoderHuffmanTable::values,
                    &CJPEGEncoderHuffmanTable::spec),
            (Offsets{8, 12, 16, 32, 288}));
  EXPECT_EQ(sizeof(CJPEGEncoderHuffmanTable), 296u);
  EXPECT_EQ(offsets(&CJPEGEncoderHuffmanState::state), (Offsets{8}));
  EXPECT_EQ(sizeof(CJPEGEncoderHuffmanState), 16u);
  EXPECT_EQ(offsets(&CJPEGDecoderQuantTable::id, &CJPEGDecoderQuantTable::precision,
                    &CJPEGDecoderQuantTable::raw, &CJPEGDecoderQuantTable::inverse,
                    &CJPEGDecoderQuantTable::initialized),
            (Offsets{8, 12, 272, 280, 288}));
  EXPECT_EQ(sizeof(CJPEGDecoderQuantTable), 296u);
  EXPECT_EQ(offsets(&CJPEGDecoderHuffmanTable::id, &CJPEGDecoderHuffmanTable::table_class,
                    &CJPEGDecoderHuffmanTable::spec, &CJPEGDecoderHuffmanTable::bits,
                    &CJPEGDecoderHuffmanTable::values, &CJPEGDecoderHuffmanTable::empty),
            (Offsets{8, 12, 16, 24, 40, 296}));
  EXPECT_EQ(sizeof(CJPEGDecoderHuffmanTable), 304u);
  EXPECT_EQ(offsets(&CJPEGDecoderHuffmanState::state), (Offsets{8}));
  EXPECT_EQ(sizeof(CJPEGDecoderHuffmanState), 16u);
}

}  // namespace
}  // namespace qrx::test
