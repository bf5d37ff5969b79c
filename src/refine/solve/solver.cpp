#include "refine/solve/solver.h"

#include <Eigen/Dense>
#include <cmath>

namespace marvik {
namespace {

// A pivot of the scaled matrix below this means that the parameter is a combination of earlier ones.
constexpr double kSingular = 1e-10;

// Scales to a unit diagonal and gives 1/√N_ii, 0 for parameters that nothing depends on; these are decoupled.
std::vector<double> ScaleToUnit(NormalMatrix& matrix) {
  const size_t n = matrix.Size();
  std::vector<double> scale(n);
  for (size_t i = 0; i < n; ++i) {
    const double d = matrix.At(i, i);
    scale[i] = d > 0.0 && std::isfinite(d) ? 1.0 / std::sqrt(d) : 0.0;
  }
  for (size_t i = 0; i < n; ++i) {
    for (size_t j = 0; j <= i; ++j) matrix.At(i, j) *= scale[i] * scale[j];
    if (scale[i] == 0.0) matrix.Decouple(i);
  }
  return scale;
}

void NoteUnscaled(const std::vector<double>& scale, std::vector<int>& singular) {
  for (size_t i = 0; i < scale.size(); ++i)
    if (scale[i] == 0.0) singular.push_back(static_cast<int>(i));
}

}  // namespace

std::vector<double> BlockVariances(const NormalMatrix& matrix, const std::vector<std::vector<int>>& groups) {
  std::vector<double> variances(matrix.Size());
  for (const std::vector<int>& group : groups) {
    const auto n = static_cast<Eigen::Index>(group.size());
    Eigen::MatrixXd block(n, n);
    for (Eigen::Index i = 0; i < n; ++i) {
      for (Eigen::Index j = 0; j < n; ++j)
        block(i, j) = matrix.At(static_cast<size_t>(group[static_cast<size_t>(i)]),
                                static_cast<size_t>(group[static_cast<size_t>(j)]));
    }
    const Eigen::LLT<Eigen::MatrixXd> llt(block);
    if (llt.info() != Eigen::Success) continue;
    const Eigen::MatrixXd inverse = llt.solve(Eigen::MatrixXd::Identity(n, n));
    for (Eigen::Index i = 0; i < n; ++i)
      variances[static_cast<size_t>(group[static_cast<size_t>(i)])] = std::max(0.0, inverse(i, i));
  }
  return variances;
}

Solution NormalSolver::Solve(NormalSystem& system, double damping, const std::vector<std::vector<int>>& groups) {
  NormalMatrix& matrix = system.matrix;
  const size_t n = matrix.Size();
  const std::vector<double> scale = ScaleToUnit(matrix);
  Solution solution;
  const bool exact = n <= kMostExact;
  if (exact || !searched_) {
    NormalMatrix plain = matrix;
    singular_ = plain.Factorise(kSingular, threads_);
    searched_ = true;
    if (exact) {
      plain.InvertTriangle(threads_);
      solution.variances = plain.ColumnNorms();
    }
  }
  solution.singular = singular_;
  NoteUnscaled(scale, solution.singular);
  if (!exact) solution.variances = BlockVariances(matrix, groups);
  for (const int p : singular_) matrix.Decouple(static_cast<size_t>(p));
  for (size_t i = 0; i < n; ++i) matrix.At(i, i) *= 1.0 + damping / 1000.0;
  std::vector<double>& x = solution.shifts;
  x.resize(n);
  for (size_t i = 0; i < n; ++i) x[i] = system.gradient[i] * scale[i];
  for (const int p : singular_) x[static_cast<size_t>(p)] = 0.0;
  matrix.Factorise(kSingular, threads_);
  matrix.Solve(x);
  for (size_t i = 0; i < n; ++i) {
    x[i] *= scale[i];
    solution.variances[i] *= scale[i] * scale[i];
  }
  for (const int p : solution.singular) solution.variances[static_cast<size_t>(p)] = 0.0;
  return solution;
}

void NormalSolver::Invert(NormalMatrix& matrix) const {
  const std::vector<double> scale = ScaleToUnit(matrix);
  std::vector<int> singular = matrix.Factorise(kSingular, threads_);
  NoteUnscaled(scale, singular);
  matrix.InvertTriangle(threads_);
  matrix.SquareTriangle(threads_);
  for (size_t i = 0; i < matrix.Size(); ++i) {
    for (size_t j = 0; j <= i; ++j) matrix.At(i, j) *= scale[i] * scale[j];
  }
  for (const int p : singular) {
    matrix.Decouple(static_cast<size_t>(p));
    matrix.At(static_cast<size_t>(p), static_cast<size_t>(p)) = 0.0;
  }
}

}  // namespace marvik
