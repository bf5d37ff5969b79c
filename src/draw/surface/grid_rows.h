#pragma once

#include <cstdint>

#include "draw/canvas/image.h"

namespace marvik {

// Two rows of a grid of twice the resolution to one of `width` pixels, two by two to one.
void HalveRow(const Image& fine, uint32_t* pixels, int width);

// Row y of a picture of `width` pixels from a grid of half the resolution, what lies between neighbours mixed.
void DoubleRow(const Image& coarse, int y, uint32_t* pixels, int width);

}  // namespace marvik
