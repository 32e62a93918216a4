// The solid of the scene: a torus of banded colours, as a mesh of triangles.
#ifndef QRX_TOOLS_SCENE_MESH_H_
#define QRX_TOOLS_SCENE_MESH_H_

#include <vector>

#include "tools/scene/painter.h"

namespace qrx::tool {

struct Vector3 {
  int x = 0, y = 0, z = 0;  // fixed point
};

struct Vertex {
  Vector3 position;
  Vector3 normal;  // of length 1
};

struct Triangle {
  int corners[3];
  Colour colour;
};

struct Mesh {
  std::vector<Vertex> vertices;
  std::vector<Triangle> triangles;
};

// A torus that fits in the unit sphere.
Mesh makeTorus(int segmentsAround, int segmentsAcross);

// Turns about the x and then the y axis.
Vector3 rotate(const Vector3& v, int angleX, int angleY);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_SCENE_MESH_H_
