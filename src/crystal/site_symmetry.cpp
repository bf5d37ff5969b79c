#include "crystal/site_symmetry.h"

#include <cmath>

#include "crystal/displacement.h"

namespace marvik {
namespace {

constexpr double kFarthestCell = 1e6;

// Solves the homogeneous equations by elimination. Pivots are taken from the last component on, so that the first ones
// stay independent.
template <int N>
AllowedShifts<N> Solve(std::vector<std::array<double, N>> equations) {
  std::array<int, N> pivotRow;
  pivotRow.fill(-1);
  size_t used = 0;
  for (int column = N - 1; column >= 0; --column) {
    const auto c = static_cast<size_t>(column);
    size_t best = used;
    for (size_t r = used; r < equations.size(); ++r) {
      if (std::fabs(equations[r][c]) > std::fabs(equations[best][c])) best = r;
    }
    if (used >= equations.size() || std::fabs(equations[best][c]) < 1e-6) continue;
    std::swap(equations[used], equations[best]);
    const double pivot = equations[used][c];
    for (double& v : equations[used]) v /= pivot;
    for (size_t r = 0; r < equations.size(); ++r) {
      if (r == used) continue;
      const double f = equations[r][c];
      for (size_t i = 0; i < N; ++i) equations[r][i] -= f * equations[used][i];
    }
    pivotRow[c] = static_cast<int>(used);
    ++used;
  }
  AllowedShifts<N> allowed;
  for (size_t i = 0; i < N; ++i) {
    if (pivotRow[i] < 0) {
      allowed.rows[i].push_back({static_cast<int>(i), 1.0});
      continue;
    }
    const auto& equation = equations[static_cast<size_t>(pivotRow[i])];
    for (size_t j = 0; j < N; ++j) {
      if (j != i && std::fabs(equation[j]) > 1e-9) allowed.rows[i].push_back({static_cast<int>(j), -equation[j]});
    }
  }
  return allowed;
}

template <int N>
void Fix(const std::array<bool, N>& fixed, std::vector<std::array<double, N>>& equations) {
  for (size_t i = 0; i < N; ++i) {
    if (!fixed[i]) continue;
    std::array<double, N> row{};
    row[i] = 1.0;
    equations.push_back(row);
  }
}

}  // namespace

std::vector<SymmetryOperator> SiteOperations(std::span<const SymmetryOperator> group, const Metric& metric,
                                             const Fractional& x, double tolerance) {
  std::vector<SymmetryOperator> operations;
  for (const SymmetryOperator& op : group) {
    Fractional difference = op.Apply(x) - x;
    std::array<int, 3> cells{};
    for (int i = 0; i < 3; ++i) {
      const double n = std::round(-difference[i]);
      if (!(std::fabs(n) < kFarthestCell)) return operations;
      difference[i] += n;
      cells[static_cast<size_t>(i)] = static_cast<int>(n);
    }
    if (metric.DistanceSquared(difference, {}) < tolerance * tolerance) operations.push_back(op.Shifted(cells));
  }
  return operations;
}

Fractional ProjectOnSite(const std::vector<SymmetryOperator>& operations, const Fractional& x) {
  Fractional sum;
  for (const SymmetryOperator& op : operations) sum += op.Apply(x);
  return sum / static_cast<double>(operations.size());
}

AllowedShifts<3> AllowedPositions(const std::vector<SymmetryOperator>& operations, const std::array<bool, 3>& fixed) {
  std::vector<std::array<double, 3>> equations;
  for (const SymmetryOperator& op : operations) {
    for (size_t i = 0; i < 3; ++i) {
      std::array<double, 3> row{};
      for (size_t j = 0; j < 3; ++j) row[j] = op.r[i][j] - (i == j ? 1.0 : 0.0);
      equations.push_back(row);
    }
  }
  Fix<3>(fixed, equations);
  return Solve<3>(equations);
}

AllowedShifts<6> AllowedDisplacements(const Metric& metric, const std::vector<SymmetryOperator>& operations,
                                      const std::array<bool, 6>& fixed) {
  std::vector<std::array<double, 6>> equations;
  for (const SymmetryOperator& op : operations) {
    const size_t first = equations.size();
    equations.resize(first + 6);
    for (size_t j = 0; j < 6; ++j) {
      std::array<double, 6> unit{};
      unit[j] = 1.0;
      const auto image = RotatedTensor(unit, op, metric.reciprocalEdges);
      for (size_t i = 0; i < 6; ++i) equations[first + i][j] = image[i] - unit[i];
    }
  }
  Fix<6>(fixed, equations);
  return Solve<6>(equations);
}

std::array<double, 6> ProjectDisplacement(const Metric& metric, const std::vector<SymmetryOperator>& operations,
                                          const std::array<double, 6>& u) {
  std::array<double, 6> mean{};
  for (const SymmetryOperator& op : operations) {
    const auto image = RotatedTensor(u, op, metric.reciprocalEdges);
    for (size_t i = 0; i < 6; ++i) mean[i] += image[i] / static_cast<double>(operations.size());
  }
  return mean;
}

}  // namespace marvik
