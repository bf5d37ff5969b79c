#pragma once

#include <cstdint>
#include <vector>

#include "draw/canvas/canvas.h"

namespace marvik {

// Where a label stands. Device units, y down.
struct LabelBox {
  CanvasPoint corner;  // bottom left of the text
  CanvasPoint size;
};

// The box of a text of that size that touches the circle around `body` from outside, in the direction (dx, dy), which
// need not be a unit vector; without a direction the box stands to the upper right.
CanvasPoint LabelCorner(CanvasPoint body, double bodyRadius, CanvasPoint size, double dx, double dy);

// For more labels than anyone can read: a picture's area in small cells, where the first label to come takes its place.
class LabelOccupancy {
 public:
  // Upper left corner and size of the picture, and side of a cell, which is best a fraction of a text's height.
  void Reset(CanvasPoint origin, CanvasPoint size, double cell);
  // True, and the place is taken, when the box lies in the picture and no earlier one lies there.
  bool Take(const LabelBox& label);
  // Whether the cell of a point is taken; a quick look before the box is worked out.
  bool IsTaken(CanvasPoint at) const;

 private:
  CanvasPoint origin_;
  double cell_ = 1.0;
  int columns_ = 0;
  int rows_ = 0;
  std::vector<uint8_t> taken_;
};

}  // namespace marvik
