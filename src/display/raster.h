#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>

#include "display/canvas.h"

namespace marvik {

// 32-bit pixels that somebody else owns; `stride` counts pixels from one row to the next.
struct Surface {
  uint32_t* pixels = nullptr;
  int width = 0;
  int height = 0;
  ptrdiff_t stride = 0;

  uint32_t* Row(int y) const { return pixels + y * stride; }
};

// The pixels x0..x1, y0..y1, all included; nothing when x0 > x1 or y0 > y1.
struct PixelBox {
  int x0 = 0;
  int y0 = 0;
  int x1 = -1;
  int y1 = -1;
};

// Coordinates beyond this, in pixels, are taken for mistakes.
inline constexpr double kFarthest = 1e7;

// `cover` of 255 parts of `source` over an opaque pixel.
inline uint32_t BlendPixel(uint32_t under, uint32_t source, unsigned cover) {
  const uint32_t a = cover + (cover >> 7);
  const uint32_t b = 256u - a;
  const uint32_t redBlue = ((under & 0xff00ffu) * b + (source & 0xff00ffu) * a) >> 8 & 0xff00ffu;
  const uint32_t green = ((under & 0x00ff00u) * b + (source & 0x00ff00u) * a) >> 8 & 0x00ff00u;
  return 0xff000000u | redBlue | green;
}

// A one-pixel line, the same pixels in either direction and however much of it is cut off by the surface's sides: at
// each step along the longer axis the pixel nearest to the ideal line. Broken styles are in phase with the surface.
void DrawThinLine(const Surface& surface, const LinePiece& piece, uint32_t colour, LineStyle style);
// The same with each step's colour shared between the two nearest pixels. Solid only.
void DrawSmoothThinLine(const Surface& surface, const LinePiece& piece, uint32_t colour);

// Rows that one pixel row is sampled in where edges are smooth.
inline constexpr int kSubRows = 4;

// Where a convex shape meets kSubRows horizontal lines; left > right where it does not.
struct Chords {
  std::array<float, kSubRows> left;
  std::array<float, kSubRows> right;
};
inline constexpr float kNoChord = 1e9f;

// The disc-like end of a chord calculation: half the chord of an ellipse's row as a multiple of its half width.
inline float HalfChord(float halfHeight, float dy) {
  const float inside = (halfHeight - dy) * (halfHeight + dy);
  return inside > 0.0f ? std::sqrt(inside) : -1.0f;
}

// centre + cos t · p + sin t · q as rows: about dy·lean ± slope·√(halfHeight² - dy²).
class EllipseRows {
 public:
  explicit EllipseRows(const EllipseShape& e);
  bool Valid() const { return valid_; }
  double Top() const { return centre_.y - halfHeight_; }
  double Bottom() const { return centre_.y + halfHeight_; }
  double Left() const { return centre_.x - halfWidth_; }
  double Right() const { return centre_.x + halfWidth_; }
  Chords At(double y, double step) const {
    Chords c;
    const auto first = static_cast<float>(y - centre_.y);
    const auto down = static_cast<float>(step);
    const auto x = static_cast<float>(centre_.x);
    const auto height = static_cast<float>(halfHeight_);
    for (int i = 0; i < kSubRows; ++i) {
      const float dy = first + down * static_cast<float>(i);
      const float half = HalfChord(height, dy);
      const float middle = x + dy * lean_;
      const auto n = static_cast<size_t>(i);
      c.left[n] = half < 0.0f ? kNoChord : middle - half * slope_;
      c.right[n] = half < 0.0f ? -kNoChord : middle + half * slope_;
    }
    return c;
  }
  // In double precision at one row; false where the shape does not reach.
  bool Exactly(double y, double& left, double& right) const;

 private:
  CanvasPoint centre_;
  double halfHeight_ = 0.0;
  double halfWidth_ = 0.0;
  float lean_ = 0.0f;
  float slope_ = 0.0f;
  double exactLean_ = 0.0;
  double exactSlope_ = 0.0;
  bool valid_ = false;
};

// A line with a half width and round caps: everything within `radius` of the segment.
class CapsuleRows {
 public:
  CapsuleRows(CanvasPoint a, CanvasPoint b, double radius);
  bool Valid() const { return valid_; }
  double Top() const { return a_.y - radius_; }
  double Bottom() const { return b_.y + radius_; }
  double Left() const { return std::min(a_.x, b_.x) - radius_; }
  double Right() const { return std::max(a_.x, b_.x) + radius_; }
  Chords At(double y, double step) const {
    Chords c;
    for (int i = 0; i < kSubRows; ++i) {
      double left = 0.0;
      double right = 0.0;
      const bool met = Exactly(y + step * i, left, right);
      c.left[static_cast<size_t>(i)] = met ? static_cast<float>(left) : kNoChord;
      c.right[static_cast<size_t>(i)] = met ? static_cast<float>(right) : -kNoChord;
    }
    return c;
  }
  bool Exactly(double y, double& left, double& right) const;

 private:
  CanvasPoint a_;  // the upper end
  CanvasPoint b_;
  CanvasPoint side_;  // from the middle line to one long edge
  double radius_ = 0.0;
  bool valid_ = false;
};

// Pixel whose area holds a coordinate, within int however far away.
inline int PixelHolding(double v) {
  return static_cast<int>(std::floor(std::clamp(v, -1e8, 1e8) + 0.5));
}

// Hands a convex shape to `sink` row by row: sink.Span(y, x0, x1) for whole pixels and sink.Part(y, x, cover) for
// partly covered ones, 1..255, all inside `box`.
template <class Rows, class Sink>
void FillSmooth(const Rows& rows, const PixelBox& box, Sink& sink) {
  if (!rows.Valid()) return;
  const int last = std::min(box.y1, PixelHolding(rows.Bottom()));
  constexpr double kStep = 1.0 / kSubRows;
  for (int y = std::max(box.y0, PixelHolding(rows.Top())); y <= last; ++y) {
    const Chords c = rows.At(y - 0.5 + kStep / 2, kStep);
    const auto [outerLeft, innerLeft] = std::minmax_element(c.left.begin(), c.left.end());
    const auto [innerRight, outerRight] = std::minmax_element(c.right.begin(), c.right.end());
    if (*outerLeft > *outerRight) continue;
    const auto clampX = [&box](float v) {
      return static_cast<int>(std::clamp(v, static_cast<float>(box.x0 - 1), static_cast<float>(box.x1 + 1)));
    };
    const int x0 = std::max(box.x0, clampX(std::floor(*outerLeft + 0.5f)));
    const int x1 = std::min(box.x1, clampX(std::ceil(*outerRight - 0.5f)));
    int full0 = clampX(std::ceil(*innerLeft + 0.5f));
    const int full1 = std::min(x1, clampX(std::floor(*innerRight - 0.5f)));
    const auto parts = [&](int from, int to) {
      for (int x = from; x <= to; ++x) {
        const float a = static_cast<float>(x) - 0.5f;
        const float b = a + 1.0f;
        float sum = 0.0f;
        for (size_t i = 0; i < kSubRows; ++i) {
          sum += std::max(0.0f, std::min(b, c.right[i]) - std::max(a, c.left[i]));
        }
        const auto cover = static_cast<unsigned>(sum * (255.0f / kSubRows) + 0.5f);
        if (cover > 0) sink.Part(y, x, cover);
      }
    };
    full0 = std::max(full0, x0);
    if (full0 > full1) {
      parts(x0, x1);
      continue;
    }
    parts(x0, full0 - 1);
    sink.Span(y, full0, full1);
    parts(full1 + 1, x1);
  }
}

// The same with whole pixels only: those whose middles lie inside, edges included.
template <class Rows, class Sink>
void FillPlain(const Rows& rows, const PixelBox& box, Sink& sink) {
  if (!rows.Valid()) return;
  const double bottom = std::min<double>(box.y1, rows.Bottom());
  for (int y = std::max(box.y0, PixelHolding(rows.Top())); y <= bottom; ++y) {
    double left = 0.0;
    double right = 0.0;
    if (!rows.Exactly(y, left, right)) continue;
    const int x0 = static_cast<int>(std::ceil(std::max<double>(left, box.x0)));
    const int x1 = static_cast<int>(std::floor(std::min<double>(right, box.x1)));
    if (x0 <= x1) sink.Span(y, x0, x1);
  }
}

template <class Rows, class Sink>
void FillRows(const Rows& rows, const PixelBox& box, bool smooth, Sink& sink) {
  smooth ? FillSmooth(rows, box, sink) : FillPlain(rows, box, sink);
}

}  // namespace marvik
