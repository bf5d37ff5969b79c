#include "crystal/cell_metric.h"

#include <algorithm>
#include <cmath>

namespace marvik {

namespace {

constexpr double kShortestEdge = 0.1;  // Å: below, everything bonds to countless images of itself

double Cosine(double degrees) {
  return std::cos(degrees * kRadiansPerDegree);
}

double Sine(double degrees) {
  return std::sin(degrees * kRadiansPerDegree);
}

// -cos γ*, the X of the drawing frame.
double OppositeCosine(const CellParameters& cell) {
  return (Cosine(cell.gamma) - Cosine(cell.alpha) * Cosine(cell.beta)) / (Sine(cell.alpha) * Sine(cell.beta));
}

}  // namespace

bool IsPossible(const CellParameters& cell) {
  const auto edge = [](double v) { return std::isfinite(v) && v >= kShortestEdge; };
  const auto angle = [](double v) { return v > 0.0 && v < 180.0; };
  return edge(cell.a) && edge(cell.b) && edge(cell.c) && angle(cell.alpha) && angle(cell.beta) && angle(cell.gamma) &&
         1.0 - OppositeCosine(cell) * OppositeCosine(cell) > 0.0;
}

bool BuildOrthogonalisation(const CellParameters& cell, OrthogonalisationMatrix& matrix) {
  if (!IsPossible(cell)) return false;
  const double x = OppositeCosine(cell);
  matrix.m = {cell.a * std::sqrt(1.0 - x * x) * Sine(cell.beta),
              cell.a * x * Sine(cell.beta),
              cell.b * Sine(cell.alpha),
              cell.a * Cosine(cell.beta),
              cell.b * Cosine(cell.alpha),
              cell.c};
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
  const Cartesian toB = b - a, toC = c - a;
  if (toB == Cartesian{} || toC == Cartesian{}) return 0.0;
  return std::atan2(Length(Cross(toB, toC)), Dot(toB, toC)) * kDegreesPerRadian;
}

double Metric::DistanceSquared(const Fractional& a, const Fractional& b) const {
  const Fractional d = a - b;
  return direct[0] * d.x * d.x + direct[1] * d.y * d.y + direct[2] * d.z * d.z +
         2.0 * (direct[3] * d.y * d.z + direct[4] * d.x * d.z + direct[5] * d.x * d.y);
}

double Metric::SinThetaSquared(double h, double k, double l) const {
  const auto& g = reciprocal;
  return 0.25 * (g[0] * h * h + g[1] * k * k + g[2] * l * l + 2.0 * (g[3] * k * l + g[4] * h * l + g[5] * h * k));
}

std::array<double, 6> Metric::UeqWeights() const {
  std::array<double, 6> weights{};
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      const auto at = static_cast<size_t>(TensorIndex(i, j));
      weights[at] +=
          reciprocalEdges[static_cast<size_t>(i)] * reciprocalEdges[static_cast<size_t>(j)] * direct[at] / 3.0;
    }
  }
  return weights;
}

double Metric::Ueq(const std::array<double, 6>& u) const {
  const std::array<double, 6> weights = UeqWeights();
  double sum = 0.0;
  for (size_t i = 0; i < 6; ++i) sum += weights[i] * u[i];
  return sum;
}

Mat3 Metric::CartesianU(const std::array<double, 6>& u) const {
  Mat3 beta;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      beta[i][static_cast<size_t>(j)] = u[static_cast<size_t>(TensorIndex(i, j))] *
                                        reciprocalEdges[static_cast<size_t>(i)] *
                                        reciprocalEdges[static_cast<size_t>(j)];
    }
  }
  return orthogonal * beta * Transposed(orthogonal);
}

Metric MakeMetric(const CellParameters& cell) {
  Metric m;
  m.cell = cell;
  const double ca = Cosine(cell.alpha);
  const double cb = Cosine(cell.beta);
  const double cg = Cosine(cell.gamma);
  const double sg = Sine(cell.gamma);
  const double root = std::sqrt(1.0 - ca * ca - cb * cb - cg * cg + 2.0 * ca * cb * cg);
  m.volume = cell.a * cell.b * cell.c * root;
  m.orthogonal.m = {{{cell.a, cell.b * cg, cell.c * cb},
                     {0.0, cell.b * sg, cell.c * (ca - cb * cg) / sg},
                     {0.0, 0.0, cell.c * root / sg}}};
  m.fractional = Inverse(m.orthogonal);
  const Mat3 g = Transposed(m.orthogonal) * m.orthogonal;
  const Mat3 inverse = Inverse(g);
  m.direct = {g.m[0][0], g.m[1][1], g.m[2][2], g.m[1][2], g.m[0][2], g.m[0][1]};
  m.reciprocal = {inverse.m[0][0], inverse.m[1][1], inverse.m[2][2], inverse.m[1][2], inverse.m[0][2], inverse.m[0][1]};
  for (size_t i = 0; i < 3; ++i) m.reciprocalEdges[i] = std::sqrt(m.reciprocal[i]);
  return m;
}

}  // namespace marvik
