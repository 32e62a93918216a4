// No form of an image primitive reads or writes a byte outside of its rows: sources and
// destinations of the exact size lie beside pages that cannot be touched.
#include <gtest/gtest.h>

#include "qrx/primitives.h"
#include "tests/forms/fenced.h"
#include "tests/forms/slots.h"

namespace {

size_t area(int width, int height, int bytes) {
  return static_cast<size_t>(width) * static_cast<size_t>(height) * static_cast<size_t>(bytes);
}

// Calls run(form, size, fence) for every form that runs here, with widths below and above those
// of vectors.
template <typename Function, typename Run>
void forAll(const Function (&table)[7], Run run) {
  for (const Slot& slot : runnableSlots()) {
    for (const Fence fence : {Fence::kBefore, Fence::kAfter}) {
      for (int width = 1; width <= 100; ++width) {
        EXPECT_EQ(run(table[slot.index], IppiSize{width, 2}, fence), ippStsNoErr);
      }
    }
  }
}

using Rows = IppStatus (*)(const Ipp8u*, int, Ipp8u*, int, IppiSize);
void checkRows(const Rows (&table)[7], int from, int to) {
  forAll(table, [=](Rows form, IppiSize size, Fence fence) {
    FencedBytes source(area(size.width, 2, from), fence);
    FencedBytes target(area(size.width, 2, to), fence);
    return form(source.data(), from * size.width, target.data(), to * size.width, size);
  });
}

using Split = IppStatus (*)(const Ipp8u*, int, Ipp8u**, int, IppiSize);
void checkSplit(const Split (&table)[7], int channels) {
  forAll(table, [=](Split form, IppiSize size, Fence fence) {
    const size_t plane = area(size.width, 2, 1);
    FencedBytes source(area(size.width, 2, channels), fence);
    FencedBytes targets[] = {{plane, fence}, {plane, fence}, {plane, fence}, {plane, fence}};
    Ipp8u* planes[] = {targets[0].data(), targets[1].data(), targets[2].data(), targets[3].data()};
    return form(source.data(), channels * size.width, planes, size.width, size);
  });
}

using Join = IppStatus (*)(const Ipp8u**, int, Ipp8u*, int, IppiSize);
void checkJoin(const Join (&table)[7], int channels) {
  forAll(table, [=](Join form, IppiSize size, Fence fence) {
    const size_t plane = area(size.width, 2, 1);
    FencedBytes sources[] = {{plane, fence}, {plane, fence}, {plane, fence}, {plane, fence}};
    FencedBytes target(area(size.width, 2, channels), fence);
    const Ipp8u* planes[] = {sources[0].data(), sources[1].data(), sources[2].data(),
                             sources[3].data()};
    return form(planes, size.width, target.data(), channels * size.width, size);
  });
}

using Sampling = IppStatus (*)(const Ipp8u*, int, IppiSize, Ipp8u*, int, IppiSize);
void checkDown(const Sampling (&table)[7], int factor) {
  forAll(table, [=](Sampling form, IppiSize size, Fence fence) {
    const int width = 2 * size.width;
    FencedBytes source(area(width, 2 * factor, 1), fence);
    FencedBytes target(area(size.width, 2, 1), fence);
    return form(source.data(), width, {1, 1}, target.data(), size.width, size);
  });
}

// Up-sampling reads a column on either side, and the rows of `margin` above and below.
void checkUp(const Sampling (&table)[7], int rows, int margin) {
  forAll(table, [=](Sampling form, IppiSize size, Fence fence) {
    const int width = size.width / 2 + 2;
    FencedBytes source(area(width, rows + 2 * margin, 1), fence);
    FencedBytes target(area(size.width, 2, 1), fence);
    return form(source.data() + margin * width + 1, width, {1, 1}, target.data(), size.width, size);
  });
}

TEST(Bounds, Colour) {
  checkSplit(ippiRGBToYCbCr_JPEG_8u_C3P3R_arraddr, 3);
  checkSplit(ippiBGRToYCbCr_JPEG_8u_C3P3R_arraddr, 3);
  checkSplit(ippiCMYKToYCCK_JPEG_8u_C4P4R_arraddr, 4);
  checkRows(ippiRGBToY_JPEG_8u_C3C1R_arraddr, 3, 1);
  checkJoin(ippiYCbCrToRGB_JPEG_8u_P3C3R_arraddr, 3);
  checkJoin(ippiYCbCrToBGR_JPEG_8u_P3C3R_arraddr, 3);
  checkJoin(ippiYCCKToCMYK_JPEG_8u_P4C4R_arraddr, 4);
}

TEST(Bounds, Movers) {
  checkRows(ippiCopy_8u_C1R_arraddr, 1, 1);
  checkRows(ippiCopy_8u_AC4C3R_arraddr, 4, 3);
  checkRows(ippiCopy_8u_C3AC4R_arraddr, 3, 4);
  checkSplit(ippiCopy_8u_C3P3R_arraddr, 3);
  checkSplit(ippiCopy_8u_C4P4R_arraddr, 4);
  checkJoin(ippiCopy_8u_P3C3R_arraddr, 3);
  checkJoin(ippiCopy_8u_P4C4R_arraddr, 4);
}

TEST(Bounds, Sampling) {
  checkDown(ippiSampleDownH2V1_JPEG_8u_C1R_arraddr, 1);
  checkDown(ippiSampleDownH2V2_JPEG_8u_C1R_arraddr, 2);
  checkUp(ippiSampleUpH2V1_JPEG_8u_C1R_arraddr, 2, 0);
  checkUp(ippiSampleUpH2V2_JPEG_8u_C1R_arraddr, 1, 1);
}

}  // namespace
