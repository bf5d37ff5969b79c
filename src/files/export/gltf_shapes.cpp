#include "files/export/gltf_shapes.h"

#include <cmath>

#include "base/vec3.h"

namespace marvik {

namespace {

constexpr int kSectors = 24;
constexpr int kSphereRings = 16;
constexpr int kBandSectors = 48;
constexpr double kTurn = 360.0 * kRadiansPerDegree;

std::array<float, 3> Floats(double x, double y, double z) {
  return {static_cast<float>(x), static_cast<float>(y), static_cast<float>(z)};
}

uint16_t Add(TriangleMesh& mesh, const std::array<float, 3>& position, const std::array<float, 3>& normal) {
  mesh.positions.push_back(position);
  mesh.normals.push_back(normal);
  return static_cast<uint16_t>(mesh.positions.size() - 1);
}

// A strip of quadrangles between two rows of vertices, the lower row first.
void Join(TriangleMesh& mesh, int lower, int upper, int count) {
  for (int i = 0; i < count; ++i) {
    const int corners[] = {lower + i, upper + i, upper + i + 1, lower + i, upper + i + 1, lower + i + 1};
    for (const int corner : corners) mesh.indices.push_back(static_cast<uint16_t>(corner));
  }
}

// A row about the y axis with one vertex more than sectors, so that the ends meet.
int Row(TriangleMesh& mesh, int sectors, double radius, double y, double normalRadius, double normalY) {
  const int first = static_cast<int>(mesh.positions.size());
  for (int i = 0; i <= sectors; ++i) {
    const double angle = kTurn * i / sectors;
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    Add(mesh, Floats(radius * c, y, radius * s), Floats(normalRadius * c, normalY, normalRadius * s));
  }
  return first;
}

void AddEnd(TriangleMesh& mesh, double y, double normalY) {
  const uint16_t middle = Add(mesh, Floats(0, y, 0), Floats(0, normalY, 0));
  const int rim = Row(mesh, kSectors, 1.0, y, 0.0, normalY);
  for (int i = 0; i < kSectors; ++i) {
    const auto a = static_cast<uint16_t>(rim + i + (normalY > 0.0 ? 1 : 0));
    const auto b = static_cast<uint16_t>(rim + i + (normalY > 0.0 ? 0 : 1));
    mesh.indices.insert(mesh.indices.end(), {middle, a, b});
  }
}

}  // namespace

TriangleMesh SphereMesh() {
  TriangleMesh mesh;
  int below = -1;
  for (int ring = 0; ring <= kSphereRings; ++ring) {
    const double angle = kTurn / 2.0 * ring / kSphereRings;
    const double y = -std::cos(angle);
    const double radius = std::sin(angle);
    const int row = Row(mesh, kSectors, radius, y, radius, y);
    if (below >= 0) Join(mesh, below, row, kSectors);
    below = row;
  }
  return mesh;
}

TriangleMesh CylinderMesh() {
  TriangleMesh mesh;
  const int low = Row(mesh, kSectors, 1.0, -0.5, 1.0, 0.0);
  const int high = Row(mesh, kSectors, 1.0, 0.5, 1.0, 0.0);
  Join(mesh, low, high, kSectors);
  AddEnd(mesh, -0.5, -1.0);
  AddEnd(mesh, 0.5, 1.0);
  return mesh;
}

TriangleMesh BoxMesh() {
  TriangleMesh mesh;
  for (int axis = 0; axis < 3; ++axis)
    for (const double side : {-1.0, 1.0}) {
      const auto corner = [&](double u, double v) {
        std::array<double, 3> p{};
        p[static_cast<size_t>(axis)] = side;
        p[static_cast<size_t>((axis + 1) % 3)] = u * side;
        p[static_cast<size_t>((axis + 2) % 3)] = v;
        std::array<float, 3> normal{};
        normal[static_cast<size_t>(axis)] = static_cast<float>(side);
        return Add(mesh, Floats(p[0], p[1], p[2]), normal);
      };
      const uint16_t a = corner(-1, -1), b = corner(1, -1), c = corner(1, 1), d = corner(-1, 1);
      mesh.indices.insert(mesh.indices.end(), {a, b, c, a, c, d});
    }
  return mesh;
}

TriangleMesh BandsMesh() {
  constexpr double kRadius = 1.01;
  constexpr double kHalfWidth = 0.03;
  TriangleMesh ring;
  const int low = Row(ring, kBandSectors, kRadius, -kHalfWidth, 1.0, 0.0);
  const int high = Row(ring, kBandSectors, kRadius, kHalfWidth, 1.0, 0.0);
  Join(ring, low, high, kBandSectors);
  TriangleMesh mesh;
  for (size_t turn = 0; turn < 3; ++turn) {
    const auto first = static_cast<uint16_t>(mesh.positions.size());
    for (size_t i = 0; i < ring.positions.size(); ++i) {
      const auto turned = [turn](const std::array<float, 3>& p) {
        return std::array<float, 3>{p[turn % 3], p[(turn + 1) % 3], p[(turn + 2) % 3]};
      };
      Add(mesh, turned(ring.positions[i]), turned(ring.normals[i]));
    }
    for (const uint16_t index : ring.indices) mesh.indices.push_back(static_cast<uint16_t>(first + index));
  }
  return mesh;
}

}  // namespace marvik
