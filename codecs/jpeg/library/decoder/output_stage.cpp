// The output stages: reduced components are enlarged, then colours are converted into the
// destination; for one row of MCUs, or for a whole progressive image.
#include "codecs/jpeg/library/decoder/output_stage.h"

#include <algorithm>
#include <climits>
#include <cstddef>

#include "codecs/jpeg/library/decoder/decoder_room.h"
#include "codecs/jpeg/library/decoder/sample_planes.h"
#include "codecs/jpeg/library/result.h"

namespace qrx::jpeg {
namespace {

// What is enlarged at once.
struct Extent {
  int lines;      // of full resolution
  int step;       // bytes from line to line of a reduced plane
  IppiSize area;  // of the full-size planes, that is filled
  int slot;       // how many of such extents stand in front of it in the planes
  bool goesOn;    // above it stands the line that row_buffer kept
  bool keeps;     // keeps its own last line there
};

// Repeats the first and the last of `samples` samples in the guards at both ends of each line;
// `line` is the first line's left guard.
void setSideGuards(Ipp8u* line, int lines, int step, int samples) {
  for (int i = 0; i < lines; ++i, line += step) {
    line[0] = line[1];
    line[samples + 1] = line[samples];
  }
}

// The reduced lines and a guard line on either side. Below, where the next row is not decoded yet
// or the image ends, the last line is repeated.
void setLineGuards(const CJPEGColorComponent& c, const Extent& extent, Ipp8u* plane, int lines) {
  const int step = extent.step;
  Ipp8u* const first = plane + step;
  Ipp8u* const last = plane + std::ptrdiff_t{step} * lines;
  ippsCopy_8u(extent.goesOn ? c.row_buffer : first, plane, step);
  if (extent.keeps) ippsCopy_8u(last, c.row_buffer, step);
  ippsCopy_8u(last, last + step, step);
}

// Brings a component to full size in its cc_buffer.
int enlarge(const CJPEGDecoder& d, const CJPEGColorComponent& c, const Extent& extent) {
  const int stride = d.strip_stride, samples = stride / 2, step = extent.step;
  Ipp8u* const target = c.cc_buffer + std::ptrdiff_t{extent.slot} * stride * d.mcu_height;
  if (c.h_factor == 1) {
    // Of a row of MCUs it stands there already.
    if (c.ss_buffer != nullptr) {
      ippiCopy_8u_C1R(c.ss_buffer, stride, target, stride, extent.area);
    }
    return JPEG_NO_ERROR;
  }
  const std::ptrdiff_t before =
      std::ptrdiff_t{extent.slot} * d.mcus_across * (d.mcu_width / 2 + 2);  // lines of it
  if (c.v_factor == 1) {
    Ipp8u* const plane = c.ss_buffer + before * extent.lines;
    setSideGuards(plane, extent.lines, step, samples);
    return resultOf(ippiSampleUpH2V1_JPEG_8u_C1R(plane + 1, step, {samples, extent.lines}, target,
                                                 stride, extent.area));
  }
  const int lines = extent.lines / 2;
  Ipp8u* const plane = c.ss_buffer + before * (lines + 2);
  setSideGuards(plane + step, lines, step, samples);
  setLineGuards(c, extent, plane, lines);
  return resultOf(ippiSampleUpH2V2_JPEG_8u_C1R(plane + step + 1, step, {samples, lines}, target,
                                               stride, extent.area));
}

int enlargeAll(const CJPEGDecoder& d, const Extent& extent) {
  for (int i = 0; i < d.component_count; ++i) QRX_TRY(enlarge(d, *d.components[i], extent));
  return JPEG_NO_ERROR;
}

// Channels of a pixel in the destination's colour.
int destinationChannels(const CJPEGDecoder& d) {
  switch (d.dest_color) {
    case JPEG_COLOR_GRAY: return 1;
    case JPEG_COLOR_CMYK: return 4;
    case JPEG_COLOR_NONE: return d.component_count;
    default: return 3;
  }
}

bool hasWideStep(const CJPEGDecoder& d) {
  const DecoderRoom* const room = DecoderRoom::existing(d);
  return room != nullptr && (room->wideStep != 0 || room->window);
}

// The destination's lines from `top` on.
Target linesTarget(const CJPEGDecoder& d, int top, IppiSize area) {
  const DecoderRoom* const room = DecoderRoom::existing(d);
  const int bytes = room != nullptr && room->fourBytes ? 4 : destinationChannels(d);
  const std::ptrdiff_t step = room != nullptr && room->wideStep != 0 ? room->wideStep : d.dest_step;
  return {d.dest_data + step * top, step, bytes, area};
}

// A packet's own pixels in its rectangle: of the lines from `top` on those that lie wholly in it.
Target windowTarget(const CJPEGDecoder& d, const PacketWindow& window, int row, int lines,
                    const RowSpan& span) {
  const int bytes = linesTarget(d, 0, {}).bytesPerPixel;
  const int top = row * d.mcu_height, left = row == 0 ? window.left : 0;
  const int columns = std::min(span.mcus * d.mcu_width, window.width - left);
  const std::int64_t room = window.count - (left + columns);
  const std::int64_t bottom = room < 0 ? 0 : room / window.width + 1;
  const auto inside = static_cast<int>(std::clamp<std::int64_t>(bottom - top, 0, lines));
  const std::ptrdiff_t step = window.step != 0 ? window.step : std::ptrdiff_t{window.width} * bytes;
  return {
      window.pixels + top * step + std::ptrdiff_t{left} * bytes, step, bytes, {columns, inside}};
}

// Lines of row `row` that the destination takes.
int linesOf(const CJPEGDecoder& d, int row) {
  return std::min(d.strip_rows, d.dest_height - row * d.mcu_height);
}

// Whether a primitive takes the step between lines.
bool isPrimitiveStep(std::ptrdiff_t step) { return step >= 1 && step <= INT_MAX; }

// Does a piece of work for a target line by line, with a step that a primitive takes.
template <typename Work>
int lineByLine(const Target& target, const Work& work) {
  Target line = target;
  line.area.height = 1;
  line.step = std::ptrdiff_t{target.bytesPerPixel} * target.area.width;
  for (int i = 0; i < target.area.height; ++i, line.pixels += target.step) QRX_TRY(work(line, i));
  return JPEG_NO_ERROR;
}

// Copies the first pixels of lines of three bytes to their places.
int copyPixels(const Ipp8u* from, int step, const Target& to) {
  if (!isPrimitiveStep(to.step)) {
    return lineByLine(to, [&](const Target& line, int i) {
      return copyPixels(from + std::ptrdiff_t{step} * i, step, line);
    });
  }
  const int toStep = static_cast<int>(to.step);
  const IppiSize area = to.area;
  return resultOf(to.bytesPerPixel == 4
                      ? ippiCopy_8u_C3AC4R(from, step, to.pixels, toStep, area)
                      : ippiCopy_8u_C1R(from, step, to.pixels, toStep,
                                        {to.bytesPerPixel * area.width, area.height}));
}

// Converts `width` pixels of each line and gives the target what it takes of them, a strip at a
// time.
int convertByStrips(CJPEGDecoder& d, std::ptrdiff_t offset, Target target, int width) {
  const int step = destinationChannels(d) * width, lines = d.mcu_height;
  DecoderRoom& room = *DecoderRoom::of(d);
  if (!fitBuffer(&room.pixels, &room.pixelsSize, std::int64_t{step} * lines)) {
    return JPEG_OUT_OF_MEMORY;
  }
  const int bottom = target.area.height;
  for (int top = 0; top < bottom; top += lines, target.pixels += target.step * lines) {
    const Ipp8u* planes[4] = {};
    for (int i = 0; i < d.component_count; ++i) {
      planes[i] = d.components[i]->cc_buffer + offset + std::ptrdiff_t{top} * d.strip_stride;
    }
    target.area.height = std::min(lines, bottom - top);
    QRX_TRY(interleave(d, planes, room.pixels.get(), step, {width, target.area.height}));
    QRX_TRY(copyPixels(room.pixels.get(), step, target));
  }
  return JPEG_NO_ERROR;
}

// Converts the planes from byte `offset` of each on, in lines of `width` pixels.
int convert(CJPEGDecoder& d, std::ptrdiff_t offset, const Target& target, int width) {
  if (target.bytesPerPixel != destinationChannels(d) || target.area.width != width) {
    return target.area.width <= 0 ? JPEG_NO_ERROR : convertByStrips(d, offset, target, width);
  }
  if (!isPrimitiveStep(target.step) && hasWideStep(d)) {
    return lineByLine(target, [&](const Target& line, int i) {
      return convert(d, offset + std::ptrdiff_t{d.strip_stride} * i, line, width);
    });
  }
  const Ipp8u* planes[4] = {};
  for (int i = 0; i < d.component_count; ++i) planes[i] = d.components[i]->cc_buffer + offset;
  return interleave(d, planes, target.pixels, static_cast<int>(target.step), target.area);
}

int noteLines(CJPEGDecoder& d, int bottom) {
  DecoderRoom* const room = DecoderRoom::of(d);
  if (room == nullptr) return JPEG_OUT_OF_MEMORY;
  room->linesWritten = std::max(room->linesWritten, bottom);
  return JPEG_NO_ERROR;
}

}  // namespace

std::optional<Target> rowTarget(CJPEGDecoder& d, int row, const RowSpan& span) {
  if (row == d.mcus_down - 1) d.strip_rows = d.mcu_height - d.pad_rows;
  const int lines = linesOf(d, row);
  if (lines <= 0) return std::nullopt;
  const DecoderRoom* const room = DecoderRoom::existing(d);
  if (room != nullptr && room->window) return windowTarget(d, *room->window, row, lines, span);
  return linesTarget(d, row * d.mcu_height, {span.width, lines});
}

int noteWritten(CJPEGDecoder& d, int row) {
  return noteLines(d, row * d.mcu_height + linesOf(d, row));
}

int convertRow(CJPEGDecoder& d, int row, int slot, const RowSpan& span) {
  const auto target = rowTarget(d, row, span);
  if (!target || !hasConversion(d)) return JPEG_NO_ERROR;
  const std::ptrdiff_t offset = std::ptrdiff_t{slot} * d.strip_stride * d.mcu_height;
  QRX_TRY(convert(d, offset, *target, span.width));
  return noteWritten(d, row);
}

}  // namespace qrx::jpeg

int CJPEGDecoder::UpSampling(int row, int slot) {
  const IppiSize whole = {strip_stride, mcu_height};
  return qrx::jpeg::enlargeAll(
      *this, {mcu_height, qrx::jpeg::reducedStep(*this), whole, slot, row != 0, true});
}

int CJPEGDecoder::UpSampling() {
  const IppiSize area = {dest_width, dest_height};
  return qrx::jpeg::enlargeAll(*this, {strip_rows, strip_stride, area, 0, false, false});
}

int CJPEGDecoder::ColorConvert(int row, int slot) {
  return qrx::jpeg::convertRow(*this, row, slot, {mcus_across, dest_width});
}

int CJPEGDecoder::ColorConvert() {
  using namespace qrx::jpeg;
  if (!hasConversion(*this)) return JPEG_NO_ERROR;
  QRX_TRY(convert(*this, 0, linesTarget(*this, 0, {dest_width, dest_height}), dest_width));
  return noteLines(*this, dest_height);
}
