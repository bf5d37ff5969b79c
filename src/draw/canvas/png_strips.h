#pragma once

#include <functional>
#include <optional>
#include <string>

#include "base/user_messages.h"
#include "draw/canvas/canvas.h"

namespace marvik {

// Of a picture's side: the labels; 12 pixels at 600.
inline constexpr double kLabelPart = 0.02;

struct StripDrawing {
  int side = 0;  // pixels
  bool transparent = false;
  bool labels = true;  // a font is needed
};

// Draws the whole picture on the canvas; false when it was stopped. Without `clear` what the canvas holds stays.
using DrawWhole = std::function<bool(Canvas& canvas, bool clear)>;

// A square picture as PNG. A large one is drawn anew for each strip of rows, so that memory does not grow with the
// square of its side. Nothing when it was stopped, by the drawing or by the progress.
std::optional<std::string> DrawPngInStrips(const StripDrawing& drawing, double resolution, const DrawWhole& draw,
                                           UserMessages& messages);

}  // namespace marvik
