// Sampling, data movers and lossless prediction: worked values, limits, checks.
#include <gtest/gtest.h>

#include <vector>

#include "qrx/primitives.h"
#include "tests/forms/random.h"

#define QRX_FORM ref
#include "primitives/form.h"

namespace {

using Bytes = std::vector<Ipp8u>;
using Words = std::vector<Ipp16s>;
using Sample = IppStatus (*)(const Ipp8u*, int, IppiSize, Ipp8u*, int, IppiSize);
using Rows = IppStatus (*)(const Ipp8u*, int, Ipp8u*, int, IppiSize);

TEST(Sampling, DownWorkedValues) {
  const Bytes pairs = {0, 1, 255, 255, 10, 13};
  Bytes out(3);
  EXPECT_EQ(ippiSampleDownH2V1_JPEG_8u_C1R(pairs.data(), 6, {6, 1}, out.data(), 3, {3, 1}), 0);
  EXPECT_EQ(out, (Bytes{1, 255, 12}));

  const Bytes boxes = {0, 0, 0, 0, 255, 255, 1, 1, 0, 1, 0, 0, 255, 255, 1, 3};
  Bytes boxOut(4);
  EXPECT_EQ(ippiSampleDownH2V2_JPEG_8u_C1R(boxes.data(), 8, {8, 2}, boxOut.data(), 4, {4, 1}), 0);
  EXPECT_EQ(boxOut, (Bytes{1, 0, 255, 2}));
}

TEST(Sampling, UpWorkedValues) {
  const Bytes row = {100, 20, 60, 200};  // margin, two samples, margin
  Bytes out(4);
  EXPECT_EQ(ippiSampleUpH2V1_JPEG_8u_C1R(&row[1], 4, {2, 1}, out.data(), 4, {4, 1}), 0);
  EXPECT_EQ(out, (Bytes{40, 30, 50, 95}));  // (60+100+1)/4, (60+60+2)/4, (180+20+1)/4, ...

  // Rows -1, 0 and 1 around one source row, margins on both sides.
  const Bytes plane = {8, 8, 8, 16, 32, 64, 0, 4, 128};
  Bytes upper(2), lower(2);
  EXPECT_EQ(ippiSampleUpH2V2_JPEG_8u_C1R(&plane[4], 3, {1, 1}, upper.data(), 2, {2, 1}), 0);
  EXPECT_EQ(upper, (Bytes{23, 32}));  // (3*(96+8) + (48+8) + 8) / 16, (312 + (192+8) + 7) / 16
  Bytes both(4);
  EXPECT_EQ(ippiSampleUpH2V2_JPEG_8u_C1R(&plane[4], 3, {1, 1}, both.data(), 2, {2, 2}), 0);
  EXPECT_EQ(both, (Bytes{23, 32, 22, 39}));  // ... (3*(96+4) + (48+0) + 8)/16, (300 + 320 + 7)/16
}

TEST(Sampling, ConstantsStayConstant) {
  for (int v = 0; v < 256; ++v) {
    const Bytes flat(9 * 9, static_cast<Ipp8u>(v));
    Bytes out(5 * 4);
    const Bytes expected(5 * 4, static_cast<Ipp8u>(v));
    EXPECT_EQ(ippiSampleUpH2V1_JPEG_8u_C1R(&flat[20], 9, {3, 4}, out.data(), 5, {5, 4}), 0);
    EXPECT_EQ(out, expected);
    EXPECT_EQ(ippiSampleUpH2V2_JPEG_8u_C1R(&flat[20], 9, {3, 2}, out.data(), 5, {5, 4}), 0);
    EXPECT_EQ(out, expected);
  }
}

// An odd width ends on an even column; the margins that are read are the only ones that exist.
TEST(Sampling, WidthOfOne) {
  const Bytes row = {4, 12};
  Bytes out = {1, 99};
  EXPECT_EQ(ippiSampleUpH2V1_JPEG_8u_C1R(&row[1], 2, {1, 1}, out.data(), 1, {1, 1}), 0);
  EXPECT_EQ(out, (Bytes{10, 99}));
  const Bytes rows = {4, 12, 8, 16};
  EXPECT_EQ(ippiSampleUpH2V2_JPEG_8u_C1R(&rows[3], 2, {1, 1}, out.data(), 1, {1, 1}), 0);
  EXPECT_EQ(out, (Bytes{13, 99}));  // (3 * (48 + 12) + (24 + 4) + 8) / 16
}

TEST(Sampling, ChecksInOrder) {
  Bytes data(64, 9), out(64, 9);
  for (const Sample f : {ippiSampleDownH2V1_JPEG_8u_C1R, ippiSampleDownH2V2_JPEG_8u_C1R,
                         ippiSampleUpH2V1_JPEG_8u_C1R, ippiSampleUpH2V2_JPEG_8u_C1R}) {
    EXPECT_EQ(f(nullptr, 0, {0, 0}, nullptr, 0, {0, 0}), ippStsNullPtrErr);
    EXPECT_EQ(f(&data[20], 0, {0, 0}, nullptr, 0, {0, 0}), ippStsStepErr);
    EXPECT_EQ(f(&data[20], 8, {0, 1}, nullptr, 0, {0, 0}), ippStsSizeErr);
    EXPECT_EQ(f(&data[20], 8, {1, 1}, nullptr, 0, {0, 0}), ippStsNullPtrErr);
    EXPECT_EQ(f(&data[20], 8, {1, 1}, out.data(), 0, {0, 0}), ippStsStepErr);
    EXPECT_EQ(f(&data[20], 8, {1, 1}, out.data(), 8, {1, 0}), ippStsSizeErr);
  }
  EXPECT_EQ(out, Bytes(64, 9));
}

TEST(Movers, InterleavedToPlanesAndBack) {
  const Bytes pixels = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  Bytes out(12, 99);
  Ipp8u* planes[] = {&out[0], &out[3], &out[6], &out[9]};
  EXPECT_EQ(ippiCopy_8u_C4P4R(pixels.data(), 12, planes, 3, {3, 1}), 0);
  EXPECT_EQ(out, (Bytes{1, 5, 9, 2, 6, 10, 3, 7, 11, 4, 8, 12}));
  const Ipp8u* sources[] = {planes[0], planes[1], planes[2], planes[3]};
  Bytes back(12);
  EXPECT_EQ(ippiCopy_8u_P4C4R(sources, 3, back.data(), 12, {3, 1}), 0);
  EXPECT_EQ(back, pixels);

  out.assign(16, 99);
  Ipp8u* apart[] = {&out[0], &out[4], &out[8]};
  EXPECT_EQ(ippiCopy_8u_C3P3R(pixels.data(), 6, apart, 2, {2, 2}), 0);
  EXPECT_EQ(out, (Bytes{1, 4, 7, 10, 2, 5, 8, 11, 3, 6, 9, 12, 99, 99, 99, 99}));
  const Ipp8u* fromApart[] = {apart[0], apart[1], apart[2]};
  back.assign(12, 0);
  EXPECT_EQ(ippiCopy_8u_P3C3R(fromApart, 2, back.data(), 6, {2, 2}), 0);
  EXPECT_EQ(back, pixels);
}

TEST(Movers, AlphaIsDroppedOrLeftAlone) {
  const Bytes rgba = {1, 2, 3, 4, 5, 6, 7, 8};
  Bytes rgb(7, 99);
  EXPECT_EQ(ippiCopy_8u_AC4C3R(rgba.data(), 8, rgb.data(), 6, {2, 1}), 0);
  EXPECT_EQ(rgb, (Bytes{1, 2, 3, 5, 6, 7, 99}));
  Bytes out(8, 99);
  EXPECT_EQ(ippiCopy_8u_C3AC4R(rgb.data(), 6, out.data(), 8, {2, 1}), 0);
  EXPECT_EQ(out, (Bytes{1, 2, 3, 99, 5, 6, 7, 99}));
}

// Copies take any step: a negative one turns the picture over, packed rows go as one.
TEST(Movers, CopySteps) {
  const Bytes rows = {1, 2, 3, 4, 5, 6};
  Bytes out(6);
  EXPECT_EQ(ippiCopy_8u_C1R(&rows[4], -2, out.data(), 2, {2, 3}), 0);
  EXPECT_EQ(out, (Bytes{5, 6, 3, 4, 1, 2}));
  EXPECT_EQ(ippiCopy_8u_C1R(rows.data(), 2, out.data(), 2, {2, 3}), 0);
  EXPECT_EQ(out, rows);
  EXPECT_EQ(ippiCopy_8u_C1R(rows.data(), 0, out.data(), 3, {2, 2}), 0);
  EXPECT_EQ(out, (Bytes{1, 2, 3, 1, 2, 6}));
}

TEST(Movers, Conversions) {
  const Words values = {-1, 256, 0, 255, -32768, 32767, 128};
  Bytes narrow(7);
  EXPECT_EQ(ippiConvert_16s8u_C1R(values.data(), 14, narrow.data(), 7, {7, 1}), 0);
  EXPECT_EQ(narrow, (Bytes{0, 255, 0, 255, 0, 255, 128}));
  Words wide(7);
  EXPECT_EQ(ippiConvert_8u16s_C1R(narrow.data(), 7, wide.data(), 14, {7, 1}), 0);
  EXPECT_EQ(wide, (Words{0, 255, 0, 255, 0, 255, 128}));
}

TEST(Movers, Shifts) {
  const auto right = [](Ipp16s value, int shift) {
    EXPECT_EQ(ippsRShiftC_16s(&value, shift, &value, 1), 0);
    return value;
  };
  const auto left = [](Ipp16s value, int shift) {
    EXPECT_EQ(ippsLShiftC_16s(&value, shift, &value, 1), 0);
    return value;
  };
  EXPECT_EQ(right(-1, 3), -1);
  EXPECT_EQ(right(-9, 1), -5);
  EXPECT_EQ(right(5, 16), 0);
  EXPECT_EQ(right(-5, 1000), -1);
  EXPECT_EQ(right(77, 0), 77);
  EXPECT_EQ(left(1, 15), -32768);
  EXPECT_EQ(left(1, 16), 0);
  EXPECT_EQ(left(0x1234, 8), 0x3400);
  EXPECT_EQ(left(-3, 0), -3);
}

TEST(Movers, ReversedDivision) {
  for (int element = 1; element <= 255; ++element) {
    Ipp16u value = static_cast<Ipp16u>(element);
    EXPECT_EQ(ref_ippsDivCRev_16u_I(32768, &value, 1), 0);
    EXPECT_EQ(value, (2 * 32768 + element) / (2 * element));
  }
  const Ipp16u elements[] = {2, 4, 0, 65535};
  Ipp16u out[4];
  EXPECT_EQ(ref_ippsDivCRev_16u(elements, 10, out, 4), ippStsDivByZero);
  EXPECT_EQ((std::vector<Ipp16u>{out, out + 4}), (std::vector<Ipp16u>{5, 2, 65535, 0}));
  EXPECT_EQ(ref_ippsDivCRev_16u(elements, 14, out, 2), 0);
  EXPECT_EQ(out[1], 4) << "3.5 goes to the even neighbour";
  EXPECT_EQ(ref_ippsDivCRev_16u(elements, 0, out, 4), ippStsDivByZero);
  EXPECT_EQ((std::vector<Ipp16u>{out, out + 4}), (std::vector<Ipp16u>{0, 0, 0, 0}));
  EXPECT_EQ(ref_ippsDivCRev_16u(elements, 0, out, 2), 0);
}

TEST(Movers, ChecksInOrder) {
  Bytes data(64, 9), out(64, 9);
  Words words(8, 9);
  Ipp8u* planes[] = {&out[0], &out[16], &out[32], nullptr};
  const Ipp8u* sources[] = {&data[0], &data[16], &data[32], nullptr};
  for (const Rows f : {ippiCopy_8u_C1R, ippiCopy_8u_AC4C3R, ippiCopy_8u_C3AC4R}) {
    EXPECT_EQ(f(nullptr, 8, out.data(), 8, {0, 1}), ippStsNullPtrErr);
    EXPECT_EQ(f(data.data(), 8, nullptr, 8, {0, 1}), ippStsNullPtrErr);
    EXPECT_EQ(f(data.data(), 0, out.data(), 0, {0, 1}), ippStsSizeErr);
    EXPECT_EQ(f(data.data(), 0, out.data(), 0, {1, -1}), ippStsSizeErr);
  }
  EXPECT_EQ(ippiCopy_8u_C3P3R(data.data(), 8, planes, 8, {0, 1}), ippStsSizeErr);
  EXPECT_EQ(ippiCopy_8u_C4P4R(data.data(), 8, planes, 8, {0, 1}), ippStsNullPtrErr);
  EXPECT_EQ(ippiCopy_8u_P3C3R(sources, 8, out.data(), 8, {0, 1}), ippStsSizeErr);
  EXPECT_EQ(ippiCopy_8u_P4C4R(sources, 8, out.data(), 8, {0, 1}), ippStsNullPtrErr);
  EXPECT_EQ(ippiConvert_8u16s_C1R(data.data(), 0, nullptr, 0, {0, 0}), ippStsNullPtrErr);
  EXPECT_EQ(ippiConvert_8u16s_C1R(data.data(), 0, words.data(), 0, {0, 1}), ippStsSizeErr);
  EXPECT_EQ(ippiConvert_8u16s_C1R(data.data(), 0, words.data(), 2, {1, 1}), ippStsStepErr);
  EXPECT_EQ(ippiConvert_16s8u_C1R(words.data(), 2, out.data(), 0, {1, 1}), ippStsStepErr);
  EXPECT_EQ(ippsCopy_8u(nullptr, out.data(), 0), ippStsNullPtrErr);
  EXPECT_EQ(ippsCopy_8u(data.data(), out.data(), 0), ippStsSizeErr);
  EXPECT_EQ(ippsZero_8u(nullptr, 0), ippStsNullPtrErr);
  EXPECT_EQ(ippsZero_8u(out.data(), -1), ippStsSizeErr);
  EXPECT_EQ(ippsLShiftC_16s(nullptr, -1, words.data(), 0), ippStsNullPtrErr);
  EXPECT_EQ(ippsLShiftC_16s(words.data(), -1, words.data(), 0), ippStsSizeErr);
  EXPECT_EQ(ippsLShiftC_16s(words.data(), -1, words.data(), 1), ippStsShiftErr);
  EXPECT_EQ(ippsRShiftC_16s(words.data(), -1, words.data(), 1), ippStsShiftErr);
  EXPECT_EQ(ippsRShiftC_16s(words.data(), 0, nullptr, 1), ippStsNullPtrErr);
  EXPECT_EQ(out, Bytes(64, 9));
  EXPECT_EQ(words, Words(8, 9));
}

TEST(Lossless, WorkedRows) {
  const Words first = {100, 110, 90, 90};
  Words out(4);
  EXPECT_EQ(ippiDiffPredFirstRow_JPEG_16s_C1(first.data(), out.data(), 4, 8, 0), 0);
  EXPECT_EQ(out, (Words{-28, 10, -20, 0}));
  EXPECT_EQ(ippiDiffPredFirstRow_JPEG_16s_C1(first.data(), out.data(), 1, 8, 2), 0);
  EXPECT_EQ(out[0], 100 - 32);

  // By predictor, on the sample with left 40, above 61, above left 30.
  const Words row = {40, 100}, above = {30, 61};
  const int predictions[] = {40, 61, 30, 71, 55, 66, 50};
  for (int predictor = 1; predictor <= 7; ++predictor) {
    Words differences(2);
    EXPECT_EQ(
        ippiDiffPredRow_JPEG_16s_C1(row.data(), above.data(), differences.data(), 2, predictor), 0);
    EXPECT_EQ(differences, (Words{10, static_cast<Ipp16s>(100 - predictions[predictor - 1])}));
  }
  const Words top = {32767, 32767};
  Words big = {32767, 0};
  EXPECT_EQ(ippiDiffPredRow_JPEG_16s_C1(big.data(), top.data(), out.data(), 2, 7), 0);
  EXPECT_EQ(out[1], -32767);
}

TEST(Lossless, ReconstructsWhatWasPredicted) {
  Random random(9);
  Words row(67), above(67), differences(67);
  for (int trial = 0; trial < 200; ++trial) {
    for (Ipp16s& sample : row) sample = static_cast<Ipp16s>(random());
    for (Ipp16s& sample : above) sample = static_cast<Ipp16s>(random());
    const int width = 1 + trial % 67;
    Words expected = row;
    expected.resize(static_cast<size_t>(width));
    const int predictor = trial % 8;
    differences.resize(static_cast<size_t>(width));
    if (predictor == 0) {
      EXPECT_EQ(ippiDiffPredFirstRow_JPEG_16s_C1(row.data(), differences.data(), width, 16, 1), 0);
      EXPECT_EQ(ippiReconstructPredFirstRow_JPEG_16s_C1(differences.data(), differences.data(),
                                                        width, 16, 1),
                0);
    } else {
      EXPECT_EQ(ippiDiffPredRow_JPEG_16s_C1(row.data(), above.data(), differences.data(), width,
                                            predictor),
                0);
      EXPECT_EQ(ippiReconstructPredRow_JPEG_16s_C1(differences.data(), above.data(),
                                                   differences.data(), width, predictor),
                0);
    }
    ASSERT_EQ(differences, expected) << predictor;
  }
}

TEST(Lossless, ChecksInOrder) {
  Words a(4, 9), out(4, 9);
  for (auto f : {ippiDiffPredFirstRow_JPEG_16s_C1, ippiReconstructPredFirstRow_JPEG_16s_C1}) {
    EXPECT_EQ(f(nullptr, out.data(), 0, 1, -1), ippStsNullPtrErr);
    EXPECT_EQ(f(a.data(), nullptr, 0, 1, -1), ippStsNullPtrErr);
    EXPECT_EQ(f(a.data(), out.data(), 0, 1, -1), ippStsSizeErr);
    EXPECT_EQ(f(a.data(), out.data(), 1, 1, 0), ippStsBadArgErr);
    EXPECT_EQ(f(a.data(), out.data(), 1, 17, 0), ippStsBadArgErr);
    EXPECT_EQ(f(a.data(), out.data(), 1, 8, -1), ippStsBadArgErr);
  }
  for (auto f : {ippiDiffPredRow_JPEG_16s_C1, ippiReconstructPredRow_JPEG_16s_C1}) {
    EXPECT_EQ(f(a.data(), nullptr, out.data(), 0, 0), ippStsNullPtrErr);
    EXPECT_EQ(f(a.data(), a.data(), out.data(), 0, 0), ippStsSizeErr);
    EXPECT_EQ(f(a.data(), a.data(), out.data(), 1, 0), ippStsBadArgErr);
    EXPECT_EQ(f(a.data(), a.data(), out.data(), 1, 8), ippStsBadArgErr);
  }
  EXPECT_EQ(out, Words(4, 9));
}

}  // namespace
