#include "draw/labels/label_layout.h"

#include <algorithm>
#include <cmath>

namespace marvik {

namespace {

constexpr int kRounds = 6;

// How far two boxes must part in each direction, negative when they are apart there already.
CanvasPoint Overlap(const LabelBox& a, const LabelBox& b) {
  const double dx = std::abs((a.corner.x + a.size.x / 2) - (b.corner.x + b.size.x / 2));
  const double dy = std::abs((a.corner.y - a.size.y / 2) - (b.corner.y - b.size.y / 2));
  return {(a.size.x + b.size.x) / 2 - dx, (a.size.y + b.size.y) / 2 - dy};
}

}  // namespace

void ClearBody(LabelBox& label) {
  const double left = label.corner.x;
  const double right = left + label.size.x;
  const double bottom = label.corner.y;
  const double top = bottom - label.size.y;
  const double nearX = std::clamp(label.body.x, left, right) - label.body.x;
  const double nearY = std::clamp(label.body.y, top, bottom) - label.body.y;
  const double distance = std::sqrt(nearX * nearX + nearY * nearY);
  if (distance >= label.bodyRadius) return;
  const double awayX = left + label.size.x / 2 - label.body.x;
  const double awayY = bottom - label.size.y / 2 - label.body.y;
  const double length = std::hypot(awayX, awayY);
  if (length <= 0.0) return;
  label.corner.x += awayX / length * (label.bodyRadius - distance);
  label.corner.y += awayY / length * (label.bodyRadius - distance);
}

CanvasPoint LabelCorner(CanvasPoint body, double bodyRadius, CanvasPoint size, double dx, double dy) {
  const double length = std::hypot(dx, dy);
  if (!(length > 1e-9) || !std::isfinite(length)) return LabelCorner(body, bodyRadius, size, 1.0, -1.0);
  dx /= length;
  dy /= length;
  // The middle of the box is as far out as the circle and the box reach in that direction together: the box's reach is
  // where the ray leaves it, softened to an ellipse so that it does not jerk as the direction turns.
  const double halfX = std::max(size.x / 2, 1e-9);
  const double halfY = std::max(size.y / 2, 1e-9);
  const double reach = 1.0 / std::hypot(dx / halfX, dy / halfY);
  LabelBox box{{body.x + dx * (bodyRadius + reach) - size.x / 2, body.y + dy * (bodyRadius + reach) + size.y / 2},
               size,
               body,
               bodyRadius,
               false};
  for (int i = 0; i < 3; ++i) ClearBody(box);
  return box.corner;
}

int64_t PointGrid::CellOf(double v) const {
  return static_cast<int64_t>(std::floor(std::clamp(v / cell_, -1e9, 1e9)));
}

uint32_t PointGrid::BucketOf(int64_t column, int64_t row) const {
  return static_cast<uint32_t>(static_cast<uint64_t>(column) * 73856093u ^ static_cast<uint64_t>(row) * 19349663u) &
         mask_;
}

void PointGrid::Build(std::span<const CanvasPoint> points, double cell) {
  cell_ = cell >= 1.0 ? cell : 1.0;  // a canvas without a font measures texts as nothing
  uint32_t buckets = 64;
  while (buckets < points.size()) buckets *= 2;
  mask_ = buckets - 1;
  // A counting sort: start_[b + 2] counts, then start_[b + 1] runs from the start of bucket b to its end.
  start_.assign(buckets + 2, 0);
  entries_.resize(points.size());
  for (const CanvasPoint& p : points) ++start_[BucketOf(CellOf(p.x), CellOf(p.y)) + 2];
  for (size_t i = 1; i < start_.size(); ++i) start_[i] += start_[i - 1];
  for (uint32_t i = 0; i < points.size(); ++i) {
    const int64_t column = CellOf(points[i].x);
    const int64_t row = CellOf(points[i].y);
    entries_[start_[BucketOf(column, row) + 1]++] = {column, row, i};
  }
}

// One round of pushes of half an overlap each; false when nothing overlaps.
bool LabelSpreader::PushApart(std::span<const LabelBox> labels, double cell) {
  corners_.resize(labels.size());
  for (size_t i = 0; i < labels.size(); ++i) corners_[i] = labels[i].corner;
  grid_.Build(corners_, cell);
  push_.assign(labels.size(), {});
  bool any = false;
  for (uint32_t i = 0; i < labels.size(); ++i) {
    grid_.ForEachNear(corners_[i], [&](uint32_t j) {
      const LabelBox& a = labels[i];
      const LabelBox& b = labels[j];
      if (j <= i || (a.fixed && b.fixed)) return;
      const CanvasPoint over = Overlap(a, b);
      if (over.x <= 0.0 || over.y <= 0.0) return;
      any = true;
      const double share = a.fixed || b.fixed ? 1.0 : 0.5;
      // Texts are wide: parting them one above the other is the shorter way nearly always. The first in the list goes
      // up or left when two stand level.
      if (over.y <= over.x) {
        const bool above = a.corner.y - a.size.y / 2 <= b.corner.y - b.size.y / 2;
        push_[i].y -= above ? share * over.y : -share * over.y;
        push_[j].y += above ? share * over.y : -share * over.y;
      } else {
        const bool before = a.corner.x + a.size.x / 2 <= b.corner.x + b.size.x / 2;
        push_[i].x -= before ? share * over.x : -share * over.x;
        push_[j].x += before ? share * over.x : -share * over.x;
      }
    });
  }
  return any;
}

void LabelSpreader::Spread(std::span<LabelBox> labels) {
  if (labels.size() < 2) return;
  double widest = 1.0;
  home_.resize(labels.size());
  for (size_t i = 0; i < labels.size(); ++i) {
    home_[i] = labels[i].corner;
    widest = std::max({widest, labels[i].size.x, labels[i].size.y});
  }
  for (int round = 0; round < kRounds && PushApart(labels, widest); ++round) {
    for (size_t i = 0; i < labels.size(); ++i) {
      LabelBox& label = labels[i];
      if (label.fixed || (push_[i].x == 0.0 && push_[i].y == 0.0)) continue;
      const double most = label.size.y;
      label.corner.x = std::clamp(label.corner.x + push_[i].x, home_[i].x - most, home_[i].x + most);
      label.corner.y = std::clamp(label.corner.y + push_[i].y, home_[i].y - most, home_[i].y + most);
      ClearBody(label);
    }
  }
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
