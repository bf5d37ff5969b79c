#include "draw/labels/label_layout.h"

#include <algorithm>
#include <cmath>

namespace marvik {

CanvasPoint LabelCorner(CanvasPoint body, double bodyRadius, CanvasPoint size, double dx, double dy) {
  const double length = std::sqrt(dx * dx + dy * dy);
  if (!(length > 1e-9) || !std::isfinite(length)) return LabelCorner(body, bodyRadius, size, 1.0, -1.0);
  dx /= length;
  dy /= length;
  // The middle of the box is as far out as the circle and the box reach in that direction together: the box's reach is
  // where the ray leaves it, softened to an ellipse so that it does not jerk as the direction turns.
  const double halfX = std::max(size.x / 2, 1e-9);
  const double halfY = std::max(size.y / 2, 1e-9);
  const double acrossX = dx * halfY;
  const double acrossY = dy * halfX;
  double out = bodyRadius + halfX * halfY / std::sqrt(acrossX * acrossX + acrossY * acrossY);
  // A corner of the box may still lie in the circle: further out until it does not.
  for (int i = 0; i < 3; ++i) {
    const double x = std::max(std::abs(dx) * out - halfX, 0.0);
    const double y = std::max(std::abs(dy) * out - halfY, 0.0);
    const double square = x * x + y * y;
    if (square >= bodyRadius * bodyRadius) break;
    out += bodyRadius - std::sqrt(square);
  }
  return {body.x + dx * out - size.x / 2, body.y + dy * out + size.y / 2};
}

void LabelOccupancy::Reset(CanvasPoint origin, CanvasPoint size, double cell) {
  origin_ = origin;
  cell_ = std::max(cell, 1.0);
  columns_ = static_cast<int>(std::clamp(size.x / cell_, 0.0, 8192.0)) + 1;
  rows_ = static_cast<int>(std::clamp(size.y / cell_, 0.0, 8192.0)) + 1;
  taken_.assign(static_cast<size_t>(columns_) * static_cast<size_t>(rows_), 0);
}

bool LabelOccupancy::Take(const LabelBox& label) {
  const auto cellOf = [this](double v, int count) {
    return static_cast<int>(std::clamp(std::floor(v / cell_), -1.0, static_cast<double>(count)));
  };
  const int left = cellOf(label.corner.x - origin_.x, columns_);
  const int right = cellOf(label.corner.x + label.size.x - origin_.x, columns_);
  const int top = cellOf(label.corner.y - label.size.y - origin_.y, rows_);
  const int bottom = cellOf(label.corner.y - origin_.y, rows_);
  const int x0 = std::max(left, 0);
  const int x1 = std::min(right, columns_ - 1);
  const int y0 = std::max(top, 0);
  const int y1 = std::min(bottom, rows_ - 1);
  if (x0 > x1 || y0 > y1) return false;
  const auto row = [this](int y) { return taken_.begin() + static_cast<std::ptrdiff_t>(y) * columns_; };
  for (int y = y0; y <= y1; ++y) {
    if (std::any_of(row(y) + x0, row(y) + x1 + 1, [](uint8_t t) { return t != 0; })) return false;
  }
  for (int y = y0; y <= y1; ++y) std::fill(row(y) + x0, row(y) + x1 + 1, uint8_t{1});
  return true;
}

bool LabelOccupancy::IsTaken(CanvasPoint at) const {
  const double x = std::floor((at.x - origin_.x) / cell_);
  const double y = std::floor((at.y - origin_.y) / cell_);
  if (!(x >= 0.0 && y >= 0.0 && x < columns_ && y < rows_)) return false;
  return taken_[static_cast<size_t>(y) * static_cast<size_t>(columns_) + static_cast<size_t>(x)] != 0;
}

}  // namespace marvik
