// Colour conversion, sampling, data movers and lossless prediction: worked values.
#include <gtest/gtest.h>

#include "tests/forms/huffman_kit.h"

namespace {

using Words = std::vector<Ipp16s>;
using Split = IppStatus (*)(const Ipp8u*, int, Ipp8u**, int, IppiSize);
using Join = IppStatus (*)(const Ipp8u**, int, Ipp8u*, int, IppiSize);

// A row of `width` equal pixels, converted; the pixel at `place` comes back.
Bytes at(Split convert, const Bytes& pixel, size_t width, size_t place) {
  Bytes row, out(4 * width);
  for (size_t i = 0; i < width; ++i) row.insert(row.end(), pixel.begin(), pixel.end());
  Ipp8u* planes[] = {&out[0], &out[width], &out[2 * width], &out[3 * width]};
  EXPECT_EQ(convert(row.data(), int(row.size()), planes, int(width), {int(width), 1}), 0);
  Bytes result;
  for (size_t p = 0; p < pixel.size(); ++p) result.push_back(planes[p][place]);
  return result;
}

Bytes at(Join convert, const Bytes& pixel, size_t width, size_t place) {
  Bytes in, row(width * pixel.size());
  for (const Ipp8u sample : pixel) in.insert(in.end(), width, sample);
  const Ipp8u* planes[] = {&in[0], &in[width], &in[2 * width],
                           pixel.size() > 3 ? &in[3 * width] : nullptr};
  EXPECT_EQ(convert(planes, int(width), row.data(), int(row.size()), {int(width), 1}), 0);
  const auto begin = row.begin() + long(place * pixel.size());
  return {begin, begin + long(pixel.size())};
}

Bytes mirrored(const Bytes& pixel) { return {pixel.rbegin(), pixel.rend()}; }

// (0, 0, 250) has Y 28 and (51, 214, 142) has Cb 120 in whole blocks of eight, Y 29 and Cb 119 in
// what is left over; (105, 66, 223) has G 59 in whole blocks of four and G 58 in what is left over.
TEST(Colour, RoundingDependsOnThePlaceInTheRow) {
  for (size_t width = 1; width <= 33; ++width) {
    for (size_t place = 0; place < width; ++place) {
      const bool inEight = place < width / 8 * 8, inFour = place < width / 4 * 4;
      EXPECT_EQ(at(ippiRGBToYCbCr_JPEG_8u_C3P3R, {0, 0, 250}, width, place)[0], inEight ? 28 : 29);
      const int cb = inEight ? 120 : 119, green = inFour ? 59 : 58, yellow = inFour ? 248 : 247;
      EXPECT_EQ(at(ippiRGBToYCbCr_JPEG_8u_C3P3R, {51, 214, 142}, width, place)[1], cb);
      EXPECT_EQ(at(ippiBGRToYCbCr_JPEG_8u_C3P3R, {142, 214, 51}, width, place)[1], cb);
      EXPECT_EQ(at(ippiYCbCrToRGB_JPEG_8u_P3C3R, {105, 66, 223}, width, place)[1], green);
      EXPECT_EQ(at(ippiYCbCrToBGR_JPEG_8u_P3C3R, {105, 66, 223}, width, place)[1], green);
      EXPECT_EQ(at(ippiYCCKToCMYK_JPEG_8u_P4C4R, {128, 60, 128, 7}, width, place),
                (Bytes{127, 104, Ipp8u(yellow), 7}));
      // CMYK has the rounding of the rest everywhere.
      EXPECT_EQ(at(ippiCMYKToYCCK_JPEG_8u_C4P4R, {204, 41, 113, 9}, width, place)[1], 119);
    }
  }
}

TEST(Colour, WorkedValues) {
  const Bytes forward[][2] = {{{0, 0, 0}, {0, 128, 128}},
                              {{255, 255, 255}, {255, 128, 128}},
                              {{255, 0, 0}, {76, 85, 255}},
                              {{0, 255, 0}, {150, 44, 21}},
                              {{0, 0, 255}, {29, 255, 107}}};
  const Bytes inverse[][2] = {{{128, 128, 128}, {128, 128, 128}},
                              {{0, 128, 128}, {0, 0, 0}},
                              {{255, 128, 128}, {255, 255, 255}},
                              {{0, 0, 0}, {0, 135, 0}},
                              {{255, 255, 255}, {255, 121, 255}}};
  for (const size_t place : {size_t{0}, size_t{8}}) {
    for (const auto& [rgb, ycc] : forward) {
      EXPECT_EQ(at(ippiRGBToYCbCr_JPEG_8u_C3P3R, rgb, 9, place), ycc);
      EXPECT_EQ(at(ippiBGRToYCbCr_JPEG_8u_C3P3R, mirrored(rgb), 9, place), ycc);
    }
    for (const auto& [ycc, rgb] : inverse) {
      EXPECT_EQ(at(ippiYCbCrToRGB_JPEG_8u_P3C3R, ycc, 9, place), rgb);
      EXPECT_EQ(at(ippiYCbCrToBGR_JPEG_8u_P3C3R, ycc, 9, place), mirrored(rgb));
    }
  }
  EXPECT_EQ(at(ippiCMYKToYCCK_JPEG_8u_C4P4R, {0, 0, 0, 41}, 9, 3), (Bytes{255, 128, 128, 41}));
  // Luma alone has the rounding of whole blocks.
  const Bytes pixels = {0, 0, 250, 255, 0, 0, 0, 255, 0};
  Bytes luma(3);
  EXPECT_EQ(ippiRGBToY_JPEG_8u_C3C1R(pixels.data(), 9, luma.data(), 3, {3, 1}), 0);
  EXPECT_EQ(luma, (Bytes{28, 76, 150}));
}

using Sample = IppStatus (*)(const Ipp8u*, int, IppiSize, Ipp8u*, int, IppiSize);

Bytes sampled(Sample f, const Bytes& in, size_t origin, int step, IppiSize size, IppiSize outSize) {
  Bytes out(size_t(outSize.width * outSize.height) + 1, 99);
  EXPECT_EQ(f(&in[origin], step, size, out.data(), outSize.width, outSize), 0);
  EXPECT_EQ(out.back(), 99);
  out.pop_back();
  return out;
}

TEST(Sampling, WorkedValues) {
  EXPECT_EQ(sampled(ippiSampleDownH2V1_JPEG_8u_C1R, {0, 1, 255, 255, 10, 13}, 0, 6, {6, 1}, {3, 1}),
            (Bytes{1, 255, 12}));
  EXPECT_EQ(sampled(ippiSampleDownH2V2_JPEG_8u_C1R,
                    {0, 0, 0, 0, 255, 255, 1, 1, 0, 1, 0, 0, 255, 255, 1, 3}, 0, 8, {8, 2}, {4, 1}),
            (Bytes{1, 0, 255, 2}));
  // (60+100+1)/4, (60+60+2)/4, (180+20+1)/4, ... with margins on both sides
  const Sample up = ippiSampleUpH2V1_JPEG_8u_C1R, up2 = ippiSampleUpH2V2_JPEG_8u_C1R;
  EXPECT_EQ(sampled(up, {100, 20, 60, 200}, 1, 4, {2, 1}, {4, 1}), (Bytes{40, 30, 50, 95}));
  // Rows above and below: (3*(96+8) + (48+8) + 8) / 16, (312 + (192+8) + 7) / 16, ...
  EXPECT_EQ(sampled(up2, {8, 8, 8, 16, 32, 64, 0, 4, 128}, 4, 3, {1, 1}, {2, 2}),
            (Bytes{23, 32, 22, 39}));
  // Sums that just reach the next value, and that just miss it: the biases of the two columns.
  EXPECT_EQ(sampled(up, {3, 0, 2}, 1, 3, {1, 1}, {2, 1}), (Bytes{1, 1}));
  EXPECT_EQ(sampled(up, {2, 0, 1}, 1, 3, {1, 1}, {2, 1}), (Bytes{0, 0}));
  EXPECT_EQ(sampled(up2, {8, 0, 9, 0, 0, 0, 0, 0, 0}, 4, 3, {1, 1}, {2, 1}), (Bytes{1, 1}));
  EXPECT_EQ(sampled(up2, {7, 0, 8, 0, 0, 0, 0, 0, 0}, 4, 3, {1, 1}, {2, 1}), (Bytes{0, 0}));
  // The shortest step there is.
  EXPECT_EQ(sampled(ippiSampleDownH2V1_JPEG_8u_C1R, {1, 2}, 0, 1, {2, 1}, {1, 1}), Bytes{2});
  // An odd width ends on an even column; only the margins that are read exist.
  EXPECT_EQ(sampled(up, {4, 12}, 1, 2, {1, 1}, {1, 1}), Bytes{10});
  EXPECT_EQ(sampled(up2, {4, 12, 8, 16}, 3, 2, {1, 1}, {1, 1}), Bytes{13});
}

TEST(Movers, InterleavedToPlanesAndBack) {
  const Bytes pixels = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  EXPECT_EQ(at(ippiCopy_8u_C4P4R, {1, 2, 3, 4}, 9, 8), (Bytes{1, 2, 3, 4}));
  EXPECT_EQ(at(ippiCopy_8u_C3P3R, {1, 2, 3}, 9, 8), (Bytes{1, 2, 3}));
  EXPECT_EQ(at(ippiCopy_8u_P4C4R, {1, 2, 3, 4}, 9, 8), (Bytes{1, 2, 3, 4}));
  EXPECT_EQ(at(ippiCopy_8u_P3C3R, {1, 2, 3}, 9, 8), (Bytes{1, 2, 3}));
  Bytes rgb(7, 99), rgba(8, 99);  // alpha is dropped, or left alone
  EXPECT_EQ(ippiCopy_8u_AC4C3R(pixels.data(), 8, rgb.data(), 6, {2, 1}), 0);
  EXPECT_EQ(rgb, (Bytes{1, 2, 3, 5, 6, 7, 99}));
  EXPECT_EQ(ippiCopy_8u_C3AC4R(rgb.data(), 6, rgba.data(), 8, {2, 1}), 0);
  EXPECT_EQ(rgba, (Bytes{1, 2, 3, 99, 5, 6, 7, 99}));
}

// Copies take any step: a negative one turns the picture over, packed rows go as one.
TEST(Movers, CopySteps) {
  const Bytes rows = {1, 2, 3, 4, 5, 6};
  Bytes out(6);
  EXPECT_EQ(ippiCopy_8u_C1R(&rows[4], -2, out.data(), 2, {2, 3}), 0);
  EXPECT_EQ(out, (Bytes{5, 6, 3, 4, 1, 2}));
  EXPECT_EQ(ippiCopy_8u_C1R(rows.data(), 2, out.data(), 2, {2, 3}), 0);
  EXPECT_EQ(out, rows);
  EXPECT_EQ(ippiCopy_8u_C1R(rows.data(), 2, out.data(), 3, {2, 2}), 0);
  EXPECT_EQ(out, (Bytes{1, 2, 3, 3, 4, 6}));
}

TEST(Movers, ConversionsAndShifts) {
  const Words values = {-1, 256, 0, 255, -32768, 32767, 128};
  Bytes narrow(7);
  EXPECT_EQ(ippiConvert_16s8u_C1R(values.data(), 14, narrow.data(), 7, {7, 1}), 0);
  EXPECT_EQ(narrow, (Bytes{0, 255, 0, 255, 0, 255, 128}));
  Words wide(7);
  EXPECT_EQ(ippiConvert_8u16s_C1R(narrow.data(), 7, wide.data(), 14, {7, 1}), 0);
  EXPECT_EQ(wide, (Words{0, 255, 0, 255, 0, 255, 128}));

  const int rows[][4] = {{-1, 3, -1, -8},          {-9, 1, -5, -18}, {5, 16, 0, 0},
                         {-5, 1000, -1, 0},        {77, 0, 77, 77},  {1, 15, 0, -32768},
                         {0x1234, 8, 0x12, 0x3400}};
  for (const auto& [value, shift, right, left] : rows) {
    const auto source = Ipp16s(value);
    Ipp16s out[2];
    EXPECT_EQ(ippsRShiftC_16s(&source, shift, &out[0], 1), 0);
    EXPECT_EQ(ippsLShiftC_16s(&source, shift, &out[1], 1), 0);
    EXPECT_EQ(out[0], right);
    EXPECT_EQ(out[1], left);
  }
}

TEST(Lossless, FirstRow) {
  const Words row = {100, 110, 90, 90};
  Words out(4);
  EXPECT_EQ(ippiDiffPredFirstRow_JPEG_16s_C1(row.data(), out.data(), 4, 8, 0), 0);
  EXPECT_EQ(out, (Words{-28, 10, -20, 0}));
  EXPECT_EQ(ippiDiffPredFirstRow_JPEG_16s_C1(row.data(), out.data(), 4, 8, 2), 0);
  EXPECT_EQ(out, (Words{100 - 32, 10, -20, 0}));
  EXPECT_EQ(ippiReconstructPredFirstRow_JPEG_16s_C1(out.data(), out.data(), 4, 8, 2), 0);
  EXPECT_EQ(out, row);
}

TEST(Lossless, RowsByPredictor) {
  // Left 40, above 30, above left 61; then sums that leave 16 bits; then anything.
  Words row = {40, 100, 32767, 0}, above = {61, 30, 32767, 32767}, out(67);
  Random random(9);
  for (; row.size() < out.size(); above.push_back(Ipp16s(random()))) {
    row.push_back(Ipp16s(random()));
  }
  const int width = int(out.size()), predictions[] = {40, 30, 61, 9, 24, 19, 35};
  for (int predictor = 1; predictor <= 7; ++predictor) {
    const auto* top = above.data();
    EXPECT_EQ(ippiDiffPredRow_JPEG_16s_C1(row.data(), top, out.data(), width, predictor), 0);
    EXPECT_EQ(out[0], -21);
    EXPECT_EQ(out[1], 100 - predictions[predictor - 1]);
    EXPECT_EQ(out[3], -32767);
    EXPECT_EQ(ippiReconstructPredRow_JPEG_16s_C1(out.data(), top, out.data(), width, predictor), 0);
    EXPECT_EQ(out, row) << predictor;
  }
}

}  // namespace
