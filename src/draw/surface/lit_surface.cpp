#include "draw/surface/lit_surface.h"

#include <algorithm>

#include "base/parallel.h"
#include "draw/surface/grid_rows.h"
#include "draw/surface/lit_light.h"
#include "draw/surface/lit_rays.h"

namespace marvik {
namespace {

constexpr int kStripBands = 8;  // drawn before their rows are lit

}  // namespace

Image DrawLitSurface(const LitScene& scene, int width, int height, const LitOptions& options) {
  Image picture(width, height);
  if (picture.pixels.empty()) return picture;
  const size_t threads = ThreadCount(options.threads);
  const bool moving = options.moving;
  const double scale = moving ? 0.5 : 2.0;
  const Lighting light = LightingOf(scene, width, scale, options);
  const int margin = light.shadowReach + 2;
  const int bandsKept = kStripBands + (2 * margin + kLitBandRows - 1) / kLitBandRows;
  LitGrid grid(moving ? (width + 1) / 2 : 2 * width, moving ? (height + 1) / 2 : 2 * height, bandsKept * kLitBandRows,
               !scene.lines.empty(), !scene.faces.empty());
  LitRays rays(scene, scale, grid);
  Image coarse(moving ? grid.width : 0, grid.height);
  // Strip by strip, so that there is never the whole of the fine grid; rows are lit as soon as those that shade them
  // are there.
  int lit = 0;
  for (size_t first = 0; first < rays.Bands(); first += kStripBands) {
    const size_t last = std::min(first + kStripBands, rays.Bands());
    ForEachInParallel(threads, last - first, [&](size_t i, size_t) { rays.DrawBand(first + i); });
    const int drawn = static_cast<int>(last) * kLitBandRows - margin;
    const int ready = last == rays.Bands() ? grid.height : std::max(lit, drawn - drawn % 2);
    const auto pieces = static_cast<size_t>((ready - lit + kLitBandRows - 1) / kLitBandRows);
    ForEachInParallel(threads, pieces, [&](size_t piece, size_t) {
      const int top = lit + static_cast<int>(piece) * kLitBandRows;
      const int bottom = std::min(top + kLitBandRows, ready);
      if (moving) {
        for (int y = top; y < bottom; ++y) LightRow(grid, y, light, &coarse.At(0, y));
        return;
      }
      Image fine(grid.width, 2);
      for (int y = top; y < bottom; y += 2) {
        LightRow(grid, y, light, &fine.At(0, 0));
        LightRow(grid, y + 1, light, &fine.At(0, 1));
        HalveRow(fine, &picture.At(0, y / 2), width);
      }
    });
    lit = ready;
  }
  if (!moving) return picture;
  const auto bands = static_cast<size_t>((height + kLitBandRows - 1) / kLitBandRows);
  ForEachInParallel(threads, bands, [&](size_t band, size_t) {
    const int top = static_cast<int>(band) * kLitBandRows;
    for (int y = top; y < std::min(top + kLitBandRows, height); ++y) DoubleRow(coarse, y, &picture.At(0, y), width);
  });
  return picture;
}

}  // namespace marvik
