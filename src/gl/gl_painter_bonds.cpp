#include <algorithm>
#include <cmath>

#include "draw/canvas/colours.h"
#include "draw/renderer/bond_sticks.h"
#include "gl/gl_calls.h"
#include "gl/gl_painter.h"

namespace marvik {
namespace {

constexpr int kTubeSlices = 30;
constexpr int kMostPieces = 200;  // of a dashed or dotted stick
// Lengths of the pieces and gaps of interrupted sticks, in radii.
constexpr double kDash = 5.0;
constexpr double kDashGap = 4.0;
constexpr double kDotGap = 4.0;

ViewPoint Between(const ViewPoint& a, const ViewPoint& b, double t) {
  return a + (b - a) * t;
}

// Unit vector in the plane of the picture at right angles to the line, nothing for a line toward the viewer.
ViewPoint Across(const ViewPoint& a, const ViewPoint& b) {
  const double dx = b.x - a.x;
  const double dy = b.y - a.y;
  const double length = std::hypot(dx, dy);
  if (!(length > 0.0)) return {};
  const ViewPoint n{-dy / length, dx / length, 0.0};
  return n.y - n.x < 0.0 ? -n : n;
}

}  // namespace

// A cylinder along z from a, turned onto b.
void GlPainter::DrawRod(const ViewPoint& a, const ViewPoint& b, double radius, double widening, bool closed) {
  const ViewPoint d = b - a;
  const double length = Length(d);
  if (!(length > 0.0)) return;
  const bool upright = d.x == 0.0 && d.y == 0.0;
  glPushMatrix();
  glTranslated(a.x, a.y, a.z);
  glRotated(std::acos(std::clamp(d.z / length, -1.0, 1.0)) * kDegreesPerRadian, upright ? 1.0 : -d.y, d.x, 0.0);
  glScaled(radius, radius, length);
  const int slices = Slices(radius, kTubeSlices);
  if (widening != 0.0) {
    bodies_.DrawCone(1.0 + widening, slices);
  } else {
    bodies_.Draw(closed ? GlBodies::kRod : GlBodies::kTube, slices);
  }
  glPopMatrix();
}

void GlPainter::DrawStick(const GlBond& stick, int style) {
  const double radius = stick.radius;
  const auto piece = [&](double from, double to) {
    const bool closed = style != kSolid;
    const auto part = [&](double t0, double t1, Rgb colour, bool pale) {
      if (!(t0 < t1)) return;
      SetPale(pale);
      SetColour(style_.colour ? colour : kBlack, false);
      const double start = 1.0 + stick.widening * t0;
      DrawRod(Between(stick.a, stick.b, t0), Between(stick.a, stick.b, t1), radius * start,
              stick.widening * (t1 - t0) / start, closed);
    };
    if ((stick.colourA == stick.colourB && stick.paleA == stick.paleB) || !style_.colour)
      return part(from, to, stick.colourA, stick.paleA);
    part(from, std::min(to, 0.5), stick.colourA, stick.paleA);
    part(std::max(from, 0.5), to, stick.colourB, stick.paleB);
  };
  if (style == kSolid) return piece(0.0, 1.0);
  const double length = Length(stick.b - stick.a);
  const double on = style == kDashed ? kDash * radius : 2.0 * radius;
  const double period = on + (style == kDashed ? kDashGap : kDotGap - 1.0) * radius;
  if (!(period > 0.0)) return;
  const int count = std::clamp(static_cast<int>(std::lround(length / period)), 1, kMostPieces);
  const double share = on / period;
  for (int i = 0; i < count; ++i) piece((i + 0.5 - 0.5 * share) / count, (i + 0.5 + 0.5 * share) / count);
}

// As many sticks side by side as the order asks for.
void GlPainter::DrawBondGl(const GlBond& bond) {
  Shade(style_.colour);
  const bool dotted = bond.style == kSolid && bond.order == kPi;
  const int style = dotted ? static_cast<int>(kDotted) : bond.style;
  const ViewPoint across = Across(bond.a, bond.b);
  const double width = std::max(2.0 * bond.radius, 2.0 * scene_.unit);
  for (const BondStick& stick : SticksOfOrder(bond.order)) {
    const ViewPoint by = across * (stick.side * width);
    GlBond part = bond;
    part.a = bond.a + by;
    part.b = bond.b + by;
    part.radius = std::max(bond.radius * stick.share, 0.5 * scene_.unit);
    if (stick.dashed) part.widening = 0.0;
    DrawStick(part, stick.dashed ? static_cast<int>(kDashed) : style);
  }
  SetPale(false);
  Shade(true);
}

}  // namespace marvik
