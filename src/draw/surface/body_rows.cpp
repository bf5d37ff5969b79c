#include "draw/surface/body_rows.h"

#include <algorithm>
#include <cmath>

// The inner loops are compiled for several processors; the one that runs is chosen when the program starts.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__) && \
    !defined(__SANITIZE_THREAD__)
#define MARVIK_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define MARVIK_CLONES
#endif

namespace marvik {

MARVIK_CLONES void DrawBallRow(const GridRow& given, int x0, int x1, BallRow ball, uint32_t colour) {
  float* __restrict__ depth = given.depth;
  float* __restrict__ normalX = given.normalX;
  float* __restrict__ normalY = given.normalY;
  uint32_t* __restrict__ colours = given.colour;
  const float r2 = ball.radius * ball.radius - ball.dy * ball.dy;
  const float scale = 1.0f / ball.radius;
  const float ny = ball.dy * scale;
  for (int x = x0; x <= x1; ++x) {
    const float dx = static_cast<float>(x) - ball.cx;
    const float rest = r2 - dx * dx;
    const float z = ball.z + std::sqrt(rest > 0.0f ? rest : 0.0f);
    const bool nearer = rest > 0.0f && z > depth[x];
    depth[x] = nearer ? z : depth[x];
    normalX[x] = nearer ? dx * scale : normalX[x];
    normalY[x] = nearer ? ny : normalY[x];
    colours[x] = nearer ? colour : colours[x];
  }
}

MARVIK_CLONES void DrawStickRow(const GridRow& given, int x0, int x1, StickRow s, uint32_t colourA, uint32_t colourB) {
  float* __restrict__ depth = given.depth;
  float* __restrict__ normalX = given.normalX;
  float* __restrict__ normalY = given.normalY;
  uint32_t* __restrict__ colours = given.colour;
  const float flat = std::max(1.0f - s.dz * s.dz, 1e-6f);
  const float r2 = s.radius * s.radius;
  const float half = 0.5f * s.length;
  for (int x = x0; x <= x1; ++x) {
    const float mx = static_cast<float>(x) - s.ax;
    const float along = mx * s.dx + s.my * s.dy;
    const float disc = s.dz * s.dz * along * along - flat * (mx * mx + s.my * s.my - along * along - r2);
    const float t = (s.dz * along + std::sqrt(disc > 0.0f ? disc : 0.0f)) / flat;
    const float place = along + t * s.dz;
    const float z = s.az + t;
    const bool nearer = disc > 0.0f && place >= 0.0f && place <= s.length && z > depth[x];
    depth[x] = nearer ? z : depth[x];
    normalX[x] = nearer ? (mx - place * s.dx) / s.radius : normalX[x];
    normalY[x] = nearer ? (s.my - place * s.dy) / s.radius : normalY[x];
    colours[x] = nearer ? (place < half ? colourA : colourB) : colours[x];
  }
}

void DrawConeRow(GridRow row, int x0, int x1, const ConeRow& cone, uint32_t colourA, uint32_t colourB) {
  const StickRow& s = cone.stick;
  const float wide = 1.0f + cone.slope * cone.slope;
  const float a = 1.0f - wide * s.dz * s.dz;
  if (!(a > 1e-6f)) return;
  const float steep = 1.0f / std::sqrt(wide);
  for (int x = x0; x <= x1; ++x) {
    const float mx = static_cast<float>(x) - s.ax;
    const float along = mx * s.dx + s.my * s.dy;
    const float b = -s.dz * (wide * along + s.radius * cone.slope);
    const float c = mx * mx + s.my * s.my - s.radius * s.radius - along * (wide * along + 2.0f * s.radius * cone.slope);
    const float disc = b * b - a * c;
    if (!(disc > 0.0f)) continue;
    const float t = (std::sqrt(disc) - b) / a;
    const float place = along + t * s.dz;
    const float z = s.az + t;
    if (!(place >= 0.0f && place <= s.length && z > row.depth[x])) continue;
    const float radius = s.radius + cone.slope * place;
    row.depth[x] = z;
    row.normalX[x] = ((mx - place * s.dx) / radius - cone.slope * s.dx) * steep;
    row.normalY[x] = ((s.my - place * s.dy) / radius - cone.slope * s.dy) * steep;
    row.colour[x] = place < 0.5f * s.length ? colourA : colourB;
  }
}

void DrawEllipsoidRow(GridRow row, int x0, int x1, float dy, const EllipsoidRays& e) {
  const float w[3] = {e.toUnit[0][2], e.toUnit[1][2], e.toUnit[2][2]};
  for (int x = x0; x <= x1; ++x) {
    const float dx = static_cast<float>(x) - e.cx;
    float u[3];
    for (size_t k = 0; k < 3; ++k) u[k] = e.toUnit[k][0] * dx + e.toUnit[k][1] * dy;
    const float b = u[0] * w[0] + u[1] * w[1] + u[2] * w[2];
    const float disc = b * b - e.a * (u[0] * u[0] + u[1] * u[1] + u[2] * u[2] - 1.0f);
    if (!(disc > 0.0f)) continue;
    float t = (-b + std::sqrt(disc)) / e.a;
    for (size_t k = 0; k < 3; ++k) u[k] += t * w[k];
    float gradient[3] = {u[0], u[1], u[2]};
    uint32_t colour = e.plain;
    if (e.cut && u[0] > 0.0f && u[1] > 0.0f && u[2] > 0.0f) {
      // Through the octant that is not there, to the plane that the ray meets first.
      size_t plane = 0;
      for (size_t k = 1; k < 3; ++k) {
        if (u[k] * w[plane] < u[plane] * w[k]) plane = k;
      }
      const float back = u[plane] / w[plane];
      t -= back;
      for (size_t k = 0; k < 3; ++k) {
        u[k] -= back * w[k];
        gradient[k] = k == plane ? 1.0f : 0.0f;
      }
      colour = e.face[plane];
      for (size_t k = 0; k < 3; ++k) {
        if (k != plane && std::abs(u[k]) * e.length[k] < 0.7f) colour = e.ring;
      }
    } else {
      for (size_t k = 0; k < 3; ++k) {
        if (std::abs(u[k]) * e.length[k] < 0.8f) colour = e.ring;
      }
    }
    const float z = e.cz + t;
    if (z <= row.depth[x]) continue;
    float n[3] = {};
    for (size_t j = 0; j < 3; ++j) {
      for (size_t k = 0; k < 3; ++k) n[j] += e.toUnit[k][j] * gradient[k];
    }
    const float scale = 1.0f / std::sqrt(std::max(n[0] * n[0] + n[1] * n[1] + n[2] * n[2], 1e-20f));
    row.depth[x] = z;
    row.normalX[x] = n[0] * scale;
    row.normalY[x] = n[1] * scale;
    row.colour[x] = colour;
  }
}

}  // namespace marvik
