#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "draw/canvas/canvas.h"

namespace marvik {

// One label to be placed. Device units, y down.
struct LabelBox {
  CanvasPoint corner;  // bottom left of the text
  CanvasPoint size;
  CanvasPoint body;         // middle of what is drawn for the atom
  double bodyRadius = 0.0;  // of what is drawn in the label's direction, a gap included
  bool fixed = false;       // placed by the user
};

// The box of a text of that size that touches the circle around `body` from outside, in the direction (dx, dy), which
// need not be a unit vector; without a direction the box stands to the upper right.
CanvasPoint LabelCorner(CanvasPoint body, double bodyRadius, CanvasPoint size, double dx, double dy);

// Shifts a box straight away from its atom until it is clear of it.
void ClearBody(LabelBox& label);

// Points of the plane by square cells, for looking at those near a place. Work arrays are kept.
class PointGrid {
 public:
  void Build(std::span<const CanvasPoint> points, double cell);
  // visit(index) for every point in the cell of `at` and in the eight around it, cell by cell, in ascending order
  // there.
  template <class Visit>
  void ForEachNear(CanvasPoint at, Visit visit) const {
    const int64_t column = CellOf(at.x);
    const int64_t row = CellOf(at.y);
    for (int64_t c = column - 1; c <= column + 1; ++c) {
      for (int64_t r = row - 1; r <= row + 1; ++r) {
        const uint32_t bucket = BucketOf(c, r);
        for (uint32_t k = start_[bucket]; k < start_[bucket + 1]; ++k) {
          const Entry& entry = entries_[k];
          // Two cells may share a bucket.
          if (entry.column == c && entry.row == r) visit(entry.index);
        }
      }
    }
  }

 private:
  struct Entry {
    int64_t column;
    int64_t row;
    uint32_t index;
  };
  int64_t CellOf(double v) const;
  uint32_t BucketOf(int64_t column, int64_t row) const;

  double cell_ = 1.0;
  uint32_t mask_ = 0;
  std::vector<uint32_t> start_;
  std::vector<Entry> entries_;
};

// Moves boxes that overlap apart, each by at most the height of a text, and keeps them clear of their own atoms. Small
// changes of the input move the result little, so that labels glide while the model turns. Cost grows with the number
// of labels and of overlaps.
class LabelSpreader {
 public:
  void Spread(std::span<LabelBox> labels);

 private:
  bool PushApart(std::span<const LabelBox> labels, double cell);

  std::vector<CanvasPoint> home_;
  std::vector<CanvasPoint> corners_;
  std::vector<CanvasPoint> push_;
  PointGrid grid_;
};

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
