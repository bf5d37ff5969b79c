#pragma once

#include <cstdint>
#include <vector>

#include "model/element_table.h"

namespace marvik {

inline constexpr int kTextureSide = 256;

// A hatch pattern for print by the texture code of an element (1 dots, 2 horizontal lines, 3 vertical lines, 4 grid,
// 5 frontslash hatch, 6 backslash hatch, 7 cross-hatch): 256 x 256 texels of red, green, blue, alpha, rows from the
// bottom, black on white, all opaque: the colour that a texture is drawn with brings the alpha of the layer. The
// pattern repeats without a seam. Every other code is plain white.
std::vector<uint8_t> TexturePattern(int code);

}  // namespace marvik
