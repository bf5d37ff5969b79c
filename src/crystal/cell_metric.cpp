#include "crystal/cell_metric.h"

#include <algorithm>
#include <cmath>

namespace marvik {

namespace {

// sin and cos of the three angles and 1 - X², where √(1 - X²) is sin γ*.
struct CellTrigonometry {
  double sinAlpha, sinBeta, cosAlpha, cosBeta, x, oneMinusX2;

  explicit CellTrigonometry(const CellParameters& cell)
      : sinAlpha(std::sin(cell.alpha * kRadiansPerDegree)),
        sinBeta(std::sin(cell.beta * kRadiansPerDegree)),
        cosAlpha(std::cos(cell.alpha * kRadiansPerDegree)),
        cosBeta(std::cos(cell.beta * kRadiansPerDegree)),
        x((std::cos(cell.gamma * kRadiansPerDegree) - cosAlpha * cosBeta) / (sinAlpha * sinBeta)),
        oneMinusX2(1.0 - x * x) {}
};

bool IsPossible(const CellParameters& cell) {
  const auto edge = [](double v) { return std::isfinite(v) && v > 0.0; };
  const auto angle = [](double v) { return v > 0.0 && v < 180.0; };
  return edge(cell.a) && edge(cell.b) && edge(cell.c) && angle(cell.alpha) && angle(cell.beta) && angle(cell.gamma);
}

}  // namespace

bool BuildOrthogonalisation(const CellParameters& cell, OrthogonalisationMatrix& matrix) {
  if (!IsPossible(cell)) return false;
  const CellTrigonometry t(cell);
  if (!(t.oneMinusX2 > 0.0)) return false;
  OrthogonalisationMatrix built;
  built.m = {cell.a * std::sqrt(t.oneMinusX2) * t.sinBeta,
             cell.a * t.x * t.sinBeta,
             cell.b * t.sinAlpha,
             cell.a * t.cosBeta,
             cell.b * t.cosAlpha,
             cell.c};
  matrix = built;
  return true;
}

Fractional CartesianToFractional(const OrthogonalisationMatrix& matrix, const Cartesian& place) {
  const auto& m = matrix.m;
  const double x = place.x / m[0];
  const double y = (place.y - m[1] * x) / m[2];
  return {x, y, (-place.z - m[3] * x - m[4] * y) / m[5]};
}

double Distance(const Cartesian& a, const Cartesian& b) {
  return Length(a - b);
}

double Angle(const Cartesian& a, const Cartesian& b, const Cartesian& c) {
  const double ab = Distance(a, b), ac = Distance(a, c), bc = Distance(b, c);
  if (ab == 0.0 || ac == 0.0) return 0.0;
  const double q = (bc * bc - ab * ab - ac * ac) / (-2.0 * ab * ac);
  return std::acos(std::clamp(q, -1.0, 1.0)) * kDegreesPerRadian;
}

double CellVolume(const CellParameters& cell) {
  const CellTrigonometry t(cell);
  return cell.a * cell.b * cell.c * t.sinAlpha * t.sinBeta * std::sqrt(t.oneMinusX2);
}

std::array<double, 3> ReciprocalEdges(const CellParameters& cell) {
  const CellTrigonometry t(cell);
  const double sinGamma = std::sin(cell.gamma * kRadiansPerDegree);
  const double volume = CellVolume(cell);
  return {cell.b * cell.c * t.sinAlpha / volume, cell.a * cell.c * t.sinBeta / volume,
          cell.a * cell.b * sinGamma / volume};
}

}  // namespace marvik
