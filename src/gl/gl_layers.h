#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "draw/canvas/image.h"

namespace marvik {

// Anti-aliasing by layers: the scene is drawn once, and then eight times per layer, each time shifted a little and
// blended over what is there where it is nearer than that.

// One drawing of the scene.
struct GlLayer {
  double alpha = 1.0;
  double dx = 0.0;  // view units: half the picture's side is 1
  double dy = 0.0;
  bool atoms = true;  // faint layers of black-and-white pictures have no atoms, only what is between them
};

struct GlLayerStyle {
  bool antiAlias = true;
  int layerCount = 12;  // cut to 1..100
  bool colour = true;
  bool printing = false;
  int size = 600;  // pixels
};

// Layer 0 alone, or 1 + 8 · (layers - 1) of them. The shifts are stated for the 600 pixels of a screen picture: 0.3 of
// its pixels to less than two. Larger pictures have them in pixels, not in shares of the picture, since 8,000 pixels
// would get fringes 24 pixels wide, and no larger ones when they are stated for print.
std::vector<GlLayer> LayersOf(const GlLayerStyle& style);
// The longest shift, in pixels, rounded up.
int LargestShift(const std::vector<GlLayer>& layers, int size);

// What kind of thing a sample shows, in its alpha byte.
enum GlSampleKind : uint8_t { kNothingSample = 0, kBetweenSample = 128, kAtomSample = 255 };

// A part of the picture drawn once, `factor` times as large, with a margin all round for the shifts.
struct GlSamples {
  int factor = 1;  // odd
  int margin = 0;  // pixels of the picture
  int width = 0;   // pixels of the picture, margins not counted
  int height = 0;
  std::vector<uint32_t> colours;  // from the lowest byte: red, green, blue, GlSampleKind; rows from the bottom
  std::vector<float> depths;      // 0 near to 1, which is nothing

  int Stride() const { return (width + 2 * margin) * factor; }
  int Rows() const { return (height + 2 * margin) * factor; }
};

// Blends all layers out of the samples into the picture, at (left, top) of it. The result is what drawing every layer
// by itself gives, but for the shifts being cut to whole samples. Rows are shared between two threads; `keepGoing` is
// asked on the calling one now and then, and once it says no the rest of the rows get layer 0 alone. With `transparent`
// the image gets cover in its top byte, and colours without background.
bool CombineLayers(const GlSamples& samples, const std::vector<GlLayer>& layers, Rgb background, bool transparent,
                   Image& image, int left, int top, const std::function<bool()>& keepGoing);

}  // namespace marvik
