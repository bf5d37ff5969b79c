#pragma once

#include "draw/surface/lit_grid.h"
#include "draw/surface/lit_surface.h"

namespace marvik {

struct Lighting {
  float near, far;      // depths
  float edge;           // a step in depth that makes an outline, pixels of the grid
  int shadowReach = 0;  // pixels of the grid; 0: none
  uint32_t background;
};

// For a picture of this width, `scale` pixels of the grid for one of its own.
Lighting LightingOf(const LitScene& scene, int width, double scale, const LitOptions& options);
// The pixels of a row of the grid, with the faces in front of it.
void LightRow(const LitGrid& grid, int y, const Lighting& light, uint32_t* pixels);

}  // namespace marvik
