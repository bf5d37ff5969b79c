#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "base/vec3.h"

namespace marvik {

inline constexpr float kNothing = -1e30f;  // depth where there is no body
inline constexpr double kVastPixels = 1e6;
inline constexpr int kLitBandRows = 32;  // what is drawn and lit at a time

// What the rays found, of the last rows that were drawn: those that are to be lit and those that shade them.
struct LitGrid {
  int width = 0;
  int height = 0;
  int kept = 0;  // rows, whole bands
  std::vector<float> depth;
  std::vector<float> normalX;
  std::vector<float> normalY;
  std::vector<uint32_t> colour;
  // Lines in front of the bodies; empty where there are none.
  std::vector<float> lineDepth;
  std::vector<uint32_t> lineColour;
  // Of the faces in front of both: colours times cover, which is the top byte; empty where there are none.
  std::vector<uint32_t> veil;

  LitGrid(int w, int h, int rows, bool lines, bool faces) : width(w), height(h), kept(rows) {
    const size_t size = static_cast<size_t>(w) * static_cast<size_t>(rows);
    depth.resize(size);
    normalX.resize(size);
    normalY.resize(size);
    colour.resize(size);
    if (faces) veil.resize(size);
    if (!lines) return;
    lineDepth.resize(size);
    lineColour.resize(size);
  }
  size_t Row(int y) const { return static_cast<size_t>(y % kept) * static_cast<size_t>(width); }
};

// Neither vast nor not finite.
inline bool IsSound(const ViewPoint& p) {
  return std::abs(p.x) < kVastPixels && std::abs(p.y) < kVastPixels && std::abs(p.z) < kVastPixels;
}

// How bright a surface is that faces that way. Light from the upper left, over the viewer's shoulder.
inline constexpr float kLightX = -0.42f;
inline constexpr float kLightY = -0.52f;
inline constexpr float kLightZ = 0.744f;
inline float BrightnessOf(float nx, float ny, float nz) {
  constexpr float kAmbient = 0.38f;
  constexpr float kDiffuse = 0.66f;
  return kAmbient + kDiffuse * std::max(nx * kLightX + ny * kLightY + nz * kLightZ, 0.0f);
}

// What a veil over a pixel leaves of it; both may be veils.
inline uint32_t Veiled(uint32_t below, uint32_t veil) {
  const uint32_t through = 255 - (veil >> 24);
  uint32_t pixel = 0;
  for (int shift = 0; shift < 32; shift += 8)
    pixel |= std::min((veil >> shift & 255) + ((below >> shift & 255) * through + 127) / 255, 255u) << shift;
  return pixel;
}

}  // namespace marvik
