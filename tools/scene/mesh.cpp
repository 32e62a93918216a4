// Torus construction and rotation.
#include "tools/scene/mesh.h"

#include "tools/scene/fixed.h"

namespace qrx::tool {
namespace {

constexpr int kRingRadius = kFixedOne * 68 / 100;
constexpr int kTubeRadius = kFixedOne * 31 / 100;
constexpr Colour kBands[] = {{214, 92, 48}, {232, 226, 210}, {52, 118, 186}, {232, 226, 210}};

Vertex torusVertex(int around, int across) {
  const int cosAround = fixedCosine(around), sinAround = fixedSine(around);
  const int cosAcross = fixedCosine(across), sinAcross = fixedSine(across);
  const int reach = kRingRadius + fixedMultiply(kTubeRadius, cosAcross);
  return {{fixedMultiply(reach, cosAround), fixedMultiply(reach, sinAround),
           fixedMultiply(kTubeRadius, sinAcross)},
          {fixedMultiply(cosAcross, cosAround), fixedMultiply(cosAcross, sinAround), sinAcross}};
}

}  // namespace

Mesh makeTorus(int segmentsAround, int segmentsAcross) {
  Mesh mesh;
  for (int u = 0; u < segmentsAround; ++u) {
    for (int v = 0; v < segmentsAcross; ++v) {
      mesh.vertices.push_back(torusVertex(u * 65536 / segmentsAround, v * 65536 / segmentsAcross));
      const int nextU = (u + 1) % segmentsAround * segmentsAcross;
      const int nextV = (v + 1) % segmentsAcross;
      const int a = u * segmentsAcross + v, b = nextU + v;
      const int c = nextU + nextV, d = u * segmentsAcross + nextV;
      const Colour colour = kBands[u * 16 / segmentsAround % 4];
      mesh.triangles.push_back({{a, c, b}, colour});
      mesh.triangles.push_back({{a, d, c}, colour});
    }
  }
  return mesh;
}

Vector3 rotate(const Vector3& v, int angleX, int angleY) {
  const int cosX = fixedCosine(angleX), sinX = fixedSine(angleX);
  const int y = fixedMultiply(v.y, cosX) - fixedMultiply(v.z, sinX);
  const int z = fixedMultiply(v.y, sinX) + fixedMultiply(v.z, cosX);
  const int cosY = fixedCosine(angleY), sinY = fixedSine(angleY);
  return {fixedMultiply(v.x, cosY) + fixedMultiply(z, sinY), y,
          fixedMultiply(z, cosY) - fixedMultiply(v.x, sinY)};
}

}  // namespace qrx::tool
