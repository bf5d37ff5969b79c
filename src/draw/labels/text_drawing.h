#pragma once

#include <string_view>

#include "draw/canvas/image.h"
#include "draw/canvas/raster.h"
#include "draw/labels/label_font.h"

namespace marvik {

// Draws a UTF-8 text whose pen starts at `base` on its base line; glyphs stand on whole pixels. What lies outside is
// cut off. Over pixels that are not opaque (the top byte is their alpha) the ink adds its cover.
void DrawText(const Surface& surface, LabelFont& font, CanvasPoint base, std::string_view text, const TextLook& look);

}  // namespace marvik
