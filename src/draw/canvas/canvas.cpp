#include "draw/canvas/canvas.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace marvik {

std::array<TextRun, 3> RunsOf(std::string_view text, const TextShift& shift) {
  const size_t raised = std::min(shift.raised, text.size());
  const size_t lowered = std::min(shift.lowered, raised);
  return {{{text.substr(0, lowered)},
           {text.substr(lowered, raised - lowered), kLoweredBy, true},
           {text.substr(raised), -kRaisedBy, true}}};
}

// For devices that have nothing better: a polygon.
void Canvas::FillSector(const EllipseShape& shape, double t0, double t1, Rgb fill) {
  constexpr double kStep = 0.1;  // radians
  const int steps = std::max(1, static_cast<int>(std::ceil((t1 - t0) / kStep)));
  std::vector<CanvasPoint> points{shape.centre};
  for (int i = 0; i <= steps; ++i) {
    const double t = t0 + (t1 - t0) * i / steps;
    points.push_back(PointOn(shape, t));
  }
  Polygon(points, fill, {fill, 0.0, LineStyle::Solid});
}

CanvasPoint PointOn(const EllipseShape& e, double t) {
  const double c = std::cos(t);
  const double s = std::sin(t);
  return {e.centre.x + c * e.p.x + s * e.q.x, e.centre.y + c * e.p.y + s * e.q.y};
}

void Canvas::Facet(std::span<const CanvasPoint> points, Rgb, double, const Pen& outline) {
  std::vector<CanvasPoint> around(points.begin(), points.end());
  if (around.empty()) return;
  around.push_back(around.front());
  Polyline(around, outline);
}

}  // namespace marvik
