// Colour conversion: worked values, the rules about a pixel's place in its row, checks.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "qrx/primitives.h"

namespace {

using Bytes = std::vector<Ipp8u>;
using Pixel = std::array<int, 3>;
using Split = IppStatus (*)(const Ipp8u*, int, Ipp8u**, int, IppiSize);
using Join = IppStatus (*)(const Ipp8u**, int, Ipp8u*, int, IppiSize);

// A row of `width` equal pixels, converted; the pixel at `place` comes back.
Pixel splitAt(Split convert, const Bytes& pixel, int width, int place) {
  Bytes row;
  for (int i = 0; i < width; ++i) row.insert(row.end(), pixel.begin(), pixel.end());
  const auto size = static_cast<size_t>(width);
  Bytes planes[4] = {Bytes(size), Bytes(size), Bytes(size), Bytes(size)};
  Ipp8u* pointers[] = {planes[0].data(), planes[1].data(), planes[2].data(), planes[3].data()};
  EXPECT_EQ(convert(row.data(), static_cast<int>(row.size()), pointers, width, {width, 1}), 0);
  return {pointers[0][place], pointers[1][place], pointers[2][place]};
}

Pixel joinAt(Join convert, const Pixel& pixel, int width, int place, int channels) {
  Bytes planes[4];
  const Ipp8u* pointers[4];
  for (size_t p = 0; p < 4; ++p) {
    planes[p].assign(static_cast<size_t>(width), static_cast<Ipp8u>(p < 3 ? pixel[p] : 77));
    pointers[p] = planes[p].data();
  }
  Bytes row(static_cast<size_t>(width * channels));
  EXPECT_EQ(convert(pointers, width, row.data(), width * channels, {width, 1}), 0);
  const Ipp8u* at = row.data() + place * channels;
  if (channels == 4) {
    EXPECT_EQ(at[3], 77);
  }
  return {at[0], at[1], at[2]};
}

struct Worked {
  Bytes from;
  int width;
  int place;
  Pixel to;
};

TEST(Colour, ForwardWorkedValues) {
  const Worked cases[] = {
      {{0, 0, 0}, 9, 0, {0, 128, 128}},         {{0, 0, 0}, 9, 8, {0, 128, 128}},
      {{255, 255, 255}, 9, 0, {255, 128, 128}}, {{255, 255, 255}, 9, 8, {255, 128, 128}},
      {{255, 0, 0}, 9, 0, {76, 85, 255}},       {{255, 0, 0}, 9, 8, {76, 85, 255}},
  };
  for (const Worked& c : cases) {
    EXPECT_EQ(splitAt(ippiRGBToYCbCr_JPEG_8u_C3P3R, c.from, c.width, c.place), c.to);
    const Bytes mirrored(c.from.rbegin(), c.from.rend());
    EXPECT_EQ(splitAt(ippiBGRToYCbCr_JPEG_8u_C3P3R, mirrored, c.width, c.place), c.to);
  }
}

// (51, 214, 142) has Cb 120 in whole blocks of eight and Cb 119 in what is left over.
TEST(Colour, ForwardRoundingDependsOnThePlaceInTheRow) {
  for (int width = 1; width <= 33; ++width) {
    for (int place = 0; place < width; ++place) {
      const int expected = place < width / 8 * 8 ? 120 : 119;
      EXPECT_EQ(splitAt(ippiRGBToYCbCr_JPEG_8u_C3P3R, {51, 214, 142}, width, place)[1], expected);
      EXPECT_EQ(splitAt(ippiBGRToYCbCr_JPEG_8u_C3P3R, {142, 214, 51}, width, place)[1], expected);
      // CMYK has the rounding of the rest everywhere.
      EXPECT_EQ(splitAt(ippiCMYKToYCCK_JPEG_8u_C4P4R, {204, 41, 113, 9}, width, place)[1], 119);
    }
  }
}

TEST(Colour, InverseWorkedValues) {
  const Worked cases[] = {
      {{128, 128, 128}, 5, 0, {128, 128, 128}}, {{128, 128, 128}, 5, 4, {128, 128, 128}},
      {{0, 128, 128}, 5, 0, {0, 0, 0}},         {{0, 128, 128}, 5, 4, {0, 0, 0}},
      {{255, 128, 128}, 5, 0, {255, 255, 255}}, {{255, 128, 128}, 5, 4, {255, 255, 255}},
      {{0, 0, 0}, 5, 0, {0, 135, 0}},           {{255, 255, 255}, 5, 4, {255, 121, 255}},
  };
  for (const Worked& c : cases) {
    const Pixel from = {c.from[0], c.from[1], c.from[2]};
    EXPECT_EQ(joinAt(ippiYCbCrToRGB_JPEG_8u_P3C3R, from, c.width, c.place, 3), c.to);
    const Pixel mirrored = {c.to[2], c.to[1], c.to[0]};
    EXPECT_EQ(joinAt(ippiYCbCrToBGR_JPEG_8u_P3C3R, from, c.width, c.place, 3), mirrored);
  }
}

// (105, 66, 223) has G 59 in whole blocks of four and G 58 in what is left over.
TEST(Colour, InverseRoundingDependsOnThePlaceInTheRow) {
  for (int width = 1; width <= 17; ++width) {
    for (int place = 0; place < width; ++place) {
      const int expected = place < width / 4 * 4 ? 59 : 58;
      const Pixel from = {105, 66, 223};
      EXPECT_EQ(joinAt(ippiYCbCrToRGB_JPEG_8u_P3C3R, from, width, place, 3)[1], expected);
      EXPECT_EQ(joinAt(ippiYCbCrToBGR_JPEG_8u_P3C3R, from, width, place, 3)[1], expected);
      EXPECT_EQ(joinAt(ippiYCCKToCMYK_JPEG_8u_P4C4R, {128, 128, 128}, width, place, 4),
                (Pixel{127, 127, 127}));
    }
  }
}

// The equations of JFIF in floating point, within one step, over a lattice of the cube.
TEST(Colour, FollowsTheEquationsOfJfif) {
  const auto near = [](int actual, double exact) {
    return std::abs(actual - std::fmin(255, std::fmax(0, exact))) <= 1.0;
  };
  for (int place : {0, 8}) {
    for (int i = 0; i < 18 * 18 * 18; ++i) {
      const int r = i % 18 * 15, g = i / 18 % 18 * 15, b = i / 324 * 15;
      const Bytes rgb = {static_cast<Ipp8u>(r), static_cast<Ipp8u>(g), static_cast<Ipp8u>(b)};
      const Pixel ycc = splitAt(ippiRGBToYCbCr_JPEG_8u_C3P3R, rgb, 9, place);
      ASSERT_TRUE(near(ycc[0], 0.299 * r + 0.587 * g + 0.114 * b)) << r << " " << g << " " << b;
      ASSERT_TRUE(near(ycc[1], -0.168736 * r - 0.331264 * g + 0.5 * b + 128));
      ASSERT_TRUE(near(ycc[2], 0.5 * r - 0.418688 * g - 0.081312 * b + 128));

      const int y = r, cb = g, cr = b;
      const Pixel back = joinAt(ippiYCbCrToRGB_JPEG_8u_P3C3R, {y, cb, cr}, 9, place, 3);
      ASSERT_TRUE(near(back[0], y + 1.402 * (cr - 128)));
      ASSERT_TRUE(near(back[1], y - 0.344136 * (cb - 128) - 0.714136 * (cr - 128)));
      ASSERT_TRUE(near(back[2], y + 1.772 * (cb - 128)));

      const Pixel cmy = joinAt(ippiYCCKToCMYK_JPEG_8u_P4C4R, {y, cb, cr}, 9, place, 4);
      ASSERT_TRUE(near(255 - cmy[0], y + 1.402 * (cr - 128)));
      ASSERT_TRUE(near(255 - cmy[1], y - 0.344136 * (cb - 128) - 0.714136 * (cr - 128)));
      ASSERT_TRUE(near(255 - cmy[2], y + 1.772 * (cb - 128)));
    }
  }
}

TEST(Colour, LumaAloneHasTheRoundingOfBlocks) {
  for (int i = 0; i < 4096; ++i) {
    const Bytes pixel = {static_cast<Ipp8u>(i % 16 * 17), static_cast<Ipp8u>(i / 16 % 16 * 17),
                         static_cast<Ipp8u>(i / 256 * 17)};
    Bytes row;
    for (int k = 0; k < 11; ++k) row.insert(row.end(), pixel.begin(), pixel.end());
    Bytes luma(11);
    EXPECT_EQ(ippiRGBToY_JPEG_8u_C3C1R(row.data(), 33, luma.data(), 11, {11, 1}), 0);
    const int inBlock = splitAt(ippiRGBToYCbCr_JPEG_8u_C3P3R, pixel, 8, 0)[0];
    ASSERT_EQ(luma, Bytes(11, static_cast<Ipp8u>(inBlock)));
  }
}

TEST(Colour, CmykWhiteAndBlack) {
  EXPECT_EQ(splitAt(ippiCMYKToYCCK_JPEG_8u_C4P4R, {0, 0, 0, 40}, 9, 3), (Pixel{255, 128, 128}));
  Bytes source = {0, 0, 0, 41};
  Bytes planes(4);
  Ipp8u* pointers[] = {&planes[0], &planes[1], &planes[2], &planes[3]};
  EXPECT_EQ(ippiCMYKToYCCK_JPEG_8u_C4P4R(source.data(), 4, pointers, 1, {1, 1}), 0);
  EXPECT_EQ(planes[3], 41);
}

// Each row of the checks: null first, planes included, then steps, then size.
TEST(Colour, ChecksInOrder) {
  Bytes data(64, 9), out(64, 9);
  Ipp8u* planes[] = {&out[0], &out[16], &out[32], &out[48]};
  const Ipp8u* sources[] = {&data[0], &data[16], &data[32], &data[48]};
  const Split splits[] = {ippiRGBToYCbCr_JPEG_8u_C3P3R, ippiBGRToYCbCr_JPEG_8u_C3P3R,
                          ippiCMYKToYCCK_JPEG_8u_C4P4R};
  for (const Split f : splits) {
    EXPECT_EQ(f(nullptr, 0, planes, 0, {0, 0}), ippStsNullPtrErr);
    EXPECT_EQ(f(data.data(), 0, nullptr, 0, {0, 0}), ippStsNullPtrErr);
    for (Ipp8u*& plane : planes) {
      Ipp8u* const kept = plane;
      plane = nullptr;
      const bool counts = &plane != &planes[3] || f == splits[2];
      EXPECT_EQ(f(data.data(), 0, planes, 0, {0, 0}), counts ? ippStsNullPtrErr : ippStsStepErr);
      plane = kept;
    }
    EXPECT_EQ(f(data.data(), 0, planes, 8, {0, 1}), ippStsStepErr);
    EXPECT_EQ(f(data.data(), 8, planes, -8, {1, 1}), ippStsStepErr);
    EXPECT_EQ(f(data.data(), 8, planes, 8, {0, 1}), ippStsSizeErr);
    EXPECT_EQ(f(data.data(), 8, planes, 8, {1, -1}), ippStsSizeErr);
  }
  const Join joins[] = {ippiYCbCrToRGB_JPEG_8u_P3C3R, ippiYCbCrToBGR_JPEG_8u_P3C3R,
                        ippiYCCKToCMYK_JPEG_8u_P4C4R};
  for (const Join f : joins) {
    EXPECT_EQ(f(nullptr, 0, out.data(), 0, {0, 0}), ippStsNullPtrErr);
    EXPECT_EQ(f(sources, 0, nullptr, 0, {0, 0}), ippStsNullPtrErr);
    for (const Ipp8u*& plane : sources) {
      const Ipp8u* const kept = plane;
      plane = nullptr;
      const bool counts = &plane != &sources[3] || f == joins[2];
      EXPECT_EQ(f(sources, 0, out.data(), 0, {0, 0}), counts ? ippStsNullPtrErr : ippStsStepErr);
      plane = kept;
    }
    EXPECT_EQ(f(sources, 0, out.data(), 8, {1, 1}), ippStsStepErr);
    EXPECT_EQ(f(sources, 8, out.data(), 0, {0, 1}), ippStsStepErr);
    EXPECT_EQ(f(sources, 8, out.data(), 8, {1, 0}), ippStsSizeErr);
  }
  EXPECT_EQ(ippiRGBToY_JPEG_8u_C3C1R(nullptr, 0, out.data(), 0, {0, 0}), ippStsNullPtrErr);
  EXPECT_EQ(ippiRGBToY_JPEG_8u_C3C1R(data.data(), 3, out.data(), 0, {0, 0}), ippStsStepErr);
  EXPECT_EQ(ippiRGBToY_JPEG_8u_C3C1R(data.data(), 3, out.data(), 1, {0, 1}), ippStsSizeErr);
  EXPECT_EQ(out, Bytes(64, 9));
}

}  // namespace
