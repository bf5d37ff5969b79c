#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>

#include "draw/canvas/canvas.h"

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

// Where a convex shape meets horizontal lines, kSubRows to a pixel row; left > right where it does not. A block of rows
// is made at a time by loops without branches, which the compiler turns into vector instructions.
inline constexpr int kBlockRows = 8;
struct Chords {
  int count = 0;
  std::array<float, kBlockRows * kSubRows> left;
  std::array<float, kBlockRows * kSubRows> right;
};
inline constexpr float kNoChord = 1e9f;

// centre + cos t · p + sin t · q as rows: about dy·lean ± slope·√(halfHeight² - dy²).
class EllipseRows {
 public:
  explicit EllipseRows(const EllipseShape& e);
  bool Valid() const { return valid_; }
  double Top() const { return centre_.y - halfHeight_; }
  double Bottom() const { return centre_.y + halfHeight_; }
  double Left() const { return centre_.x - halfWidth_; }
  double Right() const { return centre_.x + halfWidth_; }
  void At(double y, double step, Chords& c) const {
    const auto first = static_cast<float>(y - centre_.y);
    const auto down = static_cast<float>(step);
    const auto x = static_cast<float>(centre_.x);
    const auto height = static_cast<float>(halfHeight_);
    const float lean = lean_;
    const float slope = slope_;
    float* left = c.left.data();
    float* right = c.right.data();
    for (int i = 0; i < c.count; ++i) {
      const float dy = first + down * static_cast<float>(i);
      const float inside = (height - dy) * (height + dy);
      const float half = slope * std::sqrt(inside > 0.0f ? inside : 0.0f);
      const float middle = x + dy * lean;
      left[i] = inside > 0.0f ? middle - half : kNoChord;
      right[i] = inside > 0.0f ? middle + half : -kNoChord;
    }
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
  void At(double y, double step, Chords& c) const {
    const auto first = static_cast<float>(y - a_.y);
    const auto down = static_cast<float>(step);
    const auto ax = static_cast<float>(a_.x);
    // All relative to the upper end: the two discs, then the two long edges.
    float* left = c.left.data();
    float* right = c.right.data();
    for (int i = 0; i < c.count; ++i) {
      const float dy = first + down * static_cast<float>(i);
      const float dyB = dy - height_;
      const float inA = (reach_ - dy) * (reach_ + dy);
      const float inB = (reach_ - dyB) * (reach_ + dyB);
      const float halfA = std::sqrt(inA > 0.0f ? inA : 0.0f);
      const float halfB = std::sqrt(inB > 0.0f ? inB : 0.0f);
      const float t0 = (dy - sideY_) * perHeight_;
      const float t1 = (dy + sideY_) * perHeight_;
      const float x0 = sideX_ + t0 * width_;
      const float x1 = t1 * width_ - sideX_;
      const float leftA = inA > 0.0f ? -halfA : kNoChord;
      const float rightA = inA > 0.0f ? halfA : -kNoChord;
      const float leftB = inB > 0.0f ? width_ - halfB : kNoChord;
      const float rightB = inB > 0.0f ? width_ + halfB : -kNoChord;
      const float left1 = t1 >= 0.0f && t1 <= 1.0f ? x1 : kNoChord;
      const float right1 = t1 >= 0.0f && t1 <= 1.0f ? x1 : -kNoChord;
      const float left0 = t0 >= 0.0f && t0 <= 1.0f ? x0 : kNoChord;
      const float right0 = t0 >= 0.0f && t0 <= 1.0f ? x0 : -kNoChord;
      const float leftEnds = leftA < leftB ? leftA : leftB;
      const float rightEnds = rightA > rightB ? rightA : rightB;
      const float leftSides = left0 < left1 ? left0 : left1;
      const float rightSides = right0 > right1 ? right0 : right1;
      left[i] = ax + (leftEnds < leftSides ? leftEnds : leftSides);
      right[i] = ax + (rightEnds > rightSides ? rightEnds : rightSides);
    }
  }
  bool Exactly(double y, double& left, double& right) const;

 private:
  CanvasPoint a_;  // the upper end
  CanvasPoint b_;
  CanvasPoint side_;  // from the middle line to one long edge
  double radius_ = 0.0;
  bool valid_ = false;
  // The same relative to the upper end; perHeight_ is so large for a level line that no edge is ever met.
  float reach_ = 0.0f;
  float width_ = 0.0f;
  float height_ = 0.0f;
  float perHeight_ = 0.0f;
  float sideX_ = 0.0f;
  float sideY_ = 0.0f;
};

// A convex polygon of three or four corners, which most polygons in a picture are. Level edges count for nothing, a row
// through a corner belongs to the edge below it.
class ConvexRows {
 public:
  explicit ConvexRows(std::span<const CanvasPoint> corners);
  // False for anything else than such a polygon.
  bool Valid() const { return edgeCount_ >= 2; }
  double Top() const { return top_; }
  double Bottom() const { return bottom_; }
  void At(double y, double step, Chords& c) const {
    float* left = c.left.data();
    float* right = c.right.data();
    for (int i = 0; i < c.count; ++i) {
      left[i] = kNoChord;
      right[i] = -kNoChord;
    }
    const auto down = static_cast<float>(step);
    for (int k = 0; k < edgeCount_; ++k) {
      const Edge& edge = edges_[static_cast<size_t>(k)];
      const auto first = static_cast<float>(y - edge.top.y);
      const auto height = static_cast<float>(edge.height);
      const auto x0 = static_cast<float>(edge.top.x);
      const auto lean = static_cast<float>(edge.lean);
      for (int i = 0; i < c.count; ++i) {
        const float dy = first + down * static_cast<float>(i);
        const float x = x0 + dy * lean;
        const bool met = dy >= 0.0f && dy < height;
        const float leftX = met ? x : kNoChord;
        const float rightX = met ? x : -kNoChord;
        left[i] = left[i] < leftX ? left[i] : leftX;
        right[i] = right[i] > rightX ? right[i] : rightX;
      }
    }
  }
  bool Exactly(double y, double& left, double& right) const;

 private:
  struct Edge {
    CanvasPoint top;
    double height = 0.0;
    double lean = 0.0;  // x per y
  };
  std::array<Edge, 4> edges_;
  int edgeCount_ = 0;
  double top_ = 0.0;
  double bottom_ = 0.0;
};

// Pixel whose area holds a coordinate, within int however far away.
inline int PixelHolding(double v) {
  return static_cast<int>(std::floor(std::clamp(v, -1e8, 1e8) + 0.5));
}

// What a row of chords leaves to draw: columns first..last, of which solidFirst..solidLast are covered completely.
struct RowParts {
  int first;
  int last;
  int solidFirst;
  int solidLast;
};

inline RowParts PartsOf(const float* lefts, const float* rights, int x0, int x1) {
  float outerLeft = lefts[0];
  float innerLeft = lefts[0];
  float outerRight = rights[0];
  float innerRight = rights[0];
  for (int i = 1; i < kSubRows; ++i) {
    outerLeft = lefts[i] < outerLeft ? lefts[i] : outerLeft;
    innerLeft = lefts[i] > innerLeft ? lefts[i] : innerLeft;
    outerRight = rights[i] > outerRight ? rights[i] : outerRight;
    innerRight = rights[i] < innerRight ? rights[i] : innerRight;
  }
  // Cut to one pixel beyond the sides and counted from there, so that truncation rounds down.
  const auto low = static_cast<float>(x0 - 1);
  const auto high = static_cast<float>(x1 + 1);
  const auto cut = [=](float v) { return (v < low ? low : v < high ? v : high) - low; };
  const auto down = [=](float v) { return static_cast<int>(cut(v) + 0.5f) + x0 - 1; };  // the pixel it lies in
  const auto up = [=](float v) {
    return x1 + 1 - static_cast<int>(high - low - cut(v) + 0.5f);
  };  // the same, from above
  RowParts r{down(outerLeft), up(outerRight), up(innerLeft) + 1, down(innerRight) - 1};
  r.first = r.first < x0 ? x0 : r.first;
  r.last = r.last > x1 ? x1 : r.last;
  r.solidFirst = r.solidFirst < r.first ? r.first : r.solidFirst;
  r.solidLast = r.solidLast > r.last ? r.last : r.solidLast;
  return r;
}

// Parts of 255 of pixel x that lie between the chords' ends.
inline unsigned CoverOf(const float* lefts, const float* rights, int x) {
  const float a = static_cast<float>(x) - 0.5f;
  const float b = a + 1.0f;
  float sum = 0.0f;
  for (int i = 0; i < kSubRows; ++i) {
    const float right = rights[i] < b ? rights[i] : b;
    const float left = lefts[i] > a ? lefts[i] : a;
    const float width = right - left;
    sum += width > 0.0f ? width : 0.0f;
  }
  return static_cast<unsigned>(sum * (255.0f / kSubRows) + 0.5f);
}

// Hands a convex shape to `sink` row by row: sink.Span(y, x0, x1) for whole pixels and sink.Part(y, x, cover) for
// partly covered ones, 1..255, all inside `box`.
template <class Rows, class Sink>
void FillSmooth(const Rows& rows, const PixelBox& box, Sink& sink) {
  if (!rows.Valid()) return;
  const int last = std::min(box.y1, PixelHolding(rows.Bottom()));
  constexpr double kStep = 1.0 / kSubRows;
  Chords chords;
  int inBlock = kBlockRows;
  for (int y = std::max(box.y0, PixelHolding(rows.Top())); y <= last; ++y, ++inBlock) {
    if (inBlock == kBlockRows) {
      chords.count = std::min(kBlockRows, last - y + 1) * kSubRows;
      rows.At(y - 0.5 + kStep / 2, kStep, chords);
      inBlock = 0;
    }
    const float* lefts = chords.left.data() + inBlock * kSubRows;
    const float* rights = chords.right.data() + inBlock * kSubRows;
    const RowParts parts = PartsOf(lefts, rights, box.x0, box.x1);
    const auto blend = [&](int from, int to) {
      for (int x = from; x <= to; ++x) {
        if (const unsigned cover = CoverOf(lefts, rights, x)) sink.Part(y, x, cover);
      }
    };
    if (parts.solidFirst > parts.solidLast) {
      blend(parts.first, parts.last);
      continue;
    }
    blend(parts.first, parts.solidFirst - 1);
    sink.Span(y, parts.solidFirst, parts.solidLast);
    blend(parts.solidLast + 1, parts.last);
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
