#include "display/label_layout.h"

#include <algorithm>
#include <cmath>

namespace marvik {

namespace {

constexpr int kRounds = 6;

// Cells of a hash grid; neighbouring columns and rows spread over the table.
uint32_t HashCell(int64_t column, int64_t row) {
  return static_cast<uint32_t>(static_cast<uint64_t>(column) * 73856093u ^ static_cast<uint64_t>(row) * 19349663u);
}

int64_t CellOf(double v, double cell) {
  return static_cast<int64_t>(std::floor(v / cell));
}

// How far two boxes must part in each direction, negative when they are apart there already.
CanvasPoint Overlap(const LabelBox& a, const LabelBox& b) {
  const double dx = std::abs((a.corner.x + a.size.x / 2) - (b.corner.x + b.size.x / 2));
  const double dy = std::abs((a.corner.y - a.size.y / 2) - (b.corner.y - b.size.y / 2));
  return {(a.size.x + b.size.x) / 2 - dx, (a.size.y + b.size.y) / 2 - dy};
}

// Shifts a box straight away from its atom until it is clear of it.
void ClearBody(LabelBox& label) {
  const double left = label.corner.x;
  const double right = left + label.size.x;
  const double bottom = label.corner.y;
  const double top = bottom - label.size.y;
  const double nearX = std::clamp(label.body.x, left, right) - label.body.x;
  const double nearY = std::clamp(label.body.y, top, bottom) - label.body.y;
  const double distance = std::hypot(nearX, nearY);
  if (distance >= label.bodyRadius) return;
  const double awayX = left + label.size.x / 2 - label.body.x;
  const double awayY = bottom - label.size.y / 2 - label.body.y;
  const double length = std::hypot(awayX, awayY);
  if (length <= 0.0) return;
  label.corner.x += awayX / length * (label.bodyRadius - distance);
  label.corner.y += awayY / length * (label.bodyRadius - distance);
}

}  // namespace

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

void LabelSpreader::SortIntoGrid(std::span<const LabelBox> labels, double cell) {
  uint32_t buckets = 64;
  while (buckets < labels.size()) buckets *= 2;
  bucketMask_ = buckets - 1;
  bucketStart_.assign(buckets + 1, 0);
  order_.resize(labels.size());
  const auto bucket = [&](const LabelBox& l) {
    return HashCell(CellOf(l.corner.x, cell), CellOf(l.corner.y, cell)) & bucketMask_;
  };
  for (const LabelBox& label : labels) ++bucketStart_[bucket(label) + 1];
  for (size_t i = 1; i < bucketStart_.size(); ++i) bucketStart_[i] += bucketStart_[i - 1];
  for (size_t i = labels.size(); i-- > 0;) order_[--bucketStart_[bucket(labels[i]) + 1]] = static_cast<uint32_t>(i);
  // Each entry now holds the start of the bucket before it.
  for (size_t i = 0; i + 1 < bucketStart_.size(); ++i) bucketStart_[i] = bucketStart_[i + 1];
  bucketStart_.back() = static_cast<uint32_t>(labels.size());
}

void LabelSpreader::Spread(std::span<LabelBox> labels) {
  if (labels.size() < 2) return;
  double widest = 1.0;
  home_.resize(labels.size());
  for (size_t i = 0; i < labels.size(); ++i) {
    home_[i] = labels[i].corner;
    widest = std::max({widest, labels[i].size.x, labels[i].size.y});
  }
  for (int round = 0; round < kRounds; ++round) {
    SortIntoGrid(labels, widest);
    push_.assign(labels.size(), {});
    bool any = false;
    const auto part = [&](uint32_t i, uint32_t j) {
      const CanvasPoint over = Overlap(labels[i], labels[j]);
      if (over.x <= 0.0 || over.y <= 0.0 || (labels[i].fixed && labels[j].fixed)) return;
      any = true;
      const double share = labels[i].fixed || labels[j].fixed ? 1.0 : 0.5;
      // Texts are wide: parting them one above the other is the shorter way nearly always. The first in list order
      // goes up when two stand level.
      const bool vertical = over.y <= over.x;
      const double step = share * (vertical ? over.y : over.x);
      const double difference =
          vertical ? (labels[j].corner.y - labels[j].size.y / 2) - (labels[i].corner.y - labels[i].size.y / 2)
                   : (labels[j].corner.x + labels[j].size.x / 2) - (labels[i].corner.x + labels[i].size.x / 2);
      const double move = difference >= 0.0 ? step : -step;
      (vertical ? push_[i].y : push_[i].x) -= move;
      (vertical ? push_[j].y : push_[j].x) += move;
    };
    for (uint32_t i = 0; i < labels.size(); ++i) {
      const int64_t column = CellOf(labels[i].corner.x, widest);
      const int64_t row = CellOf(labels[i].corner.y, widest);
      for (int64_t c = column - 1; c <= column + 1; ++c) {
        for (int64_t r = row - 1; r <= row + 1; ++r) {
          const uint32_t b = HashCell(c, r) & bucketMask_;
          for (uint32_t k = bucketStart_[b]; k < bucketStart_[b + 1]; ++k) {
            const uint32_t j = order_[k];
            // Two cells may share a bucket: only what really lies in this one counts.
            if (j > i && CellOf(labels[j].corner.x, widest) == c && CellOf(labels[j].corner.y, widest) == r) part(i, j);
          }
        }
      }
    }
    if (!any) return;
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
