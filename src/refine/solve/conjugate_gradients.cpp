#include "refine/solve/conjugate_gradients.h"

#include <Eigen/Dense>
#include <cmath>

#include "base/parallel.h"
#include "refine/factors/lane_math.h"

namespace marvik {
namespace {

constexpr size_t kKeptBytes = size_t{1} << 30;

// The sums of one share of the data.
struct Sums {
  std::vector<double> gradient;
  std::vector<Eigen::MatrixXd> blocks;  // one for each group
  std::vector<double> product;
  std::vector<std::vector<float>> kept;
};

void Multiply(const float* rows, size_t n, const std::vector<double>& v, std::vector<double>& product) {
  std::array<float, kBlock> t{};
  for (size_t p = 0; p < n; ++p) {
    const auto f = static_cast<float>(v[p]);
    const float* row = rows + p * kBlock;
    for (size_t i = 0; i < kBlock; ++i) t[i] += f * row[i];
  }
  for (size_t p = 0; p < n; ++p) product[p] += static_cast<double>(SumOfProducts<kBlock>(t.data(), rows + p * kBlock));
}

void Collect(const double* rows, const Lanes& residual, const std::vector<std::vector<int>>& groups, Sums& sums) {
  for (size_t g = 0; g < groups.size(); ++g) {
    const std::vector<int>& group = groups[g];
    for (size_t i = 0; i < group.size(); ++i) {
      const double* row = rows + static_cast<size_t>(group[i]) * kBlock;
      sums.gradient[static_cast<size_t>(group[i])] += SumOfProducts<kBlock>(row, residual.data());
      for (size_t j = 0; j <= i; ++j) {
        sums.blocks[g](static_cast<Eigen::Index>(i), static_cast<Eigen::Index>(j)) +=
            SumOfProducts<kBlock>(row, rows + static_cast<size_t>(group[j]) * kBlock);
      }
    }
  }
}

void AddEquationProduct(const std::vector<ParameterEquation>& equations, const std::vector<double>& v,
                        std::vector<double>& product) {
  for (const ParameterEquation& e : equations) {
    double t = 0.0;
    for (const Term& term : e.slopes) t += term.factor * v[static_cast<size_t>(term.parameter)];
    for (const Term& term : e.slopes) product[static_cast<size_t>(term.parameter)] += e.weight * t * term.factor;
  }
}

double DotProduct(const std::vector<double>& a, const std::vector<double>& b) {
  double sum = 0.0;
  for (size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

// The inverses of the blocks on the diagonal, restraints included; nothing for frozen parameters.
class BlockInverse {
 public:
  BlockInverse(const std::vector<std::vector<int>>& groups, std::vector<Eigen::MatrixXd> blocks,
               const std::vector<ParameterEquation>& equations, const std::vector<bool>& frozen)
      : groups_(groups), inverses_(std::move(blocks)) {
    std::vector<std::pair<size_t, Eigen::Index>> place(frozen.size());
    for (size_t g = 0; g < groups.size(); ++g) {
      for (size_t i = 0; i < groups[g].size(); ++i)
        place[static_cast<size_t>(groups[g][i])] = {g, static_cast<Eigen::Index>(i)};
    }
    for (const ParameterEquation& e : equations) {
      for (const Term& a : e.slopes) {
        for (const Term& b : e.slopes) {
          const auto [g, i] = place[static_cast<size_t>(a.parameter)];
          const auto [h, j] = place[static_cast<size_t>(b.parameter)];
          if (g == h && j <= i) inverses_[g](i, j) += e.weight * a.factor * b.factor;
        }
      }
    }
    for (size_t g = 0; g < groups.size(); ++g) Invert(groups[g], frozen, inverses_[g]);
  }

  std::vector<double> operator*(const std::vector<double>& v) const {
    std::vector<double> out(v.size());
    for (size_t g = 0; g < groups_.size(); ++g) {
      const std::vector<int>& group = groups_[g];
      for (size_t i = 0; i < group.size(); ++i) {
        for (size_t j = 0; j < group.size(); ++j) {
          out[static_cast<size_t>(group[i])] +=
              inverses_[g](static_cast<Eigen::Index>(i), static_cast<Eigen::Index>(j)) *
              v[static_cast<size_t>(group[j])];
        }
      }
    }
    return out;
  }

  std::vector<double> Diagonal(size_t parameters) const {
    std::vector<double> out(parameters);
    for (size_t g = 0; g < groups_.size(); ++g) {
      for (size_t i = 0; i < groups_[g].size(); ++i)
        out[static_cast<size_t>(groups_[g][i])] =
            inverses_[g](static_cast<Eigen::Index>(i), static_cast<Eigen::Index>(i));
    }
    return out;
  }

 private:
  static void Invert(const std::vector<int>& group, const std::vector<bool>& frozen, Eigen::MatrixXd& block) {
    const Eigen::Index n = block.rows();
    Eigen::VectorXd free = Eigen::VectorXd::Ones(n);
    block = block.selfadjointView<Eigen::Lower>().toDenseMatrix();
    for (Eigen::Index i = 0; i < n; ++i) {
      if (!frozen[static_cast<size_t>(group[static_cast<size_t>(i)])] && block(i, i) > 0.0) continue;
      block.row(i).setZero();
      block.col(i).setZero();
      block(i, i) = 1.0;
      free[i] = 0.0;
    }
    const Eigen::LLT<Eigen::MatrixXd> llt(block);
    const Eigen::VectorXd diagonal = block.diagonal();
    if (llt.info() == Eigen::Success) {
      block = llt.solve(Eigen::MatrixXd::Identity(n, n));
    } else {
      block = diagonal.cwiseInverse().asDiagonal();
    }
    block = free.asDiagonal() * block * free.asDiagonal();
  }

  const std::vector<std::vector<int>>& groups_;
  std::vector<Eigen::MatrixXd> inverses_;
};

}  // namespace

std::vector<std::vector<int>> ParameterGroups(const Parametrisation& parametrisation) {
  std::vector<std::vector<int>> groups;
  std::vector<int> groupOfSite;
  for (size_t p = 0; p < parametrisation.Size(); ++p) {
    const auto slot = static_cast<size_t>(parametrisation.parameters[p].site + 1);
    if (slot >= groupOfSite.size()) groupOfSite.resize(slot + 1, -1);
    // Those of no atom are few as a rule; many batch scales stand alone.
    if (groupOfSite[slot] < 0 || groups[static_cast<size_t>(groupOfSite[slot])].size() >= 16) {
      groupOfSite[slot] = static_cast<int>(groups.size());
      groups.emplace_back();
    }
    groups[static_cast<size_t>(groupOfSite[slot])].push_back(static_cast<int>(p));
  }
  return groups;
}

Solution ConjugateGradientShifts(DataPass& pass, const Parametrisation& parametrisation,
                                 const std::vector<std::vector<int>>& groups,
                                 const std::vector<ParameterEquation>& equations, int iterations,
                                 const std::vector<bool>& frozen, Calculated& calculated) {
  const size_t n = parametrisation.Size();
  const size_t bytes = (calculated.fo2.size() + kBlock) * n * sizeof(float);
  const bool keep = !calculated.fo2.empty() && bytes < kKeptBytes;
  std::vector<Sums> sums(DataPass::kShares);
  for (Sums& s : sums) {
    s.gradient.resize(n), s.product.resize(n);
    for (const std::vector<int>& group : groups) {
      const auto size = static_cast<Eigen::Index>(group.size());
      s.blocks.emplace_back(Eigen::MatrixXd::Zero(size, size));
    }
  }
  pass.Run(calculated, &parametrisation, [&](size_t share, const double* rows, const Lanes& residual) {
    Collect(rows, residual, groups, sums[share]);
    if (keep) sums[share].kept.emplace_back(rows, rows + n * kBlock);
  });
  std::vector<double> r(n);
  for (Sums& s : sums) {
    for (size_t p = 0; p < n; ++p) r[p] += s.gradient[p];
    for (size_t g = 0; &s != &sums[0] && g < groups.size(); ++g) sums[0].blocks[g] += s.blocks[g];
    if (&s != &sums[0]) std::vector<Eigen::MatrixXd>().swap(s.blocks);
  }
  for (const ParameterEquation& e : equations) {
    for (const Term& term : e.slopes) r[static_cast<size_t>(term.parameter)] += e.weight * term.factor * e.deviation;
  }
  const BlockInverse precondition(groups, std::move(sums[0].blocks), equations, frozen);
  const auto multiplyKept = [&](const std::vector<double>& v) {
    ForEachInParallel(pass.Threads(), sums.size(), [&](size_t share, size_t) {
      std::fill(sums[share].product.begin(), sums[share].product.end(), 0.0);
      for (const auto& rows : sums[share].kept) Multiply(rows.data(), n, v, sums[share].product);
    });
    std::vector<double> product(n);
    for (const Sums& s : sums) {
      for (size_t p = 0; p < n; ++p) product[p] += s.product[p];
    }
    return product;
  };
  const auto multiply = [&](const std::vector<double>& v) {
    std::vector<double> product = keep ? multiplyKept(v) : pass.Multiply(v, calculated, parametrisation);
    AddEquationProduct(equations, v, product);
    return product;
  };
  Solution solution;
  solution.variances = precondition.Diagonal(n);
  std::vector<double>& x = solution.shifts;
  x.resize(n);
  std::vector<double> z = precondition * r;
  std::vector<double> direction = z;
  double rz = DotProduct(r, z);
  const double start = rz;
  for (int iteration = 0; iteration < iterations && rz > 1e-6 * start; ++iteration) {
    const std::vector<double> q = multiply(direction);
    const double curvature = DotProduct(direction, q);
    if (!(curvature > 0.0)) break;
    const double step = rz / curvature;
    for (size_t p = 0; p < n; ++p) x[p] += step * direction[p], r[p] -= step * q[p];
    z = precondition * r;
    const double next = DotProduct(r, z);
    for (size_t p = 0; p < n; ++p) direction[p] = z[p] + next / rz * direction[p];
    rz = next;
  }
  return solution;
}

}  // namespace marvik
