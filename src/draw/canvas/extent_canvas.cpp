#include "draw/canvas/extent_canvas.h"

#include <algorithm>
#include <cmath>

namespace marvik {

void ExtentCanvas::Take(double y, double reach) {
  if (!std::isfinite(y) || !std::isfinite(reach)) return;
  top_ = std::min(top_, y - reach);
  bottom_ = std::max(bottom_, y + reach);
}

void ExtentCanvas::Lines(std::span<const LinePiece> pieces, const Pen& pen) {
  for (const LinePiece& p : pieces)
    Line({static_cast<double>(p.x1), static_cast<double>(p.y1)}, {static_cast<double>(p.x2), static_cast<double>(p.y2)},
         pen);
}

void ExtentCanvas::Line(CanvasPoint a, CanvasPoint b, const Pen& pen) {
  Take(a.y, pen.width / 2.0);
  Take(b.y, pen.width / 2.0);
}

void ExtentCanvas::FillEllipse(const EllipseShape& shape, Rgb, const Pen& outline) {
  Take(shape.centre.y, std::hypot(shape.p.y, shape.q.y) + outline.width / 2.0);
}

// As the whole ellipse: what it is a part of is drawn as well.
void ExtentCanvas::Arc(const EllipseShape& shape, double, double, const Pen& pen) {
  FillEllipse(shape, pen.colour, pen);
}

void ExtentCanvas::FillSector(const EllipseShape& shape, double, double, Rgb fill) {
  FillEllipse(shape, fill, {fill, 0.0});
}

void ExtentCanvas::Polygon(std::span<const CanvasPoint> points, Rgb, const Pen& outline) {
  Polyline(points, outline);
}

void ExtentCanvas::Polyline(std::span<const CanvasPoint> points, const Pen& pen) {
  for (const CanvasPoint& p : points) Take(p.y, pen.width / 2.0);
}

void ExtentCanvas::Text(CanvasPoint at, TextAnchor anchor, std::string_view text, const TextLook& look) {
  const double height = TextSize(text, look.shift).y;
  Take(at.y - (anchor == TextAnchor::Centre ? 0.0 : height / 2.0), height / 2.0 + look.rim);
}

CanvasPoint ExtentCanvas::TextSize(std::string_view text, const TextShift& shift) {
  return {font_.Width(text, shift), font_.Ascent() + font_.Descent()};
}

}  // namespace marvik
