#include "draw/view/best_view.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "base/mat3.h"
#include "model/placement.h"

namespace marvik {
namespace {

// Of half the picture's side, for labels.
constexpr double kLabelMargin = 0.09;
constexpr double kPlainMargin = 0.03;
// Balls are drawn so many times as large as the radius of the element table says; Å to Å of the view.
constexpr double kBallFactor = 2.2;
constexpr double kFitMargin = 1.1;  // of the view's half extent over its radius

std::vector<Cartesian> PlanePoints(const Document& document) {
  std::vector<Cartesian> heavy;
  std::vector<Cartesian> all;
  for (const AtomRecord* atom : Atoms(document.atoms, kVisibleOnly)) {
    if (!IsFinite(atom->position)) continue;
    all.push_back(atom->position);
    if (!atom->IsPeak() && !(atom->element && atom->IsHydrogen())) heavy.push_back(atom->position);
  }
  return heavy.size() >= 3 ? heavy : all;
}

// An axis has two directions: the one in which the farther atoms lie, or the one with the greater first component.
Cartesian Directed(const Cartesian& axis, const std::vector<Cartesian>& points, const Cartesian& centre) {
  double skew = 0.0;
  double size = 0.0;
  for (const Cartesian& p : points) {
    const double along = Dot(p - centre, axis);
    skew += along * along * along;
    size += std::abs(along * along * along);
  }
  if (std::abs(skew) > 1e-3 * size) return skew > 0.0 ? axis : -axis;
  for (const double v : {axis.x, axis.y, axis.z}) {
    if (std::abs(v) > 1e-6) return v > 0.0 ? axis : -axis;
  }
  return axis;
}

// How far what is drawn for an atom reaches, Å.
double BodyReach(const AtomRecord& atom, const Document& document, const RenderOptions& options) {
  if (options.mode == kWireFrame) return 0.0;
  const double radius = atom.element ? atom.element->drawRadius : 0.0;
  const double ball = radius > 0.0 && radius < 10.0 ? kBallFactor * radius : 0.3;
  if (options.mode != kBallAndStick && options.mode != kPipes && atom.IsAnisotropic()) {
    const Mat3 u = CartesianTensor(atom, document.cell, document.matrix);
    const double largest = std::max({u[0][0], u[1][1], u[2][2]});
    // Sylvester's criterion; what is no ellipsoid is a box.
    const bool positive = u[0][0] > 0.0 && u[0][0] * u[1][1] > u[0][1] * u[0][1] && Determinant(u) > 0.0;
    const double reach = std::sqrt(std::max(largest, 0.0)) * ProbabilityScale(options.probability);
    if (largest < 100.0) return positive ? reach : std::max(reach, ball);
  }
  return ball;
}

void SetRows(ViewState& view, const Cartesian& across, const Cartesian& up, const Cartesian& toward) {
  const std::array<Cartesian, 3> rows{across, up, toward};
  for (size_t i = 0; i < 3; ++i) {
    view.modelview[i][0] = rows[i].x;
    view.modelview[i][1] = rows[i].y;
    view.modelview[i][2] = rows[i].z;
  }
}

}  // namespace

void FaceBestPlane(ViewState& view, const Document& document) {
  const std::vector<Cartesian> points = PlanePoints(document);
  Cartesian centre;
  for (const Cartesian& p : points) centre = centre + p * (1.0 / static_cast<double>(points.size()));
  Mat3 spread;
  for (const Cartesian& p : points) {
    const std::array<double, 3> d{p.x - centre.x, p.y - centre.y, p.z - centre.z};
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j) spread[i][j] += d[static_cast<size_t>(i)] * d[static_cast<size_t>(j)];
    }
  }
  view.modelview = IdentityMatrix4();
  const Eigen3 eigen = SymmetricEigen(spread);
  if (!(eigen.values[2] > 1e-6) || !std::isfinite(eigen.values[2])) return;
  const auto vector = [&](int i) { return Cartesian{eigen.vectors[i][0], eigen.vectors[i][1], eigen.vectors[i][2]}; };
  const Cartesian across = Directed(vector(2), points, centre);
  const Cartesian toward = Directed(vector(0), points, centre);
  SetRows(view, across, Cross(toward, across), toward);
}

bool LookAlong(ViewState& view, const Cartesian& toward, const Cartesian& up) {
  const Cartesian across = Cross(up, toward);
  const double length = Length(across);
  if (!std::isfinite(length) || !(length > 1e-4 * Length(up) * Length(toward))) return false;
  view.modelview = IdentityMatrix4();
  // The frame is mirrored and the projection inverts.
  const Cartesian forward = Normalised(toward);
  SetRows(view, across / length, -Cross(forward, across / length), -forward);
  return true;
}

void FitFrame(ViewState& view, const Document& document, const RenderOptions& options) {
  const Matrix4& m = view.modelview;
  const auto turned = [&](const Cartesian& p) {
    const auto row = [&](size_t i) { return m[i][0] * p.x + m[i][1] * p.y + m[i][2] * p.z; };
    return Cartesian{row(0), row(1), row(2)};
  };
  Cartesian low{1e30, 1e30, 1e30};
  Cartesian high{-1e30, -1e30, -1e30};
  const auto take = [&](const Cartesian& position, double reach) {
    const Cartesian p = turned(position);
    low = {std::min(low.x, p.x - reach), std::min(low.y, p.y - reach), std::min(low.z, p.z - reach)};
    high = {std::max(high.x, p.x + reach), std::max(high.y, p.y + reach), std::max(high.z, p.z + reach)};
  };
  for (const AtomRecord* atom : Atoms(document.atoms, kVisibleOnly)) {
    if (IsFinite(atom->position)) take(atom->position, BodyReach(*atom, document, options));
  }
  if (options.showCell) {
    for (int i = 0; i < 8; ++i) {
      const Cartesian corner = document.matrix * Fractional{i & 1 ? 1.0 : 0.0, i & 2 ? 1.0 : 0.0, i & 4 ? 1.0 : 0.0};
      if (IsFinite(corner) && Length(corner) < 1e4) take(corner, 0.0);
    }
  }
  view.panX = view.panY = 0;
  view.zoomedOnSelection = false;
  if (!(low.x <= high.x)) {
    view.FitView(0.5, Cartesian{});
    return;
  }
  const Cartesian middle = (low + high) * 0.5;
  // The rotation's inverse is its transpose.
  const auto back = [&](size_t j) { return m[0][j] * middle.x + m[1][j] * middle.y + m[2][j] * middle.z; };
  const double half = 0.5 * std::max(high.x - low.x, high.y - low.y);
  const double margin = options.labels || options.showCell ? kLabelMargin : kPlainMargin;
  view.FitView(half / (kFitMargin * (1.0 - margin)), Cartesian{back(0), back(1), back(2)});
}

}  // namespace marvik
