#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "draw/canvas/canvas.h"

namespace marvik {

// An opaque pixel, 0xffRRGGBB in the machine's byte order.
constexpr uint32_t PixelOf(Rgb c) {
  return 0xff000000u | static_cast<uint32_t>(c.r) << 16 | static_cast<uint32_t>(c.g) << 8 | c.b;
}

constexpr Rgb ColourOf(uint32_t pixel) {
  return {static_cast<uint8_t>(pixel >> 16), static_cast<uint8_t>(pixel >> 8), static_cast<uint8_t>(pixel)};
}

// A picture in memory, rows from the top, no padding. The top byte of a pixel is its alpha (not premultiplied).
struct Image {
  int width = 0;
  int height = 0;
  std::vector<uint32_t> pixels;

  Image() = default;
  // Black and opaque; a negative side counts as 0.
  Image(int w, int h)
      : width(w > 0 ? w : 0),
        height(h > 0 ? h : 0),
        pixels(static_cast<size_t>(width) * static_cast<size_t>(height), 0xff000000u) {}

  uint32_t& At(int x, int y) { return pixels[Index(x, y)]; }
  uint32_t At(int x, int y) const { return pixels[Index(x, y)]; }

 private:
  size_t Index(int x, int y) const {
    return static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x);
  }
};

}  // namespace marvik
