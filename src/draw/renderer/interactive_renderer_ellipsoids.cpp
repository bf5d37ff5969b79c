#include <algorithm>
#include <array>
#include <cmath>

#include "chem/geometry/atom_geometry.h"
#include "draw/renderer/render_frame.h"
#include "model/placement.h"

namespace marvik {

namespace {

constexpr double kHydrogenBall = 0.13;  // Å, where no ellipsoid is smaller
constexpr double kOtherBall = 0.25;     // Å, of isotropic atoms without a U of their own
constexpr double kLargestU = 4.0;       // Å², of one that is drawn by its U
constexpr double kLeastLined = 4.0;     // longer half axis of the smallest ellipsoid with lines on it, pixels
constexpr double kHalfPi = 90.0 * kRadiansPerDegree;
// Semi-axes beyond this many halves of the drawing area are as good as not finite.
constexpr double kLongestAxis = 1e4;

// An ellipse of less than a pixel made a dot.
EllipseShape Thickened(EllipseShape shape) {
  const double longer = std::hypot(shape.p.x, shape.p.y);
  if (longer < 0.5) return {shape.centre, {0.5, 0.0}, {0.0, 0.5}};
  if (std::hypot(shape.q.x, shape.q.y) < 0.5) shape.q = {-shape.p.y / longer * 0.5, shape.p.x / longer * 0.5};
  return shape;
}

}  // namespace

OutlineConic OutlineOf(const std::array<ViewPoint, 3>& axes) {
  double xx = 0.0;
  double xy = 0.0;
  double yy = 0.0;
  for (const ViewPoint& axis : axes) {
    xx += axis.x * axis.x;
    xy += axis.x * axis.y;
    yy += axis.y * axis.y;
  }
  const double angle = 0.5 * std::atan2(2.0 * xy, xx - yy);
  const double mean = 0.5 * (xx + yy);
  const double difference = std::hypot(0.5 * (xx - yy), xy);
  const double longer = std::sqrt(mean + difference);
  const double shorter = std::sqrt(std::max(mean - difference, 0.0));
  return {{longer * std::cos(angle), longer * std::sin(angle), 0.0},
          {-shorter * std::sin(angle), shorter * std::cos(angle), 0.0}};
}

// The plane through the outline is where the quadric's gradient has no z: for the point cos t · p + sin t · q that
// component is cos t · pz/|p|² + sin t · qz/|q|², largest at the angle of (pz/|p|², qz/|q|²).
double FrontMiddle(const ViewPoint& p, const ViewPoint& q) {
  return std::atan2(q.z / Dot(q, q), p.z / Dot(p, p));
}

void RenderFrame::SetUpEllipsoids() {
  const double scale = ProbabilityScale(options_->probability);
  const Matrix4& m = view_->combined;
  ellipsoids_.assign(atoms_.size(), {});
  for (size_t i = 0; i < atoms_.size(); ++i) {
    const AtomRecord& atom = *atoms_[i].atom;
    if (atoms_[i].unknown || !atom.IsAnisotropic()) continue;
    const DisplacementEllipsoid own = EllipsoidAxes(CartesianTensor(atom, document_->cell, document_->matrix));
    FrameEllipsoid& ellipsoid = ellipsoids_[i];
    ellipsoid.drawable = own.positiveDefinite;
    for (size_t k = 0; k < 3 && ellipsoid.drawable; ++k) {
      const Cartesian axis = own.axes[k] * (own.lengths[k] * scale);
      const auto row = [&](size_t r) { return m[r][0] * axis.x + m[r][1] * axis.y + m[r][2] * axis.z; };
      ellipsoid.axes[k] = {row(0), row(1), row(2)};
      const double length = Length(ellipsoid.axes[k]);
      ellipsoid.drawable = length > 1e-9 && length < kLongestAxis;
    }
  }
  if (!Classic()) SetUpIsotropicBalls();
}

// Hydrogens small, others by their U.
void RenderFrame::SetUpIsotropicBalls() {
  const double angstrom = view_->halfExtent > 0.0 ? map_.scale / view_->halfExtent : 0.0;
  const double scale = ProbabilityScale(options_->probability);
  double least = kHydrogenBall * angstrom;
  for (const FrameEllipsoid& ellipsoid : ellipsoids_) {
    if (!ellipsoid.drawable) continue;
    std::array<double, 3> lengths{};
    for (size_t k = 0; k < 3; ++k) lengths[k] = Length(ellipsoid.axes[k]) * map_.scale;
    std::ranges::sort(lengths);
    least = std::min(least, lengths[1]);
  }
  for (FrameAtom& atom : atoms_) {
    if (atom.unknown || atom.atom->IsAnisotropic()) continue;
    const double u = atom.atom->u[0];
    double radius = u > 0.0 && u < kLargestU ? std::sqrt(u) * scale * angstrom : kOtherBall * angstrom;
    if (IsHydrogenRow(atom.row)) {
      const double own = options_->figure.hydrogensByU ? ListedUeq(*document_, *atom.atom) : 0.0;
      radius = own > 0.0 && own < kLargestU ? std::sqrt(own) * scale * angstrom : least;
    }
    atom.ball = static_cast<float>(std::clamp(map_.whole ? std::floor(radius + 0.5) : radius, 1.0, 20000.0));
  }
}

void RenderFrame::DrawEllipsoid(const FrameAtom& atom, const FrameEllipsoid& ellipsoid) {
  if (!ellipsoid.drawable) {
    DrawCrossedBox(atom);
    return;
  }
  const CanvasPoint centre = Centre(atom);
  const Rgb fill = ElementRgb(atom);
  // Lines on what is pale are softer, but there.
  const Rgb edge = MixColours(fill, kBlack, atom.pale ? 0.45 : 0.75);
  const Rgb line = options_->blackWhite ? kBlack : atom.pale && Paper() ? edge : Paled(atom, InkOn(fill));
  const OutlineConic outline = OutlineOf(ellipsoid.axes);
  const EllipseShape shape{centre, map_.Vector(outline.p), map_.Vector(outline.q)};
  if (map_.whole && Length(outline.p) * map_.scale < kLeastLined) {
    // Lines would leave nothing of the colour.
    canvas_->FillEllipse(Thickened(shape), fill, {fill, 0.0, LineStyle::Solid});
    return;
  }
  canvas_->FillEllipse(shape, fill, ThinPen(Paper() && !options_->blackWhite ? edge : line));
  if (options_->blackWhite) DrawPattern(shape, document_->elements[atom.row].texture);
  if (options_->cutOctant) DrawOctant(centre, ellipsoid, fill);
  for (size_t k = 0; k < 3; ++k) {
    const ViewPoint& p = ellipsoid.axes[k];
    const ViewPoint& q = ellipsoid.axes[(k + 1) % 3];
    const double middle = FrontMiddle(p, q);
    canvas_->Arc({centre, map_.Vector(p), map_.Vector(q)}, middle - kHalfPi, middle + kHalfPi, ThinPen(line));
  }
}

// The octant between the halves of the axes that come toward the viewer is taken out: the three quarters of the
// principal planes that bound it cover all of it, each in a shade of its own, with the axes where they meet.
void RenderFrame::DrawOctant(CanvasPoint centre, const FrameEllipsoid& ellipsoid, Rgb fill) {
  constexpr std::array<double, 3> kShade{0.5, 0.3, 0.4};
  std::array<CanvasPoint, 3> axes;
  for (size_t k = 0; k < 3; ++k) axes[k] = map_.Vector(ellipsoid.axes[k] * (ellipsoid.axes[k].z < 0.0 ? -1.0 : 1.0));
  for (size_t k = 0; k < 3; ++k)
    canvas_->FillSector({centre, axes[k], axes[(k + 1) % 3]}, 0.0, kHalfPi,
                        MixColours(fill, kBlack, options_->blackWhite ? 0.0 : kShade[k]));
  for (const CanvasPoint& axis : axes)
    canvas_->Line(centre, {centre.x + axis.x, centre.y + axis.y}, ThinPen(options_->blackWhite ? kBlack : InkOn(fill)));
}

double RenderFrame::BoxArm(const FrameAtom& atom) const {
  return std::max(3.0 * map_.unit, 0.8 * BallRadius(atom));
}

// Stands for a tensor that is no ellipsoid.
void RenderFrame::DrawCrossedBox(const FrameAtom& atom) {
  const CanvasPoint c = Centre(atom);
  const double arm = BoxArm(atom);
  const std::array<CanvasPoint, 4> corners{
      {{c.x - arm, c.y - arm}, {c.x + arm, c.y - arm}, {c.x + arm, c.y + arm}, {c.x - arm, c.y + arm}}};
  const Rgb fill = ElementRgb(atom);
  const Pen pen = ThinPen(options_->blackWhite ? kBlack : InkOn(fill));
  canvas_->Polygon(corners, fill, pen);
  canvas_->Line(corners[0], corners[2], pen);
  canvas_->Line(corners[1], corners[3], pen);
}

}  // namespace marvik
