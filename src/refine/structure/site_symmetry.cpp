#include "refine/structure/site_symmetry.h"

#include <cmath>

namespace marvik {
namespace {

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

// U' = M·U of one operation, in file order.
std::array<std::array<double, 6>, 6> DisplacementMatrix(const Metric& metric, const GroupOperator& op) {
  std::array<std::array<double, 6>, 6> m{};
  const auto& e = metric.reciprocalEdges;
  for (size_t i = 0; i < 3; ++i) {
    for (size_t j = i; j < 3; ++j) {
      const auto to = static_cast<size_t>(TensorIndex(static_cast<int>(i), static_cast<int>(j)));
      for (size_t k = 0; k < 3; ++k) {
        for (size_t l = 0; l < 3; ++l) {
          const auto from = static_cast<size_t>(TensorIndex(static_cast<int>(k), static_cast<int>(l)));
          m[to][from] += op.r[i][k] * op.r[j][l] * e[k] * e[l] / (e[i] * e[j]);
        }
      }
    }
  }
  return m;
}

}  // namespace

std::vector<GroupOperator> SiteOperations(const Structure& structure, const Fractional& x, double tolerance) {
  std::vector<GroupOperator> operations;
  for (const GroupOperator& op : structure.group.all) {
    Fractional image = op.Apply(x);
    GroupOperator moved = op;
    for (int i = 0; i < 3; ++i) {
      const double n = std::round(x[i] - image[i]);
      image[i] += n;
      moved.t[static_cast<size_t>(i)] += n;
    }
    if (structure.metric.DistanceSquared(image, x) < tolerance * tolerance) operations.push_back(moved);
  }
  return operations;
}

Fractional ProjectOnSite(const std::vector<GroupOperator>& operations, const Fractional& x) {
  Fractional sum;
  for (const GroupOperator& op : operations) sum += op.Apply(x);
  return sum / static_cast<double>(operations.size());
}

AllowedShifts<3> AllowedPositions(const std::vector<GroupOperator>& operations, const std::array<bool, 3>& fixed) {
  std::vector<std::array<double, 3>> equations;
  for (const GroupOperator& op : operations) {
    for (size_t i = 0; i < 3; ++i) {
      std::array<double, 3> row{};
      for (size_t j = 0; j < 3; ++j) row[j] = op.r[i][j] - (i == j ? 1.0 : 0.0);
      equations.push_back(row);
    }
  }
  Fix<3>(fixed, equations);
  return Solve<3>(equations);
}

AllowedShifts<6> AllowedDisplacements(const Metric& metric, const std::vector<GroupOperator>& operations,
                                      const std::array<bool, 6>& fixed) {
  std::vector<std::array<double, 6>> equations;
  for (const GroupOperator& op : operations) {
    auto m = DisplacementMatrix(metric, op);
    for (size_t i = 0; i < 6; ++i) {
      m[i][i] -= 1.0;
      equations.push_back(m[i]);
    }
  }
  Fix<6>(fixed, equations);
  return Solve<6>(equations);
}

std::array<double, 6> ProjectDisplacement(const Metric& metric, const std::vector<GroupOperator>& operations,
                                          const std::array<double, 6>& u) {
  std::array<double, 6> sum{};
  for (const GroupOperator& op : operations) {
    const auto m = DisplacementMatrix(metric, op);
    for (size_t i = 0; i < 6; ++i) {
      for (size_t j = 0; j < 6; ++j) sum[i] += m[i][j] * u[j] / static_cast<double>(operations.size());
    }
  }
  return sum;
}

}  // namespace marvik
