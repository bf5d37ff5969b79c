#include "draw/surface/lit_light.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "draw/canvas/colours.h"

namespace marvik {
namespace {

constexpr float kGloss = 0.32f;
constexpr float kOutline = 0.45f;  // of the light that is left on an edge
constexpr float kLineFog = 0.6f;   // of the background over the farthest lines
constexpr int kShadowSamples = 8;
constexpr float kShadowDepth = 0.55f;

// How much of the light reaches a point past what lies around it.
float OpenSky(const LitGrid& grid, int x, int y, float depth, int reach) {
  static constexpr std::array<std::array<float, 2>, kShadowSamples> kAround{{{1.0f, 0.0f},
                                                                             {0.5f, 0.5f},
                                                                             {0.0f, 1.0f},
                                                                             {-0.35f, 0.35f},
                                                                             {-1.0f, 0.0f},
                                                                             {-0.6f, -0.6f},
                                                                             {0.0f, -0.5f},
                                                                             {0.3f, -0.3f}}};
  float hidden = 0.0f;
  for (const auto& [dx, dy] : kAround) {
    const int sx = std::clamp(x + static_cast<int>(dx * static_cast<float>(reach)), 0, grid.width - 1);
    const int sy = std::clamp(y + static_cast<int>(dy * static_cast<float>(reach)), 0, grid.height - 1);
    const float step = grid.depth[grid.Row(sy) + static_cast<size_t>(sx)] - depth;
    const float share = step / static_cast<float>(reach);
    if (share > 0.15f && share < 3.0f) hidden += std::min(share, 1.0f);
  }
  return 1.0f - kShadowDepth * hidden / kShadowSamples;
}

void LightBodies(const LitGrid& grid, int y, const Lighting& light, uint32_t* pixels) {
  const size_t row = grid.Row(y);
  const size_t above = grid.Row(std::max(y - 1, 0));
  const size_t below = grid.Row(std::min(y + 1, grid.height - 1));
  const float depthRange = std::max(light.near - light.far, 1.0f);
  // Halfway between the light and the viewer.
  const float hz = std::sqrt((1.0f + kLightZ) / 2.0f);
  const float hx = kLightX / (2.0f * hz);
  const float hy = kLightY / (2.0f * hz);
  const bool hasLines = !grid.lineDepth.empty();
  const Rgb background = ColourOf(light.background);
  for (int x = 0; x < grid.width; ++x) {
    const size_t at = row + static_cast<size_t>(x);
    const float z = grid.depth[at];
    if (hasLines && grid.lineDepth[at] > z) {
      const float fog = kLineFog * std::clamp((light.near - grid.lineDepth[at]) / depthRange, 0.0f, 1.0f);
      pixels[x] = PixelOf(MixColours(ColourOf(grid.lineColour[at]), background, static_cast<double>(fog)));
      continue;
    }
    if (z <= kNothing) {
      pixels[x] = light.background;
      continue;
    }
    const float nx = grid.normalX[at];
    const float ny = grid.normalY[at];
    const float nz = std::sqrt(std::max(1.0f - nx * nx - ny * ny, 0.0f));
    float shine = std::max(nx * hx + ny * hy + nz * hz, 0.0f);
    for (int i = 0; i < 5; ++i) shine *= shine;
    const auto left = static_cast<size_t>(std::max(x - 1, 0));
    const auto right = static_cast<size_t>(std::min(x + 1, grid.width - 1));
    const float lowest =
        std::min(std::min(grid.depth[row + left], grid.depth[row + right]),
                 std::min(grid.depth[above + static_cast<size_t>(x)], grid.depth[below + static_cast<size_t>(x)]));
    const float step = std::clamp((z - lowest) / light.edge - 1.0f, 0.0f, 1.0f);
    float bright = BrightnessOf(nx, ny, nz) * (1.0f - (1.0f - kOutline) * step);
    float gloss = kGloss * shine * (1.0f - step);
    if (light.shadowReach > 0) {
      const float open = OpenSky(grid, x, y, z, light.shadowReach);
      bright *= open;
      gloss *= open;
    }
    const float ink = static_cast<float>(grid.colour[at] >> 24) / 255.0f;
    const float fog =
        1.0f - ink * (1.0f - static_cast<float>(kFog) * std::clamp((light.near - z) / depthRange, 0.0f, 1.0f));
    uint32_t pixel = 0xff000000u;
    for (int shift = 0; shift < 24; shift += 8) {
      const float base = static_cast<float>(grid.colour[at] >> shift & 255u);
      const float lit = std::min(base * bright + 255.0f * gloss, 255.0f);
      const float behind = static_cast<float>(light.background >> shift & 255u);
      pixel |= static_cast<uint32_t>(lit + (behind - lit) * fog + 0.5f) << shift;
    }
    pixels[x] = pixel;
  }
}

}  // namespace

Lighting LightingOf(const LitScene& scene, int width, double scale, const LitOptions& options) {
  Lighting light{};
  light.near = kNothing;
  light.far = std::numeric_limits<float>::max();
  const auto take = [&](const ViewPoint& centre, double radius) {
    if (!IsSound(centre)) return;
    light.near = std::max(light.near, static_cast<float>((centre.z + radius) * scale));
    light.far = std::min(light.far, static_cast<float>((centre.z - radius) * scale));
  };
  for (const LitBall& ball : scene.balls) take(ball.centre, ball.radius);
  for (const LitEllipsoid& ellipsoid : scene.ellipsoids) take(ellipsoid.centre, 0.0);
  light.edge = static_cast<float>(std::max(2.0, 0.006 * width * scale));
  light.shadowReach = options.shadow && !options.moving ? std::max(2, static_cast<int>(0.02 * width * scale)) : 0;
  light.background = PixelOf(scene.background);
  return light;
}

void LightRow(const LitGrid& grid, int y, const Lighting& light, uint32_t* pixels) {
  LightBodies(grid, y, light, pixels);
  if (grid.veil.empty()) return;
  const uint32_t* veil = &grid.veil[grid.Row(y)];
  for (int x = 0; x < grid.width; ++x) {
    if (veil[x] != 0) pixels[x] = Veiled(pixels[x], veil[x]);
  }
}

}  // namespace marvik
