#include "crystal/displacement.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "crystal/cell_metric.h"

namespace marvik {

namespace {

// Eigenvalues of less than this fraction of the largest one may as well be rounding.
constexpr double kSmallestFraction = 1e-10;

Mat3 Congruent(const Mat3& a, const Mat3& u) {
  return a * u * Transposed(a);
}

}  // namespace

Mat3 TensorFromFileOrder(const std::array<double, 6>& u) {
  return {{{{u[0], u[5], u[4]}, {u[5], u[1], u[3]}, {u[4], u[3], u[2]}}}};
}

std::array<double, 6> FileOrderOf(const Mat3& u) {
  return {u[0][0], u[1][1], u[2][2], u[1][2], u[0][2], u[0][1]};
}

DisplacementFrame::DisplacementFrame(const CellParameters& cell, const OrthogonalisationMatrix& matrix) {
  const auto& m = matrix.m;
  const Mat3 orthogonalisation{{{{m[0], 0, 0}, {m[1], m[2], 0}, {-m[3], -m[4], -m[5]}}}};
  const auto reciprocal = MakeMetric(cell).reciprocalEdges;
  toCartesian_ = orthogonalisation * Mat3::Diagonal(reciprocal[0], reciprocal[1], reciprocal[2]);
}

Mat3 DisplacementFrame::TensorOf(const std::array<double, 6>& u) const {
  return Congruent(toCartesian_, TensorFromFileOrder(u));
}

std::array<double, 6> RotatedTensor(const std::array<double, 6>& u, const SymmetryOperator& op,
                                    const std::array<double, 3>& reciprocal) {
  Mat3 rotation;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      const auto row = static_cast<size_t>(i), column = static_cast<size_t>(j);
      rotation[i][column] = op.r[row][column] * reciprocal[column] / reciprocal[row];
    }
  return FileOrderOf(Congruent(rotation, TensorFromFileOrder(u)));
}

DisplacementEllipsoid EllipsoidAxes(const Mat3& tensor) {
  const Eigen3 eigen = SymmetricEigen(tensor);
  DisplacementEllipsoid e;
  bool finite = true;
  for (int i = 0; i < 3; ++i) {
    const auto k = static_cast<size_t>(i);
    e.axes[k] = eigen.Vector<CartesianSpace>(i);
    e.lengths[k] = std::sqrt(std::fabs(eigen.values[k]));
    finite = finite && std::isfinite(e.lengths[k]);
  }
  if (!finite) e.lengths = {};
  e.positiveDefinite = finite && eigen.values[0] > kSmallestFraction * eigen.values[2];
  return e;
}

double ProbabilityScale(double probability) {
  if (!(probability > 0.0)) return 0.0;
  const double p = std::min(probability, 0.9999);
  const auto within = [](double r) {
    return std::erf(r / std::numbers::sqrt2) - std::sqrt(2.0 / std::numbers::pi) * r * std::exp(-0.5 * r * r);
  };
  double low = 0.0, high = 8.0;
  for (int i = 0; i < 60; ++i) {
    const double middle = 0.5 * (low + high);
    (within(middle) < p ? low : high) = middle;
  }
  return 0.5 * (low + high);
}

}  // namespace marvik
