#include <algorithm>
#include <cmath>

#include "draw/renderer/render_frame.h"

namespace marvik {
namespace {

// From a line to the next: pixels of the screen, and points in figures made of lines.
constexpr double kPixelPeriod = 2.6;
constexpr double kPeriod = 1.8;
constexpr double kDot = 0.21;    // radius, of a period
constexpr int kMostLines = 400;  // across a body that is zoomed into

// Where the line of all points x with normal · (x - centre) = k cuts the ellipse; false where it does not.
bool Chord(const EllipseShape& e, CanvasPoint normal, double k, CanvasPoint& from, CanvasPoint& to) {
  const double alongP = normal.x * e.p.x + normal.y * e.p.y;
  const double alongQ = normal.x * e.q.x + normal.y * e.q.y;
  const double reach = std::hypot(alongP, alongQ);
  if (!(std::abs(k) < reach)) return false;
  const double middle = std::atan2(alongQ, alongP);
  const double half = std::acos(k / reach);
  from = PointOn(e, middle - half);
  to = PointOn(e, middle + half);
  return true;
}

// Whether a disc of that radius about the point lies in the ellipse, nearly.
bool Holds(const EllipseShape& e, CanvasPoint at, double radius) {
  const double x = at.x - e.centre.x, y = at.y - e.centre.y;
  const double distance = std::hypot(x, y);
  if (distance < 1e-9) return true;
  const CanvasPoint direction{x / distance, y / distance};
  const double det = e.p.x * e.q.y - e.p.y * e.q.x;
  const double u = (direction.x * e.q.y - direction.y * e.q.x) / det;
  const double v = (e.p.x * direction.y - e.p.y * direction.x) / det;
  return (distance + radius) * std::hypot(u, v) < 1.0;
}

}  // namespace

// By the textures of the element table, in the middle of the body so that equal ones look alike.
void RenderFrame::DrawPattern(const EllipseShape& shape, int texture) {
  struct Family {
    int texture;
    CanvasPoint normal;
    double period;
  };
  constexpr double kSlant = 0.70710678118654752;
  static constexpr Family kFamilies[] = {{2, {0, 1}, 1.0},           {3, {1, 0}, 1.0},
                                         {4, {0, 1}, 1.4},           {4, {1, 0}, 1.4},
                                         {5, {kSlant, kSlant}, 1.0}, {6, {kSlant, -kSlant}, 1.0},
                                         {7, {kSlant, kSlant}, 1.6}, {7, {kSlant, -kSlant}, 1.6}};
  const double period = (map_.whole ? kPixelPeriod : kPeriod) * map_.unit;
  const double reach = std::hypot(std::hypot(shape.p.x, shape.p.y), std::hypot(shape.q.x, shape.q.y));
  if (!(reach > period) || reach > kMostLines * period) return;
  const Pen pen{kBlack, 0.5 * map_.unit, LineStyle::Solid};
  for (const Family& family : kFamilies) {
    if (family.texture != texture) continue;
    const double step = family.period * period;
    const int most = static_cast<int>(reach / step);
    for (int i = -most; i <= most; ++i) {
      CanvasPoint a, b;
      if (Chord(shape, family.normal, i * step, a, b)) canvas_->Line(a, b, pen);
    }
  }
  if (texture != 1) return;
  const int most = static_cast<int>(reach / period) + 1;
  const double dot = kDot * period;
  for (int row = -most; row <= most; ++row) {
    for (int column = -most; column <= most; ++column) {
      const CanvasPoint at{shape.centre.x + (column + 0.5 * (row & 1)) * period, shape.centre.y + row * 0.87 * period};
      if (Holds(shape, at, dot))
        canvas_->FillEllipse({at, {dot, 0.0}, {0.0, dot}}, kBlack, {kBlack, 0.0, LineStyle::Solid});
    }
  }
}

}  // namespace marvik
