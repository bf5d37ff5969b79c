#pragma once

#include <functional>
#include <optional>
#include <string>

#include "base/user_messages.h"
#include "draw/canvas/canvas.h"

namespace marvik {

struct StripDrawing {
  int side = 0;   // pixels
  int first = 0;  // row of the square, and how many are kept
  int rows = 0;
  bool transparent = false;
  double labelPixels = 0.0;  // em of the labels; 0: there are none
};

// Draws the whole picture on the canvas; false when it was stopped. Without `clear` what the canvas holds stays.
using DrawWhole = std::function<bool(Canvas& canvas, bool clear)>;

// Rows of a square picture as PNG. A large one is drawn anew for each strip of rows, so that memory does not grow with
// the square of its side. Nothing when it was stopped, by the drawing or by the progress.
std::optional<std::string> DrawPngInStrips(const StripDrawing& drawing, double resolution, const DrawWhole& draw,
                                           UserMessages& messages);

}  // namespace marvik
