#pragma once

#include <array>
#include <cstdint>

namespace marvik {

// Pointers to one row of the grid.
struct GridRow {
  float* depth;
  float* normalX;
  float* normalY;
  uint32_t* colour;
};

struct BallRow {
  float cx, dy, z, radius;
};

// A stick against one row: for the ray at x the quadratic in z of the cylinder about its axis.
struct StickRow {
  float ax, az, my;  // of its first end; the row from there
  float dx, dy, dz;  // unit vector along it
  float length, radius;
};

// The same for a cone; a ray from in front meets none that closes toward its near end.
struct ConeRow {
  StickRow stick;
  float slope;  // of the radius, along the axis
};

// An ellipsoid by the map that makes it a unit ball: u = row k of `toUnit` · (point - centre).
struct EllipsoidRays {
  std::array<std::array<float, 3>, 3> toUnit;
  std::array<float, 3> length;  // of the semi-axes, pixels
  float cx, cy, cz, a;
  uint32_t plain, ring;
  std::array<uint32_t, 3> face;
  bool cut;
};

// What of a body lies nearest in the columns x0 to x1 of a row: depth, normal and colour of its pixels.
void DrawBallRow(const GridRow& given, int x0, int x1, BallRow ball, uint32_t colour);
void DrawStickRow(const GridRow& given, int x0, int x1, StickRow s, uint32_t colourA, uint32_t colourB);
void DrawConeRow(GridRow row, int x0, int x1, const ConeRow& cone, uint32_t colourA, uint32_t colourB);
void DrawEllipsoidRow(GridRow row, int x0, int x1, float dy, const EllipsoidRays& e);

}  // namespace marvik
