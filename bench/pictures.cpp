// Pictures by hash, noise and rays.
#include "bench/pictures.h"

#include <algorithm>
#include <cmath>

#include "tools/scene/scene_renderer.h"

namespace qrx::bench {
namespace {

using tool::Image;
using tool::Size;

constexpr int kSceneFrame = 10;

struct Vec {
  float x, y, z;
};
Vec operator+(Vec a, Vec b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
Vec operator-(Vec a, Vec b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
Vec operator*(float s, Vec a) { return {s * a.x, s * a.y, s * a.z}; }
float dot(Vec a, Vec b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
Vec normalised(Vec a) { return 1 / std::sqrt(dot(a, a)) * a; }

// Calls shade(x, y) for every pixel; it gives red, green, blue in 0..255.
template <typename Shade>
Image paint(Size size, Shade shade) {
  Image image(size, 0xFF);
  for (int y = 0; y < size.height; ++y) {
    std::uint8_t* out = image.row(y);
    for (int x = 0; x < size.width; ++x, out += Image::kBytesPerPixel) {
      const Vec colour = shade(x, y);
      const auto byte = [](float v) {
        return static_cast<std::uint8_t>(std::lround(std::clamp(v, 0.0f, 255.0f)));
      };
      out[0] = byte(colour.z);
      out[1] = byte(colour.y);
      out[2] = byte(colour.x);
    }
  }
  return image;
}

// A number in 0..1 for a place of a lattice.
float lattice(int x, int y, unsigned seed) {
  unsigned h = static_cast<unsigned>(x) * 0x8DA6B343u ^ static_cast<unsigned>(y) * 0xD8163841u ^
               seed * 0xCB1AB31Fu;
  h = (h ^ h >> 15) * 0x2C1B3C6Du;
  h = (h ^ h >> 12) * 0x297A2D39u;
  return static_cast<float>((h ^ h >> 15) >> 8) / 16777216.0f;
}

// Values of the lattice, smoothly joined.
float valueNoise(float x, float y, unsigned seed) {
  const float left = std::floor(x), top = std::floor(y);
  const int column = static_cast<int>(left), row = static_cast<int>(top);
  const auto ease = [](float t) { return t * t * (3 - 2 * t); };
  const float u = ease(x - left), v = ease(y - top);
  return std::lerp(std::lerp(lattice(column, row, seed), lattice(column + 1, row, seed), u),
                   std::lerp(lattice(column, row + 1, seed), lattice(column + 1, row + 1, seed), u),
                   v);
}

// Octaves from `cell` downwards, each half as large and `fade` as strong; about -0.5..0.5.
float octaves(float x, float y, float cell, int count, float fade, unsigned seed) {
  float sum = 0, strength = 1, total = 0;
  for (int i = 0; i < count; ++i, cell /= 2, strength *= fade) {
    sum += strength * (valueNoise(x / cell, y / cell, seed + static_cast<unsigned>(i)) - 0.5f);
    total += strength;
  }
  return sum / total;
}

struct Ball {
  Vec centre;
  float radius;
  Vec colour;
};
constexpr Ball kBalls[] = {
    {{0, 1.2f, 7}, 1.2f, {210, 60, 50}},         {{-2.6f, 0.8f, 6}, 0.8f, {60, 160, 80}},
    {{2.3f, 0.9f, 5.2f}, 0.9f, {70, 90, 210}},   {{-0.9f, 0.45f, 4.4f}, 0.45f, {230, 190, 70}},
    {{4.4f, 1.6f, 9.5f}, 1.6f, {180, 180, 190}}, {{-5, 1.7f, 11}, 1.7f, {150, 80, 170}}};

// Distance along a ray of length 1 to the ball; 0 where it misses.
float hit(const Ball& ball, Vec from, Vec way) {
  const Vec to = ball.centre - from;
  const float along = dot(to, way);
  const float room = ball.radius * ball.radius - (dot(to, to) - along * along);
  if (room < 0) return 0;
  const float distance = along - std::sqrt(room);
  return distance > 1e-3f ? distance : 0;
}

const Ball* nearest(Vec from, Vec way, float* distance) {
  const Ball* found = nullptr;
  for (const Ball& ball : kBalls) {
    const float d = hit(ball, from, way);
    if (d > 0 && (found == nullptr || d < *distance)) {
      *distance = d;
      found = &ball;
    }
  }
  return found;
}

// Tiles with a grain like stone's.
Vec floorColour(float x, float z) {
  const bool dark = (static_cast<int>(std::floor(x)) + static_cast<int>(std::floor(z))) % 2 != 0;
  const float stone = 60 * octaves(x, z, 0.5f, 4, 0.6f, dark ? 40 : 50);
  const Vec base = dark ? Vec{95, 80, 70} : Vec{200, 190, 175};
  return base + Vec{stone, stone, stone};
}

Vec traced(Vec from, Vec way) {
  const Vec light = normalised({-0.5f, 0.9f, -0.4f});
  float distance = 0;
  if (const Ball* ball = nearest(from, way, &distance)) {
    const Vec normal = 1 / ball->radius * (from + distance * way - ball->centre);
    const float lit = std::max(0.0f, dot(normal, light));
    const float shine = std::max(0.0f, dot(normal, normalised(light - way)));
    const float gloss = 160 * std::pow(shine, 40.0f);
    return (0.2f + 0.8f * lit) * ball->colour + Vec{gloss, gloss, gloss};
  }
  const Vec haze = {150, 170, 200};
  if (way.y > -0.01f) return haze + (-90 * std::max(0.0f, way.y)) * Vec{1, 0.8f, 0.3f};
  const Vec place = from + (-from.y / way.y) * way;
  float unused = 0;
  const float lit = nearest(place, light, &unused) == nullptr ? 1.0f : 0.4f;
  const float far = std::min(1.0f, place.z / 40);
  return (1 - far) * lit * floorColour(place.x, place.z) + far * haze;
}

}  // namespace

Image desktopPicture(Size size) { return tool::SceneRenderer(size).render(kSceneFrame); }

// The octaves go by the picture's height, so that a larger picture shows the same; the grain is the
// sensor's and goes by the pixel.
Image photographPicture(Size size) {
  const float scale = 1080.0f / static_cast<float>(size.height);
  return paint(size, [scale](int column, int row) {
    const float x = scale * static_cast<float>(column), y = scale * static_cast<float>(row);
    const float light = 125 + 450 * octaves(x, y, 512, 9, 0.74f, 1);
    const float warm = 110 * octaves(x, y, 384, 5, 0.5f, 20);
    const float grain = 14 * (lattice(column, row, 30) + lattice(column, row, 31) - 1);
    return Vec{light + grain + warm, light + grain, light + grain - warm};
  });
}

Image renderPicture(Size size) {
  const float scale = 2.0f / static_cast<float>(size.height);
  return paint(size, [size, scale](int column, int row) {
    const float x = scale * (static_cast<float>(column) - static_cast<float>(size.width) / 2);
    const float y = -scale * (static_cast<float>(row) - static_cast<float>(size.height) / 2);
    return traced({0, 1.6f, 0}, normalised({x, y - 0.25f, 1.7f}));
  });
}

Image gradientPicture(Size size) {
  return paint(size, [size](int column, int row) {
    const float u = static_cast<float>(column) / static_cast<float>(size.width);
    const float v = static_cast<float>(row) / static_cast<float>(size.height);
    return Vec{40 + 180 * u, 60 + 150 * v, 220 - 90 * u - 80 * v};
  });
}

}  // namespace qrx::bench
