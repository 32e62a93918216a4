// Composition of a frame: a still picture made once, and what moves on top of it.
#include "tools/scene/scene_renderer.h"

#include <algorithm>
#include <cstdio>

#include "tools/scene/fixed.h"
#include "tools/scene/rasteriser.h"

namespace qrx::tool {
namespace {

constexpr Colour kBar = {38, 42, 50}, kBarText = {222, 226, 232};
constexpr Colour kPaper = {250, 250, 247}, kInk = {28, 30, 34}, kAccent = {176, 34, 40};
constexpr Colour kTitle = {64, 98, 160}, kBorder = {20, 24, 30}, kGrid = {96, 116, 144};
constexpr int kFramesPerLine = 6;  // the log scrolls by a line this often

int mix(int a, int b, std::int64_t part, std::int64_t whole) {
  return static_cast<int>(a + (b - a) * part / whole);
}

// Angle that a frame has reached at a speed from a start.
int turn(int frame, unsigned speed, unsigned start) {
  return static_cast<int>((static_cast<unsigned>(frame) * speed + start) & 65535);
}

std::uint8_t channel(int value) { return static_cast<std::uint8_t>(std::clamp(value, 0, 255)); }

// Four corner colours, blended over the whole picture.
void paintGradient(Image& image) {
  constexpr int kCorners[4][3] = {{30, 40, 78}, {84, 120, 168}, {18, 64, 76}, {206, 178, 140}};
  const int right = std::max(1, image.size.width - 1), low = std::max(1, image.size.height - 1);
  for (int y = 0; y < image.size.height; ++y) {
    for (int x = 0; x < image.size.width; ++x) {
      std::uint8_t c[3];
      for (int i = 0; i < 3; ++i) {
        // Eight more bits across keep the blend down smooth.
        const int top = mix(kCorners[0][i] * 256, kCorners[1][i] * 256, x, right);
        const int bottom = mix(kCorners[2][i] * 256, kCorners[3][i] * 256, x, right);
        c[i] = channel(mix(top, bottom, y, low) / 256);
      }
      putPixel(image, x, y, {c[0], c[1], c[2]});
    }
  }
}

void paintGrid(Image& image, const Box& box, int scale) {
  const int pitch = 24 * scale;
  for (int x = box.left + pitch; x < box.right; x += pitch) {
    fillBox(image, intersect(box, {x, box.top, x + 1, box.bottom}), kGrid);
  }
  for (int y = box.top + pitch; y < box.bottom; y += pitch) {
    fillBox(image, intersect(box, {box.left, y, box.right, y + 1}), kGrid);
  }
}

// Value noise of one cell size, 0..255.
int noiseAt(int x, int y, int cell) {
  const int column = x / cell, row = y / cell, dx = x % cell, dy = y % cell;
  const auto corner = [&](int i, int j) {
    return static_cast<int>(hashOf(static_cast<std::uint32_t>(column + i + cell * 4096),
                                   static_cast<std::uint32_t>(row + j)) &
                            255);
  };
  return mix(mix(corner(0, 0), corner(1, 0), dx, cell), mix(corner(0, 1), corner(1, 1), dx, cell),
             dy, cell);
}

// Stone: slow waves of colour with grain down to the single pixel.
void paintTexture(Image& image, const Box& box) {
  const Box inside = intersect(box, wholeImage(image));
  for (int y = inside.top; y < inside.bottom; ++y) {
    for (int x = inside.left; x < inside.right; ++x) {
      const int u = x - box.left, v = y - box.top;
      const int waves = (noiseAt(u, v, 64) * 4 + noiseAt(u, v, 24) * 2 + noiseAt(u, v, 9)) / 7;
      const int grain = noiseAt(u, v, 1) / 4 + noiseAt(u, v, 3) / 4 - 64;
      putPixel(image, x, y,
               {channel(60 + waves * 3 / 4 + grain), channel(50 + waves * 5 / 8 + grain),
                channel(44 + waves / 2 + grain)});
    }
  }
}

std::string logLine(int number) {
  constexpr const char* kTexts[] = {
      "%05d  load part %u of assembly", "%05d  mesh: %u triangles, closed",
      "%05d  solver step, residual %u", "> view rotate %05d %u",
      "%05d  (warning) gap of %u um",   "%05d  render pass took %u us",
      "%05d  cache 93%%, %u pages",
  };
  const std::uint32_t mixed = hashOf(static_cast<std::uint32_t>(number), 7);
  char text[64];
  std::snprintf(text, sizeof text, kTexts[mixed % std::size(kTexts)], number, mixed / 16 % 9973);
  return text;
}

}  // namespace

SceneRenderer::Layout SceneRenderer::arrange(Size size) {
  const auto across = [&size](int permille) { return size.width * permille / 1000; };
  const auto down = [&size](int permille) { return size.height * permille / 1000; };
  Layout layout;
  layout.scale = std::max(1, size.height / 540);
  layout.bar = {0, 0, size.width, 13 * layout.scale};
  layout.object = {across(20), down(70), across(560), down(970)};
  layout.window = {across(580), down(70), across(980), down(540)};
  const Box& w = layout.window;
  layout.page = {w.left + layout.scale, w.top + 12 * layout.scale, w.right - layout.scale,
                 w.bottom - layout.scale};
  layout.texture = {across(580), down(580), across(980), down(970)};
  return layout;
}

SceneRenderer::SceneRenderer(Size size)
    : layout_(arrange(size)), mesh_(makeTorus(64, 32)), still_(size) {
  paintStill();
}

void SceneRenderer::paintStill() {
  const int scale = layout_.scale;
  paintGradient(still_);
  paintGrid(still_, layout_.object, scale);
  fillBox(still_, layout_.bar, kBar);
  drawText(still_, layout_.bar, 4 * scale, 3 * scale, scale, kBarText, "File  Edit  View  Model");
  fillBox(still_, layout_.window, kTitle);
  outlineBox(still_, layout_.window, scale, kBorder);
  drawText(still_, layout_.window, layout_.window.left + 4 * scale, layout_.window.top + 3 * scale,
           scale, kPaper, "Messages");
  paintTexture(still_, layout_.texture);
  outlineBox(still_, layout_.texture, scale, kBorder);
}

void SceneRenderer::render(int frame, Image& image) const {
  image = still_;
  drawSolid(image, frame);
  drawLog(image, frame);
  drawCounter(image, frame);
}

Image SceneRenderer::render(int frame) const {
  Image image;
  render(frame, image);
  return image;
}

void SceneRenderer::drawSolid(Image& image, int frame) const {
  const Box& box = layout_.object;
  const int angleX = turn(frame, 350, 9000), angleY = turn(frame, 530, 4000);
  constexpr int kEye = kFixedOne * 3;  // distance of the eye from the centre
  constexpr Vector3 kLight = {-kFixedOne * 48 / 100, -kFixedOne * 56 / 100, -kFixedOne * 67 / 100};
  const int radius = std::min(box.width(), box.height()) / 2;
  std::vector<ScreenVertex> corners;
  corners.reserve(mesh_.vertices.size());
  for (const Vertex& vertex : mesh_.vertices) {
    const Vector3 p = rotate(vertex.position, angleX, angleY);
    const Vector3 n = rotate(vertex.normal, angleX, angleY);
    const int facing = std::max(0, fixedMultiply(n.x, kLight.x) + fixedMultiply(n.y, kLight.y) +
                                       fixedMultiply(n.z, kLight.z));
    // A highlight: the fourth power, twice, of the cosine.
    const int square = fixedMultiply(facing, facing);
    const int fourth = fixedMultiply(square, square);
    const std::int64_t reach = std::int64_t{radius} * 16 * kEye * 9 / 10 / (p.z + kEye);
    corners.push_back({static_cast<int>((box.left + box.right) * 8 + p.x * reach / kFixedOne),
                       static_cast<int>((box.top + box.bottom) * 8 + p.y * reach / kFixedOne), p.z,
                       12000 + facing * 3, fixedMultiply(fourth, fourth) * 2});
  }
  Rasteriser rasteriser(image, box);
  for (const Triangle& t : mesh_.triangles) {
    rasteriser.draw(corners[static_cast<std::size_t>(t.corners[0])],
                    corners[static_cast<std::size_t>(t.corners[1])],
                    corners[static_cast<std::size_t>(t.corners[2])], t.colour);
  }
}

void SceneRenderer::drawLog(Image& image, int frame) const {
  const Box& page = layout_.page;
  const int scale = layout_.scale, lineHeight = 10 * scale;
  fillBox(image, page, kPaper);
  const int lines = page.height() / lineHeight;
  for (int i = 0; i < lines; ++i) {
    const int number = frame / kFramesPerLine + i;
    const std::string text = logLine(number);
    const bool marked = text.find("warning") != std::string::npos;
    drawText(image, page, page.left + 3 * scale, page.top + 2 * scale + i * lineHeight, scale,
             marked ? kAccent : kInk, text);
  }
}

void SceneRenderer::drawCounter(Image& image, int frame) const {
  char text[32];
  std::snprintf(text, sizeof text, "frame %06d", frame);
  const int scale = layout_.scale;
  drawText(image, layout_.bar, layout_.bar.right - textWidth(text, scale) - 4 * scale, 3 * scale,
           scale, kBarText, text);
}

}  // namespace qrx::tool
