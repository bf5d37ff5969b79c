#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace marvik {

// Triangles, counter-clockwise seen from outside, with a normal for each vertex.
struct TriangleMesh {
  std::vector<std::array<float, 3>> positions;
  std::vector<std::array<float, 3>> normals;
  std::vector<uint16_t> indices;
};

// All of unit size about the origin: a sphere of radius 1, a cylinder of radius 1 and height 1 along y with its ends,
// a box from -1 to 1, and the three principal circles of the sphere as narrow bands a hair outside of it.
TriangleMesh SphereMesh();
TriangleMesh CylinderMesh();
TriangleMesh BoxMesh();
TriangleMesh BandsMesh();

}  // namespace marvik
