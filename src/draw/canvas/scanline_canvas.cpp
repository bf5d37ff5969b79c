#include "draw/canvas/scanline_canvas.h"

#include <numbers>

#include "draw/canvas/disc_stack.h"
#include "draw/labels/label_font.h"
#include "draw/labels/text_drawing.h"

namespace marvik {

namespace {

struct SurfaceSink {
  const Surface& surface;
  uint32_t colour;

  void Span(int y, int x0, int x1) { std::fill(surface.Row(y) + x0, surface.Row(y) + x1 + 1, colour); }
  void Part(int y, int x, unsigned cover) {
    uint32_t& pixel = surface.Row(y)[x];
    pixel = BlendPixel(pixel, colour, cover);
  }
};

// Keeps the greatest cover of each pixel, so that the pieces of one stroke do not darken each other.
struct MaskSink {
  uint8_t* mask;
  const PixelBox& box;

  uint8_t* At(int y, int x) const { return mask + ptrdiff_t{y - box.y0} * (box.x1 - box.x0 + 1) + (x - box.x0); }
  void Span(int y, int x0, int x1) { std::fill(At(y, x0), At(y, x1) + 1, uint8_t{255}); }
  void Part(int y, int x, unsigned cover) {
    uint8_t& m = *At(y, x);
    m = std::max(m, static_cast<uint8_t>(cover));
  }
};

struct Extent {
  double left = kNoChord;
  double top = kNoChord;
  double right = -kNoChord;
  double bottom = -kNoChord;
};

// False when a point is not finite or absurdly far away.
bool Measure(std::span<const CanvasPoint> points, Extent& extent) {
  for (const CanvasPoint& p : points) {
    if (!(std::abs(p.x) <= kFarthest) || !(std::abs(p.y) <= kFarthest)) return false;
    extent.left = std::min(extent.left, p.x);
    extent.right = std::max(extent.right, p.x);
    extent.top = std::min(extent.top, p.y);
    extent.bottom = std::max(extent.bottom, p.y);
  }
  return !points.empty();
}

PixelBox Common(const Extent& e, double margin, const PixelBox& box) {
  return {std::max(box.x0, PixelHolding(e.left - margin)), std::max(box.y0, PixelHolding(e.top - margin)),
          std::min(box.x1, PixelHolding(e.right + margin)), std::min(box.y1, PixelHolding(e.bottom + margin))};
}

bool IsEmpty(const PixelBox& box) {
  return box.x0 > box.x1 || box.y0 > box.y1;
}

// Cuts the segment to a rectangle; t0 and t1 are the fractions that are left. False when nothing is.
bool CutToBox(CanvasPoint a, CanvasPoint b, const Extent& box, double& t0, double& t1) {
  t0 = 0.0;
  t1 = 1.0;
  const auto cut = [&](double from, double to, double low, double high) {
    const double d = to - from;
    if (d == 0.0) return from >= low && from <= high;
    const double enter = ((d > 0.0 ? low : high) - from) / d;
    const double leave = ((d > 0.0 ? high : low) - from) / d;
    t0 = std::max(t0, enter);
    t1 = std::min(t1, leave);
    return t0 <= t1;
  };
  return cut(a.x, b.x, box.left, box.right) && cut(a.y, b.y, box.top, box.bottom);
}

CanvasPoint Between(CanvasPoint a, CanvasPoint b, double t) {
  return {a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t};
}

// True when both ends are middles of pixels that a line piece can name.
bool AsPiece(CanvasPoint a, CanvasPoint b, LinePiece& piece) {
  const auto whole = [](double v) { return std::abs(v) <= 32767.0 && v == static_cast<double>(static_cast<int>(v)); };
  if (!whole(a.x) || !whole(a.y) || !whole(b.x) || !whole(b.y)) return false;
  piece = {static_cast<int16_t>(a.x), static_cast<int16_t>(a.y), static_cast<int16_t>(b.x), static_cast<int16_t>(b.y)};
  return true;
}

// Lengths in pen widths, the round caps not counted.
struct DashPattern {
  double on;
  double off;
};
constexpr DashPattern kDashed{3.0, 3.0};
constexpr DashPattern kDotted{0.0, 2.0};

// The ellipse with both principal half axes made longer by `delta`; false when one would vanish.
bool Widened(const EllipseShape& e, double delta, EllipseShape& out) {
  // Principal axes of the conjugate pair.
  const double pp = e.p.x * e.p.x + e.p.y * e.p.y;
  const double qq = e.q.x * e.q.x + e.q.y * e.q.y;
  const double pq = e.p.x * e.q.x + e.p.y * e.q.y;
  const double t = 0.5 * std::atan2(2.0 * pq, pp - qq);
  const double c = std::cos(t);
  const double s = std::sin(t);
  const CanvasPoint major{c * e.p.x + s * e.q.x, c * e.p.y + s * e.q.y};
  const CanvasPoint minor{c * e.q.x - s * e.p.x, c * e.q.y - s * e.p.y};
  const double a = std::hypot(major.x, major.y);
  const double b = std::hypot(minor.x, minor.y);
  if (!(a + delta > 0.0) || !(b + delta > 0.0)) return false;
  const CanvasPoint along = a > 0.0 ? CanvasPoint{major.x / a, major.y / a} : CanvasPoint{1.0, 0.0};
  const CanvasPoint across{-along.y, along.x};
  out = {e.centre, {along.x * (a + delta), along.y * (a + delta)}, {across.x * (b + delta), across.y * (b + delta)}};
  return true;
}

}  // namespace

ScanlineCanvas::ScanlineCanvas(Image& image, LabelFont* font, ScanlineOptions options)
    : ScanlineCanvas(image.pixels.data(), image.width, image.height, image.width, font, options) {}

ScanlineCanvas::ScanlineCanvas(uint32_t* pixels, int width, int height, ptrdiff_t stride, LabelFont* font,
                               ScanlineOptions options)
    : font_(font), options_(options), stacks_(std::make_unique<DiscStackCache>()) {
  SetTarget(pixels, width, height, stride);
}

ScanlineCanvas::~ScanlineCanvas() = default;

void ScanlineCanvas::SetTarget(uint32_t* pixels, int width, int height, ptrdiff_t stride) {
  surface_ = pixels && width > 0 && height > 0 ? Surface{pixels, width, height, stride} : Surface{};
}

void ScanlineCanvas::Clear(Rgb colour) {
  smoothPieces_ = 0;
  for (int y = 0; y < surface_.height; ++y) std::fill_n(surface_.Row(y), surface_.width, PixelOf(colour));
}

void ScanlineCanvas::Lines(std::span<const LinePiece> pieces, const Pen& pen) {
  if (!(pen.width > 0.0)) return;
  const uint32_t colour = PixelOf(pen.colour);
  if (pen.width > 1.0) {
    for (const LinePiece& p : pieces) {
      Line({static_cast<double>(p.x1), static_cast<double>(p.y1)},
           {static_cast<double>(p.x2), static_cast<double>(p.y2)}, pen);
    }
  } else if (options_.smoothEdges && pen.style == LineStyle::Solid &&
             smoothPieces_ + pieces.size() <= static_cast<size_t>(std::max(options_.smoothPieces, 0))) {
    smoothPieces_ += pieces.size();
    for (const LinePiece& p : pieces) DrawSmoothThinLine(surface_, p, colour);
  } else {
    for (const LinePiece& p : pieces) DrawThinLine(surface_, p, colour, pen.style);
  }
}

void ScanlineCanvas::Line(CanvasPoint a, CanvasPoint b, const Pen& pen) {
  Polyline(std::array{a, b}, pen);
}

void ScanlineCanvas::FillEllipse(const EllipseShape& shape, Rgb fill, const Pen& outline) {
  SurfaceSink sink{surface_, PixelOf(fill)};
  const bool thin = outline.width <= 1.0 && outline.style == LineStyle::Solid;
  if (!(outline.width > 0.0)) {
    FillRows(EllipseRows(shape), Bounds(), options_.smoothEdges, sink);
  } else if (options_.smoothEdges && thin) {
    SurfaceSink edge{surface_, PixelOf(outline.colour)};
    EllipseShape grown;
    if (Widened(shape, 0.5, grown)) FillSmooth(EllipseRows(grown), Bounds(), edge);
    if (Widened(shape, -0.5, grown)) FillSmooth(EllipseRows(grown), Bounds(), sink);
  } else {
    FillRows(EllipseRows(shape), Bounds(), options_.smoothEdges, sink);
    if (thin) {
      PlainOutline(shape, PixelOf(outline.colour));
    } else {
      Arc(shape, 0.0, 2.0 * std::numbers::pi, outline);
    }
  }
}

// The pixels of the filled shape that have one beside, above or below them that is not part of it.
void ScanlineCanvas::PlainOutline(const EllipseShape& shape, uint32_t colour) {
  const EllipseRows rows(shape);
  if (!rows.Valid()) {
    // Seen edge on: a line along the longer half axis.
    const bool first = std::hypot(shape.p.x, shape.p.y) >= std::hypot(shape.q.x, shape.q.y);
    const CanvasPoint axis = first ? shape.p : shape.q;
    const CanvasPoint c = shape.centre;
    const std::array ends{CanvasPoint{c.x - axis.x, c.y - axis.y}, CanvasPoint{c.x + axis.x, c.y + axis.y}};
    return ThinPolyline(ends, {ColourOf(colour)});
  }
  struct Columns {
    int first;
    int last;
  };
  const auto columnsOf = [&](int y) {
    double left = 0.0;
    double right = 0.0;
    if (!rows.Exactly(y, left, right)) return Columns{1, 0};
    return Columns{static_cast<int>(std::ceil(std::max(left, -1e8))),
                   static_cast<int>(std::floor(std::min(right, 1e8)))};
  };
  const int top = std::max(0, PixelHolding(rows.Top()));
  const int bottom = std::min(surface_.height - 1, PixelHolding(rows.Bottom()));
  Columns above = columnsOf(top - 1);
  Columns here = columnsOf(top);
  SurfaceSink sink{surface_, colour};
  const auto draw = [&](int y, int from, int to) {
    from = std::max(from, 0);
    to = std::min(to, surface_.width - 1);
    if (from <= to) sink.Span(y, from, to);
  };
  for (int y = top; y <= bottom; ++y) {
    const Columns below = columnsOf(y + 1);
    const bool ends = above.first > above.last || below.first > below.last;
    const int inner0 = std::max({here.first + 1, above.first, below.first});
    const int inner1 = std::min({here.last - 1, above.last, below.last});
    if (ends || inner0 > inner1) {
      draw(y, here.first, here.last);
    } else {
      draw(y, here.first, inner0 - 1);
      draw(y, inner1 + 1, here.last);
    }
    above = here;
    here = below;
  }
}

void ScanlineCanvas::DiscStack(CanvasPoint centre, std::span<const Disc> discs) {
  const double x = std::nearbyint(centre.x);
  const double y = std::nearbyint(centre.y);
  const bool whole = x == centre.x && y == centre.y && std::abs(x) <= kFarthest && std::abs(y) <= kFarthest;
  if (whole && stacks_->Draw(surface_, static_cast<int>(x), static_cast<int>(y), discs, options_.smoothEdges)) return;
  Canvas::DiscStack(centre, discs);
}

void ScanlineCanvas::Arc(const EllipseShape& shape, double t0, double t1, const Pen& pen) {
  const double reach = std::max(std::hypot(shape.p.x, shape.p.y), std::hypot(shape.q.x, shape.q.y));
  if (!(t1 > t0) || !(t1 - t0 <= 7.0) || !(reach <= kFarthest)) return;
  // A chord of angle d is r·d²/8 from its arc: a twentieth of a pixel here.
  const double count = std::clamp((t1 - t0) * std::sqrt(reach / 0.4), 4.0, 4000.0);
  const int n = static_cast<int>(count);
  points_.clear();
  for (int i = 0; i <= n; ++i) {
    const double t = t0 + (t1 - t0) * i / n;
    const double c = std::cos(t);
    const double s = std::sin(t);
    points_.push_back({shape.centre.x + c * shape.p.x + s * shape.q.x, shape.centre.y + c * shape.p.y + s * shape.q.y});
  }
  Polyline(points_, pen);
}

void ScanlineCanvas::Polygon(std::span<const CanvasPoint> points, Rgb fill, const Pen& outline) {
  Extent extent;
  if (!Measure(points, extent)) return;
  FillPolygon(points, PixelOf(fill));
  if (!(outline.width > 0.0)) return;
  points_.assign(points.begin(), points.end());
  points_.push_back(points.front());
  Polyline(points_, outline);
}

void ScanlineCanvas::Facet(std::span<const CanvasPoint> points, Rgb fill, double opacity, const Pen& outline) {
  Extent extent;
  if (!Measure(points, extent)) return;
  const PixelBox box = Common(extent, 0.0, Bounds());
  const ConvexRows convex(points);
  if (!IsEmpty(box) && convex.Valid()) {
    mask_.assign(static_cast<size_t>(box.x1 - box.x0 + 1) * static_cast<size_t>(box.y1 - box.y0 + 1), 0);
    MaskSink sink{mask_.data(), box};
    FillRows(convex, box, options_.smoothEdges, sink);
    for (uint8_t& cover : mask_) cover = static_cast<uint8_t>(cover * std::clamp(opacity, 0.0, 1.0));
    DrawMask(box, PixelOf(fill));
  }
  Canvas::Facet(points, fill, opacity, outline);
}

// Even-odd rule.
void ScanlineCanvas::FillPolygon(std::span<const CanvasPoint> points, uint32_t colour) {
  Extent extent;
  if (!Measure(points, extent)) return;
  const PixelBox box = Common(extent, 0.0, Bounds());
  if (IsEmpty(box)) return;
  const ConvexRows convex(points);
  if (convex.Valid()) {
    SurfaceSink all{surface_, colour};
    return FillRows(convex, box, options_.smoothEdges, all);
  }
  const int subRows = options_.smoothEdges ? kSubRows : 1;
  const float weight = 255.0f / static_cast<float>(subRows);
  SurfaceSink sink{surface_, colour};
  coverage_.assign(static_cast<size_t>(box.x1 - box.x0 + 1), 0.0f);
  // One sample row: each stretch inside adds its width within every pixel.
  const auto addStretch = [&](float left, float right) {
    left = std::max(left, static_cast<float>(box.x0) - 0.5f);
    right = std::min(right, static_cast<float>(box.x1) + 0.5f);
    for (int x = PixelHolding(left); left < right && x <= box.x1; ++x) {
      const float a = static_cast<float>(x) - 0.5f;
      const float part = std::min(right, a + 1.0f) - std::max(left, a);
      if (part <= 0.0f) break;
      coverage_[static_cast<size_t>(x - box.x0)] += part;
    }
  };
  const auto plainStretch = [&](int y, float left, float right) {
    const int x0 = static_cast<int>(std::ceil(std::max(left, static_cast<float>(box.x0))));
    const int x1 = static_cast<int>(std::floor(std::min(right, static_cast<float>(box.x1))));
    if (x0 <= x1) sink.Span(y, x0, x1);
  };
  for (int y = box.y0; y <= box.y1; ++y) {
    for (int i = 0; i < subRows; ++i) {
      const double level = y - 0.5 + (i + 0.5) / subRows;
      crossings_.clear();
      for (size_t k = 0; k < points.size(); ++k) {
        const CanvasPoint a = points[k];
        const CanvasPoint b = points[k + 1 < points.size() ? k + 1 : 0];
        if ((a.y <= level) == (b.y <= level)) continue;
        crossings_.push_back(static_cast<float>(a.x + (level - a.y) / (b.y - a.y) * (b.x - a.x)));
      }
      std::sort(crossings_.begin(), crossings_.end());
      for (size_t k = 0; k + 1 < crossings_.size(); k += 2) {
        if (options_.smoothEdges) {
          addStretch(crossings_[k], crossings_[k + 1]);
        } else {
          plainStretch(y, crossings_[k], crossings_[k + 1]);
        }
      }
    }
    if (!options_.smoothEdges) continue;
    for (int x = box.x0; x <= box.x1; ++x) {
      float& sum = coverage_[static_cast<size_t>(x - box.x0)];
      const auto cover = static_cast<unsigned>(sum * weight + 0.5f);
      sum = 0.0f;
      if (cover > 0) sink.Part(y, x, std::min(cover, 255u));
    }
  }
}

void ScanlineCanvas::ThinPolyline(std::span<const CanvasPoint> points, const Pen& pen) {
  constexpr double kLimit = 32000.0;
  const Extent limits{-kLimit, -kLimit, kLimit, kLimit};
  for (size_t i = 0; i + 1 < points.size(); ++i) {
    double t0 = 0.0;
    double t1 = 1.0;
    if (!CutToBox(points[i], points[i + 1], limits, t0, t1)) continue;
    const CanvasPoint a = Between(points[i], points[i + 1], t0);
    const CanvasPoint b = Between(points[i], points[i + 1], t1);
    const auto whole = [](double v) { return static_cast<int16_t>(std::lround(v)); };
    DrawThinLine(surface_, {whole(a.x), whole(a.y), whole(b.x), whole(b.y)}, PixelOf(pen.colour), pen.style);
  }
}

void ScanlineCanvas::Polyline(std::span<const CanvasPoint> points, const Pen& pen) {
  Extent extent;
  if (!(pen.width > 0.0) || !(pen.width <= kFarthest) || !Measure(points, extent)) return;
  if (!options_.smoothEdges && pen.width <= 1.0) return ThinPolyline(points, pen);
  const double width = std::max(pen.width, 1.0);
  const PixelBox box = Common(extent, width, Bounds());
  if (IsEmpty(box)) return;
  if (points.size() <= 2 && pen.style == LineStyle::Solid) {
    LinePiece piece;
    if (pen.width <= 1.0 && AsPiece(points.front(), points.back(), piece)) {
      return DrawSmoothThinLine(surface_, piece, PixelOf(pen.colour));
    }
    SurfaceSink sink{surface_, PixelOf(pen.colour)};
    return FillRows(CapsuleRows(points.front(), points.back(), width / 2), Bounds(), options_.smoothEdges, sink);
  }
  const auto columns = static_cast<size_t>(box.x1 - box.x0 + 1);
  mask_.assign(columns * static_cast<size_t>(box.y1 - box.y0 + 1), 0);
  StrokeToMask(points, pen.style, width, box);
  DrawMask(box, PixelOf(pen.colour));
}

void ScanlineCanvas::StrokeToMask(std::span<const CanvasPoint> points, LineStyle style, double width,
                                  const PixelBox& box) {
  MaskSink sink{mask_.data(), box};
  const auto capsule = [&](CanvasPoint a, CanvasPoint b) {
    FillRows(CapsuleRows(a, b, width / 2), box, options_.smoothEdges, sink);
  };
  const Extent near{box.x0 - width, box.y0 - width, box.x1 + width, box.y1 + width};
  const DashPattern& dash = style == LineStyle::Dashed ? kDashed : kDotted;
  const double on = dash.on * width;
  const double period = (dash.on + dash.off) * width;
  double travelled = 0.0;  // along the whole line, so that the pattern runs around its corners
  for (size_t i = 0; i + 1 < points.size(); ++i) {
    const CanvasPoint a = points[i];
    const CanvasPoint b = points[i + 1];
    const double length = std::hypot(b.x - a.x, b.y - a.y);
    double t0 = 0.0;
    double t1 = 1.0;
    if (CutToBox(a, b, near, t0, t1)) {
      if (style == LineStyle::Solid || length == 0.0) {
        capsule(a, b);
      } else {
        const double end = travelled + length * t1;
        double start = std::floor((travelled + length * t0) / period) * period;
        for (; start <= end; start += period) {
          const double from = std::max(start - travelled, 0.0);
          const double to = std::min(start + on - travelled, length);
          if (from <= to) capsule(Between(a, b, from / length), Between(a, b, to / length));
        }
      }
    }
    travelled += length;
  }
}

void ScanlineCanvas::DrawMask(const PixelBox& box, uint32_t colour) {
  const uint8_t* cover = mask_.data();
  for (int y = box.y0; y <= box.y1; ++y) {
    uint32_t* row = surface_.Row(y);
    for (int x = box.x0; x <= box.x1; ++x, ++cover) {
      if (*cover) row[x] = BlendPixel(row[x], colour, *cover);
    }
  }
}

CanvasPoint ScanlineCanvas::TextSize(std::string_view text, const TextShift& shift) {
  if (!font_) return {};
  return {font_->Width(text, shift), font_->Ascent() + font_->Descent()};
}

void ScanlineCanvas::Text(CanvasPoint at, TextAnchor anchor, std::string_view text, const TextLook& look) {
  if (!font_) return;
  const bool centred = anchor == TextAnchor::Centre;
  const double pen = centred ? at.x - font_->Width(text, look.shift) / 2 : at.x;
  const double base = at.y + (centred ? (font_->Ascent() - font_->Descent()) / 2 : -font_->Descent());
  DrawText(surface_, *font_, {pen, base}, text, look);
}

}  // namespace marvik
